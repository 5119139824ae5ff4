"""The debugger reads an array beside a thread that runs on and writes it: no store of the program is lost."""
import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent.calls import call, forget_scratch, out
from stops import expect_exit, run_to
from surroundings import output
from waits import limit

READS = 300


def case():
    start("Writer")
    attach_java_mode()
    clazz = java.prepared("Writer")
    java.set_breakpoint(clazz, "begin")
    thread = run_to("hook_bpt").part("breakpoint")["thread"]
    java.enable_event("METHOD_ENTRY", 1, thread)
    run_to("hook_method_entry", condition=f"event->u.frame.method == (jmethodID){java.method(clazz, 'called')}")
    array = call("agent_get_static_field_object", 0, clazz, java.field(clazz, "array"))
    before = java.static_int(clazz, "rounds")
    with limit(40, f"{READS} reads"):
        for _ in range(READS):
            forget_scratch()
            value = out("jint")
            if call("agent_get_intarray_element", 0, array, 100_000, value):
                check(False, "an element is read")
    check(java.static_int(clazz, "rounds") > before, "the writer has run on meanwhile")
    java.enable_event("METHOD_ENTRY", 0, thread)
    expect_exit(3, never=("hook_method_entry",))
    check_equal(output(), "lost 0\n", "the program's output")
