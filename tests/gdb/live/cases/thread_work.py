"""java thread, threadgroups, interrupt, stop, suspend, resume, abort: one thread, at native stops and at a Java stop."""
import re

import paces

from harness import HERE, check, check_equal, gdb, results

SCRIPT = f"source {HERE}/inside/held.py"
BUSY = "a function that was called in the program was interrupted; java abort lets it come to its end"
LOADED = "the agent is not attached; java attach does that"
THREAD = r'thread \d+ "holder"'


def at_a_native_breakpoint(jvm):
    """What is done to a thread there happens to it when the program goes on."""
    expected = {
        "complete java interrupt hol": "java interrupt holder",
        "java status": LOADED,
        "java threadgroups": r'(?s)"system"  highest priority 10.*\n  "main"  highest priority 10\n.* holder  TIMED_WAITING.*',
        "java thread holder": rf"{THREAD}\n#0 .*",  # libc's sources are not there
        "java thread": rf"{THREAD}\n#0 .*",
        "java thread nobody": "there is no thread nobody; java threads lists them",
        "java suspend holder": rf"{THREAD} is suspended; java resume lets it go on\.",
        "java suspend  holder": rf"java suspend: {THREAD}: it is suspended already",
        "java interrupt main": r'thread \d+ "main" is interrupted\.',
        "java resume holder": rf"{THREAD} goes on\.",
        "java resume  holder": rf"java resume: {THREAD}: it is not suspended",
        "java suspend 1": r"thread 1 is no Java thread that the agent knows; java threads lists them",
        "java suspend": r"java suspend: which thread\? Its number or name; java threads lists them",
        "java stop holder Deadlock": "java stop: Deadlock is no Throwable",
        "java stop holder": r"java stop: which thread, and which exception\? .*",
        "java stop holder java.lang.IllegalStateException": rf"(?s).*{THREAD} throws java\.lang\.IllegalStateException\.\n"
                                                         r"It was made without its constructor, .* only at a Java stop\.",
        "java abort": "java abort: no called function was interrupted",
    }
    arguments = jvm.command([], jvm.agent_option(), main="Deadlock")
    whole = gdb(jvm, ["java settings", "break Java_Deadlock_isLedgerWanted", "run", *expected, "delete 2", "continue"],
                arguments=arguments, seconds=120)
    for (command, pattern), text in zip(expected.items(), whole[3:]):
        check(re.fullmatch(pattern, text), f"{command}: {pattern}\n{text}")
    text = "\n".join(whole)
    check(re.search(r'Exception in thread "holder"', text) and "java.lang.IllegalStateException\n" in text, f"stopped: {text}")
    check("java.lang.InterruptedException" in text, f"interrupted: {text}")


def throws(jvm):
    """At a Java stop the exception comes from its constructor, with the stack trace of the thread that throws it."""
    first = paces.line_of("FIRST")
    texts = gdb(jvm, paces.started(jvm, "FIRST") + ["java stop beater java.lang.IllegalStateException",
                                                    "java stop main java.util.UnknownFormatConversionException", "java continue"])
    check_equal(len(texts[4].splitlines()), 1, f"by the constructor that takes nothing: {texts[4]}")
    check("made without" not in texts[5], f"by the one that takes a String: {texts[5]}")
    check(re.search(r'Exception in thread "beater" java\.lang\.IllegalStateException\n(\s+at .*\n)*\s+at (app//)?Paces\.beat\(',
                    "\n".join(texts)), f"the stack trace of the thread that throws it: {texts[4:]}")
    check(f"java.util.UnknownFormatConversionException: Conversion = 'thrown by the debugger'\n\tat Paces.main(Paces.java:{first})" in texts[6],
          f"the message, and the stack trace of the thread of the stop: {texts[6]}")
    texts = gdb(jvm, paces.started(jvm, "FIRST") + ["java stop main java.io.UncheckedIOException", "java stop main java.lang.Number", "kill"])
    check("no constructor of it takes nothing or a String" in texts[4], f"neither: {texts[4]}")
    check_equal(texts[5], "java stop: java.lang.Number is no Throwable", "a class that is none")


def suspends(jvm):
    """A suspended thread stands still while the program runs and is asked, until it is resumed."""
    with jvm.start_with_agent("Shop", 60000) as program:
        program.ready()
        texts = gdb(jvm, [SCRIPT, "handle SIGINT stop print nopass", "java suspend clerk", "python counted(3)", "python ask()",
                          "python counted(3)", "java resume clerk", "python counted(3)", "java attach", "java suspend clerk", "java resume clerk", "java detach"], pid=program.pid)
        still, asked, moving = (results(texts[index])[-1] for index in (3, 5, 7))
        # it ends what it does in native code first
        check_equal(len(set(still[1:])), 1, f"the counter of a suspended thread: {still}")
        check_equal(len(set(asked[1:])), 1, f"the same after the agent was asked: {asked}")
        check(moving[0] < moving[-1], f"the counter of a resumed one grows: {moving}")
        check("all threads are suspended and go on together" in texts[9], f"suspending at a Java stop: {texts[9]}")
        check(re.fullmatch(r'thread \d+ "clerk" goes on\.', texts[10]), f"resuming at a Java stop: {texts[10]}")
        check("clerk" in program.thread_dump(), "the program lives")


def aborts(jvm):
    """A call that did not come back makes the state busy; java abort ends that."""
    with jvm.start_with_agent("Shop", 60000) as program:
        program.ready()
        texts = gdb(jvm, [SCRIPT, "handle SIGINT stop print nopass", "python sleep_too_long(2)", "java status", "java interrupt clerk",
                          "java locks", "java abort", "java status", "python counted(2)", "java detach"], pid=program.pid)
        check("did not answer within 0.3 seconds" in texts[2], f"the call is interrupted: {texts[2]}")
        check_equal(texts[3], BUSY, "java status")
        check_equal(texts[4], f"java interrupt: {BUSY}", "a command that asks the agent")
        check("thread" in texts[5] or "No thread holds" in texts[5], f"a command that reads memory: {texts[5]}")
        check(texts[6].endswith("The function has come back."), f"java abort: {texts[6]}")
        check_equal(texts[7], LOADED, "the state then")
        check(results(texts[8]), f"the agent answers again: {texts[8]}")
        check("clerk" in program.thread_dump(), "the program lives")


def case(jvm):
    at_a_native_breakpoint(jvm)
    throws(jvm)
    suspends(jvm)
    aborts(jvm)
