"""Calls a function of the agent that never returns. Not a case of the suite: hanging_call_test.py looks at how it fails."""
from checks import check_equal
from program import attach_java_mode, start
from quor.agent.calls import call
from stops import run_to


def case():
    start("Idle", "60000")
    attach_java_mode()
    run_to("jquor_jvmdi_sync_hook")
    check_equal(call("acquire_globalocks"), 0, "acquire_globalocks")
    call("acquire_globalocks", seconds=3)  # the thread that holds the locks waits for them
