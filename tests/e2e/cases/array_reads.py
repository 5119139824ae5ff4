"""The debugger reads an array beside a thread that runs on and writes it: no store of the program is lost."""
import quor_java as java
from quor_gdb import attach_java_mode, call, check, check_equal, expect_exit, forget_outs, limit, out, output, run_to, start

READS = 300


def case():
    start("Writer")
    attach_java_mode()
    clazz = java.prepared("Writer")
    java.set_breakpoint(clazz, "begin")
    thread = run_to("hook_bpt").part("breakpoint")["thread"]
    java.enable_event("METHOD_ENTRY", 1, thread)
    run_to("hook_method_entry", condition=f"event->u.frame.method == (jmethodID){int(java.method(clazz, 'called'))}")
    array = call("agent_get_static_field_object", 0, clazz, java.field(clazz, "array"))
    before = java.static_int(clazz, "rounds")
    with limit(40, f"{READS} reads"):
        for _ in range(READS):
            forget_outs()
            value = out("jint")
            if call("agent_get_intarray_element", 0, array, 100_000, value):
                check(False, "an element is read")
    check(java.static_int(clazz, "rounds") > before, "the writer has run on meanwhile")
    java.enable_event("METHOD_ENTRY", 0, thread)
    expect_exit(3, never=("hook_method_entry",))
    check_equal(output(), "lost 0\n", "the program's output")
