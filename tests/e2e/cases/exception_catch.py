"""An exception that leaves a watched method is shown where it is caught, and no other catch is."""
import java
from checks import check_equal
from program import attach_java_mode, start
from quor.agent import questions
from quor.agent.calls import call
from stops import expect_exit, run_to


def case():
    start("Tour")
    attach_java_mode()
    clazz = java.prepared("Tour")
    java.set_breakpoint(clazz, "begin")
    run_to("hook_bpt")
    thrower = questions.class_by_name("Tour$Thrower").handle
    fail = java.method(thrower, "fail")
    check_equal(call("agent_set_uncaughtexception_filter", 0, int(thrower), int(fail)), 0,
                "agent_set_uncaughtexception_filter")
    java.enable_event("EXCEPTION")
    java.enable_event("EXCEPTION_CATCH")

    stop = run_to("hook_exception_caught", "hook_exception_thrown")
    check_equal(stop.hook, "hook_exception_caught", "the event that is shown")
    stop.check_kind("EXCEPTION_CATCH")
    event = stop.part("exception_catch")
    check_equal(java.signature(questions.object_class(event["exception"])), "LTour$Other;", "the first exception that left")
    check_equal(java.method_name(event["method"]), "attempt", "the method that catches it")
    check_equal(java.signature(event["clazz"]), "LTour;", "the class that catches it")
    # the filter remembers that one exception: the second one is not its business
    expect_exit(3, never=("hook_exception_caught", "hook_exception_thrown"))
