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
