"""The demonstration: one Java program, the agent in it, gdb from outside. Runs inside gdb; script/demo starts it."""
import os
import sys
import threading
import traceback

import gdb

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "e2e"))

import quor_gdb  # noqa: E402
import quor_java as java  # noqa: E402
from quor_gdb import call, constant, error, fetched, out, out_bytes, out_text, run_to, set_global  # noqa: E402

# the bits of a thread's state (JVMTI_THREAD_STATE_...), the first that is set tells
STATES = (("BLOCKED_ON_MONITOR_ENTER", "blocked on a monitor"), ("SLEEPING", "sleeping"), ("PARKED", "parked"),
          ("WAITING", "waiting"), ("RUNNABLE", "runnable"))


class Step:
    now = "the start"


SHOWN = os.fdopen(3, "w", buffering=1)  # what the user sees; gdb's own remarks go to its standard output


def step(title):
    Step.now = title
    print(f"\n{title}", file=SHOWN)


def say(text):
    print(f"    {text}", file=SHOWN)


def must(condition, text):
    if not condition:
        raise quor_gdb.CaseFailed(text)


def state_of(thread):
    state = java.thread_state(thread)
    what = next((text for name, text in STATES if state & constant(f"JVMTI_THREAD_STATE_{name}")), "in another state")
    return f"{what}, {'suspended' if state & java.SUSPENDED else 'NOT suspended'}"


def frames(thread):
    """(class, method, location) of each frame, the top first."""
    count = out("jint")
    must(call("agent_get_framecount", 0, thread, count) == 0, "no frame count")
    for depth in range(int(count.dereference())):
        frame, clazz, method, location = out("jframeID"), out("jclass"), out("jmethodID"), out("jlocation")
        code = (call("agent_get_currentframe", 0, thread, frame, clazz, method, location) if depth == 0 else
                call("agent_get_callerframe", 0, 0, frame, clazz, method, location, thread, depth))
        must(code == 0, f"no frame {depth}")
        yield tuple(fetched(value.dereference()) for value in (clazz, method, location))


def where(clazz, method, location):
    """A frame in words; code that the VM made itself has no lines."""
    name = java.signature(clazz)[1:-1].split("/")[-1].split(".")[0] + "." + java.method_name(method)
    count, table = out("jint"), out_bytes(gdb.lookup_type("JVMDI_line_number_entry").pointer())
    if call("agent_get_linenumbertable", 0, clazz, method, count, table) == error("ABSENT_INFORMATION"):
        return name
    return f"{name}, line {java.line_in(java.lines(clazz, method), location)}"


def show_locals(clazz, method, thread):
    count, table = out("jint"), out_bytes(gdb.lookup_type("JVMDI_local_variable_entry").pointer())
    must(call("agent_get_localvariabletable", 0, clazz, method, count, table) == 0, "no table of variables")
    entries = [(java.text_of(entry["name"]), java.text_of(entry["signature"]), int(entry["slot"]))
               for entry in (table.dereference()[i] for i in range(int(count.dereference())))
               if int(entry["start_location"]) == 0]
    shown = {}
    for name, signature, slot in entries:
        kind = "int" if signature == "I" else "object"
        value = out("jint" if kind == "int" else "jobject")
        must(call(f"agent_get_local{kind}", 0, 0, slot, value, thread, 0) == 0, f"no value of {name}")
        shown[name] = fetched(value.dereference())
        text = int(shown[name]) if kind == "int" else f"an object of class {java.signature(java.class_of(shown[name]))[1:-1]}"
        say(f"{name} = {text}")
    return shown


def first_contact():
    step("The JVM starts and loads the agent; the agent meets the debugger at jquor_jvmdi_sync_hook")
    quor_gdb.start("Demo")
    frame = gdb.selected_frame()
    say(f"class path      {frame.read_var('classpath').string()}")
    say(f"VM version      {frame.read_var('vmversion').string()}")
    say(f"agent thread    {int(frame.read_var('tid')) % (1 << 8 * quor_gdb.word_size()):#x}")
    # the hook stores what it was given as it returns
    gdb.execute("set var quor_env = env")


def attach_and_break():
    step("The debugger attaches to the Java side and sets a breakpoint by class and method name")
    must(call("agent_attach_jquor", 0) == 0, "agent_attach_jquor failed")
    set_global("jquor_attached", 1)
    clazz = java.prepared("Demo")
    found = java.method(clazz, "serve")
    must(call("agent_set_breakpoint", 0, clazz, found, 0) == 0, "agent_set_breakpoint failed")
    say("breakpoint in Demo.serve")
    return clazz, found


