"""The log: a C.agent in the program's folder names a file and categories, whose records then appear there."""
import re

import java
from checks import check
from program import attach_java_mode, start
from stops import expect_exit, run_to
from surroundings import read_file

OPTIONS = """\
options -file agent.log   # opened anew
LogJVMDI SERIAL SRCLOC
LogJVMDI_VM_thread TIMESTAMP
"""


def case():
    with open("agent.log", "w", encoding="ascii") as old:
        old.write("left from an earlier run\n")
    with open("C.agent", "w", encoding="ascii") as file:
        file.write(OPTIONS)
    start("Tour", agent_options="verbose")
    attach_java_mode()
    clazz = java.prepared("Tour")
    java.set_breakpoint(clazz, "work")
    run_to("hook_bpt")
    expect_exit(3)

    log = read_file("agent.log")
    check("left from an earlier run" not in log, "the old log is gone")
    check(log.startswith('00000 LogJVMDI   "'), "the first record has serial number 0, its category and its source")
    serials = [int(found) for found in re.findall(r"^(\d{5}) LogJVMDI   \"", log, re.M)]
    # Records of two threads may run into one line, or share a number: the log has no lock.
    check(len(serials) > 50 and serials == sorted(serials), "the serial numbers rise")
    check(len(set(serials)) >= 0.9 * (serials[-1] + 1), "nearly every number stands at a line's beginning")
    for text in ("JVM_OnLoad(): options 'verbose'\n", "AgentThread: boot_event_hook():JVMDI_EVENT_VM_INIT\n",
                 "AgentThread(): debug agent created ", "AgentThread: agent_attach_jquor()",
                 "AgentThread: agent_suspend_all()", "AgentThread: agent_resume_all()", "Event = BREAKPOINT"):
        check(text in log, f"the log holds {text!r}")
    stamp = r"[A-Z][a-z]{2} [A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d"
    check(re.search(rf"^LogJVMDI_VM_thread{stamp}: TMap_start: tid = -?\d+ +thread = [0-9a-f]+$", log, re.M),
          "thread records carry the time and no serial number")
    check("LogJVMDIclass" not in log, "a category that is not named stays silent")
