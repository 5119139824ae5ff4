"""Methods that the debugger calls where no breakpoint holds their thread, one that blocks, and one that loads a class."""
from pathlib import Path

import gdb

import java
from checks import check, check_equal
from invoke import check_returned, check_status, invoke
from program import attach_java_mode, start
from quor.agent import class_list, place, questions, thread_map
from quor.agent.calls import call, sleep
from stops import expect_exit, run_to
from surroundings import output
from waits import wait_for


def thread_named(name):
    return {java.thread_name(handle): handle for handle, _ in thread_map.known_threads()}[name]


def check_given_up(outcome):
    check_status(outcome, "THREW")
    check_equal(int(outcome["exception"]), 0, "the exception of a call that was given up")
    check_equal(call("in_method_invoke"), 0, "in_method_invoke")


def check_number(thread, clazz):
    outcome = invoke(thread, clazz, "number", "I")
    check_returned(outcome, thread, "I")
    check_equal(int(outcome["value"]["i"]), 42, "its value")


def listed():
    """The signatures of the classes that wait to be collected."""
    class_list.forget()
    return [each.signature for each in class_list.prepared()]


class AtWrite(gdb.Breakpoint):
    """Asks for a control-C stop when a thread writes, which the debugger's call keeps Python from doing otherwise."""

    def __init__(self, handle):
        super().__init__("write", internal=True, qualified=True)  # else every write method of libjvm's streams too
        self.thread = thread_map.thread_of(int(handle)).global_num

    def stop(self):
        place.set_global("controlc_hit", 1)
        return False


def at_the_attach_stop():
    start("ThreadStorm", "enough")
    attach_java_mode()
    run_to("hook_thread_stop")
    place.set_global("jquor_attached", 1)
    run_to("jquor_jvmdi_sync_hook")
    # the wait ends with the next thread's event
    check_given_up(invoke(thread_named("main"), questions.class_by_name("java/lang/Thread").handle, "activeCount", "I"))
    Path("enough").touch()
    expect_exit(6)


def load_in(thread, clazz):
    name = "LInvocationPlaces$Loaded;"
    check(name not in listed(), "the class is not there yet")
    check_returned(invoke(thread, clazz, "load", "I"), thread, "I")
    check(name in listed(), "the class that the method loaded is listed")


def written():
    """What the program has written. The debugger's call may come back before the system call that made it end: it goes on."""
    sleep(0.02)
    return output()


def block_in(thread, clazz):
    at_write = AtWrite(thread)
    check_given_up(invoke(thread, clazz, "block", "I"))
    at_write.delete()
    check_equal(wait_for(written, "the method's output"), "blocked\n", "the method blocks")
    check_equal(int(place.global_value("controlc_hit")), 1, "the request is left for the main loop")
    run_to("hook_controlc")
    check_equal(call("agent_set_static_field_boolean", 0, clazz, java.field(clazz, "over"), 1), 0, "the method is told to end")


def at_a_methods_entry(clazz):
    entered = java.method(clazz, "entered")
    stop = run_to("hook_thread_start")
    late = stop.part("thread_change")["thread"]
    check_equal(java.thread_name(late), "late", "the thread that starts")
    java.enable_event("METHOD_ENTRY", 1, late)
    run_to("hook_method_entry", condition=f"event->u.frame.method == (jmethodID){entered}")
    check_number(late, clazz)
    java.enable_event("METHOD_ENTRY", 0, late)


def at_a_threads_end(clazz):
    stop = run_to("hook_thread_stop")
    late = stop.part("thread_change")["thread"]
    check_equal(java.thread_name(late), "late", "the thread that ends")
    check(not java.thread_state(thread_named("main")) & java.SUSPENDED, "what the call at the entry stopped runs again")
    check_number(late, clazz)
    invoke(late, clazz, "number", "I", sync=0)  # which nobody will ever serve
    check_equal(call("in_method_invoke"), 1, "in_method_invoke")


def case():
    at_the_attach_stop()
    start("InvocationPlaces")
    attach_java_mode()
    clazz = java.prepared("InvocationPlaces")
    java.set_breakpoint(clazz, "reached")
    main = run_to("hook_bpt").part("breakpoint")["thread"]
    load_in(main, clazz)
    block_in(main, clazz)
    at_a_methods_entry(clazz)
    at_a_threads_end(clazz)
    stop = run_to("hook_bpt", "hook_invoke_method")
    check_equal(stop.hook, "hook_bpt", "main's second breakpoint")
    check_equal(call("in_method_invoke"), 0, "the request went with its thread: in_method_invoke")
    expect_exit(5)
    check_equal(output(), "blocked\ndone\n", "the program's output")
