"""gdb attaches, stops and leaves again and again while the program starts and ends threads all the time."""
import re
from pathlib import Path

from checks import check, check_equal
from program import alone_status, attach, detach, meet_agent, select_agent_thread, start_alone
from quor.agent.calls import call
from surroundings import output
from waits import wait_for_output

ROUNDS = 4
AT_WORK = 99  # what agent_attach_jquor gives while the agent thread is at work


def case():
    pid = start_alone("ThreadStorm", "enough")
    wait_for_output("ready")
    for _ in range(ROUNDS):
        attach(pid)
        select_agent_thread()
        check(call("agent_attach_jquor", 0) in (0, AT_WORK), "agent_attach_jquor comes back wherever the agent thread stands")
        meet_agent()
        check_equal(call("agent_detach_jquor", 0), 0, "agent_detach_jquor")
        detach()
    Path("enough").touch()
    check_equal(alone_status(), 6, "the program's own exit status")
    # A thread that starts or ends during a stop is met in another state than the stop left it: the agent says so and goes on.
    said = re.compile(r"AgentThread: cb_(?:suspend|resume)_list\(\): .*\n|resume_after_event\(\): agent_resume_all\(\) failed")
    check_equal(said.sub("", output()), "ready\nall ended\n", "the program's own output")
