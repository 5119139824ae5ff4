"""java break and its kin: pending ones, every place of a line, every loader, conditions, counts, threads, native methods."""
import re
import time

from harness import HERE, check, check_equal, gdb, note

SOURCE = (HERE / "program" / "Stops.java").read_text().splitlines()
LONG, SHORT, AGREEING, LOADERS = 10_000, 120, 10, 60
PATH = f"java sourcepath {HERE / 'program'}"


def line_of(mark):
    return next(number for number, line in enumerate(SOURCE, 1) if line.endswith(f"// {mark}"))


def stops(text):
    """(number, place, thread's name) of each Java breakpoint that was announced."""
    return re.findall(r"^Java breakpoint J(\d+), (.*), thread \d+ \"(.*)\"$", text, re.MULTILINE)


def everywhere(jvm):
    """Set before the process is there, in what is not loaded yet; each stops before its line runs, in each thread; all of it again
    in a second run."""
    lines = {mark: line_of(mark) for mark in ("ANONYMOUS", "LAMBDA", "FINALLY")}
    commands = [f"java break Stops:{lines['ANONYMOUS']}", f"java break Stops.java:{lines['LAMBDA']}", "java tbreak Stops.<init>",
                f"java break Stops:{lines['FINALLY']}", "java break Stops.overloaded(String)", "java break Never.called",
                "java break -thread worker Stops.overloaded", "java info", PATH]
    run = [jvm.java_run("Stops", 1, 0)] + ["java continue"] * 8 + ["java info"]
    texts = gdb(jvm, commands + run + run)
    for number, text in enumerate(texts[:7], 1):
        check(text.startswith(f"J{number}: breakpoint at ") and "pending: set when" in text, f"it is pending: {text}")
    check_stops(texts[9:19], first=True)
    check_stops(texts[19:], first=False)


def check_stops(texts, first):
    seen = [stops(text) for text in texts]
    anonymous, lambda_, final = line_of("ANONYMOUS"), line_of("LAMBDA"), line_of("FINALLY")
    expected = [("3", "Stops.<init>", "main")] if first else []
    expected += [("1", f"Stops$1.of (Stops.java:{anonymous})", "main"), ("2", f"Stops.lambda$lambda$0 (Stops.java:{lambda_})", "main"),
                 ("5", "Stops.overloaded", "main"), ("4", f"Stops.cleaned (Stops.java:{final})", "main"),
                 ("4", f"Stops.cleaned (Stops.java:{final})", "main"), ("7", "Stops.overloaded", "worker")]
    found = [(number, place if number in "124" else place.partition(" ")[0], name) for each in seen for number, place, name in each]
    check_equal(found, expected, "the stops")
    check("exited with code 011" in "".join(texts), f"the program comes to its end: {texts}")
    at_anonymous = next(text for text in texts if "J1," in text)
    check_equal(at_anonymous.splitlines()[1:], [f"{anonymous}\t{SOURCE[anonymous - 1]}"], "the source line below, and nothing before it")
    check(not re.search(r"^J3", texts[-1], re.MULTILINE), "the temporary one is gone")
    check("J6  breakpoint  Never.called  0 hits" in texts[-1], f"the one that never came: {texts[-1]}")


