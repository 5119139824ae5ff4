"""From why the process stops at a hook to what the user sees of it.

When the process has stopped for a Reason, the reason may ask the agent and let the program go on after all (`passes`); else the
thread of the event is selected, and the reason says its line. That is done by gdb's own commands of the breakpoint that stopped:
they run when the stop is over and done with, whoever let the program run.
"""
import gdb

from quor import stack, states
from quor.agent import place, thread_map
from quor.errors import QuorError


class Reason:
    """Why the process stops. Both may ask the agent."""

    def passes(self):
        """Whether the program is to go on by itself: nobody wants the stop after all."""
        return False

    def announce(self):
        """What the user sees, or None."""
        return None

    def commands(self):
        """The user's commands that come with it, as lines."""
        return []


COMMANDS = "python import quor.agent.settling; quor.agent.settling.settle()\nif $java_goes_on()\ncontinue\nend"


class _State:
    reasons = []  # of the stop that comes: (Event or None, Reason)
    settling = False
    goes_on = False  # whether the newest stop was wanted by nobody
    complaints = []  # what a listener failed with


def add_reason(reason, event=None):
    """Why the process stops: for an event at a hook, or for a breakpoint of one's own that has COMMANDS. In its stop()."""
    _State.reasons.append((event, reason))


def is_wanted():
    """Whether the stop that comes has a Reason."""
    return bool(_State.reasons)


def complain(what, error):
    """Keeps what stop() must not raise for the stop."""
    _State.complaints.append(f"java: {what}: {type(error).__name__}: {error}")


class _GoesOn(gdb.Function):
    """$java_goes_on(): 1 when the program is to go on from a hook by itself, 0 when somebody wants the stop."""

    def __init__(self):
        super().__init__("java_goes_on")

    def invoke(self):
        return 1 if _State.goes_on else 0


def settle():
    """Has the reasons of the newest stop judge and show themselves, and runs the user's commands for them. Those may let the
    program run, to the next stop."""
    if _State.settling:
        return
    _State.settling = True
    try:
        commands = _settled()
        while commands and not _State.goes_on:
            _run(commands)
            commands = _settled() if _State.reasons else []
            while _State.goes_on:
                gdb.execute("continue")
                commands = _settled()
    finally:
        _State.settling = False


def _settled():
    """Settles one stop; gives the user's commands."""
    complaints, _State.complaints = _State.complaints, []
    for complaint in complaints:
        gdb.write(complaint + "\n", gdb.STDERR)
    reasons, _State.reasons = _State.reasons, []
    _State.goes_on = False
    try:
        wanted = [(event, reason) for event, reason in reasons if not reason.passes()]
        _State.goes_on = bool(reasons) and not wanted and not complaints
        if wanted:
            _show(wanted)
        return [line for _, reason in wanted for line in reason.commands()]
    except (QuorError, gdb.error) as error:
        gdb.write(f"java: {error}\n", gdb.STDERR)
        return []


def _run(commands):
    try:
        gdb.execute("\n".join(commands))
    except gdb.error as error:
        gdb.write(f"{error}\n", gdb.STDERR)


def resume():
    """Lets the program run, until a stop that somebody wants. For commands: gdb runs those of the hooks' breakpoints itself unless
    it is running a breakpoint's commands already."""
    _continue()
    while _State.reasons and not _State.settling:
        settle()
        if _State.goes_on:
            _continue()


def _continue():
    """From the agent thread, which is the next to stop as a rule: gdb tells of each change of the selected thread."""
    thread = place.agent_thread()
    if thread is not None and thread != gdb.selected_thread():
        thread.switch()
    gdb.execute("continue")


def _show(reasons):
    event = reasons[0][0]
    thread = thread_map.thread_of(event.thread()) if event is not None else None
    if thread is not None:
        thread.switch()
        stack.select_innermost_java()
    for _, reason in reasons:
        text = reason.announce()
        if text:
            gdb.write(text + "\n")


def _at_prompt():
    """Settles what gdb left when a breakpoint's commands let the program run."""
    if _State.reasons and states.current() == "stopped":
        settle()
        if _State.goes_on:
            gdb.post_event(lambda: gdb.execute("continue"))


def _process_has_ended(_event):
    _State.reasons, _State.goes_on = [], False


_GoesOn()
gdb.events.before_prompt.connect(_at_prompt)
gdb.events.exited.connect(_process_has_ended)
