"""In gdb: steps threads of the attached program through machine instructions of the code cache and examines each new pc's stack.

QUOR_STEPS: how many distinct pcs. Prints a line of JSON.
"""
import os
import time

import gdb

import harness
from interruption import interrupt
from quor.hotspot import vm

STEPS_IN_A_ROW = 80
SHORTEST, LONGEST = 0.02, 1  # seconds that the program runs between two stops, at most


def run_and_interrupt(longest):
    gdb.execute("set scheduler-locking off")
    gdb.execute("handle SIGSEGV nostop noprint pass", to_string=True)
    interrupt(longest / 10, longest)


def pc():
    return int(gdb.selected_frame().pc())


def code_cache():
    """Its lowest and highest address."""
    found = vm.required()
    return [found.memory.word(found.tables.static(f"CodeCache::_{bound}_bound")) for bound in ("low", "high")]


def in_code_cache(low, high):
    """Threads that stand in the code cache."""
    found = []
    for thread in gdb.selected_inferior().threads():
        thread.switch()
        if low <= pc() < high:
            found.append(thread)
    return found


def examine(seen, result):
    stack = harness.frames(gdb.execute("bt", to_string=True))
    why = harness.why_not_whole(stack)
    if why:
        code = gdb.execute(f"x/3i {pc()}", to_string=True)
        result["misses"].append({"pc": hex(pc()), "why": why, "code": code, "stack": [frame.text for frame in stack][:60]})


def step_through(thread, low, high, seen, wanted, result):
    """Until it leaves the code cache or comes to a fault: the VM's handler may wait for others, which stand still."""
    thread.switch()
    gdb.execute("set scheduler-locking on")
    gdb.execute("handle SIGSEGV stop print pass", to_string=True)
    before = None
    for _ in range(STEPS_IN_A_ROW):
        if pc() == before:
            return
        before = pc()
        if len(seen) >= wanted or not low <= pc() < high:
            return
        if pc() not in seen:
            seen.add(pc())
            examine(seen, result)
        gdb.execute("stepi", to_string=True)


def main():
    low, high = code_cache()
    wanted, seen, result = int(os.environ["QUOR_STEPS"]), set(), {"misses": []}
    gdb.execute("handle SIGINT stop print nopass", to_string=True)
    end, longest = time.monotonic() + 20 + wanted * 0.5, SHORTEST
    while len(seen) < wanted and time.monotonic() < end:
        run_and_interrupt(longest)
        threads = in_code_cache(low, high)
        # on a busy machine a short time may not even bring the VM out of a safepoint
        longest = SHORTEST if threads else min(LONGEST, 2 * longest)
        for thread in threads:
            step_through(thread, low, high, seen, wanted, result)
    result["pcs"] = len(seen)
    harness.tell(result)


main()
