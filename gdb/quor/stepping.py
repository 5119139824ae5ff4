"""Stepping by lines: the thread's single steps are switched on, and those that nobody wants to see are dropped while gdb decides.

A frame further in is not stepped through: its end is asked for (a frame pop), single steps are off until then. Frames are told
apart by their addresses on the stack, which grows downwards: what is lower lies further in.
"""
import contextlib
import fnmatch

import gdb

from quor import breaks, event_frame, native_methods, show, stop_texts
from quor.agent import calls, events, hooks, questions, settling
from quor.errors import QuorError

_OPAQUE_FRAME, _DUPLICATE = 32, 40
_NOT_POPPED = {31: "the VM itself called this frame: there is no call to go back to",
               32: "this frame or its caller is native, or waits for a monitor: such a frame cannot be popped"}
_INVOKES = (3, 5)  # lengths of the invoke bytecodes: a return goes on behind one
SKIPPED = ["java/*", "jdk/*", "sun/*"]


class _State:
    step = None  # the Step under way
    armed = set()  # (kind, thread's handle) that are switched on in the VM
    just_stopped = None  # (thread, method, location) of the step that stopped last: its breakpoint has been told


def is_skipped(klass):
    return any(fnmatch.fnmatchcase(klass, pattern) for pattern in SKIPPED)


@contextlib.contextmanager
def _asking():
    with questions.asking("java step"), calls.on_agent_thread():
        yield


# ---- What is switched on ----

def _switch(kind, on, thread):
    key = kind, thread
    if (key in _State.armed) == on:
        return
    events.switch(kind, on, thread)
    (_State.armed.add if on else _State.armed.discard)(key)


def _arm(thread, entries):
    _switch(events.SINGLE_STEP, True, thread)
    if entries:
        _switch(events.METHOD_ENTRY, True, thread)


def disarm(of_thread=None):
    """Switches off what is on for a thread, or everything. Where the agent may be asked."""
    for kind, thread in list(_State.armed):
        if of_thread in (None, thread):
            _switch(kind, False, thread)


def _forget(_event=None):
    _State.armed.clear()
    _State.step = _State.just_stopped = None


gdb.events.exited.connect(_forget)


class _NoEnd(QuorError):
    """The VM does not tell of this frame's end."""


class _Stray(settling.Reason):
    """An event of a step that is over: it was left on where the agent could not be asked."""

    def __init__(self, thread):
        self._thread = thread

    def passes(self):
        with _asking():
            disarm(self._thread)
        return True


# ---- One step ----

class Step:
    """From where a thread stands to where the user sees it again. Made in questions.asking.

    mode: "step" goes into calls, "next" over them, "stepi" one bytecode on, "finish" out of the frame at `depth`,
    "until" out of it too, if it ever ends while one waits for something else, "pop" back to the call of the innermost frame."""

    def __init__(self, thread, mode, native, depth=0):
        self.thread, self.mode = thread, mode
        self.popping = None  # what must pop before stepping goes on: the base of a frame, or its method when that is not known
        self.result = None  # what a frame that was finished gave
        self._finishing, self._return_to = mode == "until" or mode == "finish" and not native, None
        handle, self.method, location = questions.frame(thread, 0)
        self.base, self.ranges = event_frame.base_of(thread, native), []
        if not native:
            self.ranges = ranges_of(questions.lines(handle, self.method), location)
        if self._finishing:
            self._leave(depth)
        else:
            if mode == "pop":
                _pop(thread)
            _arm(thread, self._meets_entries())

    def _meets_entries(self):
        """Whether the line may call a native method: only there one is stepped into."""
        return self.mode == "step" and (not self.ranges or event_frame.may_call(self.method, self.ranges))

    def _leave(self, depth):
        try:
            self._ask_for_pop(depth)
        except _NoEnd:
            if self.mode != "until":
                raise

    def _ask_for_pop(self, depth):
        if questions.frame_count(self.thread) <= depth + 1:
            raise _NoEnd("this is the outermost Java frame; java continue runs on")
        _, _, invoke = questions.frame(self.thread, depth + 1)
        _, method, _ = questions.frame(self.thread, depth)
        _notify_pop(self.thread, depth)
        self.popping, self._return_to = ("method", method), invoke

    def go_on(self):
        """A frame that was not stepped through is left. Where the agent may be asked."""
        self.popping = None
        _arm(self.thread, self._meets_entries())

    # ---- Events. In stop(): memory alone is read ----

    def stepped(self, event):
        """The Reason to stop, or None, at a single step of the thread."""
        part = event.part("single_step")
        method, location = int(part["method"]), int(part["location"])
        if self.mode in ("stepi", "pop"):
            return _Arrived(self, event)
        if self._finishing:
            return _Arrived(self, event, self.mode == "finish" and location - self._return_to in _INVOKES)
        frame = event_frame.EventFrame(event)
        if self.base is None and method == self.method:
            self.base = frame.base  # it was a compiled frame
        if method == self.method and frame.base == self.base and any(low <= location < high for low, high in self.ranges):
            return None
        further_in = self.base is not None and frame.base < self.base
        if further_in and self.mode != "step" or is_skipped(frame.method.klass):
            return _Leave(self, frame.base)
        return _Arrived(self, event) if frame.method.line_table is not None else None

    def popped(self, event):
        frame = event_frame.EventFrame(event)
        if self.popping not in (("base", frame.base), ("method", int(event.part("frame")["method"]))):
            return None
        if self._finishing:
            self.result = _returned(frame)
        return _GoOn(self)

    def entered(self, event):
        """At the entry of a method: native ones are not stepped through."""
        method = event_frame.method(event)
        return _IntoNative(self, event, method) if method.is_native and not is_skipped(method.klass) else None


