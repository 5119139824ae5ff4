"""The agent answers at stops that are no hooks: at a native breakpoint, at a crash, at interrupts. Afterwards all is as before."""
import re

from harness import HERE, check, check_equal, gdb, note, results

SCRIPT = f"source {HERE}/inside/held.py"
CRASH, QUIET = 7, 0
SHORT, LONG = 25, 100


def run(jvm, end, commands, rounds=2):
    arguments = jvm.command(["descend", rounds, end], [*jvm.agent_option(), "-Xcheck:jni"])
    return gdb(jvm, ["java settings", "break Java_Descent_bottom", "run", SCRIPT, *commands], arguments=arguments)[4:]


def check_unchanged(text, what):
    (result,) = results(text)
    check(result["answers"] and len(set(result["answers"])) == 1 and result["answers"][0] > 3, f"{what}: {result['answers']}")
    check_equal(result["changed"], {}, f"{what}: what is not as before")


def check_clean(jvm):
    check(not list(jvm.folder.glob("hs_err*")), "no report of a fatal error is written")


def at_breakpoints(jvm):
    """A program that was asked stops as often as one that was not, and ends as it would."""
    texts = run(jvm, QUIET, ["python asked(3)", "continue", "frame 1", "python asked(2)", "continue"], rounds=2)
    check_unchanged(texts[0], "at a native breakpoint")
    check("hit Breakpoint" in texts[1], f"the next hit: {texts[1]}")
    check_unchanged(texts[3], "at a native breakpoint, with another frame selected")
    check("exited normally" in texts[4], f"the program ends: {texts[4]}")
    check("WARNING" not in texts[4] and "FATAL" not in texts[4], f"-Xcheck:jni is silent: {texts[4]}")
    check_clean(jvm)


def others_at_breakpoints(jvm):
    """A thread that comes to a breakpoint while the agent is asked does not stop there, and the user is told; it stops afterwards."""
    with jvm.start_with_agent("Mix", "work") as program:
        program.ready()
        texts = gdb(jvm, [SCRIPT, "break Java_Descent_bottom if end == 0", "break Java_Descent_bottom if end == 99", "python asked(10)",
                          "continue", "bt 1"], pid=program.pid)
        told = re.findall(r"^Breakpoint (\d) did not stop thread \d+, which came there while the agent was asked(, \d+ times)?\.$",
                          texts[3], re.MULTILINE)
        check_equal({number for number, _ in told}, {"1"}, f"the breakpoints that were passed: {texts[3]}")
        (result,) = results(texts[3])
        check(set(result["changed"]) <= {"signal"}, f"nothing else is changed: {result['changed']}")
        check("hit Breakpoint 1, Java_Descent_bottom" in texts[4], f"it stops afterwards: {texts[4]}")


def at_a_crash(jvm):
    texts = run(jvm, CRASH, ["python asked(1)", "continue", "delete 2", "continue", "python asked(2)", "bt 2", "continue", "bt 6"])
    check("SIGSEGV" in texts[3], f"the program crashes: {texts[3]}")
    check_unchanged(texts[4], "at a crash")
    check("crash_at" in texts[5], f"the native stack is whole: {texts[5]}")
    check("reports a fatal error" in texts[6] and "crash_at" in texts[7], f"the signal is delivered: {texts[6]}")


def on_the_agents_way_back(jvm):
    """The agent thread, which lets the others go after a stop, answers though the process stops before it is through; not behind its
    answer to an attach, from where it might come to an event that nobody would see."""
    with jvm.start_with_agent("Shop") as program:
        program.ready()
        first, second = "agent_resume_all", "notify_event_processing_done"
        texts = gdb(jvm, [SCRIPT, "java break Shop.serve", "java attach", f"tbreak {first}", "java continue", "bt", "python tell_answer()",
                          "java continue", f"tbreak {first}", "java continue", "bt", "python tell_answer()",
                          "java continue", f"tbreak {second}", "java continue", "bt", "python tell_answer()",
                          "java continue", "java detach"], pid=program.pid)
        check(first in texts[5] and "process_on_attach" in texts[5], f"it has answered an attach: {texts[5]}")
        check_equal(results(texts[6]), ["the agent is busy at this moment: continue, and stop again"], "behind the answer to an attach")
        for function, number in ((first, 10), (second, 15)):
            check(function in texts[number] and "process_next_event" in texts[number], f"it is on its way back: {texts[number]}")
            (answer,) = results(texts[number + 1])
            check(isinstance(answer, int) and answer > 3, f"it answers: {answer}")
        for number in (7, 12, 17):
            check("Java breakpoint J1, Shop.serve" in texts[number], f"the program runs on to its next stop: {texts[number]}")
        check("main" in program.thread_dump(), "the program lives")


def at_interrupts(jvm):
    times = LONG if jvm.long else SHORT
    with jvm.start_with_agent("Mix", "work", options=["-Xcheck:jni"]) as program:
        program.ready()
        texts = gdb(jvm, [SCRIPT, f"python interrupted({times})"], pid=program.pid)
        (result,) = results(texts[1])
        check_equal(len(result["answers"]) + len(result["refusals"]), times, "answers and refusals")
        check_equal(len(set(result["answers"])), 1, "different answers")
        check(all("busy at this moment" in each for each in result["refusals"]), f"refusals: {result['refusals']}")
        check(len(result["answers"]) >= 0.8 * times, f"the agent answers: {result}")
        check("main" in program.thread_dump(), "the program lives")
        check("WARNING" not in program.text() and "FATAL" not in program.text(), f"-Xcheck:jni is silent: {program.text()[:2000]}")
    check_clean(jvm)
    note(f"held: {len(result['answers'])} of {times} interrupts answered, the slowest in {result['slowest']:.2f} s")


def case(jvm):
    at_breakpoints(jvm)
    others_at_breakpoints(jvm)
    at_a_crash(jvm)
    on_the_agents_way_back(jvm)
    at_interrupts(jvm)
