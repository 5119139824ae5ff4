"""java settings: thousands of the VM's own faults pass, a real fault stops at the instruction that made it; and it undoes it."""
import re

from harness import check, check_equal, gdb, note

FAULT_IN_LIBJVM, BUS_ERROR, STACK_OVERFLOW, CRASH, IN_COMPILED_CODE = 4, 5, 6, 7, 100
GO = "set var mix_go_on = 1"
SIGINFO = "print $_siginfo.si_signo"


def stop_of(jvm, end, options=()):
    """What gdb shows at the first stop after the program was let go to this end."""
    with jvm.start("faults", end, options=options) as program:
        program.ready()
        return gdb(jvm, ["java settings", GO, "continue", "bt 3", SIGINFO, "bt", "x/i $pc", "kill"], pid=program.pid)


def check_stop(jvm, what, end, first, signal, options=()):
    texts = stop_of(jvm, end, options)
    check("signal SIG" in texts[2] or "fatal error" in texts[2], f"{what}: it stops: {texts[2]}")
    check(re.match(rf"#0 .*{first}", texts[3]), f"{what}: the first frame is the one that made the fault: {texts[3]}")
    check(re.search(rf"= {signal}$", texts[4]), f"{what}: the signal is {signal}: {texts[4]}")
    check("signal handler called" not in texts[5], f"{what}: the stop is before the VM's handler")
    check("Faults.start(int)" in texts[5], f"{what}: the Java frames are there: {texts[5]}")
    note(f"settings: {what}: stops at {texts[3].splitlines()[0]}")


def undoes(jvm):
    with jvm.start("faults", CRASH) as program:
        program.ready()
        texts = gdb(jvm, ["info signals", "info breakpoints", "java settings", "java settings", "info breakpoints",
                          "java settings off", "info signals", "info breakpoints", "java settings off"], pid=program.pid)
    check_equal(texts[6], texts[0], "the handling of signals, afterwards")
    check_equal(texts[7], texts[1], "the breakpoints, afterwards")
    check_equal(texts[4].count("java_fault"), 1, "the catchpoints that saying it twice makes")
    check("as before" in texts[5] and "Nothing was set" in texts[8], f"it says so: {texts[5]} {texts[8]}")


def case(jvm):
    check_stop(jvm, "native code", CRASH, "crash_at", 11)
    check_stop(jvm, "a mapped file that is gone", BUS_ERROR, "touch_truncated_file", 7)
    check_stop(jvm, "a native stack's end", STACK_OVERFLOW, "overflow", 11)
    check_stop(jvm, "libjvm", FAULT_IN_LIBJVM, "libjvm", 11)
    compiled = ["-XX:CompileCommand=quiet", "-XX:CompileCommand=dontinline,Faults::peek", "-Xbatch"]
    check_stop(jvm, "code that C1 made", IN_COMPILED_CODE, r"Faults\.peek\(", 11, [*compiled, "-XX:TieredStopAtLevel=1"])
    check_stop(jvm, "code that C2 made", IN_COMPILED_CODE, r"Faults\.peek\(", 11, [*compiled, "-XX:-TieredCompilation"])
    undoes(jvm)
