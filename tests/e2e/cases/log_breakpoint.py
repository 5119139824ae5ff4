"""log_bpt: a debugger that has read a record's serial number in a log stops just before that record is written. The first stop
is at VM_INIT, where the thread map is made ready before anything else is."""
import re

from quor_gdb import check, check_equal, expect_exit, get_global, read_file, run_to, set_global, start


def serials():
    """The records' numbers; not only at a line's beginning, since the log has no lock."""
    return [int(found) for found in re.findall(r"(\d{5}) LogJVMDI ", read_file("agent.log"))]


def case():
    with open("C.agent", "w", encoding="ascii") as file:
        file.write("options -file agent.log\nLogJVMDI SERIAL\n")
    start("Tour", until="TMap_init")
    for name in ("java_lang_throwable", "agent_thread", "vm_init_done"):
        check_equal(int(get_global(name)), 0, f"at TMap_init, {name}")
    check_equal(int(get_global("prep_list")["count"]), 0, "at TMap_init, classes listed")
    check("boot_event_hook():JVMDI_EVENT_VM_INIT" in read_file("agent.log"), "the log tells of VM_INIT")

    wanted = serials()[-1] + 1
    set_global("log_serial_bpt", wanted)
    run_to("log_bpt")
    check_equal(max(serials()), wanted - 1, "at log_bpt, the last record's number")
    set_global("log_serial_bpt", 0)
    expect_exit(3, never=("log_bpt",))
    check(wanted in serials() and max(serials()) > wanted, "the record and others followed")
