"""java run, attach, status, continue, detach: from a program to a debugger that holds its Java side, and back."""
import re

from harness import check, check_equal, gdb

AT_FIRST_CONTACT = "stopped by the agent at jquor_jvmdi_sync_hook: everything can be asked"
SERVED = "print 'prepared' if any(s == 'LShop;' for _, s in questions.prepared_classes()) else 'not there'"
ASK = f"python from quor.agent import questions; {SERVED.replace('print ', 'print(', 1)})"


def starts(jvm):
    """A program that java run starts ends with its own status."""
    texts = gdb(jvm, ["java status", jvm.java_run("Shop", 300), "java status", "java continue", "java status", "java continue"])
    check_equal(texts[0], "the agent is not in this process; see help java run", "the state without a process")
    check("stands before its main" in texts[1], f"java run: {texts[1]}")
    check_equal(texts[2], AT_FIRST_CONTACT, "the state before main")
    check("closed after serving true" in texts[3] and "exited with code 07" in texts[3], f"the program runs to its end: {texts[3]}")
    check_equal(texts[4], "the program has ended; java run starts it again", "the state after the end")
    check("not being run" in texts[5], f"there is nothing to continue: {texts[5]}")


def waits_for_others(jvm):
    """What is called while the other threads stand is answered, too, if it needs them after all."""
    pause = "python from quor.agent import calls; print(calls.call_alone('(int (*)(unsigned)) usleep', 3200000))"
    texts = gdb(jvm, [jvm.java_run("Shop", 300), pause, "java status", "java continue"])
    check_equal(texts[1].splitlines()[-1], "0", "its result")
    check_equal(texts[2], AT_FIRST_CONTACT, "the state afterwards")
    check("exited with code 07" in texts[3], f"the program's end: {texts[3]}")


def attaches_and_lets_go(jvm):
    """After attach and detach the program runs on; a second debugger attaches again."""
    with jvm.start_with_agent("Shop", 60000) as program:
        program.ready()
        for times, at_last in (("first", "java status"), ("second", "java set Shop.closed = true")):
            texts = gdb(jvm, ["java status", "java attach", "java status", ASK, "info inferiors", at_last, "java detach", "info inferiors"],
                        pid=program.pid)
            check_equal(texts[0], "the agent is not attached; java attach does that", f"the state when gdb has attached, {times} time")
            check("all Java threads stand still" in texts[1], f"java attach: {texts[1]}")
            check_equal(texts[2], AT_FIRST_CONTACT, "the state then")
            check_equal(texts[3], "prepared", "the program's class in the list of prepared classes")
            check_equal(texts[6], "Detached.", "java detach")
            check(f"process {program.pid}" in texts[4] and f"process {program.pid}" not in texts[7], "gdb has let go")
        check_equal(program.process.wait(30), 7, "the program's exit status")
        check("closed after serving true" in program.text(), "the program went on to its end")


def detaches_from_anywhere(jvm):
    """java detach at a place where the agent cannot be asked leads to one first. The program waits longer than any machine needs."""
    with jvm.start_with_agent("Shop", 600000) as program:
        program.ready()
        texts = gdb(jvm, ["java attach", "tbreak sched_yield", "java continue", "java status", "java detach"], pid=program.pid)
        check("sched_yield" in texts[2], f"the program stops in native code: {texts[2]}")
        check(re.match("the program is stopped in native code", texts[3]), f"the state there: {texts[3]}")
        check(texts[4].endswith("Detached."), f"java detach: {texts[4]}")
        before = program.thread_dump()
        check("clerk" in before, "the program lives")


def case(jvm):
    starts(jvm)
    waits_for_others(jvm)
    attaches_and_lets_go(jvm)
    detaches_from_anywhere(jvm)
