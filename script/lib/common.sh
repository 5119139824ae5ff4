# Sourced by every script here: strict mode, the repository's root as the current directory, the shared paths.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$root"
log_dir=build/log
jvm32_dir=build/jvm32
jvm32_java=$jvm32_dir/usr/lib/jvm/java-17-openjdk-i386/bin/java

# die MESSAGE: one line on standard error, named after the script that gives up.
die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# logged LOG COMMAND...: run the command into the log file; show the log only when the command fails.
logged() {
    local log=$1
    shift
    mkdir -p "${log%/*}"
    "$@" >"$log" 2>&1 </dev/null || {
        local status=$?
        cat "$log" >&2
        return "$status"
    }
}

# build_agent PRESET: builds the agent alone.
build_agent() {
    local preset=$1
    script/bootstrap "$preset"
    logged "$log_dir/configure-$preset.log" cmake --preset "$preset"
    logged "$log_dir/build-$preset.log" cmake --build --preset "$preset" -j "$(nproc)" --target quor_agent
}

# prepare_jvm PRESET: builds the agent alone and sets `java` and `javac` for it, i386 on the 32-bit HotSpot, x86-64 on the JDK.
prepare_jvm() {
    local preset=$1
    case $preset in i386 | x86-64) ;; *) die "the preset is i386 or x86-64, not $preset" ;; esac
    build_agent "$preset"
    local jdk
    jdk=$(sed -n 's/^QUOR_JDK:[A-Z]*=//p' "build/$preset/CMakeCache.txt")
    javac=$jdk/bin/javac
    java=$jdk/bin/java
    [ "$preset" != i386 ] || java=$root/$jvm32_java
}
