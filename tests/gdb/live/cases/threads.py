"""java threads: names, states, places and gdb's numbers, live and in gcore's core, with every kind of pointer that this VM has."""
import ast
import re

from harness import check, check_equal, gdb, note, wait_until
from thread_dump import settled

THREADS = 8
STATES = {"waiter": "WAITING  blocked", "parker": "WAITING  blocked", "natürlich": "RUNNABLE  in native",
          "睡眠": "TIMED_WAITING  blocked"}
PLACES = {"waiter": r"java\.lang\.Object\.wait0?", "parker": r"jdk\.internal\.misc\.Unsafe\.park", "natürlich": r"Descent\.sleep",
          "睡眠": r"java\.lang\.Thread\.(sleep0?|sleepNanos0?)"}
NAMES = "python print({t.num: t.ptid[1] for t in gdb.selected_inferior().threads()})"


def options_of(jvm):
    yield "default", []
    for collector in jvm.collectors():
        yield collector, [collector]
    if jvm.word_size == 8:
        yield "wide pointers", ["-XX:-UseCompressedOops"]
        if jvm.version >= 24:
            yield "compact headers", ["-XX:+UnlockExperimentalVMOptions", "-XX:+UseCompactObjectHeaders"]


def check_list(text, what):
    for index in range(THREADS):
        kind = list(STATES)[index % 4]
        pattern = rf"^\*? +\d+ {kind}-{index}  {STATES[kind]}  {PLACES[kind]}$"
        check(re.search(pattern, text, re.MULTILINE), f"{what}: {kind}-{index} is listed as {pattern}:\n{text}")
    check(re.search(r"^\*? +\d+ main  RUNNABLE  in native  Descent\.sleep$", text, re.MULTILINE), f"{what}: main:\n{text}")
    check("no name" not in text and "?" not in text, f"{what}: all threads have a name and a state:\n{text}")


def check_numbers(text, natives, program_dump, what):
    """gdb's numbers lead to the native threads that the VM's own dump tells."""
    numbers = {match.group(2): int(match.group(1)) for match in re.finditer(r"^\*? +(\d+) (\S+)  ", text, re.MULTILINE)}
    told = {match.group(1): int(match.group(2), 0)
            for match in re.finditer(r'^"([^"]+)".*\bnid=(0x[0-9a-f]+|\d+)', program_dump, re.MULTILINE)}
    common = set(numbers) & set(told)
    check(len(common) > THREADS, f"{what}: threads in both lists: {common}")
    for name in common:
        check_equal(natives[numbers[name]], told[name], f"{what}: the native thread of {name}")


def one(jvm, what, options):
    with jvm.start("threads", THREADS, options=options) as program:
        program.ready()
        wait_until(lambda: settled(program), "the main thread waits too")
        dump = program.thread_dump()
        core = what == "default"
        texts = gdb(jvm, ["java threads", NAMES, "thread 1", "java threads -v", "thread", *["gcore threads.core"] * core],
                    pid=program.pid)
    check_list(texts[0], what)
    check_numbers(texts[0], ast.literal_eval(texts[1]), dump, what)
    check(re.search(r"natürlich-2 .*daemon=True tid=\d+ lwp=\d+ JavaThread=0x", texts[3]), f"{what}: -v tells more: {texts[3]}")
    check("Current thread is 1 " in texts[4], f"{what}: the selected thread stays: {texts[4]}")
    note(f"threads: {what}: {len(texts[0].splitlines())} threads by name")
    if core:
        of_core = gdb(jvm, ["java threads"], core=jvm.folder / "threads.core", arguments=[jvm.java])[0]
        check_list(of_core, "gcore's core")
        (jvm.folder / "threads.core").unlink()


def case(jvm):
    for what, options in options_of(jvm):
        one(jvm, what, options)
