"""The light agent: breakpoints, steps and queries work; filters of exceptions and notice of a frame's pop are refused."""
import gdb

import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent import place
from quor.agent.calls import call, out_text
from stops import expect_exit, run_to
from surroundings import output

MISSING = 99  # the VM was not asked for the capability
LINE = "__QUOR_LIGHT on: no exception, frame pop and method exit events\n"


def check_refusals(clazz, method, thread):
    check_equal(call("agent_set_thrownexception_filter", 0, out_text("")), MISSING, "a filter of thrown exceptions")
    check_equal(call("agent_set_uncaughtexception_filter", 0, clazz, method), MISSING, "a filter of uncaught exceptions")
    check_equal(call("agent_notifyframepop", 0, 0, thread, 0), MISSING, "agent_notifyframepop")
    for kind in ("EXCEPTION", "EXCEPTION_CATCH", "FRAME_POP", "METHOD_EXIT"):
        number = place.constant(f"JVMDI_EVENT_{kind}")
        check_equal(call("agent_set_eventnotification", 0, 1, number, 0), MISSING, f"switching {kind} on")


def case():
    gdb.execute("set environment __QUOR_LIGHT 1")
    start("Tour")
    attach_java_mode()
    clazz = java.prepared("Tour")
    work = java.set_breakpoint(clazz, "work")
    thread = run_to("hook_bpt").part("breakpoint")["thread"]
    check_equal(java.thread_name(thread), "main", "the thread that stands at the breakpoint")
    check_refusals(clazz, work, thread)
    java.enable_event("SINGLE_STEP", 1, thread)
    steps = 0
    while int(run_to("hook_step").part("single_step")["method"]) == int(work):
        steps += 1
    check(steps >= 3, "steps go through the method to its end")
    java.enable_event("SINGLE_STEP", 0, thread)
    java.enable_event("METHOD_ENTRY", 1, thread)
    run_to("hook_method_entry")
    java.enable_event("METHOD_ENTRY", 0, thread)
    expect_exit(3, never=("hook_step", "hook_exception_thrown", "hook_exception_caught", "hook_frame_pop"))
    check_equal(output(), f"{LINE}42\nOther\nExpected\n", "the program's output")
