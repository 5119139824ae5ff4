"""Methods of every return type, static and not, with no, one and twenty arguments, awaited and not; and one that hits a
breakpoint itself."""
import gdb

import java
from checks import check, check_equal
from invoke import check_returned, invoke, invoke_on
from program import attach_java_mode, start
from quor.agent.calls import call, fetched, forget_scratch, out, out_text
from quor.agent.invoke import jni
from stops import expect_exit, run_to
from surroundings import output

# JNI's union member, a value to pass, the value that the method without arguments gives, and how Java prints the passed one.
TYPES = {"Z": ("z", 1, 1, "true"), "B": ("b", -7, -2, "-7"), "C": ("c", ord("q"), ord("c"), "q"),
         "S": ("s", -12345, -300, "-12345"), "I": ("i", 1 << 30, 70_000, "1073741824"),
         "J": ("j", -(1 << 60), 1 << 40, "-1152921504606846976"), "F": ("f", 0.125, 1.5, "0.125"),
         "D": ("d", 1e-9, -2.25, "1.0E-9")}
OTHERS = {"Z": 0, "B": 5, "C": ord("r"), "S": 6, "I": 7, "J": 8, "F": 2.5, "D": 3.5}
OTHERS_SEEN = "false 5 r 6 7 8 2.5 3.5 null"


def member(value):
    return float(value) if value.type.strip_typedefs().code == gdb.TYPE_CODE_FLT else int(value)


def twenty(extra_member, extra):
    """The members and values of twenty arguments: one of each type, a null object and one more; and all that again."""
    row = [(TYPES[letter][0], value) for letter, value in OTHERS.items()] + [("l", 0), (extra_member, extra)]
    return {f"{name}{i}": value for i, (name, value) in enumerate(row + row)}


def plans(clazz):
    """(name's middle, return type, count of arguments, arguments, expected value or None, what arrived or None)"""
    for letter, (name, passed, constant, shown) in TYPES.items():
        yield letter, letter, 0, {}, (name, constant), None
        yield letter, letter, 1, {name: passed}, (name, passed), None
        yield letter, letter, 20, twenty(name, passed), (name, passed), f"{OTHERS_SEEN} {shown} {OTHERS_SEEN} {shown}"
    yield "V", "V", 0, {}, None, "V0"
    yield "V", "V", 1, {"i": 12}, None, "12"
    yield "V", "V", 20, twenty("i", 12), None, f"{OTHERS_SEEN} 12 {OTHERS_SEEN} 12"
    for infix, letter in (("L", "L"), ("array", "[")):
        for count in (0, 1, 20):
            yield infix, letter, count, count, None, None


def static_object(clazz, name):
    return call("agent_get_static_field_object", 0, clazz, java.field(clazz, name))


def seen(clazz):
    return java.string(static_object(clazz, "seen"))


def given_object(letter):
    """An object to pass, made afresh: what was handed out is gone after a resume."""
    if letter == "L":
        return jni("NewStringUTF", out_text("given"))
    made = out("jintArray")
    call("agent_new_intarray", 0, 4, made)
    return fetched(made.dereference())


def object_arguments(letter, count):
    """Arguments and their expectation for a method that takes and gives objects."""
    given = int(given_object(letter)) if count else 0
    return {"l0": given} if count == 1 else twenty("l", given) if count == 20 else {}


def check_object(clazz, outcome, letter, count):
    value = outcome["value"]["l"]
    if letter == "L":
        check_equal(java.string(value), "given" if count else "text", "the object")
        check_equal(java.signature(outcome["value_class"]), "Ljava/lang/String;", "its class")
    else:
        check_equal(call("agent_get_arraylength", 0, value), 4 if count else 3, "the array's length")
        check_equal(java.signature(outcome["value_class"]), "[I", "its class")
    if count == 20:
        shown = "given" if letter == "L" else "4"
        check_equal(seen(clazz), f"{OTHERS_SEEN} {shown} {OTHERS_SEEN} {shown}", "what arrived")


def check_outcome(clazz, thread, plan, outcome, kind):
    infix, letter, count, _, expected, arrived = plan
    check_returned(outcome, thread, letter)
    if letter in "L[":
        check_object(clazz, outcome, letter, count)
        return
    if expected:
        check_equal(member(outcome["value"][expected[0]]), expected[1], f"what {kind}{infix}{count} gives")
    check_equal(int(outcome["value_class"]), 0, "a value that is no object has no class")
    if arrived:
        check_equal(seen(clazz), f"{kind} V0" if arrived == "V0" else arrived, "what arrived")


def request(clazz, thread, plan, kind, sync):
    infix, letter, count, values, _, _ = plan
    values = object_arguments(letter, count) if letter in "L[" else values
    if kind == "static":
        return invoke(thread, clazz, f"static{infix}{count}", letter, sync=sync, **values)
    return invoke_on(thread, clazz, static_object(clazz, "self"), f"own{infix}{count}", letter, sync=sync, **values)


def case():
    start("InvocationTypes")
    attach_java_mode()
    clazz = java.prepared("InvocationTypes")
    java.set_breakpoint(clazz, "reached")
    thread = run_to("hook_bpt").part("breakpoint")["thread"]
    for kind in ("static", "own"):
        for plan in plans(clazz):
            check_outcome(clazz, thread, plan, request(clazz, thread, plan, kind, 1), kind)
            forget_scratch()
    check_equal(int(invoke(thread, clazz, "hitsBreakpoint", "I")["value"]["i"]), 11,
                "the breakpoint within an awaited call is passed over")

    for kind in ("static", "own"):
        for plan in plans(clazz):
            request(clazz, thread, plan, kind, 0)
            stop = run_to("hook_invoke_method", "hook_bpt")
            check_equal(stop.hook, "hook_invoke_method", "the outcome is shown before the program goes on")
            check_outcome(clazz, thread, plan, stop.outcome(), kind)
            forget_scratch()
    invoke(thread, clazz, "hitsBreakpoint", "I", sync=0)
    stop = run_to("hook_invoke_method", "hook_bpt")
    check_equal(stop.hook, "hook_bpt", "a call that nobody awaits stops at its breakpoint")
    stop = run_to("hook_invoke_method", "hook_bpt")
    check_equal(stop.hook, "hook_invoke_method", "and then tells its outcome")
    check_equal(int(stop.outcome()["value"]["i"]), 11, "what it gives")
    check_equal(run_to("hook_bpt").hook, "hook_bpt", "the program's own next breakpoint")
    expect_exit(6)
    check(output() == "done\n", "the program's output")
