"""java bt, frame, up, down, list, sourcepath: one list of native and Java frames, in a process that was stopped anywhere."""
import re
from pathlib import Path

from harness import HERE, check, check_equal, gdb

SOURCES = HERE / "program"
NUMBERED = re.compile(r"^#(\d+) +(.*)$", re.MULTILINE)


def numbers(text):
    return [(int(match.group(1)), match.group(2)) for match in NUMBERED.finditer(text)]


def check_main(text):
    """main waits in Thread.join."""
    methods = [what for _, what in numbers(text)]
    check("java.lang.Thread.join" in text and re.search(r"Shop\.main\(String\[\]\) \(Shop\.java:42\)", text),
          f"the stack of main: {text}")
    check(not any("JavaCalls" in what or "start_thread" in what for what in methods), f"without the VM's own frames: {text}")
    check(re.search(r"^\(\d+ frames of the VM left out; java bt -native shows them\)$", text, re.MULTILINE), f"it says so: {text}")


def case(jvm):
    commands = ["thread name-of-no-thread", "java bt thread main", "java bt thread nobody", "java bt thread all", "java bt -x",
                "thread find main", "python t = __import__('quor.thread_names').thread_names.find('main'); t.switch()",
                "java bt", "java bt -native", "bt", "java up", "java list", "java sourcepath " + str(SOURCES), "java list", "java list",
                "java list Shop:2", "java list Shop:1000", "java list here", "java down 99", "java frame 1000", "java bt 1", "java frame"]
    with jvm.start_with_agent("Shop", 60000) as program:
        program.ready()
        (_, of_main, nobody, of_all, unknown, _, _, stack, native, gdbs, up, unfound, path, listed, more, second, beyond, nonsense,
         down, no_frame, one, selected) = gdb(jvm, commands, pid=program.pid)
    check_main(of_main)
    check_equal(nobody, "there is no thread nobody; java threads lists them", "a thread that does not exist")
    check(of_all.count("Thread ") > 10 and '"clerk"' in of_all, f"all threads by name: {of_all}")
    check("It takes [-native]" in unknown, f"an option that does not exist: {unknown}")
    check_main(stack)
    shown = dict(numbers(native))
    check(all(shown[number] == what for number, what in numbers(stack)), "-native shows the same frames under the same numbers")
    gdbs_numbers = [int(number) for number in re.findall(r"^#(\d+)", gdbs, re.MULTILINE)]
    check_equal([number for number, _ in numbers(native)], gdbs_numbers, "the numbers of java bt -native and of bt")
    check(re.match(r"#\d+ +java\.lang\.", up), f"java up selects a Java frame: {up}")
    check("not found; java sourcepath DIR" in unfound or "line is not known" in unfound, f"a source that is not there: {unfound}")
    check_equal(path, str(SOURCES), "the folders")
    lines = Path(SOURCES, "Shop.java").read_text().splitlines()
    check_equal(second.splitlines()[:2], [f"1\t{lines[0]}", f"2\t{lines[1]}"], "lines of a class's file")
    check_equal(beyond, f"{SOURCES}/Shop.java has {len(lines) + 1} lines", "a line beyond the end")
    check("CLASS:LINE" in nonsense, f"a place that is none: {nonsense}")
    check_equal(down, "there is no Java frame further in", "java down from the innermost")
    check("No frame at level 1000" in no_frame, f"a frame that does not exist: {no_frame}")
    check_equal(len(numbers(one)), 1, "one frame")
    check("(More: " in one, f"it says that there are more: {one}")
    check_equal(selected.splitlines()[0], up.splitlines()[0], "the selected frame stays")
