"""What goes wrong while the agent is asked at a native stop leaves the JVM alive where it can be: gdb killed at the stop, gdb ended
or killed in the middle of a question, another thread selected, the JVM gone under a question."""
import os
import re
import shutil
import signal
import subprocess

from harness import FRONT, GDB, HERE, LIMIT, SETTINGS, check, check_equal, end_session, environment, gdb, results, wait_until
from remote import start_server, without_wide_registers

SCRIPT = f"source {HERE}/inside/held.py"
END_IT = "python gdb.flush(); os.kill(os.getpid(), {})"
STOP = "tbreak Java_Descent_bottom"


def gdb_that_ends(jvm, pid, commands):
    """A gdb that is ended by a signal, or by itself: its exit status."""
    arguments = [*GDB]
    for each in [*SETTINGS, f"source {FRONT}", SCRIPT, f"attach {pid}", *commands]:
        arguments += ["-ex", each]
    with open(jvm.folder / "ended.log", "ab") as output:
        process = subprocess.Popen(arguments, cwd=jvm.folder, env=environment(jvm.folder), stdin=subprocess.DEVNULL, stdout=output,
                                   stderr=subprocess.STDOUT, start_new_session=True)
    try:
        return process.wait(LIMIT)
    finally:
        end_session(process)


def check_lives(jvm, program, what):
    """The VM comes to a safepoint, the program's counter changes, and no fatal error is reported."""
    check("work-native" in program.thread_dump(), f"{what}: the VM dumps its threads")
    counts = {gdb(jvm, [SCRIPT, "python print(counter('Work', 'sink'))"], pid=program.pid)[1] for _ in range(2)}
    check(len(counts) == 2, f"{what}: the counter changes: {counts}")
    check(not list(program.folder.glob("hs_err*")), f"{what}: no report of a fatal error")


def killed(jvm):
    """At a stop gdb has no breakpoint in the process, and the hold is over."""
    with jvm.start_with_agent("Mix", "work") as program:
        program.ready()
        status = gdb_that_ends(jvm, program.pid, [STOP, "continue", "python asked(2)", END_IT.format(9)])
        check_equal(status, -signal.SIGKILL, "gdb was killed")
        os.kill(program.pid, signal.SIGCONT)  # a SIGSTOP by which gdb stopped a thread may be left, and stop them all
        told = results((jvm.folder / "ended.log").read_text())
        check(len(told) == 1 and told[0]["answers"], f"the agent was asked before: {told}")
        check_lives(jvm, program, "gdb killed at a stop")


def ended_in_a_question(jvm):
    """What a question holds is let go before gdb ends."""
    with jvm.start_with_agent("Mix", "work") as program:
        program.ready()
        gdb_that_ends(jvm, program.pid, [STOP, "continue", "python terminated_in_a_question()"])
        check("a question" in (jvm.folder / "ended.log").read_text(), "gdb came to the question")
        check_lives(jvm, program, "SIGTERM in a question")


def killed_in_a_question(jvm):
    """The Java threads stand still then; the next gdb says so, and lets them go."""
    counter = "python counted_until_it_moves(15)"
    with jvm.start_with_agent("Shop", 60000) as program:
        program.ready()
        status = gdb_that_ends(jvm, program.pid, ["python killed_in_a_question()"])
        check_equal(status, -signal.SIGKILL, "gdb was killed")
        os.kill(program.pid, signal.SIGCONT)
        for left in (True, False):
            texts = gdb(jvm, [SCRIPT, "handle SIGINT stop print nopass", counter, "java status", "java attach", "java detach"],
                        pid=program.pid)
            counts = results(texts[2])[-1]
            check_equal(len(set(counts)) == 1, left, f"whether the counter stands still: {counts}")
            check_equal("A gdb was killed while it held the Java threads" in texts[3], left, f"java status says so: {texts[3]}")
            check_equal("They did before" in texts[4], left, f"java attach says so: {texts[4]}")
            check_equal(texts[5], "Detached.", "java detach")
        check("clerk" in program.thread_dump(), "the program lives")


def killed_with_a_parked_thread(jvm):
    """The thread that gdb kept at its breakpoint goes on from there."""
    with jvm.start_with_agent("Mix", "work") as program:
        program.ready()
        status = gdb_that_ends(jvm, program.pid, [STOP, "continue", "python killed_in_a_question()"])
        check_equal(status, -signal.SIGKILL, "gdb was killed")
        os.kill(program.pid, signal.SIGCONT)
        texts = gdb(jvm, ["java attach", STOP, "java continue", "java detach"], pid=program.pid)
        check(re.search(r"^Thread \d+, which it kept in a loop, goes on where it stood\.$", texts[0], re.MULTILINE), texts[0])
        check('"work-native" hit Temporary breakpoint' in texts[2], f"it comes to the place again: {texts[2]}")
        check_lives(jvm, program, "gdb killed with a parked thread")


def in_another_thread(jvm):
    """Which thread is selected does not matter, and stays."""
    with jvm.start_with_agent("Shop", 60000) as program:
        program.ready()
        texts = gdb(jvm, [SCRIPT, "thread 1", "python asked(2)", "java interrupt main", "thread"],
                    pid=program.pid)
        result = results(texts[2])[-1]
        check(set(result["changed"]) <= {"signal"} and len(result["answers"]) == 2, f"with the first thread selected: {result}")
        check("is interrupted" in texts[3], f"a command there: {texts[3]}")
        check("Current thread is 1 " in texts[4], f"the selected thread: {texts[4]}")
        wait_until(lambda: "InterruptedException" in program.text(), "main is interrupted")


def gone_under_a_question(jvm):
    """The JVM ends while it is asked: one line, and the next commands know."""
    with jvm.start_with_agent("Shop", 60000) as program:
        program.ready()
        texts = gdb(jvm, [SCRIPT, "python end_in_a_question(5)", "java status", "java interrupt clerk"],
                    pid=program.pid)
        check("_exit failed: " in texts[1] and "Traceback" not in texts[1], f"the question: {texts[1]}")
        if "exited" in texts[1]:  # else gdb itself does not know yet
            check_equal(texts[2], "the program has ended; java run starts it again", "java status then")
            check("there is no process" in texts[3], f"a command then: {texts[3]}")
        check_equal(program.process.wait(LIMIT), 5, "the program's exit status")


def through_gdbserver(jvm):
    """A gdbserver that detaches does not deliver what gdb took for the end of a call."""
    if shutil.which("gdbserver") is None:
        return
    with without_wide_registers(jvm), jvm.start_with_agent("Mix", "work") as program:
        program.ready()
        server, port = start_server(jvm, "--once", "--attach", "127.0.0.1:0", str(program.pid))
        try:
            texts = gdb(jvm, ["set sysroot /", f"target remote 127.0.0.1:{port}", SCRIPT, STOP, "continue",
                              "java interrupt work-garbage", "detach"], arguments=[jvm.java])
        finally:
            end_session(server)
        check("is interrupted." in texts[5], f"the agent is asked: {texts[5]}")
        check_lives(jvm, program, "detached through a gdbserver")


def case(jvm):
    through_gdbserver(jvm)
    killed(jvm)
    ended_in_a_question(jvm)
    killed_in_a_question(jvm)
    killed_with_a_parked_thread(jvm)
    in_another_thread(jvm)
    gone_under_a_question(jvm)
