"""A thread's start and its end, and how the thread map follows them."""
import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent import thread_map
from stops import expect_exit, run_to


def known_names():
    return [java.thread_name(handle) for handle, _ in thread_map.known_threads()]


def run_to_thread(hook, name):
    while True:
        stop = run_to(hook)
        if java.thread_name(stop.part("thread_change")["thread"]) == name:
            return stop


def case():
    start("Tour")
    attach_java_mode()
    clazz = java.prepared("Tour")
    java.set_breakpoint(clazz, "between")
    check("late" not in known_names(), "a thread that has not started is unknown")

    stop = run_to_thread("hook_thread_start", "late")
    stop.check_kind("THREAD_START")
    handle = int(stop.part("thread_change")["thread"])
    check(handle in [known for known, _ in thread_map.known_threads()], "the thread map holds the record's handle")
    tids = dict(thread_map.known_threads())

    stop = run_to("hook_bpt")
    check_equal(int(stop.part("breakpoint")["thread"]), handle, "an event of the thread names it by the same handle")

    stop = run_to_thread("hook_thread_stop", "late")
    stop.check_kind("THREAD_END")
    check_equal(int(stop.part("thread_change")["thread"]), handle, "the handle at the end")
    check("late" in known_names(), "the ending thread is still known while its end is shown")
    for other, _ in thread_map.known_threads():
        check(not java.thread_state(other) & java.SUSPENDED, f"{java.thread_name(other)} is not suspended meanwhile")

    stop = run_to("hook_bpt")
    check_equal(java.thread_name(stop.part("breakpoint")["thread"]), "main", "the last breakpoint is main's")
    check(tids[handle] not in [tid for _, tid in thread_map.known_threads()], "the ended thread is forgotten")
    expect_exit(3)
