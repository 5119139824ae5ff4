"""-Xrun on a JVM that gives no debug interface at that time: the agent says so and aborts."""
from checks import check
from program import start_to_abort
from surroundings import output


def case():
    start_to_abort("Tour", load="-Xrun")
    check("AgentThread: JVM_OnLoad(): JVM.GetEnv() failed\n" in output(), "the message")
