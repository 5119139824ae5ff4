"""The start-up handshake without a FIFO: the debugger attaches when it is signalled, and sets a flag."""
import re

from checks import check, check_equal
from program import alone_status, attach, debugger_process, detach, start_alone
from quor.agent import place
from surroundings import output, read_file
from waits import wait_for


def answered():
    pid = start_alone("Tour", agent_options=f"sync={debugger_process()}")
    wait_for(lambda: read_file("debugger.log") == "signal 16\n", "the signal to the debugger's process")
    attach(pid)
    place.set_global("attached", 1)
    detach()
    check_equal(alone_status(), 3, "the program's own exit status")
    lines = output().splitlines()
    check_equal(lines[-3:], ["42", "Other", "Expected"], "the program's output")
    turns = lines[:-3]  # none when the answer comes before the first turn
    check(all(re.fullmatch(r"uslept \.\.\. attached = \d+", line) for line in turns), "the wait is told line by line")


def unanswered():
    start_alone("Tour", agent_options=f"sync={debugger_process()}")
    check_equal(alone_status(), 134, "the status when nobody answers: abort")
    lines = output().splitlines()
    check_equal(lines[:-1], ["uslept ... attached = 0"] * 1000, "a thousand turns of waiting")
    check_equal(lines[-1], "AgentThread: JVM_OnLoad(): debugger not attaching", "the last line")


def case():
    answered()
    unanswered()
