"""gdb attaches to a program that started without a debugger, looks in, leaves, and the program ends by itself."""
import re

import gdb
import quor_java as java
from quor_gdb import (alone_status, attach, call, check, check_equal, detach, meet_agent, output, run_to, select_agent_thread,
                      set_global, start_alone, wait_for_output)


def case():
    pid = start_alone("Idle", "6000")
    wait_for_output("ready")
    attach(pid)
    check(re.search(r'^. +\d+ +.*"quor agent"', gdb.execute("info threads", to_string=True), re.M),
          "gdb's list of threads names the agent thread")
    select_agent_thread()
    check_equal(gdb.selected_thread().name, "quor agent", "the name of the thread whose id is in tid_debug_agent")
    meet_agent()
    names = {java.thread_name(handle): handle for handle, _ in java.known_threads()}
    check("main" in names, "main is known")
    check(java.thread_state(names["main"]) & java.SUSPENDED, "main is suspended at the agent's answer")
    set_global("controlc_hit", 1)
    run_to("hook_controlc")
    check_equal(call("agent_detach_jquor", 0), 0, "agent_detach_jquor")
    detach()
    check_equal(alone_status(), 4, "the program's own exit status")
    check_equal(output(), "ready\ndone\n", "the program's output")
