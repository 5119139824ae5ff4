"""The VM ends properly whatever the debugger is doing."""
import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent import place
from quor.agent.calls import call, out
from quor.errors import QuorError
from stops import Process, expect_exit, run_to
from surroundings import output


_ENDED_UNDER_IT = ("exited while in a function", "No such process")  # as gdb tells it, by when it notices


def begin(*arguments):
    start("Exits", *arguments)
    attach_java_mode()
    clazz = java.prepared("Exits")
    java.set_breakpoint(clazz, "loaded")
    run_to("hook_bpt")
    return clazz


def not_attached():
    start("Exits")
    expect_exit(9)


def attached():
    begin()
    expect_exit(9)


def at_breakpoints_of_other_threads():
    clazz = begin()
    java.set_breakpoint(clazz, "reached")
    run_to("hook_bpt")
    expect_exit(9)


def called_by_the_debugger():
    clazz = begin("stays")
    java.set_breakpoint(clazz, "reached")
    thread = run_to("hook_bpt").part("breakpoint")["thread"]
    check_equal(call("agent_invoke_static_method", 0, thread, clazz, java.method(clazz, "leave"), ord("V"), 0, 0, 0, 0), 0,
                "agent_invoke_static_method of leave")
    expect_exit(10)


def called_by_the_debugger_which_waits():
    start("Exits", "stays")
    attach_java_mode()
    clazz = java.prepared("Exits")
    java.set_breakpoint(clazz, "loaded")
    thread = run_to("hook_bpt").part("breakpoint")["thread"]
    leave = java.method(clazz, "leave")
    outcome = out("AgentInvokRet")
    try:
        call("agent_invoke_static_method", 0, thread, clazz, leave, ord("V"), 0, 0, 1, outcome)
    except QuorError as ended:  # the call has come back, or the process has ended under it
        check(any(words in str(ended) for words in _ENDED_UNDER_IT), f"the call does not hang: {ended}")
    if Process.exit_status is None:
        expect_exit(10)
    check_equal(Process.exit_status, 10, "the program's own exit status")


def with_a_controlc_request():
    begin()
    place.set_global("controlc_hit", 1)
    expect_exit(9, perhaps=("hook_controlc",))


def with_vm_death_shown():
    clazz = begin()
    java.set_breakpoint(clazz, "reached")
    java.enable_event("VM_DEATH")
    run_to("notify_event_processing_done", condition="vm_init_done == 0")  # the VM still waits for the agent
    check("leaving" in output(), "the program has asked for its end")
    check_equal(int(place.global_value("terminate_debug_agent")), 1, "the agent thread was told to end")
    expect_exit(9)


def after_the_detach():
    clazz = begin()
    java.set_breakpoint(clazz, "reached")
    check_equal(call("agent_detach_jquor", 0), 0, "agent_detach_jquor")
    expect_exit(9, never=("hook_bpt",))


def case():
    for stage in (not_attached, attached, at_breakpoints_of_other_threads, called_by_the_debugger,
                  called_by_the_debugger_which_waits, with_a_controlc_request, with_vm_death_shown, after_the_detach):
        print(f"-- {stage.__name__}")
        stage()
        # the agent may still be at work when the VM begins to refuse its calls, and says so
        own = [line for line in output().splitlines() if "agent_resume_all" not in line and "WRONG_PHASE" not in line]
        ends_in_a_call = stage in (called_by_the_debugger, called_by_the_debugger_which_waits)
        check_equal(own, [] if ends_in_a_call else ["leaving"], "the program's own output")
