"""JDK 21 and later: a virtual thread stops at a breakpoint too. It has a handle for the time of the stop, the thread map knows
its carrier instead. Other virtual threads run on during a stop: suspending a carrier does not hold what it carries."""
import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent import questions, thread_map
from quor.agent.calls import call, fetched, out, sleep
from stops import expect_exit, run_to
from surroundings import output
from waits import wait_for


def check_shown_virtual_thread(clazz, method, place):
    thread = place["thread"]
    check_equal(java.thread_name(thread), "", "a virtual thread has no name of its own")
    check_equal(java.signature(questions.object_class(thread)), "Ljava/lang/VirtualThread;", "its class")
    check_equal((int(place["clazz"]), int(place["method"])), (int(clazz), int(method)), "where it stops")
    check_equal(call("TMap_handle2tid", thread), 0, "the thread map does not know it")
    names = [java.thread_name(handle) for handle, _ in thread_map.known_threads()]
    check(any("ForkJoin" in name for name in names), "but its carrier")

    frame, its_class, its_method, location = out("jframeID"), out("jclass"), out("jmethodID"), out("jlocation")
    check_equal(call("agent_get_currentframe", 0, thread, frame, its_class, its_method, location), 0,
                "agent_get_currentframe of a virtual thread")
    check_equal(int(fetched(its_method.dereference())), int(method), "its top frame")


def check_not_held(clazz):
    before = java.static_int(clazz, "counter")

    def moved():
        sleep(0.02)
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
