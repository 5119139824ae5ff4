"""Runs to a hook that is never reached. Not a case of the suite: hanging_call_test.py looks at how it fails."""
from program import attach_java_mode, start
from stops import run_to


def case():
    start("Idle", "60000")
    attach_java_mode()
    run_to("jquor_jvmdi_sync_hook")
    run_to("hook_bpt", seconds=3)
