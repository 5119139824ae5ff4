"""java step, next, finish, until, stepi, skip, pop: line by line, over and into calls, through exceptions and native code."""
import re
import time

from harness import HERE, check, check_equal, gdb, note

SOURCE = (HERE / "program" / "Paces.java").read_text().splitlines()
PATH = f"java sourcepath {HERE / 'program'}"


def line_of(mark):
    return next(number for number, line in enumerate(SOURCE, 1) if line.endswith(f"// {mark}"))


def lines(marks):
    return [line_of(mark) for mark in marks.split()]


def places(text):
    """[(method, line)] of the stops in a text."""
    return [(method, int(line)) for method, line in re.findall(r"^(?:Java breakpoint J\d+, )?Paces\.([\w$]+) \(Paces\.java:(\d+)\)",
                                                               text, re.MULTILINE)]


def started(jvm, mark, rounds=1):
    return [f"java tbreak Paces:{line_of(mark)}", PATH, jvm.java_run("Paces", rounds), "java continue"]


def over_calls(jvm):
    """next goes from line to line of main, over exceptions, locks, loops, lambdas and native code that calls back; the stops of
    another thread are told meanwhile."""
    marks = "FIRST GOOD BAD LARGE LOOP RUN BETWEEN END OVER"
    texts = gdb(jvm, started(jvm, "FIRST") + ["java next"] * 8 + ["java continue"])
    check_equal([place for text in texts[3:12] for place in places(text)], [("main", line) for line in lines(marks)], "the lines")
    check_equal(texts[5].splitlines()[1:], [f"{line_of('BAD')}\t{SOURCE[line_of('BAD') - 1]}"], "the source line, and no more")
    check("3finecaught1099511627779 1" in texts[12] and "exited with code 05" in texts[12], f"the program's own results: {texts[12]}")


def into_calls(jvm):
    """step goes into methods, not into those of the JDK, into handlers and finally blocks, into lambdas; finish tells what came."""
    commands = ["java step"] * 4 + ["java finish"] * 2 + ["java next"] * 1 + ["java until " + str(line_of("BAD"))] + ["java step"] * 6
    texts = gdb(jvm, started(jvm, "FIRST") + commands + ["java until " + str(line_of("LARGE"))] * 2 +
                ["java step", "java finish", f"java until {line_of('RUN')}", "java step", "java stepi", "java continue"])
    fall = line_of("FALL")
    deep = [("fall", fall - 3), ("fall", fall), ("fall", fall - 3), ("fall", fall)]
    check_equal([places(text)[-1] for text in texts[4:8]], deep, "the first steps go into a recursion")
    check_equal(places(texts[8])[-1], ("fall", fall), "finish leaves one frame of it")
    check("Value returned: 2" in texts[8], f"finish tells what it gave: {texts[8]}")
    check_equal(places(texts[9])[-1], ("main", line_of("FIRST")), "finish leaves the next")
    check("Value returned: 3" in texts[9], f"finish tells what it gave: {texts[9]}")
    check_equal(places(texts[10])[-1], ("main", line_of("GOOD")), "next goes on")
    check_equal(places(texts[11])[-1], ("main", line_of("BAD")), "until another line")
    way = [("guarded", line_of("TRY")), ("refuse", line_of("THROW") - 1), ("refuse", line_of("THROW")),
           ("guarded", line_of("CAUGHT") - 1), ("guarded", line_of("CAUGHT")), ("guarded", line_of("FINALLY"))]
    check_equal([places(text)[-1] for text in texts[12:18]], way, "steps through an exception")
    check_equal([places(text)[-1] for text in texts[18:20]], [("main", line_of("BAD")), ("main", line_of("LARGE"))],
                "until a line, or out of the frame")
    check_equal(places(texts[20])[-1], ("wide", line_of("WIDE")), "a step into a method of one line")
    check("Value returned: 1099511627779" in texts[21], f"a long that a method gives: {texts[21]}")
    check_equal(places(texts[23])[-1], ("lambda$main$1" if "lambda$main$1" in texts[23] else "lambda$main$0", line_of("LISTED")),
                "a step into a lambda")
    check_equal(len(places(texts[24])), 1, f"one bytecode: {texts[24]}")
    check("exited with code 05" in texts[25], f"the program comes to its end: {texts[25]}")


def beside_others(jvm):
    """Another thread stops at a breakpoint of its own while main steps: it is told, and is the one that steps from then on."""
    beat = line_of("BEAT")
    texts = gdb(jvm, started(jvm, "LOOP", 50) + [f"java break -t Paces:{beat}", "java next", "java next", "java next", "java info",
                                                 "java continue"])
    told = next((number for number in (5, 6) if '"beater"' in texts[number]), None)
    check(told is not None and "Java breakpoint J2, Paces.beat" in texts[told], f"the other's breakpoint is told: {texts[5:7]}")
    check_equal(places(texts[told + 1]), [("beat", beat + 1)], "its next line")
    check(re.search(r"^Nothing is set", texts[8], re.MULTILINE), f"the temporary breakpoint is gone: {texts[8]}")
    check("3finecaught1099511627779 50 " in texts[9] and "exited with code 05" in texts[9], f"the program's end: {texts[9]}")