def tells_why(jvm):
    """Pending with the reason; what can be set says where; wrong ones are one line."""
    commands = [jvm.java_run("Stops", 1, 0), "java tbreak Stops.main", "java continue", "java break Stops:1", "java break Stops:9999",
                "java break Stops.nothing", "java break Stops.overloaded(long)", "java break Stops$Never.called", "java break 1",
                "java break Stops.overloaded", "java break Stops:", "java delete J99", "java ignore J1", "java condition J8 )",
                f"java break {line_of('FINALLY')}", "java disable all", "java continue", "java info"]
    texts = gdb(jvm, commands)
    begin = next(number for number, line in enumerate(SOURCE, 1) if "new Stops(5)" in line)
    check_equal([each[0] for each in stops(texts[2])], ["1"], "the stop at main")
    check(re.match(r"J2: breakpoint at Stops:1, pending: no code on line 1, nearest \d+$", texts[3]), texts[3])
    check(re.match(r"J3: .* pending: no code on line 9999, nearest \d+$", texts[4]), texts[4])
    check(texts[5].endswith("pending: the class has no method nothing"), texts[5])
    check(texts[6].endswith("pending: overloaded takes (int), (String)") or
          texts[6].endswith("pending: overloaded takes (String), (int)"), texts[6])
    check(texts[7].endswith("pending: class not prepared"), texts[7])
    check(re.match(r"J7: breakpoint at Stops\.java:1, pending: no code on line 1, ", texts[8]), f"a line of the selected frame: {texts[8]}")
    check_equal(texts[9], "J8: breakpoint at Stops.overloaded, 2 places", "a method of two forms")
    for number in (10, 11, 12, 13):
        check(len(texts[number].splitlines()) == 1, f"an error of one line: {texts[number]}")
    check("J9: breakpoint at Stops.java" in texts[14], texts[14])
    check("exited with code 011" in texts[16] and not stops(texts[16]), f"disabled ones stop nobody: {texts[16]}")
    check(begin, "the program's first line is known")


def conditions(jvm):
    """A condition that holds ten times of very many: ten stops, whose commands let the program run on."""
    rounds = LONG if jvm.long else SHORT
    place = f"java break Stops:{line_of('OFTEN')}"
    half = rounds // 2
    for condition, expected in ((f"round >= {rounds - AGREEING}", AGREEING), (f'name.equals("n7") && wide >= {(rounds - 10) << 32}L', 1),
                                (f"odd && round < {2 * AGREEING}", AGREEING)):
        begun = time.monotonic()
        texts = gdb(jvm, [f"{place} if {condition}", "java commands J1 java locals; java continue", jvm.java_run("Stops", rounds, 0),
                          "java continue", "java info"], seconds=240)
        seconds = time.monotonic() - begun
        check_equal(len(stops(texts[3])), expected, f"the stops with the condition {condition}")
        check_equal(len(re.findall(r"^  round = ", texts[3], re.MULTILINE)), expected, "the runs of the stop's commands")
        check("exited with code 011" in texts[3], f"the program comes to its end: {texts[3]}")
        note(f"breaks: {rounds} hits with the condition {condition}: {seconds:.1f} s with the start, {expected} stops")
    by_calls(jvm, place)
    texts = gdb(jvm, [place, f"java ignore J1 {half}", jvm.java_run("Stops", half + 2, 0), "java continue", "java locals", "java continue",
                      "java continue"])
    check(f"  round = {half}" in texts[4], f"the first stop after so many hits: {texts[4]}")
    check(stops(texts[5]) and "exited" in texts[6], "one more stop, then the end")


def by_calls(jvm, place):
    """A condition that calls methods stops the program, asks, and lets it go on; one that is none says so at its stop."""
    texts = gdb(jvm, [f'{place} if name.substring(1).equals("7")', jvm.java_run("Stops", 20, 0), "java continue", "java locals",
                      "java continue", "java locals", "java condition J1 nobody > 3", "java continue", "java condition J1 round +",
                      "java condition J1", "java ignore J1 1", "java continue", "java locals"])
    check("  round = 7" in texts[3] and "  round = 17" in texts[5], f"the stops of a condition that calls: {texts[2:6]}")
    check("the condition cannot be judged" in texts[7] and stops(texts[7]), f"a condition without sense stops: {texts[7]}")
    check_equal(len(texts[8].splitlines()), 1, f"an error of one line: {texts[8]}")
    check("exited with code 011" in texts[11], f"the last hits are ignored: {texts[11]}")


