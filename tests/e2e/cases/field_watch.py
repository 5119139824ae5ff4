"""Watches on a field: a read shows the value, a write shows the old value in the object and the new one in the record."""
import java
from checks import check_equal
from program import attach_java_mode, start
from quor.agent.calls import call
from stops import expect_exit, run_to
from surroundings import output


def check_place(part, clazz, state, method_name):
    check_equal(int(part["clazz"]), int(clazz), "the class")
    check_equal(int(part["field_clazz"]), int(clazz), "the field's class")
    check_equal(int(part["field"]), int(state), "the field")
    check_equal(int(part["method"]), java.method(clazz, method_name), f"the method is {method_name}")
    check_equal(java.thread_name(part["thread"]), "main", "the thread")


def check_write(stop, clazz, state, method_name, old, new):
    stop.check_kind("FIELD_MODIFICATION")
    part = stop.part("field_modification")
    check_place(part, clazz, state, method_name)
    check_equal(chr(int(part["signature_type"])), "I", "the signature type")
    check_equal(int(part["new_value"]["i"]), new, "the new value in the record")
    check_equal(call("agent_get_field_int", 0, part["object"], state), old, "the old value in the object")


def case():
    start("Tour")
    attach_java_mode()
    clazz = java.prepared("Tour")
    state = java.field(clazz, "state")
    check_equal(call("agent_set_fieldaccesswatch", 0, clazz, state), 0, "agent_set_fieldaccesswatch")
    check_equal(call("agent_set_fieldmodificationwatch", 0, clazz, state), 0, "agent_set_fieldmodificationwatch")

    check_write(run_to("hook_access_write", "hook_access"), clazz, state, "<init>", 0, 41)
    stop = run_to("hook_access_write", "hook_access")
    check_equal(stop.hook, "hook_access", "the next event")
    stop.check_kind("FIELD_ACCESS")
    part = stop.part("field_access")
    check_place(part, clazz, state, "work")
    check_equal(call("agent_get_field_int", 0, part["object"], state), 41, "the value that is read")
    check_write(run_to("hook_access_write", "hook_access"), clazz, state, "work", 41, 42)

    check_equal(call("agent_clear_fieldaccesswatch", 0, clazz, state), 0, "agent_clear_fieldaccesswatch")
    check_equal(call("agent_clear_fieldmodificationwatch", 0, clazz, state), 0, "agent_clear_fieldmodificationwatch")
    expect_exit(3, never=("hook_access", "hook_access_write"))
    check_equal(output(), "42\nOther\nExpected\n", "the program's output")
