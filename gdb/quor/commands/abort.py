"""java abort: what to do when a function that was called in the program has not come back."""
import gdb

from quor.agent import access, calls, place, session
from quor.agent.quiet import Quiet
from quor.commands import command
from quor.errors import QuorError

_SECONDS = 5


@command("abort", group="Change", states=("stopped",), examples=("java abort",))
def abort_command(arguments, _from_tty):
    """Lets a called function that was interrupted come to its end, and puts all back as it was before the call.

    The program runs meanwhile. A method that blocks is given up: it is thrown out at its thread's next event."""
    if arguments:
        raise QuorError("java abort takes no arguments")
    if session.state() != "busy":
        raise QuorError("java abort: no called function was interrupted")
    place.set_global("controlc_hit", 1)  # ends the wait for a method's outcome
    with Quiet():
        finished = calls.finish_interrupted(_SECONDS)
    if not finished:
        raise QuorError(f"java abort: it has not come back within {_SECONDS} seconds; java abort again, or continue and stop again")
    if session.state() == "hook":
        place.set_global("controlc_hit", 0)
    access.let_go()
    gdb.write("The function has come back.\n")
