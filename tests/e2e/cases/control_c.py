"""A control-C request stops a program that knows nothing of a debugger, whether it sleeps or spins."""
import threading
import time

import gdb

import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent import place, questions, thread_map
from quor.agent.calls import call
from stops import expect_exit, run_to
from waits import wait_for_output

LONGEST = "20000"  # milliseconds that the program runs when nobody ends it


def poke(pid, address, value):
    """Writes an int of the running process, as a debugger does that does not stop it for that."""
    with open(f"/proc/{pid}/mem", "r+b", buffering=0) as memory:
        memory.seek(address)
        memory.write(value.to_bytes(4, "little"))


def stop_running(*arguments):
    start("Idle", *arguments)
    attach_java_mode()
    run_to("jquor_jvmdi_sync_hook")
    pid, flag = gdb.selected_inferior().pid, place.address_or_none("controlc_hit")
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
    check_equal(int(stop.part("user")["key"]), place.constant("CONTROLC_STATUS"), "the record's key")
    charged = stop.part("user")["object"]
    check(int(charged) in [handle for handle, _ in thread_map.known_threads()], "it is charged to a known thread")
    check_equal(int(place.global_value("controlc_hit")), 0, "the flag is taken back")
    names = {java.thread_name(handle): handle for handle, _ in thread_map.known_threads()}
    check("main" in names, "main is known")
    check(java.thread_state(names["main"]) & java.SUSPENDED, "main is suspended")
    clazz = questions.class_by_name("Idle").handle
    check_equal(call("agent_set_static_field_boolean", 0, clazz, java.field(clazz, "over"), 1), 0, "the program is told to end")
    expect_exit(4, never=("hook_controlc",))


def case():
    stop_running(LONGEST)
    stop_running(LONGEST, "spin")