def _pop(thread):
    """Has the VM pop the innermost frame. It does so when the thread runs on, and reports a single step at the call."""
    try:
        questions.ask("agent_popframe", thread)
    except questions.Refused as error:
        why = _NOT_POPPED.get(error.code)
        raise QuorError(f"java pop: {why}" if why else str(error)) from None


def ranges_of(table, location):
    """[(begin, end)] of the line that a location of a method belongs to."""
    line = questions.line_at(table, location)
    ends = [start for start, _ in table[1:]] + [1 << 16]
    return [(start, end) for (start, its), end in zip(table, ends) if its == line]


def _notify_pop(thread, depth):
    try:
        questions.ask("agent_notifyframepop", 0, thread, depth)
    except questions.Refused as error:
        if error.code == _OPAQUE_FRAME:
            raise _NoEnd("this frame is native or the outermost: its end cannot be asked for") from None
        if error.code != _DUPLICATE:
            raise
    _switch(events.FRAME_POP, True, 0)
    hooks.listen("hook_frame_pop", _at_pop)


def _returned(frame):
    """The value that an interpreted frame returns, as text: the interpreter keeps it on top of its stack. None of void."""
    try:
        return frame.returned()
    except QuorError:
        return None


class _Leave(settling.Reason):
    """The thread stands in a frame that is not stepped through."""

    def __init__(self, step, base):
        self._step, self._base = step, base

    def passes(self):
        with _asking():
            _notify_pop(self._step.thread, 0)
            self._step.popping = "base", self._base
            _switch(events.SINGLE_STEP, False, self._step.thread)
            _switch(events.METHOD_ENTRY, False, self._step.thread)
        return True


class _GoOn(settling.Reason):
    """The frame is left: single steps again."""

    def __init__(self, step):
        self._step = step

    def passes(self):
        with _asking():
            self._step.go_on()
        return True


class _Arrived(settling.Reason):
    """The step is over. A breakpoint at this place is told with it, and not again when the thread runs on."""

    def __init__(self, step, event, returned=False):
        self._event, self._result = event, step.result if returned else None
        part = event.part("single_step")
        _State.just_stopped = step.thread, int(part["method"]), int(part["location"])
        self._hit = breaks.hit_at(event)

    def passes(self):
        if self._hit is not None and self._hit.passes():
            self._hit = None
        return False

    def announce(self):
        text = self._hit.announce() if self._hit is not None else stop_texts.arrived(self._event)
        return text + (f"\nValue returned: {self._result}" if self._result is not None else "")

    def commands(self):
        return self._hit.commands() if self._hit is not None else []


class _IntoNative(settling.Reason):
    """A native method is entered: its C function stops the thread."""

    def __init__(self, step, event, method):
        self._step, self._method = step, method
        self._id = int(event.part("breakpoint")["method"])
        self._thread = hooks.event_thread(event)

    def passes(self):
        location = native_methods.location_of(self._id, self._method)
        if location is not None and self._thread is not None:
            _InNative(location, self._thread, self._method)
        return True


class _InNative(gdb.Breakpoint):
    """On the C function that a thread is about to enter, once."""

    def __init__(self, location, thread, method):
        super().__init__(location, internal=True, temporary=True)
        self.silent, self.commands, self.thread = True, settling.COMMANDS, thread.global_num
        self._text = f"{show.method(method.klass, method.name, method.signature)} <native>"

    def stop(self):
        settling.add_reason(_ArrivedInNative(self._text))
        return True


class _ArrivedInNative(settling.Reason):
    def __init__(self, text):
        self._text = text

    def announce(self):
        return self._text + "\n" + gdb.execute("frame", to_string=True).rstrip()


# ---- Listening ----

def _of_step(event):
    return _State.step is not None and event.thread() == _State.step.thread


def _at_step(event):
    if _of_step(event):
        return None if _State.step.popping else _State.step.stepped(event)
    thread = event.thread()
    return _Stray(thread) if (events.SINGLE_STEP, thread) in _State.armed else None


def _at_pop(event):
    return _State.step.popped(event) if _of_step(event) and _State.step.popping else None


def _at_entry(event):
    return _State.step.entered(event) if _of_step(event) and not _State.step.popping else None


def was_told(event):
    """Whether the breakpoint of this event was told with the step that ended there. Asked once, by the breakpoint's hit."""
    part = event.part("breakpoint")
    here = int(part["thread"]), int(part["method"]), int(part["location"])
    told, _State.just_stopped = _State.just_stopped, None
    return told == here


breaks.was_told = was_told


def run(make):
    """Makes a Step, lets the program run until it is over or the program stops elsewhere."""
    with _asking():
        for hook, function in (("hook_step", _at_step), ("hook_method_entry", _at_entry)):
            hooks.listen(hook, function)
        _State.just_stopped = None
        _State.step = make()
    try:
        settling.resume()
    finally:
        _State.step = None
        _end()


def _end():
    try:
        if _State.armed:
            with _asking():
                disarm()
    except QuorError:
        pass  # what is left on ends itself at its next event


def release():
    """The debugger leaves. At a hook."""
    disarm()
    _forget()
