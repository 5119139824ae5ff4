"""Methods that the debugger calls in a stopped thread, synchronously and not: results of each kind, and an exception."""
import gdb

import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent import place, questions
from quor.agent.calls import call, fetched, out
from stops import expect_exit, run_to
from surroundings import errors, output


def check_status(outcome, name):
    """`name` of a status, without its prefix: RETURNED."""
    check_equal(int(outcome["status"]), place.constant(f"INVOKE_STATUS_{name}"), f"the status, {name}")



def arguments(**values):
    """An array of JNI values: one for each name (the member, with a number against repetition) and its value."""
    array = out("jvalue", max(len(values), 1))
    for i, (name, value) in enumerate(values.items()):
        gdb.execute(f"set var ((jvalue*){int(array)})[{i}].{name[0]} = {value}")
    return array


def invoke(thread, clazz, name, return_type, sync=1, **values):
    """A static call; gives the outcome's record if it is synchronous."""
    result = out("AgentInvokRet")
    code = call("agent_invoke_static_method", 0, thread, clazz, java.method(clazz, name), ord(return_type), len(values),
                arguments(**values), sync, result)
    check_equal(code, 0, f"agent_invoke_static_method of {name}")
    return fetched(result.dereference())


def invoke_on(thread, clazz, receiver, name, return_type, sync=1, **values):
    result = out("AgentInvokRet")
    code = call("agent_invoke_method", 0, thread, receiver, java.method(clazz, name), ord(return_type), len(values),
                arguments(**values), sync, result)
    check_equal(code, 0, f"agent_invoke_method of {name}")
    return fetched(result.dereference())


def check_returned(outcome, thread, return_type):
    check_status(outcome, "RETURNED")
    check_equal(int(outcome["exception"]), 0, "the exception")
    check_equal(int(outcome["thread"]), int(thread), "the thread")
    check_equal(chr(int(outcome["return_type"]) & 0xFF), return_type, "the return type")


def check_threw(outcome, thread, name):
    check_status(outcome, "THREW")
    check_equal(int(outcome["thread"]), int(thread), "the thread")
    check_equal(java.signature(questions.object_class(outcome["exception"])), name, "the class of the exception")


def synchronous(thread, clazz):
    outcome = invoke(thread, clazz, "add", "I", i1=30, i2=-7)
    check_returned(outcome, thread, "I")
    check_equal(int(outcome["value"]["i"]), 23, "an int")
    outcome = invoke(thread, clazz, "half", "D", d1=4.5)
    check_returned(outcome, thread, "D")
    check_equal(float(outcome["value"]["d"]), 2.25, "a double")
    outcome = invoke(thread, clazz, "fail", "V")
    check_threw(outcome, thread, "Ljava/lang/IllegalStateException;")
    check("java.lang.IllegalStateException: as asked" in errors(), "the exception is described")

    receiver = call("agent_get_static_field_object", 0, clazz, java.field(clazz, "self"))
    outcome = invoke_on(thread, clazz, receiver, "times", "J", j1=1 << 40)
    check_returned(outcome, thread, "J")
    check_equal(int(outcome["value"]["j"]), 6 << 40, "a long")
    receiver = call("agent_get_static_field_object", 0, clazz, java.field(clazz, "self"))
    outcome = invoke_on(thread, clazz, receiver, "greet", "L", i1=2)
    check_returned(outcome, thread, "L")
    check_equal(java.string(outcome["value"]["l"]), "hellohello", "a string")
    check_equal(java.signature(outcome["value_class"]), "Ljava/lang/String;", "its class")


def case():
    start("Invocations")
    attach_java_mode()
    clazz = java.prepared("Invocations")
    java.set_breakpoint(clazz, "reached")
    thread = run_to("hook_bpt").part("breakpoint")["thread"]
    synchronous(thread, clazz)
    check(java.thread_state(thread) & java.SUSPENDED, "the thread is suspended again")

    invoke(thread, clazz, "add", "I", sync=0, i1=1, i2=2)
    check_equal(int(place.global_value("invoke_method_list")["is_static"]), 1, "the request waits in the list")
    stop = run_to("hook_invoke_method", "hook_bpt")
    check_equal(stop.hook, "hook_invoke_method", "the outcome is shown first")
    stop.check_kind("USER_DEFINED")
    outcome = stop.outcome()
    check_returned(outcome, thread, "I")
    check_equal(int(outcome["value"]["i"]), 3, "the result of the asynchronous call")

    run_to("hook_bpt")
    invoke(thread, clazz, "fail", "V", sync=0)
    check_threw(run_to("hook_invoke_method").outcome(), thread, "Ljava/lang/IllegalStateException;")
    expect_exit(5, never=("hook_bpt", "hook_invoke_method"))
    check_equal(output(), "done\n", "the program's output")
