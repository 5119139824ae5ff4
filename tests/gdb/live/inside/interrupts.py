"""In gdb: stops the attached program at random moments and tells of each thread's stack whether it is whole.

QUOR_INTERRUPTS: how many stops. Prints a line of JSON.
"""
import os

import gdb

import harness
from interruption import interrupt

WORD = gdb.lookup_type("void").pointer().sizeof


def examine(result):
    text = gdb.execute("thread apply all bt", to_string=True)
    names = {str(thread.num): thread.name for thread in gdb.selected_inferior().threads()}
    for heading, stack in harness.threads(text).items():
        name = names.get(heading.split()[1]) or ""
        result["stacks"] += 1
        result["working"] += name.startswith("work-")
        result["java"] += len(harness.java_frames(stack))
        why = harness.why_not_whole(stack)
        if why and WORD == 4 and harness.ends_in_vdso(stack):
            result["vdso"] += 1
        elif why:
            result["misses"].append({"thread": f"{heading} {name}", "why": why, "stack": [frame.text for frame in stack][:60],
                                     "machine": machine(int(heading.split()[1]))})


def machine(number):
    """What explains a miss: registers, code and stack at the thread's top."""
    return gdb.execute(f"thread apply {number} -q -s -- frame 0", to_string=True) + "".join(
        gdb.execute(f"thread apply {number} -q -s -- {command}", to_string=True)
        for command in ("bt -no-filters 6", "info registers", "x/12i $pc - 24", "x/8i $pc", "x/40a $sp"))


def main():
    result = {"stops": 0, "stacks": 0, "working": 0, "java": 0, "vdso": 0, "misses": []}
    gdb.execute("handle SIGINT stop print nopass", to_string=True)
    for _ in range(int(os.environ["QUOR_INTERRUPTS"])):
        interrupt()
        if not gdb.selected_inferior().pid:
            break
        result["stops"] += 1
        examine(result)
    harness.tell(result)


main()
