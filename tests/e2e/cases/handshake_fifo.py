"""The start-up handshake through a FIFO: the debugger is signalled, and its four bytes decide."""
import os

from checks import check, check_equal
from program import alone_status, debugger_process, start_alone
from surroundings import output, read_file


def handshake(answer):
    """Runs the program with a debugger that writes `answer` into the FIFO; gives the program's status."""
    if not os.path.exists("fifo"):
        os.mkfifo("fifo")
    debugger = debugger_process(answer)
    start_alone("Tour", agent_options=f"sync={debugger},fifo={os.path.abspath('fifo')}")
    status = alone_status()
    check_equal(read_file("debugger.log"), "signal 16\n", "what the debugger's process received")
    return status


def case():
    check_equal(handshake((1).to_bytes(4, "little")), 3, "the status after a 1: the program's own")
    check_equal(output(), "42\nOther\nExpected\n", "the program's output")

    check_equal(handshake((0).to_bytes(4, "little")), 134, "the status after a 0: abort")
    check("AgentThread: JVM_OnLoad(): debugger not attaching\n" in output(), "the message says that nobody attaches")

    check_equal(handshake(b"\1"), 134, "the status after one byte: abort")
    check("AgentThread: JVM_OnLoad(): fifo read failed -- " in output(), "the message says that the read failed")
