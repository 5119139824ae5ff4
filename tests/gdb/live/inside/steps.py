"""In gdb: steps threads of the attached program through machine instructions of the code cache and examines each new pc's stack.

QUOR_STEPS: how many distinct pcs. Prints a line of JSON.
"""
import os
import time

import gdb

import harness
from callers import callers, turned_into
from interruption import interrupt
from quor.hotspot import vm as vms

STEPS_IN_A_ROW, STALE = 80, 30  # at most; without a new pc
SHORTEST, LONGEST = 0.02, 1  # seconds that the program runs between two stops, at most
TRACE = 0x100  # in the flags
AT_WORK = "work-"  # how the names of threads begin that do something


def end_trace():
    """A thread whose fault came while it was stepped may be left with the processor's trace flag: it would stop at each of its
    instructions."""
    flags = int(gdb.parse_and_eval("$eflags + 0"))
    if flags & TRACE:
        gdb.execute(f"set var $eflags = {flags & ~TRACE}", to_string=True)


def run_and_interrupt(longest):
    for thread in at_work():
        thread.switch()
        end_trace()
    gdb.execute("set scheduler-locking off")
    gdb.execute("handle SIGSEGV nostop noprint pass", to_string=True)
    interrupt(longest / 10, longest)


def pc():
    return int(gdb.selected_frame().pc())


def at_work():
    return [thread for thread in gdb.selected_inferior().threads() if (thread.name or "").startswith(AT_WORK)]


def in_code_cache(low, high):
    """Threads that stand in the code cache."""
    found = []
    for thread in at_work():
        thread.switch()
        if low <= pc() < high:
            found.append(thread)
    return found


def examine(result, before):
    """`before`: the callers one step ago, or None. Gives those of now."""
    now = callers()
    stack = harness.frames(gdb.execute("bt", to_string=True))
    why = harness.why_not_whole(stack)
    if not why and before is not None:
        why = turned_into(before, now)
    if why:
        code = gdb.execute(f"x/3i {pc()}", to_string=True)
        result["misses"].append({"pc": hex(pc()), "why": why, "code": code, "stack": [frame.text for frame in stack][:60]})
    return now


def step_through(thread, low, high, seen, wanted, result):
    """Until it leaves the code cache or comes to a fault (the VM's handler may wait for others, which stand still), or to nothing
    new for a while."""
    thread.switch()
    gdb.execute("set scheduler-locking on")
    gdb.execute("handle SIGSEGV stop print pass", to_string=True)
    before, stale, stood = None, 0, None
    for _ in range(STEPS_IN_A_ROW):
        here = pc()
        if here == before or stale > STALE or len(seen) >= wanted or not low <= here < high:
            return
        before, stale = here, stale + 1
        if here not in seen:
            stale = 0
            seen.add(here)
            stood = examine(result, stood)
        else:
            stood = None
        gdb.execute("stepi", to_string=True)


def main():
    low, high = vms.required().code_cache.bounds()
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
