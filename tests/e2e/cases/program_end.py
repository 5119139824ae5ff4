"""The agent thread is gone when the VM ends, whether a debugger is there or not: the VM does not have to wait for it."""
import java
from checks import check, check_equal
from program import alone_status, attach_java_mode, start, start_alone
from quor.agent.calls import call
from stops import expect_exit
from surroundings import output, read_file

OPTIONS = """\
options -file agent.log
LogJVMDI
"""


RUNS = 20  # nobody waits for the agent thread's last words: on a busy machine the process may be gone before them


def has_left():
    return "AgentThread(): thread done." in read_file("agent.log")


def check_leaves(run, when):
    """The agent thread is seen to have left in one of a few runs. One that is not told of the end leaves in none."""
    for _ in range(RUNS):
        run()
        if has_left():
            break
    check(has_left(), f"the agent thread has left {when}")


def nobody_attached():
    start_alone("Idle", "50")
    check_equal(alone_status(), 4, "the program's own exit status")
    check_equal(output(), "ready\ndone\n", "the program's output")


def attached(leaves):
    start("Tour")
    attach_java_mode()
    java.prepared("Tour")
    if leaves:
        check_equal(call("agent_detach_jquor", 0), 0, "agent_detach_jquor")
    expect_exit(3)


def case():
    with open("C.agent", "w", encoding="ascii") as file:
        file.write(OPTIONS)
    check_leaves(nobody_attached, "a program without a debugger")
    check_leaves(lambda: attached(leaves=False), "a program under a debugger")
    check_leaves(lambda: attached(leaves=True), "a program whose debugger has left")
