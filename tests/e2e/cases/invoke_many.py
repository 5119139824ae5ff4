"""Two calls at every stop, with other threads' events behind it and without: none harms the program, and no stop is lost."""
import java
from checks import check_equal
from invoke import invoke
from program import attach_java_mode, start
from quor.agent import place
from quor.agent.calls import forget_scratch
from stops import expect_exit, run_to
from surroundings import output

STOPS = 600


def stop_with(threads):
    start("InvocationStorm", str(threads), str(STOPS // threads))
    attach_java_mode()
    clazz = java.prepared("InvocationStorm")
    java.set_breakpoint(clazz, "reached")
    returned = 0
    for _ in range(STOPS):
        stop = run_to("hook_bpt", "hook_invoke_method")
        while stop.hook == "hook_invoke_method":  # of a call that was given up when it was over
            stop = run_to("hook_bpt", "hook_invoke_method")
        forget_scratch()
        thread = stop.part("breakpoint")["thread"]
        for _ in range(2):
            outcome = invoke(thread, clazz, "number", "I")
            if int(outcome["status"]) == place.constant("INVOKE_STATUS_RETURNED"):
                check_equal(int(outcome["value"]["i"]), 42, "a call's value")
                returned += 1
            else:
                check_equal(int(outcome["exception"]), 0, "the exception of a call that was given up")
    print(f"{threads} threads: {STOPS} stops, {returned} of {2 * STOPS} calls returned", flush=True)
    expect_exit(5, never=("hook_bpt",), perhaps=("hook_invoke_method",))
    check_equal(output(), f"passed {STOPS}, thrown 0\n", "the program's output")


def case():
    stop_with(2)
    stop_with(8)
