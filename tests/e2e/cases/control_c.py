"""A control-C request stops a program that knows nothing of a debugger, whether it sleeps or spins."""
import threading
import time

import gdb

import quor_java as java
from quor_gdb import (address_of, attach_java_mode, call, check, check_equal, constant, expect_exit, get_global, poke,
                      run_to, start, wait_for_output)

LONGEST = "20000"  # milliseconds that the program runs when nobody ends it


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
    check(took < 10, f"the agent looks every 2 seconds; the stop comes within 10: {took:.2f}")
    stop.check_kind("USER_DEFINED")
    check_equal(int(stop.part("user")["key"]), constant("CONTROLC_STATUS"), "the record's key")
    charged = stop.part("user")["object"]
    check(int(charged) in [int(handle) for handle, _ in java.known_threads()], "it is charged to a known thread")
    check_equal(int(get_global("controlc_hit")), 0, "the flag is taken back")
    names = {java.thread_name(handle): handle for handle, _ in java.known_threads()}
    check("main" in names, "main is known")
    check(java.thread_state(names["main"]) & java.SUSPENDED, "main is suspended")
    clazz = java.class_named("Idle")
    check_equal(call("agent_set_static_field_boolean", 0, clazz, java.field(clazz, "over"), 1), 0, "the program is told to end")
    expect_exit(4, never=("hook_controlc",))


def case():
    stop_running(LONGEST)
    stop_running(LONGEST, "spin")
