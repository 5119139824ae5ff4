"""The agent thread is gone when the VM ends, whether a debugger is there or not: the VM does not have to wait for it."""
import quor_java as java
from quor_gdb import (alone_status, attach_java_mode, call, check, check_equal, expect_exit, output, read_file, start,
                      start_alone)

OPTIONS = """\
options -file agent.log
LogJVMDI
"""


def check_left(when):
    check("AgentThread(): thread done." in read_file("agent.log"), f"the agent thread has left {when}")


def nobody_attached():
    start_alone("Idle", "50")
    check_equal(alone_status(), 4, "the program's own exit status")
    check_equal(output(), "ready\ndone\n", "the program's output")
    check_left("a program without a debugger")


def attached(leaves):
    start("Tour")
    attach_java_mode()
    java.prepared("Tour")
    if leaves:
        check_equal(call("agent_detach_jquor", 0), 0, "agent_detach_jquor")
    expect_exit(3)
    check_left("a program whose debugger has left" if leaves else "a program under a debugger")


def case():
    with open("C.agent", "w", encoding="ascii") as file:
        file.write(OPTIONS)
    nobody_attached()
    attached(leaves=False)
    attached(leaves=True)
