"""-Xrun on a JVM that gives no debug interface at that time: the agent says so and aborts."""
from quor_gdb import check, output, start_to_abort


def case():
    start_to_abort("Tour", load="-Xrun")
    check("AgentThread: JVM_OnLoad(): JVM.GetEnv() failed\n" in output(), "the message")
