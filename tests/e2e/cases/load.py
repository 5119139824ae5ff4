"""Sixty-four threads hit a breakpoint a thousand times each, all at once: every stop is counted, none is lost, nothing hangs."""
import gdb

import java
from checks import check_equal
from program import attach_java_mode, start
from stops import Process, hook_breakpoint
from surroundings import CONFIG, output
from waits import limit

THREADS, TIMES = 64, 1_000


def case():
    start("Load", str(THREADS), str(TIMES))
    attach_java_mode()
    clazz = java.prepared("Load")
    java.set_breakpoint(clazz, "reached")
    # gdb counts each of its own stops and lets the process go on
    hook = hook_breakpoint("hook_bpt")
    hook_breakpoint("hook_class_prepare").enabled = False
    hook.ignore_count = 10 * THREADS * TIMES
    with limit(CONFIG["seconds"], f"{THREADS * TIMES} stops"):
        gdb.execute("continue", to_string=True)
    check_equal(Process.exit_status, 8, "the program's exit status")
    check_equal(output(), f"ended {THREADS}\n", "every thread ends")
    check_equal(hook.hit_count, THREADS * TIMES, "the stops that gdb counted")
