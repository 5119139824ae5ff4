"""The stacks of waiting threads are those of the VM's own thread dump, line for line."""
import re

from harness import check, check_equal, check_whole, gdb, java_frames, note, threads, wait_until
from crash import plain

THREADS = 8
MODES = {"default": [], "interpreter": ["-Xint"], "compiled": ["-Xcomp"]}


def dumped(text):
    """{native thread id: [(class, method, where)]} of a thread dump."""
    found = {}
    for block in re.split(r"\n(?=\")", text):
        match = re.match(r'"[^\n]*\bnid=(0x[0-9a-f]+|\d+)', block)
        if match:
            lines = re.findall(r"^\tat (?:[\w.@]+/)?([\w.$/]+?)\.([\w$<>]+)\(([^)]*)\)", block, re.MULTILINE)
            found[int(match.group(1), 0)] = [(each, method, "native" if "Native" in where else where if ".java:" in where else "")
                                             for each, method, where in lines]
    return found


def without_modules(stack):
    return [(each, method, where.rsplit("/", 1)[-1]) for each, method, where in plain(stack)]


def settled(program):
    """The threads of a dump in which the main thread has come to its wait, else None."""
    dump = dumped(program.thread_dump())
    asleep = any(stack[:1] == [("Descent", "sleep", "native")] and ("Mix", "main") == stack[-1][:2] for stack in dump.values())
    return dump if asleep else None


def case(jvm):
    for mode, options in MODES.items():
        lines = 0
        with jvm.start("threads", THREADS, options=options) as program:
            program.ready()
            dump = wait_until(lambda: settled(program), "the main thread waits too")
            stacks = threads(gdb(jvm, ["thread apply all bt"], pid=program.pid)[0])
            compared = 0
            for heading, stack in stacks.items():
                own = dump.get(int(re.search(r"LWP (\d+)", heading).group(1)))
                check_whole(stack, heading)
                if own and "Compiler" not in heading:
                    check_equal(without_modules(java_frames(stack)), without_modules(own), heading)
                    compared += 1
                    lines += len(own)
        check(compared >= THREADS, f"{compared} threads were compared")
        note(f"thread_dump: mode {mode}: {lines} lines of {compared} threads equal the VM's own dump")
