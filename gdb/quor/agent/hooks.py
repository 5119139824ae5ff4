"""gdb's breakpoints on the agent's hook points, and who listens to them.

    hooks.listen("hook_bpt", function)

`function(event)` is called with an Event while the process is stopped for gdb alone: it may read memory, but neither call into
the process nor raise. It gives None to go on, or a Reason to stop. Breakpoints are planted on the hooks that somebody listens
to. When the process has stopped for a Reason, the reason may ask the agent and let the program go on after all (`passes`); else
the thread of the event is selected, and the reason says its line. That is done by gdb's own commands of the hook's breakpoint:
they run when the stop is over and done with, whoever let the program run.
"""
import gdb

from quor import stack, states
from quor.agent import calls, place, thread_map
from quor.errors import QuorError
from quor.selection import Selection


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


class Event:
    """What a hook point is called with. Valid at its stop."""

    def __init__(self, hook, frame):
        self.hook = hook
        self.record = None
        if hook != place.FIRST_CONTACT:
            pointer = frame.read_var("event")
            self.address = int(pointer)
            self.record = pointer.dereference()

    def part(self, name):
        """The event's data for its kind: a member of the record's union, read at once."""
        value = self.record["u"][name]
        value.fetch_lazy()
        return value

    def thread(self):
        """The handle of the thread that raised it; 0 when the hook has none. Every kind's first word but a USER_DEFINED's."""
        if self.record is None or self.hook in ("hook_invoke_method", "hook_class_unload"):
            return 0
        return int(self.part("breakpoint")["thread"])


COMMANDS = "python import quor.agent.hooks; quor.agent.hooks.settle()\nif $java_goes_on()\ncontinue\nend"


class _Hook(gdb.Breakpoint):
    """An internal breakpoint on one hook point."""

    def __init__(self, name):
        super().__init__(name, internal=True)
        self.silent = True
        self.commands = COMMANDS
        self.hook = name

    def stop(self):
        return _dispatch(self.hook)


class _State:
    listeners = {}  # hook: [function]
    planted = {}  # hook: _Hook
    reasons = []  # of the stop that comes
    settling = False
    goes_on = False  # whether the newest stop was wanted by nobody
    complaints = []  # what a listener failed with


def listen(hook, function):
    """Has the function called at the hook; at once, if the library is there, else when it comes."""
    functions = _State.listeners.setdefault(hook, [])
    if function not in functions:
        functions.append(function)
    _plant()


def _plant(_event=None):
    """Plants what is listened to, once the library is there: before, gdb would say a line about each."""
    if not place.is_loaded():
        return
    for hook, functions in _State.listeners.items():
        planted = _State.planted.get(hook)
        if functions and (planted is None or not planted.is_valid()):
            _State.planted[hook] = _Hook(hook)


def ignore(hook, function):
    """The function is not called any more; the hook's breakpoint goes with the last one."""
    functions = _State.listeners.get(hook, [])
    if function in functions:
        functions.remove(function)
    if not functions:
        planted = _State.planted.pop(hook, None)
        if planted is not None and planted.is_valid():
            planted.delete()


def ignore_all():
    """Nobody listens, and no breakpoint is left."""
    for hook, functions in list(_State.listeners.items()):
        for function in list(functions):
            ignore(hook, function)


def _dispatch(hook):
    """Whether the process stops. Called by gdb while it decides: nothing may be raised."""
    try:
        event = Event(hook, gdb.newest_frame())
        reasons = [function(event) for function in list(_State.listeners.get(hook, ()))]
        if calls.is_calling():
            return False  # a question raised it: the stop stays the one that it is
        _State.reasons += [(event, reason) for reason in reasons if reason is not None]
    except Exception as error:  # stops: a user who looks can help, a program that runs on cannot
        complain(hook, error)
        return True
    return bool(_State.reasons)


def event_thread(event):
    """gdb's thread of the event, or None."""
    return thread_map.thread_of(event.thread())


def thread_of_the_stop():
    """The handle of the thread whose event the agent thread stands at; 0 at a hook without one, or elsewhere."""
    hook, agent = place.hook(), place.agent_thread()
    if hook is None or hook == place.FIRST_CONTACT or hook == "hook_controlc":
        return 0
    with Selection():
        agent.switch()
        return Event(hook, gdb.newest_frame()).thread()


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


def add_reason(reason):
    """For a breakpoint of one's own, with COMMANDS for its commands: why it stops. In its stop()."""
    _State.reasons.append((None, reason))


def complain(what, error):
    """Keeps what stop() must not raise for the stop."""
    _State.complaints.append(f"java: {what}: {type(error).__name__}: {error}")


def _show(reasons):
    thread = event_thread(reasons[0][0]) if reasons[0][0] is not None else None
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
gdb.events.new_objfile.connect(_plant)
