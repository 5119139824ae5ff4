"""Thrown exceptions reach the debugger as its filters say: of a named class, of every class, or none."""
import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent import questions
from quor.agent.calls import call, out_text
from stops import expect_exit, run_to
from surroundings import output


def start_with_filter(name):
    start("Tour")
    attach_java_mode()
    clazz = java.prepared("Tour")
    java.set_breakpoint(clazz, "begin")
    run_to("hook_bpt")
    if name is not None:
        check_equal(call("agent_set_thrownexception_filter", 0, out_text(name)), 0, f"a filter for {name!r}")
    java.enable_event("EXCEPTION")
    return clazz


def check_thrown(stop, name):
    stop.check_kind("EXCEPTION")
    event = stop.part("exception")
    check_equal(java.signature(questions.object_class(event["exception"])), name, "the class of the thrown object")
    check_equal(java.thread_name(event["thread"]), "main", "the thread")
    check_equal(java.signature(event["clazz"]), "LTour$Thrower;", "the class that throws")
    check_equal(java.method_name(event["method"]), "fail", "the method that throws")
    check_equal(java.method_name(event["catch_method"]), "attempt", "the method that will catch")


def named_class():
    start_with_filter("Tour$Expected")
    check_thrown(run_to("hook_exception_thrown"), "LTour$Expected;")
    check("Other" in output(), "the other exception has gone by")
    expect_exit(3, never=("hook_exception_thrown",))


def every_class():
    clazz = start_with_filter("")
    seen = []
    while "LTour$Expected;" not in seen:
        stop = run_to("hook_exception_thrown")
        event = stop.part("exception")
        seen.append(java.signature(questions.object_class(event["exception"])))
        if java.method_name(event["method"]) == "fail":
            check_thrown(stop, seen[-1])
    check("LTour$Other;" in seen, "both of the program's exceptions are shown")
    check_equal(call("agent_clear_thrownexception_filter", 0, out_text("")), 0, "clearing the filter")
    check(int(clazz) != 0, "the program's class")
    expect_exit(3, never=("hook_exception_thrown",))


def no_filter():
    start_with_filter(None)
    expect_exit(3, never=("hook_exception_thrown",))
    check_equal(output(), "42\nOther\nExpected\n", "the program's output")


def case():
    named_class()
    every_class()
    no_filter()
