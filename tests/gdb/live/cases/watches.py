"""java catch, watch, rwatch, awatch, trace: exceptions by class and fate, fields by what is done to them, calls without a stop."""
import re

from harness import check, check_equal, gdb
from paces import PATH, line_of


def heads(text, what):
    """The first lines of the stops of a kind."""
    return re.findall(rf"^Java {what} J.*$", text, re.MULTILINE)


def catches(jvm):
    """By class, by superclass, exactly; caught and uncaught; the message and who catches it."""
    run = jvm.java_run("Paces", 1)
    texts = gdb(jvm, ["java catch IllegalArgumentException", PATH, run, "java continue", "java info", "java bt 1", "java delete J1",
                      "java continue"])
    check("Paces.refuse (Paces.java:" in heads(texts[3], "exception")[0], f"where it is thrown: {texts[3]}")
    check('java.lang.IllegalArgumentException: "negative"' in texts[3], f"what is thrown: {texts[3]}")
    check(re.search(r"^caught in Paces\.guarded \(Paces\.java:\d+\)$", texts[3], re.MULTILINE), f"who catches it: {texts[3]}")
    check("at every throw of IllegalArgumentException" in texts[4], texts[4])
    check("Paces.refuse(int)" in texts[5], f"the thread stands where it throws: {texts[5]}")
    check("exited with code 05" in texts[7], f"nobody waits for it any more: {texts[7]}")
    for spec, expected in (("caught java.lang.RuntimeException", 1), ("java.lang.RuntimeException -exact", 0),
                           ("uncaught java.lang.RuntimeException", 0), ("IllegalArgumentException -exact", 1)):
        texts = gdb(jvm, [f"java catch {spec}", "java commands J1 java continue", run, "java continue"])
        check_equal(len(heads(texts[3], "exception")), expected, f"the stops of java catch {spec}: {texts[3]}")
        check("exited with code 05" in texts[3], f"java catch {spec}: the program comes to its end: {texts[3]}")


def catches_exactly(jvm):
    """By the exact class, and by a final one, the program stops for no other throw, not even for gdb alone."""
    count = "python from quor.agent import hooks; thrown = []; hooks.listen('hook_exception_thrown', lambda event: thrown.append(event))"
    for spec, expected in (("java.lang.RuntimeException -exact", 0), ("Stops$Last", 1), ("Last -exact", 1)):
        texts = gdb(jvm, [f"java catch {spec}", "java commands J1 java continue", jvm.java_run("Stops", 1, 0, "throw"), count,
                          "java continue", "python print(len(thrown))"])
        check_equal(len(heads(texts[4], "exception")), expected, f"the stops of java catch {spec}: {texts[4]}")
        check_equal(int(texts[5]), expected, f"the throws for which java catch {spec} stopped the program for gdb")


def watched(jvm):
    """Writes with the old and the new value, reads with the value; with a condition; nothing after the deletion."""
    run = jvm.java_run("Paces", 1)
    texts = gdb(jvm, ["java watch Paces.over", "java rwatch Paces.nothing", "java awatch Nowhere.field", PATH, run, "java continue", "java info",
                      "java delete all", "java continue"])
    check(f"Java watchpoint J1, Paces.over, Paces.main (Paces.java:{line_of('OVER')}), thread" in texts[5], f"the write: {texts[5]}")
    check("Old value: false\nNew value: true\n" in texts[5], f"the values: {texts[5]}")
    check("pending: the class declares no field nothing" in texts[6], texts[6])
    check("pending: class not prepared" in texts[6], texts[6])
    check("exited with code 05" in texts[8], f"nobody watches any more: {texts[8]}")
    texts = gdb(jvm, ["java awatch Stops.start if base == 1", jvm.java_run("Stops", 1, 0), "java continue", "java continue"])
    check("the condition cannot be judged: " in texts[2] and "Stops.<init>" in texts[2], f"a local that is not there: {texts[2]}")
    check("judged" not in texts[3] and "Stops$1.of" in texts[3] and "\nValue: 5" in texts[3], f"where it holds: {texts[3]}")
    texts = gdb(jvm, ["java watch Stops.start", "java rwatch Stops.start", jvm.java_run("Stops", 1, 0), "java continue",
                      "java continue", "java continue"])
    check("Stops.<init>" in texts[3] and "Old value: 0\nNew value: 5" in texts[3], f"the write of an object's field: {texts[3]}")
    check("Stops$1.of" in texts[4] and "\nValue: 5" in texts[4], f"the read of it: {texts[4]}")
    check("exited with code 011" in texts[5], f"the program comes to its end: {texts[5]}")


def traced(jvm):
    """Each call in one line, with its arguments, and no stop."""
    texts = gdb(jvm, ["java trace Stops.overloaded", "java trace Stops.often if round > 1", jvm.java_run("Stops", 4, 0),
                      "java continue", "java trace Stops:3"])
    found = re.findall(r"^(J\d): (.*), thread \d+ \"(.*)\"$", texts[3], re.MULTILINE)
    returned = "Stops.overloaded returned"
    check_equal(found[:6], [("J1", "Stops.overloaded(number=4)", "main"), ("J1", returned, "main"),
                            ("J1", 'Stops.overloaded(text="four")', "main"), ("J1", returned, "main"),
                            ("J1", "Stops.overloaded(number=5)", "worker"), ("J1", returned, "worker")], "the first calls")
    expected = [text for n in (2, 3) for text in
                (f'Stops.often(round={n}, name="n{n}", wide={n << 32}, odd={str(n % 2 == 1).lower()})', f"Stops.often returned {n + 2}")]
    check_equal([text for _, text, _ in found[6:]], expected, "those with a condition")
    check("exited with code 011" in texts[3], f"without a stop: {texts[3]}")
    check_equal(len(texts[4].splitlines()), 1, f"an error of one line: {texts[4]}")
    texts = gdb(jvm, ["java trace Paces.guarded", "java trace Paces.wide", jvm.java_run("Paces", 1), "java continue"])
    check_equal(re.findall(r"^J\d: (Paces\..*), thread", texts[3], re.MULTILINE),
                ["Paces.guarded(number=1)", 'Paces.guarded returned "fine"', "Paces.guarded(number=-1)", 'Paces.guarded returned "caught"',
                 "Paces.wide(number=3)", "Paces.wide returned 1099511627779"], "objects, longs, and several places that return")


def case(jvm):
    catches(jvm)
    catches_exactly(jvm)
    watched(jvm)
    traced(jvm)
