"""gdb's breakpoints on the agent's hook points, and who listens to them.

    hooks.listen("hook_bpt", function)

`function(event)` is called with an Event while the process is stopped for gdb alone: it may read memory, but neither call into
the process nor raise. It gives None to go on, or a settling.Reason to stop. Breakpoints are planted on the hooks that somebody
listens to.
"""
import gdb

from quor.agent import calls, place, settling, thread_map
from quor.selection import Selection


class Event:
    """What a hook point is called with. Valid at its stop."""

    def __init__(self, hook, frame):
        self.hook = hook
        self.record = None
        if hook in place.HOOKS:
            pointer = _event_of(frame)
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


def _event_of(frame):
    """The event that a hook point is called with, its second argument. Without debug information: where calls have that at the
    entry."""
    if frame.function() is not None:
        return frame.read_var("event")
    kind = gdb.lookup_type("JVMDI_Event").pointer()
    if kind.sizeof == 8:
        return frame.read_register("rsi").cast(kind)
    arguments = frame.older().read_register("esp").cast(kind.pointer())
    return arguments[1]


class _Hook(gdb.Breakpoint):
    """An internal breakpoint on one hook point."""

    def __init__(self, name):
        super().__init__(name, internal=True)
        self.silent = True
        self.commands = settling.COMMANDS
        self.hook = name

    def stop(self):
        return _dispatch(self.hook)


class _State:
    listeners = {}  # hook: [function]
    planted = {}  # hook: _Hook


def listen(hook, function):
    """Has the function called at the hook; at once, if the library is there, else when it comes."""
    functions = _State.listeners.setdefault(hook, [])
    if function not in functions:
        functions.append(function)
    _plant()


def _plant(_event=None):
    """Plants what is listened to, once the library is there: before, gdb would say a line about each. To ask for the library takes
    gdb milliseconds, at each library that comes."""
    missing = [hook for hook, functions in _State.listeners.items() if functions and not _is_planted(hook)]
    if missing and place.is_loaded():
        for hook in missing:
            _State.planted[hook] = _Hook(hook)


def _is_planted(hook):
    planted = _State.planted.get(hook)
    return planted is not None and planted.is_valid()


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
        for reason in reasons:
            if reason is not None:
                settling.add_reason(reason, event)
    except Exception as error:  # stops: a user who looks can help, a program that runs on cannot
        settling.complain(hook, error)
        return True
    return settling.is_wanted()


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


gdb.events.new_objfile.connect(_plant)
