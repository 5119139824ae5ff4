"""Arguments and locals: of interpreted frames all, of compiled ones what the compiler told; live, in `bt -full`, in a core."""
from harness import check, check_equal, gdb, note

HELPER = ("python exec('''\nfrom quor.hotspot import vm\n"
          "def select(name):\n"
          "    for thread in gdb.selected_inferior().threads():\n"
          "        thread.switch()\n"
          "        frame = gdb.newest_frame()\n"
          "        while frame is not None:\n"
          "            methods = [each.method for each in vm.required().java_frames_of(frame)]\n"
          "            if any(method is not None and method.name == name for method in methods):\n"
          "                frame.select()\n"
          "                return\n"
          "            frame = frame.older()\n"
          "''')")
SELECT = "python select('look')"
EXPECTED = {"whole": "-5", "large": "1099511627776", "real": "2.5", "single": "1.5", "letter": "'x'", "truth": "true",
            "little": "-3", "small": "300", "text": '"text é"', "array": "int[3] {1, 2, 3}", "nothing": "null", "later": "95"}
HEADING = "Locals.look(int, long, double, float, char, boolean, byte, short, String, int[], Object) (Locals.java:"


def values(text):
    """{name: value} of the first frame's lines "  name = value"."""
    return dict(line.strip().split(" = ", 1) for line in text.splitlines()[1:] if line.startswith("  ") and " = " in line)


def check_interpreted(text, what):
    check(text.startswith(HEADING), f"{what}: the frame is named: {text}")
    found = values(text)
    for name, value in EXPECTED.items():
        check_equal(found.get(name), value, f"{what}: {name}")
    check(found["this"].startswith("Locals@") and found["this"].endswith("{number=7}"), f"{what}: this: {found['this']}")
    check(found["objects"].startswith('java.lang.Object[2] {"text é", Locals@'), f"{what}: objects: {found['objects']}")


def part_of_bt_full(text):
    """The lines of the frame of look in `bt -full`, as java locals prints them."""
    lines = text.splitlines()
    start = next(number for number, line in enumerate(lines) if "Locals.look(" in line)
    end = next(number for number in range(start + 1, len(lines)) if not lines[number].startswith(" "))
    return "\n".join([HEADING] + lines[start + 1:end])


def interpreted(jvm):
    with jvm.start("locals", options=["-Xint"]) as program:
        program.ready()
        texts = gdb(jvm, [HELPER, SELECT, "java locals", "bt -full", "print 1 + 1", "print \"abc\"", "gcore locals.core"],
                    pid=program.pid)
    check_interpreted(texts[2], "java locals")
    check_interpreted(part_of_bt_full(texts[3]), "bt -full")
    check_equal((texts[4], texts[5]), ("$1 = 2", '$2 = "abc"'), "what gdb prints of its own values")
    texts = gdb(jvm, [HELPER, SELECT, "java locals"], core=jvm.folder / "locals.core", arguments=[jvm.java])
    check_interpreted(texts[2], "in a core")
    (jvm.folder / "locals.core").unlink()


def compiled(jvm, options):
    """Only `later` and `objects` are needed after the call: of the others the compilers say nothing, or what is true."""
    with jvm.start("locals", options=["-Xcomp", *options]) as program:
        program.ready()
        found = values(gdb(jvm, [HELPER, SELECT, "java locals"], pid=program.pid)[2])
    check_equal(found.get("later"), "95", f"{options}: later")
    check(found["objects"].startswith('java.lang.Object[2] {"text é", Locals@'), f"{options}: objects: {found['objects']}")
    for name, value in EXPECTED.items():
        check(found.get(name) in (value, "<not told>"), f"{options}: {name} is told right or not at all: {found.get(name)}")
    note(f"locals: compiled with {options}: {sum(value != '<not told>' for value in found.values())} of {len(found)} told")


def case(jvm):
    interpreted(jvm)
    compiled(jvm, ["-XX:TieredStopAtLevel=1"])
    compiled(jvm, ["-XX:-TieredCompilation"])
