"""Another thread's event ends a synchronous call's wait: the call is aborted by an exception when it next has an event."""
import java
from checks import check_equal
from invoke import check_status, check_threw, invoke
from program import attach_java_mode, start
from stops import expect_exit, run_to
from surroundings import output


def case():
    start("Invocations", "with other")
    attach_java_mode()
    clazz = java.prepared("Invocations")
    java.set_breakpoint(clazz, "reached")
    java.set_breakpoint(clazz, "hold")
    thread = run_to("hook_bpt").part("breakpoint")["thread"]

    outcome = invoke(thread, clazz, "lastUntilOtherIsHeld", "I")
    check_status(outcome, "THREW")
    check_equal(int(outcome["exception"]), 0, "its exception")

    stop = run_to("hook_bpt", "hook_invoke_method")
    check_equal(stop.hook, "hook_bpt", "the event that ended the wait is shown next")
    check_equal(java.thread_name(stop.part("breakpoint")["thread"]), "other", "its thread")
    stop = run_to("hook_bpt", "hook_invoke_method")
    check_equal(stop.hook, "hook_invoke_method", "then comes the outcome, not the call's own breakpoint")
    check_threw(stop.outcome(), thread, "Ljava/lang/Exception;")

    check_equal(java.thread_name(run_to("hook_bpt").part("breakpoint")["thread"]), "main", "main goes on")
    expect_exit(5)
    check_equal(output(), "done\n", "the program's output")
