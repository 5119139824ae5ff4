"""A breakpoint on the main thread and on a worker: what the record says, and that the other threads really stand still."""
import gdb

import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent import place, thread_map
from quor.agent.calls import call, sleep
from stops import expect_exit, run_to
from surroundings import output


def check_record(stop, clazz, method, name):
    event = stop.part("breakpoint")
    stop.check_kind("BREAKPOINT")
    check_equal(java.thread_name(event["thread"]), name, "the thread's name")
    check_equal(int(event["clazz"]), int(clazz), "the class is the handle given when it was prepared")
    check_equal(int(event["method"]), int(method), "the method")
    check_equal(int(event["location"]), 0, "the location")
    if gdb.lookup_type("void").pointer().sizeof == 4:
        words = stop.words()
        check_equal(len(words), 12, "the record's words")
        found = [int(event[part]) & 0xFFFFFFFF for part in ("thread", "clazz", "method", "location")]
        check_equal(words[:6], [place.constant("JVMDI_EVENT_BREAKPOINT"), *found, 0], "the first words as a debugger reads them")
    tid = call("TMap_handle2tid", event["thread"])
    check(tid != 0, "the thread map knows the thread's id")
    check_equal(int(call("TMap_tid2handle", tid)), int(event["thread"]), "the id leads back to the handle")


def check_everything_stands(clazz, stop):
    raising = int(stop.part("breakpoint")["thread"])
    others = {java.thread_name(handle): handle for handle, _ in thread_map.known_threads()}
    check("counting" in others, "the counting thread is known")
    for name, handle in others.items():
        if handle != int(place.global_value("agent_thread")):
            check(java.thread_state(handle) & java.SUSPENDED, f"{name} is suspended")
    check(raising in others.values(), "the raising thread is among them")
    before = java.static_int(clazz, "counter")
    sleep(0.1)
    check_equal(java.static_int(clazz, "counter"), before, "the counter after 100 ms at the hook")
    return before


def case():
    start("Breakpoints")
    attach_java_mode()
    clazz = java.prepared("Breakpoints")
    reached = java.set_breakpoint(clazz, "reached")

    stop = run_to("hook_bpt")
    check_record(stop, clazz, reached, "main")
    first = check_everything_stands(clazz, stop)

    stop = run_to("hook_bpt")
    check_record(stop, clazz, reached, "worker")
    second = check_everything_stands(clazz, stop)
    check(second != first, "the counter moved between the stops")

    check_equal(call("agent_clear_breakpoint", 0, clazz, reached, 0), 0, "agent_clear_breakpoint")
    expect_exit(7)
    check_equal(output(), "sum 12\n", "the program's output")
