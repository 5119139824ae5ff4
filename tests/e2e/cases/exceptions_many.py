"""A program throws thousands of exceptions, each of which the agent delivers: the table of handles grows by none."""
import gdb

import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent.calls import call, out_text
from stops import expect_exit, run_to

TIMES = 3_000


def handles():
    """How many URefs there are."""
    count = 0
    buckets = gdb.parse_and_eval("refmap")
    low, high = buckets.type.range()
    for i in range(low, high + 1):
        record = buckets[i]
        while int(record):
            count += 1
            record = record["next"]
    return count


def case():
    start("Throws", str(TIMES))
    attach_java_mode()
    clazz = java.prepared("Throws")
    java.set_breakpoint(clazz, "turn")
    run_to("hook_bpt")
    check_equal(call("agent_set_thrownexception_filter", 0, out_text("Throws$Mine")), 0, "a filter")
    java.enable_event("EXCEPTION")
    run_to("hook_bpt")
    first = handles()
    run_to("hook_bpt")
    check(first > 100, f"the table holds {first} handles")
    check(handles() <= first + 5, f"{handles()} handles after {TIMES} more throws, {first} before")
    expect_exit(3, never=("hook_bpt",))
