"""gdb attaches to a program that started without a debugger, looks in, leaves, and the program ends by itself."""
import re

import gdb

import java
from checks import check, check_equal
from program import alone_status, attach, detach, meet_agent, select_agent_thread, start_alone
from quor.agent import place, thread_map
from quor.agent.calls import call
from stops import run_to
from surroundings import output
from waits import wait_for_output


def case():
    pid = start_alone("Idle", "6000")
    wait_for_output("ready")
    attach(pid)
    check(re.search(r'^. +\d+ +.*"quor agent"', gdb.execute("info threads", to_string=True), re.M),
          "gdb's list of threads names the agent thread")
    select_agent_thread()
    tid = place.global_value("tid_debug_agent")
    check_equal(place.native_id(gdb.selected_thread()), int(tid) % (1 << 8 * tid.type.sizeof), "the id in tid_debug_agent")
    check_equal(gdb.selected_thread().name, "quor agent", "the name of the thread whose id is in tid_debug_agent")
    meet_agent()
    names = {java.thread_name(handle): handle for handle, _ in thread_map.known_threads()}
    check("main" in names, "main is known")
    check(java.thread_state(names["main"]) & java.SUSPENDED, "main is suspended at the agent's answer")
    place.set_global("controlc_hit", 1)
    run_to("hook_controlc")
    check_equal(call("agent_detach_jquor", 0), 0, "agent_detach_jquor")
    detach()
    check_equal(alone_status(), 4, "the program's own exit status")
    check_equal(output(), "ready\ndone\n", "the program's output")
