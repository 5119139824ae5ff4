"""A class is found by its name while a stopped thread is in the middle of initialising it, and one that is not loaded is loaded."""
import java
from checks import check_equal
from program import attach_java_mode, start
from quor.agent import questions
from stops import expect_exit, run_to


def case():
    start("Initialising")
    attach_java_mode()
    clazz = java.prepared("Initialising$Slow")
    java.set_breakpoint(clazz, "hold")
    event = run_to("hook_bpt").part("breakpoint")
    check_equal(java.thread_name(event["thread"]), "initialiser", "the thread that is stopped")
    check_equal(questions.class_by_name("Initialising$Slow").handle, int(clazz), "the class by its name")
    for name in ("Initialising", "java/lang/String", "java/util/concurrent/ConcurrentLinkedDeque"):
        check_equal(java.signature(questions.class_by_name(name).handle), f"L{name};", "another class by its name")
    expect_exit(7, never=("hook_bpt",))
