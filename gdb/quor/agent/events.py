"""The kinds of events, and switching them on and off in the VM."""
from quor.agent import questions

SINGLE_STEP, BREAKPOINT, FRAME_POP, EXCEPTION = 1, 2, 3, 4
FIELD_ACCESS, FIELD_MODIFICATION, EXCEPTION_CATCH, METHOD_ENTRY = 20, 21, 30, 40


def switch(kind, on, thread=0):
    """For all threads, or for the one of this handle. Where the agent may be asked."""
    questions.ask("agent_set_eventnotification", 1 if on else 0, kind, thread)
