"""A control-C request stops a program that knows nothing of a debugger, whether it sleeps or spins."""
import threading
import time

import gdb

import quor_java as java
from quor_gdb import (address_of, attach_java_mode, check, check_equal, expect_exit, get_global, poke, run_to, start,
                      wait_for_output)

USER_DEFINED, CONTROL_C = 5, 3


def stop_running(*arguments):
    start("Idle", *arguments)
    attach_java_mode()
    run_to("jquor_jvmdi_sync_hook")
    pid, flag = gdb.selected_inferior().pid, address_of("controlc_hit")
    written = []

    def request():  # while the program runs: the flag is written from outside
        wait_for_output("ready")
        poke(pid, flag, 1)
        written.append(time.monotonic())

    requester = threading.Thread(target=request)
    requester.start()
    stop = run_to("hook_controlc")
    took = time.monotonic() - written[0]
    requester.join()
    check(took < 2.5, f"the stop comes within 2.5 seconds of the request: {took:.2f}")
    check_equal(stop.kind, USER_DEFINED, "the record's kind")
    check_equal(int(stop.part("user")["key"]), CONTROL_C, "the record's key")
    charged = stop.part("user")["object"]
    check(int(charged) in [int(handle) for handle, _ in java.known_threads()], "it is charged to a known thread")
    check_equal(int(get_global("controlc_hit")), 0, "the flag is taken back")
    names = {java.thread_name(handle): handle for handle, _ in java.known_threads()}
    check("main" in names, "main is known")
    check(java.thread_state(names["main"]) & java.SUSPENDED, "main is suspended")
    expect_exit(4, never=("hook_controlc",))


def case():
    stop_running("4000")
    stop_running("4000", "spin")