def at_the_breakpoint(clazz):
    step("A Java thread hits the breakpoint; gdb stops in hook_bpt, on the agent thread")
    place = run_to("hook_bpt").part("breakpoint")
    thread = place["thread"]
    must(int(place["clazz"]) == int(clazz), "the breakpoint's class is another")
    say(f"thread          {java.thread_name(thread)}, id {call('TMap_handle2tid', thread) % (1 << 8 * quor_gdb.word_size()):#x}")
    say(f"class, method   {java.signature(place['clazz'])} {java.method_name(place['method'])}")
    say(f"location        {int(place['location'])}")

    step("Its stack")
    walked = list(frames(thread))
    for number, (its_class, method, location) in enumerate(walked):
        say(f"#{number} {where(its_class, method, location)}")
    must(len(walked) >= 3, "the stack is too short")

    step("Its local variables")
    shown = show_locals(place["clazz"], place["method"], thread)
    must(int(shown["each"]) == 2, "the local variable is not what the program set")
    return thread, shown["order"]


def other_threads():
    step("Meanwhile the other Java threads stand still")
    for handle, _ in java.known_threads():
        if int(handle) != int(java.agent_thread()):
            state = state_of(handle)
            say(f"{java.thread_name(handle):20}{state}")
            must("NOT" not in state, "a thread is not suspended")


def change_and_call(thread, order):
    step("A field is read and changed, and a method called in the stopped thread")
    its_class = java.class_of(order)
    amount = java.field(its_class, "amount")
    say(f"order.amount was {call('agent_get_field_int', 0, order, amount)}")
    must(call("agent_set_field_int", 0, order, amount, 5) == 0, "agent_set_field_int failed")
    say(f"order.amount is  {call('agent_get_field_int', 0, order, amount)}")
    argument, result = out("jvalue"), out("AgentInvokRet")
    gdb.execute(f"set var ((jvalue*){int(argument)})[0].i = 10")
    code = call("agent_invoke_method", 0, thread, order, java.method(its_class, "price"), ord("I"), 1, argument, 1, result)
    must(code == 0 and int(result["status"]) == constant("INVOKE_STATUS_RETURNED"), "the method did not return")
    value = int(result["value"]["i"])
    say(f"order.price(10) = {value}")
    must(value == 50, "the method gave another value")


def caught_exception():
    step("The next order is refused: its exception is shown where it is thrown")
    run_to("hook_bpt")
    must(call("agent_set_thrownexception_filter", 0, out_text("java/lang/IllegalArgumentException")) == 0, "no filter")
    java.enable_event("EXCEPTION")
    event = run_to("hook_exception_thrown").part("exception")
    say(f"{java.signature(java.class_of(event['exception']))[1:-1]} in {java.method_name(event['method'])}, "
        f"to be caught in {java.method_name(event['catch_method'])}")


def ask_for_control_c(pid, flag):
    """Writes the flag when the clerk has served everybody: the program runs then, and gdb waits for it."""
    quor_gdb.wait_for_output("0 air")
    quor_gdb.poke(pid, flag, 1)


def control_c(clazz):
    step("The program runs; a control-C stop is asked for through its memory")
    must(call("agent_clear_breakpoint", 0, clazz, java.method(clazz, "serve"), 0) == 0, "agent_clear_breakpoint failed")
    asking = threading.Thread(target=ask_for_control_c,
                              args=(gdb.selected_inferior().pid, quor_gdb.address_of("controlc_hit")), daemon=True)
    asking.start()
    stop = run_to("hook_controlc")
    asking.join()
    stop.check_kind("USER_DEFINED")
    must(int(stop.part("user")["key"]) == constant("CONTROLC_STATUS"), "the stop is another")
    served = java.field(clazz, "served")
    before = call("agent_get_static_field_long", 0, clazz, served)
    quor_gdb.rest(50)
    say(f"stopped in hook_controlc; the clerk's counter stands still at {before}")
    must(before > 0, "the clerk did not run")
    must(call("agent_get_static_field_long", 0, clazz, served) == before, "the counter moves on")


def detach_and_end(clazz):
    step("The shop is closed, the debugger detaches, and the program ends by itself")
    must(call("agent_set_static_field_boolean", 0, clazz, java.field(clazz, "closed"), 1) == 0, "no field is set")
    must(call("agent_detach_jquor", 0) == 0, "agent_detach_jquor failed")
    for breakpoint in quor_gdb.Process.hooks.values():
        breakpoint.enabled = False
    gdb.execute("continue", to_string=True)
    must(quor_gdb.Process.exit_status == 7, f"the program's exit status is {quor_gdb.Process.exit_status}")
    say("exit status 7; what it printed:")
    for line in quor_gdb.output().splitlines():
        say(f"| {line}")
    must(quor_gdb.output() == "5 apples: 10\nrefused: nothing to sell\n0 air: 0\nclosed\n", "the program printed otherwise")


def show():
    first_contact()
    clazz, _ = attach_and_break()
    thread, order = at_the_breakpoint(clazz)
    other_threads()
    change_and_call(thread, order)
    caught_exception()
    control_c(clazz)
    detach_and_end(clazz)


def main():
    quor_gdb.prepare()
    status = 0
    try:
        show()
    except Exception:  # whatever it was: the program must not outlive its demonstration
        traceback.print_exc()
        print(f"\ndemo: FAILED at: {Step.now}", file=SHOWN)
        status = 1
    if gdb.selected_inferior().pid:
        gdb.execute("kill", to_string=True)
    sys.stdout.flush()
    SHOWN.flush()
    gdb.execute(f"quit {status}")


main()
