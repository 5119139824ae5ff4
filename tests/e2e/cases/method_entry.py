"""Method entries of one thread; the other threads go on while one is shown."""
import java
from checks import check_equal
from program import attach_java_mode, start
from stops import expect_exit, run_to


def case():
    start("Tour")
    attach_java_mode()
    clazz = java.prepared("Tour")
    java.set_breakpoint(clazz, "begin")
    stop = run_to("hook_bpt")
    thread = stop.part("breakpoint")["thread"]
    work = java.method(clazz, "work")
    java.enable_event("METHOD_ENTRY", 1, thread)

    stop = run_to("hook_method_entry", condition=f"event->u.frame.method == (jmethodID){int(work)}")
    stop.check_kind("METHOD_ENTRY")
    event = stop.part("frame")
    check_equal(int(event["thread"]), int(thread), "the thread")
    check_equal(int(event["clazz"]), int(clazz), "the class")
    check_equal(java.thread_state(thread) & java.SUSPENDED, 0, "the entering thread's suspended bit")

    java.enable_event("METHOD_ENTRY", 0, thread)
    expect_exit(3, never=("hook_method_entry",))
