"""Classes of throw-away loaders, of which the debugger was told, can be unloaded when it has left."""
import re

import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent.calls import call
from stops import expect_exit, run_to
from surroundings import output

COUNT = 2_000


def case():
    start("Unloads", str(COUNT))
    attach_java_mode()
    clazz = java.prepared("Unloads")
    java.set_breakpoint(clazz, "loaded")
    run_to("hook_bpt")
    kept = int(re.search(r"left while attached (\d+)", output()).group(1))
    check(kept > COUNT / 2, f"{kept} of {COUNT} classes are kept while the debugger is there")
    check_equal(call("agent_detach_jquor", 0), 0, "agent_detach_jquor")
    expect_exit(5, never=("hook_bpt",))
