"""JDK 21 and later: a virtual thread stops at a breakpoint too. It has a handle for the time of the stop, the thread map knows
its carrier instead. Other virtual threads run on during a stop: suspending a carrier does not hold what it carries."""
import quor_java as java
from quor_gdb import (attach_java_mode, call, check, check_equal, expect_exit, fetched, out, output, rest, run_to, start,
                      wait_for)


def check_shown_virtual_thread(clazz, method, place):
    thread = place["thread"]
    check_equal(java.thread_name(thread), "", "a virtual thread has no name of its own")
    check_equal(java.signature(java.class_of(thread)), "Ljava/lang/VirtualThread;", "its class")
    check_equal((int(place["clazz"]), int(place["method"])), (int(clazz), int(method)), "where it stops")
    check_equal(call("TMap_handle2tid", thread), 0, "the thread map does not know it")
    names = [java.thread_name(handle) for handle, _ in java.known_threads()]
    check(any("ForkJoin" in name for name in names), "but its carrier")

    frame, its_class, its_method, location = out("jframeID"), out("jclass"), out("jmethodID"), out("jlocation")
    check_equal(call("agent_get_currentframe", 0, thread, frame, its_class, its_method, location), 0,
                "agent_get_currentframe of a virtual thread")
    check_equal(int(fetched(its_method.dereference())), int(method), "its top frame")


def check_not_held(clazz):
    before = java.static_int(clazz, "counter")

    def moved():
        rest(20)
        return java.static_int(clazz, "counter") > before

    check(wait_for(moved, "the virtual thread's counter moves"), "the virtual thread runs on at another thread's stop")


def case():
    start("VirtualThreads")
    attach_java_mode()
    clazz = java.prepared("VirtualThreads")
    method = java.set_breakpoint(clazz, "reached")
    check_shown_virtual_thread(clazz, method, run_to("hook_bpt").part("breakpoint"))

    place = run_to("hook_bpt").part("breakpoint")
    check_equal(java.thread_name(place["thread"]), "main", "the next thread that stops")
    check_equal(output(), "the virtual thread went by\n", "the program's output")
    check_not_held(clazz)
    expect_exit(2, never=("hook_bpt",))