def loaders(jvm):
    """A class that sixty loaders load is bound in each before its initialiser runs."""
    count = LOADERS
    texts = gdb(jvm, [f"java break Stops$Loaded:{line_of('LOADED')}", "java commands J1 java continue", jvm.java_run("Stops", 0, count),
                      f"java ignore J1 {count - 1}", "java continue"])
    check("loaded 420" in texts[4], f"the program went on: {texts[4]}")
    check_equal(len(stops(texts[4])), 1, "the stop in the last loader")
    texts = gdb(jvm, [f"java break Stops.Loaded.<clinit> ", "java commands J1 java continue", jvm.java_run("Stops", 0, 3), "java continue"])
    check_equal(len(stops(texts[3])), 3, f"a stop in each of three: {texts[3]}")


def of_one_loader(jvm):
    """A name means the class that the frame's class sees, not the first of those that sixty loaders loaded."""
    commands = ["java print number", "java print Loaded.number", "java print Stops$Loaded.number", "java call number + VALUE",
                "java call own()", "java set number = 100", "java print number", "java call Stops.Loaded.number"]
    texts = gdb(jvm, [f"java break Stops$Loaded:{line_of('OWN')} if number == 41", jvm.java_run("Stops", 0, LOADERS), "java continue",
                      *commands, "java continue"])
    check("Stops$Loaded.own" in texts[2], f"the stop: {texts[2]}")
    found = [text.rpartition(" = ")[2] for text in texts[3:-1]]
    check_equal(found, ["41", "41", "41", "48", "48", "100", "100", "100"], f"the values: {texts[3:-1]}")
    check("loaded 420" in texts[-1] and not stops(texts[-1]), f"the condition holds in one of them: {texts[-1]}")


def lets_go(jvm):
    """Nothing stays in the VM when the debugger leaves."""
    with jvm.start_with_agent("Shop") as program:
        program.ready()
        texts = gdb(jvm, ["java break Shop.serve", "java attach", "java continue", "java info", "java detach"], pid=program.pid)
        check_equal([each[2] for each in stops(texts[2])], ["clerk"], f"the stop of a program that was attached to: {texts[2]}")
        check("1 hit" in texts[3], texts[3])
        texts = gdb(jvm, ["java attach", "break hook_bpt", "tbreak sched_yield", "ignore $bpnum 200", "java continue", "java detach"],
                    pid=program.pid)
        check("sched_yield" in texts[4] and "hook_bpt" not in texts[4], f"200 calls later nobody has stopped for it: {texts[4]}")


def set_late(jvm):
    """Set where the thread that stopped is inside the VM: the agent stops for it soon, and nobody sees that."""
    texts = gdb(jvm, [jvm.java_run("Shop"), "tbreak sched_yield", "java continue", "java break Shop.serve", "java continue", "java info", "kill"])
    check("pending: set when the agent can be asked next" in texts[3] or "breakpoint at Shop.serve(" in texts[3], texts[3])
    check_equal([each[2] for each in stops(texts[4])], ["clerk"], f"the stop: {texts[4]}")
    check("1 hit\n      at Shop.serve(Shop$Item, int)" in texts[5], texts[5])


def natives(jvm):
    """A native method stops in its C function: by its name or where it was registered, also before its library is loaded."""
    texts = gdb(jvm, ["java break Descent.bottom", "java break -t -native Descent.registered", "java break -native Descent.nest",
                      jvm.java_run("Mix", "descend", 1, 0), "java continue", "bt 1", "java continue", "bt 1", "java info", "kill"])
    seen = stops(texts[4]) + stops(texts[6])
    check_equal([place for _, place, _ in seen], ["Descent.registered <native>", "Descent.bottom <native>"], f"the stops: {texts}")
    check("registered_by_name_only" in texts[5] and "depth=3" in texts[5], f"behind the prologue: {texts[5]}")
    check("Java_Descent_bottom" in texts[7] and "mix.cpp" in texts[7], f"it stands in the C function: {texts[7]}")
    check("pending: the method is not native" in texts[8], texts[8])


def case(jvm):
    everywhere(jvm)
    tells_why(jvm)
    loaders(jvm)
    of_one_loader(jvm)
    natives(jvm)
    lets_go(jvm)
    set_late(jvm)
    conditions(jvm)
