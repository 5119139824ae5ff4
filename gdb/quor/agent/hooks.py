"""gdb's breakpoints on the agent's hook points, and who listens to them.

    hooks.listen("hook_bpt", function)

`function(event)` is called with an Event while the process is stopped for gdb alone: it may read memory, but neither call into
the process nor raise. It gives None to go on, or a Reason to stop. Breakpoints are planted on the hooks that somebody listens
to. When the process has stopped for a Reason, the thread of the event is selected, and the reason says its line.
"""
import gdb

from quor.agent import calls, place


class Reason:
    """Why the process stops: `announce()` gives the line that the user sees, or None. It may ask the agent."""

    def announce(self):
        return None


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


class _Hook(gdb.Breakpoint):
    """An internal breakpoint on one hook point."""

    def __init__(self, name):
        super().__init__(name, internal=True)
        self.silent = True
        self.hook = name

    def stop(self):
        return _dispatch(self.hook)


class _State:
    listeners = {}  # hook: [function]
    planted = {}  # hook: _Hook
    reasons = []  # of the stop that comes
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
        for function in list(_State.listeners.get(hook, ())):
            reason = function(event)
            if reason is not None:
                _State.reasons.append((event, reason))
    except Exception as error:  # stops: a user who looks can help, a program that runs on cannot
        _State.complaints.append(f"java: {hook}: {type(error).__name__}: {error}")
        return True
    return bool(_State.reasons)


def event_thread(event):
    """gdb's thread of the event, or None."""
    return thread_of(event.thread())


def thread_of(handle):
    """gdb's thread of a Java thread, given by its handle in the thread map; None when there is none."""
    tid = next((tid for known, tid in known_threads() if known == handle), None) if handle else None
    if tid is None:
        return None
    for thread in gdb.selected_inferior().threads():
        if int.from_bytes(thread.handle(), "little") == tid:
            return thread
    return None


def known_threads():
    """[(handle, thread id)] of the thread map, read from memory."""
    table = place.global_value("tmap")
    word = table.type.target().sizeof
    low, high = table.type.range()
    memory = gdb.selected_inferior().read_memory(int(table.address), word * (high - low + 1)).tobytes()
    found = []
    for at in range(0, len(memory), word):
        address = int.from_bytes(memory[at:at + word], "little")
        while address:
            record = gdb.Value(address).cast(table.type.target()).dereference()
            found.append((int(record["handle"]), int(record["tid"]) % (1 << 8 * word)))
            address = int(record["next"])
    return found


def _on_stop(_event):
    if calls.is_calling():
        return
    for complaint in _State.complaints:
        gdb.write(complaint + "\n", gdb.STDERR)
    _State.complaints.clear()
    reasons, _State.reasons = _State.reasons, []
    if reasons:
        _show(reasons)


def _show(reasons):
    thread = event_thread(reasons[0][0])
    if thread is not None:
        thread.switch()
    for _, reason in reasons:
        text = reason.announce()
        if text:
            gdb.write(text + "\n")


gdb.events.stop.connect(_on_stop)
gdb.events.new_objfile.connect(_plant)
