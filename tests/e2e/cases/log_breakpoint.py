"""log_bpt: a debugger that has read a record's serial number in a log stops just before that record is written. The first stop
is at VM_INIT, where the thread map is made ready before anything else is."""
import re

from checks import check, check_equal
from program import start
from quor.agent import place
from stops import expect_exit, run_to
from surroundings import read_file


def serials():
    """The records' numbers; not only at a line's beginning, since the log has no lock."""
    return [int(found) for found in re.findall(r"(\d{5}) LogJVMDI ", read_file("agent.log"))]


def case():
    with open("C.agent", "w", encoding="ascii") as file:
        file.write("options -file agent.log\nLogJVMDI SERIAL\n")
    start("Tour", until="TMap_init")
    for name in ("java_lang_throwable", "agent_thread", "vm_init_done"):
        check_equal(int(place.global_value(name)), 0, f"at TMap_init, {name}")
    check_equal(int(place.global_value("prep_list")["count"]), 0, "at TMap_init, classes listed")
    check("boot_event_hook():JVMDI_EVENT_VM_INIT" in read_file("agent.log"), "the log tells of VM_INIT")

    wanted = serials()[-1] + 1
    place.set_global("log_serial_bpt", wanted)
    run_to("log_bpt")
    check_equal(max(serials()), wanted - 1, "at log_bpt, the last record's number")
    place.set_global("log_serial_bpt", 0)
    expect_exit(3, never=("log_bpt",))
    check(wanted in serials() and max(serials()) > wanted, "the record and others followed")
