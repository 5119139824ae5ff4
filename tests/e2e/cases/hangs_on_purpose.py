"""Calls a function of the agent that never returns. Not a case of the suite: hanging_call_test.py looks at how it fails."""
from quor_gdb import attach_java_mode, call, check_equal, run_to, start


def case():
    start("Idle", "60000")
    attach_java_mode()
    run_to("jquor_jvmdi_sync_hook")
    check_equal(call("acquire_globalocks"), 0, "acquire_globalocks")
    call("acquire_globalocks", seconds=3)  # the thread that holds the locks waits for them
