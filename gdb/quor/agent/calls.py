"""Calls into the stopped process, on the agent thread, with a limit; and memory there for what they are given and give."""
import contextlib
import functools
import signal

import gdb

from quor import states
from quor.agent import place
from quor.agent.limit import Limit
from quor.errors import QuorError
from quor.selection import Selection

LIMIT = 10  # seconds for a question
_ALONE = 3  # for one that no other thread need help with: long, since a limit that passes at the very end hits what comes next
_SCRATCH = 64 * 1024


class Interrupted(QuorError):
    """A call did not come back in time and stands where it was."""


class _State:
    scratch = {}  # (inferior's number, process id): address
    used = 0
    calling = False  # the process runs for a call of ours, not because the user lets it
    on_agent_thread = False  # it is selected, and a block around sees to the user's selection


def is_calling():
    """Whether the process runs, or stops, because of a call of ours."""
    return _State.calling


class _Settings:
    """gdb's settings for calls; the user's are put back. What is set already costs nothing."""

    def __init__(self, unwind, alone):
        self._wanted = {"unwindonsignal": "on" if unwind else "off", "scheduler-locking": "on" if alone else "off",
                        "print thread-events": "off", "confirm": "off"}

    def __enter__(self):
        before = {name: gdb.parameter(name) for name in self._wanted}
        before = {name: {True: "on", False: "off"}.get(value, value) for name, value in before.items()}
        self._changed = {name: value for name, value in before.items() if value != self._wanted[name]}
        for name in self._changed:
            gdb.execute(f"set {name} {self._wanted[name]}", to_string=True)

    def __exit__(self, *_):
        for name, value in self._changed.items():
            try:
                gdb.execute(f"set {name} {value}", to_string=True)
            except gdb.error:  # the process has ended, and scheduler-locking is a process's
                pass


def function(name):
    """An exported function of the agent."""
    try:
        return gdb.parse_and_eval(name)
    except gdb.error as error:
        raise QuorError(f"this agent has no {name}") from error


def call(what, *arguments, seconds=None, unwind=False, alone=False):
    """Calls an exported function (by name) or a function pointer (a gdb.Value) on the agent thread, which must be at a hook or
    waiting. Integers come back as int. Past the limit (LIMIT, or `seconds`) it is interrupted, which raises Interrupted, and
    stands where it was: to unwind it would leave the VM's locks taken. With `alone` only the agent thread runs meanwhile."""
    target = function(what) if isinstance(what, str) else what
    if target.type.strip_typedefs().code == gdb.TYPE_CODE_PTR:
        target = target.dereference()
    thread = place.agent_thread()
    if thread is None:
        raise QuorError("the agent is not in this process; see help java run")
    with on_agent_thread(thread), _Settings(unwind, alone):
        return _number(_limited(target, arguments, Limit(seconds or LIMIT), what))


def call_alone(what, *arguments):
    """The same for what may be called twice and needs no other thread, as a rule: the others stand, which costs a third. Where the
    VM waits for one of them after all (a collection is under way), all run until it has answered, and it is called again."""
    try:
        return call(what, *arguments, seconds=_ALONE, alone=True)
    except Interrupted:
        let_call_return(LIMIT)
        return call(what, *arguments)


@contextlib.contextmanager
def on_agent_thread(thread=None):
    """A block with the agent thread selected, for many calls: to find the user's frame again after each costs as much as a call."""
    if _State.on_agent_thread:
        yield
        return
    with Selection():
        thread = thread or place.agent_thread()
        if thread is not None and thread != gdb.selected_thread():
            thread.switch()
        _State.on_agent_thread = True
        try:
            yield
        finally:
            _State.on_agent_thread = False


def _limited(target, arguments, limit, what):
    try:
        with _working(limit):
            return fetched(target(*arguments))
    except gdb.error as error:
        raise (Interrupted if limit.has_passed else QuorError)(_why(what, limit, error)) from None


def sleep(seconds, limit=None):
    """Lets the process run for a while, with the agent thread where it is: it sleeps there."""
    call("(int (*)(unsigned)) usleep", int(seconds * 1_000_000), seconds=limit)


def finish_interrupted(seconds=LIMIT):
    """Lets the process run until the function that was interrupted has come back; gives whether it has."""
    with Selection(), _Settings(False, False), _working(Limit(seconds)):
        place.agent_thread().switch()
        gdb.execute("continue", to_string=True)
    return not place.is_called()


class _Silent(gdb.Breakpoint):
    """Stops without a word."""

    def __init__(self, address):
        super().__init__(f"*{address:#x}", internal=True)
        self.silent = True

    def stop(self):
        return True


def let_run_alone(command, to, seconds=LIMIT):
    """Executes a gdb command by which the selected thread runs, and no other, until it comes to an address; not the user's doing.
    Interrupted past the limit."""
    here = _Silent(to)
    try:
        with _Settings(False, True), _working(Limit(seconds)):
            gdb.execute(command, to_string=True)
    finally:
        here.delete()


