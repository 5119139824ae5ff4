"""The pop of a frame that was asked for."""
import java
from checks import check_equal
from program import attach_java_mode, start
from quor.agent.calls import call
from stops import expect_exit, run_to


def case():
    start("Tour")
    attach_java_mode()
    clazz = java.prepared("Tour")
    work = java.set_breakpoint(clazz, "work")
    stop = run_to("hook_bpt")
    thread = stop.part("breakpoint")["thread"]
    check_equal(call("agent_notifyframepop", 0, 0, thread, 0), 0, "agent_notifyframepop")
    java.enable_event("FRAME_POP")
    stop = run_to("hook_frame_pop")
    stop.check_kind("FRAME_POP")
    check_equal(int(stop.part("frame")["thread"]), int(thread), "the thread")
    check_equal(int(stop.part("frame")["method"]), int(work), "the method whose frame goes")
    expect_exit(3, never=("hook_frame_pop",))
