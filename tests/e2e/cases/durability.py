"""Ten thousand stops, each of which reads threads, monitors, frames, locals and fields: neither the Java heap nor the
process's memory is larger at the end than after the first thousand."""
import re

import gdb

import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent import place
from quor.agent.calls import call
from stops import Process, expect_exit, run_to
from surroundings import CONFIG, output
from waits import limit

WARM, ALL = 1_000, 10_000
# The VM goes on allocating for its own purposes, least of all when it compiles nothing. Over nine thousand stops this is less
# than what one leaked word a stop would come to.
SLACK = 32 * 1024


def read_stops(first, beyond, failures):
    """At a stop already: reads it and those that follow, to the last before `beyond`."""
    for turn in range(first, beyond):
        if turn > first:
            gdb.execute("continue", to_string=True)
            check_stop(turn)
        frame = gdb.selected_frame()
        failures += call("probe_stop", frame.read_var("env"), frame.read_var("event"), turn)
    return failures


def check_stop(turn):
    name = gdb.selected_frame().name() if Process.exit_status is None else f"the end ({Process.exit_status})"
    if name != "hook_bpt":
        check(False, f"stop {turn} is at hook_bpt, not {name}")


def heap(when):
    return int(re.search(rf"heap {when} (\d+)", output()).group(1))


def case():
    gdb.execute("set environment MALLOC_ARENA_MAX 1")  # the figure is that of one arena
    start("Durability", CONFIG["probe"], str(WARM), str(ALL), options=("-Xint",))
    attach_java_mode()
    clazz = java.prepared("Durability")
    java.set_breakpoint(clazz, "stop")
    run_to("hook_bpt")
    with limit(CONFIG["seconds"], "ten thousand stops"):
        failures = read_stops(0, WARM, 0)
        gdb.execute("continue", to_string=True)
        check_stop(WARM)
        warm_memory = call("probe_memory")
        failures = read_stops(WARM, ALL, failures)
    check_equal(failures, 0, "wrong answers")
    end_memory = call("probe_memory")
    check_equal(int(place.global_value("suspended")), 1, "the VM is alive and held at the last stop")
    expect_exit(9, never=("hook_bpt",))
    print(f"memory in use: {warm_memory} bytes after {WARM} stops, {end_memory} after {ALL}")
    print(f"Java heap: {heap('warm')} bytes after {WARM} stops, {heap('end')} after {ALL}")
    check(end_memory <= warm_memory + SLACK, "the process's memory is no larger")
    check(heap("end") <= heap("warm") + SLACK, "the Java heap is no larger")