@contextlib.contextmanager
def _working(limit):
    """A block in which the process runs for a purpose of ours, with a limit."""
    _State.calling = True
    try:
        with limit, not_ended():
            yield
    finally:
        _State.calling = False


@contextlib.contextmanager
def not_ended():
    """A block that a SIGTERM to gdb ends only afterwards: gdb would detach at once, in the middle of a call."""
    before = signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGTERM, signal.SIGHUP})
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, before)


def forget_last_signal():
    """Through a gdbserver, after calls: has the agent thread's last stop be a breakpoint's, and puts it back to where it was.

    A call ends at a breakpoint on the stack, whose memory may not be executed: a SIGSEGV, which gdb takes for the breakpoint. A
    gdbserver (13.1) that detaches later would deliver it, and the JVM would die of it. Only where the agent thread stands at the
    beginning of a hook: it goes to the hook's end, which does nothing."""
    thread = place.agent_thread()
    if not states.is_remote(gdb.selected_inferior()) or place.hook() is None:
        return
    with Selection():
        thread.switch()
        gdb.newest_frame().select()
        kept = {name: int(gdb.parse_and_eval(f"(unsigned long)${name}")) for name in ("sp", "pc")}
        let_run_alone("continue", to=gdb.newest_frame().older().pc())
        for name, value in kept.items():
            gdb.execute(f"set ${name} = {value}")


def let_call_return(seconds):
    """Lets a call that was interrupted go on to its end; a QuorError when it does not come there in time."""
    limit = Limit(seconds)
    try:
        with _working(limit):
            gdb.execute("continue", to_string=True)
    except gdb.error as error:
        raise QuorError(f"the call does not come back: {error}") from None
    if limit.has_passed:
        raise Interrupted("the call does not come back; java status tells what to do")


def _why(what, limit, error):
    name = what if isinstance(what, str) else "the VM"
    if limit.has_passed:
        return f"{name} did not answer within {limit.seconds} seconds; java status tells what to do"
    return f"{name} failed: {str(error).splitlines()[0]}"


def _number(value):
    return int(value) if value.type.strip_typedefs().code in (gdb.TYPE_CODE_INT, gdb.TYPE_CODE_BOOL) else value


# ---- Memory ----

def scratch(size):
    """The address of zeroed memory in the process, valid until forget_scratch()."""
    inferior = gdb.selected_inferior()
    key = inferior.num, inferior.pid
    if key not in _State.scratch:
        _State.scratch[key] = int(call("(void* (*)(unsigned long)) malloc", _SCRATCH))
        _State.used = 0
    if not _State.scratch[key]:
        raise QuorError("the process has no memory left")
    size = (size + 15) & ~15
    if _State.used + size > _SCRATCH:
        raise QuorError("a question needs too much memory in the process")
    address = _State.scratch[key] + _State.used
    _State.used += size
    inferior.write_memory(address, bytes(size))
    return address


def forget_scratch():
    """Lets the memory be used again."""
    _State.used = 0


def with_own_scratch(function):
    """The function gives back the memory that it took, once what it found is in Python."""
    @functools.wraps(function)
    def wrapped(*arguments, **named):
        used = _State.used
        try:
            return function(*arguments, **named)
        finally:
            _State.used = used
    return wrapped


def free_scratch():
    """Gives the memory back to the process."""
    inferior = gdb.selected_inferior()
    address = _State.scratch.pop((inferior.num, inferior.pid), None)
    if address:
        call("(void (*)(void*)) free", address)


def _process_has_ended(_event):
    _State.scratch.clear()


gdb.events.exited.connect(_process_has_ended)


def out(type_name, count=1):
    """A pointer to zeroed memory for what a function gives."""
    return _out_of(gdb.lookup_type(type_name), count)


def out_pointer(type_name):
    """The same for a pointer to this type: for an array that a function gives, or a text ("char")."""
    return _out_of(gdb.lookup_type(type_name).pointer())


def _out_of(kind, count=1):
    return gdb.Value(scratch(kind.sizeof * count)).cast(kind.pointer())


def out_text(text):
    """A pointer to the text, NUL-terminated, in modified UTF-8 as far as Java names need it."""
    data = text.encode("utf-8") + b"\0"
    address = scratch(len(data))
    gdb.selected_inferior().write_memory(address, data)
    return gdb.Value(address).cast(gdb.lookup_type("char").pointer())


def fetched(value):
    """The value as it is now: gdb reads memory late, when the process may have gone on."""
    value.fetch_lazy()
    return value


def text_of(pointer):
    """The text of a character array or pointer; None for a null pointer."""
    if pointer.type.strip_typedefs().code == gdb.TYPE_CODE_PTR and int(pointer) == 0:
        return None
    return pointer.string("utf-8", "replace")
