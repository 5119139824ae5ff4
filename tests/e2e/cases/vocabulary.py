"""Every function that the agent offers a debugger, called at least once on a program whose state is known."""
import os

import gdb

import java
import vocabulary_classes
import vocabulary_frames
import vocabulary_threads
import vocabulary_values
from checks import check, check_equal
from invoke import check_returned, invoke, invoke_on
from program import attach_java_mode, start
from quor.agent import place
from quor.agent.calls import call, forget_scratch, out, out_text
from quor.codes import code_named
from stops import expect_exit, run_to
from surroundings import output

EXPORTS = os.path.join(os.path.dirname(__file__), "..", "..", "..", "agent", "libquor_agent.exports")


def offered():
    """{name: address} of the entry points in the library's list of exports; agent_bar is the agent thread's own loop."""
    with open(EXPORTS, encoding="ascii") as names:
        found = {line.split()[1] for line in names if line.startswith("F agent_")} - {"agent_bar"}
    return {name: place.address_or_none(name) for name in found}


called = set()  # addresses


def note_call(event):
    """gdb tells of each function that it calls, before and afterwards."""
    called.add(event.address)


def static_object(clazz, name):
    return call("agent_get_static_field_object", 0, clazz, java.field(clazz, name))


def filters(clazz):
    name, method = out_text("java/lang/Thread"), java.method(clazz, "bottom")
    for setter, clearer, arguments in (
            ("agent_set_classload_filter", "agent_clear_classload_filter", (name,)),
            ("agent_set_methodbpt", "agent_clr_methodbpt", (out_text("run"), out_text("()"))),
            ("agent_set_thrownexception_filter", "agent_clear_thrownexception_filter", (name,)),
            ("agent_set_uncaughtexception_filter", "agent_clear_uncaughtexception_filter", (int(clazz), int(method)))):
        check_equal(int(place.global_value("filter_list")), 0, "no filter")
        check_equal(call(setter, 0, *arguments), 0, setter)
        check(int(place.global_value("filter_list")) != 0, "a filter is set")
        check_equal(call(clearer, 0, *arguments), 0, clearer)
    check_equal(int(place.global_value("filter_list")), 0, "no filter again")


def watches(clazz):
    field = java.field(clazz, "spins")
    for name in ("accesswatch", "modificationwatch"):
        check_equal(call(f"agent_set_field{name}", 0, clazz, field), 0, f"agent_set_field{name}")
        check_equal(call(f"agent_set_field{name}", 0, clazz, field), 40, "set twice it is a duplicate")
        check_equal(call(f"agent_clear_field{name}", 0, clazz, field), 0, f"agent_clear_field{name}")
    check_equal(call("agent_clear_allbreakpoints", 0), code_named("MUST_POSSESS_CAPABILITY"),
                "agent_clear_allbreakpoints is JVMDI's alone")
    check_equal(call("agent_set_eventnotification", 0, 1, place.constant("JVMDI_EVENT_CLASS_UNLOAD"), 0),
                code_named("INVALID_EVENT_TYPE"), "JVMTI has no class unload")


def jvmpi():
    """No VM of today has JVMPI: a table whose requests all land in a known function stands in for one."""
    check_equal(int(place.global_value("jvmpi")), 0, "there is no JVMPI")
    table = out("JVMPI_Interface")
    for slot in ("EnableEvent", "DisableEvent", "RequestEvent"):
        gdb.execute(f"set var ((JVMPI_Interface*){int(table)})->{slot} = "
                    f"(jint (*)(jint, void*))&err_is_wrongphase")
    gdb.execute(f"set var jvmpi = (JVMPI_Interface*){int(table)}")
    for name in ("request", "enable", "disable"):
        check_equal(call(f"agent_{name}_jvmpi_event", 0, 112, 0), 1, f"agent_{name}_jvmpi_event reaches the table")
        check_equal(call(f"agent_{name}_jvmpi_event", 0, 111, 0), 0, "with its argument")
    gdb.execute("set var jvmpi = 0")


def pop_and_notify(clazz, thread):
    """At `reached`: its frame is popped, so that the caller calls it again; then the caller's end is shown."""
    check_equal(call("agent_popframe", 0, thread), 0, "agent_popframe")
    stop = run_to("hook_bpt")
    check_equal(java.method_name(stop.part("breakpoint")["method"]), "reached", "the breakpoint is hit again")
    java.enable_event("FRAME_POP")
    check_equal(call("agent_notifyframepop", 0, 0, thread, 1), 0, "agent_notifyframepop")
    stop = run_to("hook_frame_pop")
    check_equal(java.method_name(stop.part("frame")["method"]), "again", "the frame that ends")


def case():
    gdb.events.inferior_call.connect(note_call)
    start("Vocabulary")
    functions = offered()
    attach_java_mode()
    clazz = java.prepared("Vocabulary")
    bottom = java.set_breakpoint(clazz, "bottom")
    java.set_breakpoint(clazz, "twice")
    java.set_breakpoint(clazz, "reached")
    thread = run_to("hook_bpt").part("breakpoint")["thread"]

    everything, proxy = static_object(clazz, "everything"), static_object(clazz, "proxy")
    its_class = vocabulary_classes.ask(everything, proxy)
    vocabulary_values.ask(its_class, everything)
    vocabulary_frames.ask(clazz, thread)
    filters(clazz)
    watches(clazz)
    jvmpi()
    forget_scratch()
    check_equal(call("agent_clear_breakpoint", 0, clazz, bottom, 0), 0, "agent_clear_breakpoint")
    check_returned(invoke_on(thread, its_class, static_object(clazz, "everything"), "measure", "I"), thread, "I")
    check_returned(invoke(thread, clazz, "reached", "V"), thread, "V")
    vocabulary_threads.ask(*(static_object(clazz, name) for name in ("outer", "inner", "signal")))

    stop = run_to("hook_bpt")
    check_equal(java.method_name(stop.part("breakpoint")["method"]), "twice", "the next breakpoint")
    vocabulary_frames.int_locals(thread, [21])
    stop = run_to("hook_bpt")
    check_equal(java.method_name(stop.part("breakpoint")["method"]), "reached", "and the next")
    pop_and_notify(clazz, thread)
    check_equal(call("agent_detach_jquor", 0), 0, "agent_detach_jquor")
    expect_exit(4, never=("hook_bpt", "hook_frame_pop"))
    lines = output()
    for expected in (vocabulary_frames.OUTPUT, vocabulary_values.OUTPUT, "sleeping interrupted\n", "twice 42\n", "again 1\n",
                     "stopped by prepared for the stopped thread\n", "owning interrupted\n"):
        check(expected in lines, f"the program prints {expected!r}")
    check_equal(sorted(name for name, address in functions.items() if address not in called), [], "functions that were not called")