def through_native(jvm):
    """step into a native method stands in its C function; finish and step lead back into Java; next passes all of it."""
    texts = gdb(jvm, started(jvm, "DOWN") + ["java step", "java step", "bt 1", "java finish", "java next", "java continue"])
    check(texts[4].startswith("Descent.last (Descent.java:"), f"into the Java method that calls it: {texts[4]}")
    check("Descent.bottom(int) <native>" in texts[5] and "Java_Descent_bottom" in texts[5], f"into the C function: {texts[5]}")
    check("Java_Descent_bottom" in texts[6], f"gdb stands there: {texts[6]}")
    check("Descent.last (Descent.java:" in texts[7], f"back in Java: {texts[7]}")
    check("exited with code 05" in texts[9], f"the program comes to its end: {texts[9]}")
    texts = gdb(jvm, started(jvm, "THROUGH") + ["java step", "java step", "java finish", "java next", "java next"])
    check("Java_Descent_through" in texts[4], f"into the C function: {texts[4]}")
    check("Java_Descent_through" in texts[4] and "lambda$between$" in texts[5], f"a step out of C into what it calls: {texts[5]}")
    texts = gdb(jvm, [f"java break Paces:{line_of('REGISTER')}", *started(jvm, "REGISTER")[1:], "java step"])
    check("Java_Descent_register" in texts[4], f"into the C function behind a breakpoint: {texts[4]}")


def pops(jvm):
    """A frame that is popped runs again from its call: with its arguments, with its monitor, after a throw too."""
    texts = gdb(jvm, started(jvm, "FALL") + ["java pop", "java bt 1", "java step", "java print depth", "java finish", "java until " + str(line_of("GOOD")),
                                            f"java tbreak Paces:{line_of('RETURN')}", "java continue", "java locks main", "java pop",
                                            "java locks main", "java pop", "java continue"])
    check_equal(places(texts[4]), [("main", line_of("FIRST"))], f"at the call: {texts[4]}")
    check(f"Paces.main(String[]) (Paces.java:{line_of('FIRST')})" in texts[5], f"the frame is gone: {texts[5]}")
    check_equal(places(texts[6]), [("fall", line_of("FALL") - 3)], "into it again")
    check(texts[7].endswith("= 3"), f"its argument: {texts[7]}")
    check("Value returned: 3" in texts[8], f"what it gives then: {texts[8]}")
    check("holds java.lang.Class" in texts[12], f"it holds its class's monitor: {texts[12]}")
    check_equal(places(texts[13]), [("main", line_of("GOOD"))], f"out of a synchronized method: {texts[13]}")
    check("No locks." in texts[14], f"its monitor is given back: {texts[14]}")
    check_equal(texts[15], "java pop: the VM itself called this frame: there is no call to go back to", "main")
    check("3finecaught1099511627779 1" in texts[16] and "exited with code 05" in texts[16], f"the program's own results: {texts[16]}")
    texts = gdb(jvm, ["java catch IllegalArgumentException", PATH, jvm.java_run("Paces", 1), "java continue", "java pop", "java continue",
                      "java pop", "java delete J1", "java step", "tbreak sched_yield", "java continue", "java pop", "java continue"])
    for number in (4, 6):
        check_equal(places(texts[number]), [("guarded", line_of("TRY"))], f"from a throw back to the call: {texts[number]}")
    check("Java exception J1, Paces.refuse" in texts[5], f"it throws again: {texts[5]}")
    check_equal(places(texts[8]), [("refuse", line_of("THROW") - 1)], "into it once more")
    check_equal(texts[11], "java pop: the thread is in native code, whose frames cannot be popped; java finish goes back to Java first",
                "in Thread.yield")
    check("3finecaught1099511627779 1" in texts[12] and "exited with code 05" in texts[12], f"the program's own results: {texts[12]}")


def many(jvm):
    """Steps through a loop with recursion in it, each at the line where it must be."""
    rounds = 120 if jvm.long else 12
    fall = line_of("FALL")
    call = [fall - 3, fall] * 2 + [fall - 3, fall - 2]
    back = [fall, fall, line_of("ADD")]
    one = [line_of("ADD"), *call, *back, line_of("TAKE"), line_of("FOR")]
    expected = [line_of("SUM"), line_of("FOR"), *one * rounds, line_of("AFTER")]
    begun = time.monotonic()
    texts = gdb(jvm, started(jvm, "LOOP", rounds) + ["java step", f"java step {len(expected) - 1}", "java continue"], seconds=240)
    seconds = time.monotonic() - begun
    found = [line for text in texts[4:6] for _, line in places(text)]
    check_equal(found, expected, "the lines")
    check(f"3finecaught1099511627779 {rounds} " in texts[6], f"the program's own results: {texts[6]}")
    note(f"paces: {len(expected)} steps in {seconds:.1f} s with the start")


def refusals(jvm):
    """One line each where there is nothing to step."""
    texts = gdb(jvm, ["java step", "java finish", *started(jvm, "FIRST"), "java step x", "java finish 3", "java until", "java until 1",
                      "java until Paces.main", "java skip -d nothing", "java skip", "java skip Paces", "java step", "java skip -d Paces"])
    for text in texts[:2] + texts[6:12]:
        check_equal(len(text.splitlines()), 1, f"one line: {text}")
    check_equal(texts[12].splitlines(), ["java.*", "jdk.*", "sun.*"], "what is skipped from the start")
    check_equal(len(texts[14].splitlines()), 1 + ("\n" in texts[14]), f"a step where everything is skipped: {texts[14]}")


def case(jvm):
    over_calls(jvm)
    into_calls(jvm)
    through_native(jvm)
    beside_others(jvm)
    pops(jvm)
    many(jvm)
    refusals(jvm)
