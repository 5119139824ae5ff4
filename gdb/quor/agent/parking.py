"""One thread kept where it stopped while the process runs for calls: it runs a jump to itself, and gets its place and its signal
back. What it must go back to is noted on its stack too, for a gdb that comes after this one was killed."""
import contextlib
import signal
import struct

import gdb

from quor.agent import calls, place
from quor.errors import QuorError

ANYWHERE = (0, 2, 19)  # signals of a thread that did not choose its place: none, SIGINT, SIGSTOP
_TRAP = 5
_LOOP = b"\xeb\xfe"  # a jump to itself, on both widths
_CHUNK, _MAX_SEARCH = 1 << 16, 1 << 23
_SAVED = "j_saved"  # a convenience variable
_NOTE, _MAGIC = struct.Struct("<8sQ"), b"quorpark"
_BELOW = 512  # bytes from the stack pointer down to the note: what is next to it may be in use without it


class _Loops:
    """Where a jump to itself stands in the process's code."""
    known = {}  # (inferior's number, process id): address


def _loop():
    inferior = gdb.selected_inferior()
    key = inferior.num, inferior.pid
    if key not in _Loops.known:
        _Loops.known[key] = _find_loop(inferior)
    return _Loops.known[key]


def _find_loop(inferior):
    """The bytes need not be meant as an instruction: nobody else runs them."""
    start = int(gdb.parse_and_eval("(unsigned long)&'JNI_CreateJavaVM'"))
    for chunk in range(start, start + _MAX_SEARCH, _CHUNK):
        try:
            at = inferior.read_memory(chunk, _CHUNK).tobytes().find(_LOOP)
        except gdb.error:
            break
        if at >= 0:
            return chunk + at
    raise QuorError("no place was found to park a thread at; java continue leads to a Java stop")


class Parked:
    """Keeps one gdb thread where it is while the process runs for calls; it must be outside of the VM."""

    def __init__(self, thread):
        self._thread = thread

    def __enter__(self):
        loop = _loop()
        with self._selected():
            self._signal = signal_of_stop()
            if self._signal == _TRAP and number(system_call_register()) >= 0:
                raise QuorError(f"thread {self._thread.num} stopped at a system call: the agent cannot be asked here")
            self._saved = [Saved(name) for name in ("$pc", "$eflags", system_call_register(), "$_siginfo")]
            try:
                _note(self._saved[0].number())
                if self._is_pending():
                    gdb.execute("queue-signal 0", to_string=True)
                gdb.execute(f"set var $pc = {loop}", to_string=True)
            except gdb.error:
                self._saved[0].put_back()
                self._put_back()
                raise
        return self

    def __exit__(self, *_):
        if self._thread.is_valid():
            with self._selected():
                try:
                    stand_at(self._saved[0].number())
                finally:
                    self._put_back()

    def _put_back(self):
        for each in self._saved[1:]:
            each.put_back()
        if self._is_pending():
            gdb.execute(f"queue-signal {_signal_name(self._signal)}", to_string=True)

    def _is_pending(self):
        return self._signal not in ANYWHERE and self._signal != _TRAP

    @contextlib.contextmanager
    def _selected(self):
        with place.Selection():
            self._thread.switch()
            gdb.newest_frame().select()
            yield


class Saved:
    """What a register, or gdb's $_siginfo, of the selected thread held."""

    def __init__(self, name):
        self._name, self._value = name, gdb.parse_and_eval(name)
        self._value.fetch_lazy()

    def number(self):
        return int(self._value.cast(gdb.lookup_type("unsigned long")))

    def put_back(self):
        gdb.set_convenience_variable(_SAVED, self._value)
        gdb.execute(f"set var {self._name} = ${_SAVED}", to_string=True)
        gdb.set_convenience_variable(_SAVED, None)


def stand_at(pc):
    """Has the selected thread stop at this place before it runs anything there. Without a stop of its own gdb, which has let it
    run, would not step over the breakpoint there when the user continues, but stop a second time."""
    calls.let_run_alone(f"jump *{pc}", to=pc)
    if gdb.newest_frame().pc() != pc:
        raise QuorError("the thread that was parked has not come back to its place")


def number(expression):
    return int(gdb.parse_and_eval(f"(long){expression}"))


def system_call_register():
    return "$orig_rax" if gdb.lookup_type("void").pointer().sizeof == 8 else "$orig_eax"


def signal_of_stop():
    """The signal with which the selected thread stopped."""
    try:
        return int(gdb.parse_and_eval("$_siginfo.si_signo"))
    except gdb.error:
        return 0


def _signal_name(number):
    return signal.Signals(number).name


# ---- What a gdb that was killed has left ----

def _note(pc):
    try:
        gdb.selected_inferior().write_memory(_note_address(), _NOTE.pack(_MAGIC, pc))
    except gdb.error:
        pass  # the stack ends there: then a killed gdb leaves this thread for good


def _note_address():
    return number("$sp") % (1 << 8 * gdb.lookup_type("void").pointer().sizeof) - _BELOW & ~15


def release_left():
    """Lets the threads that a killed gdb has left parked stand where they did; gives them."""
    loop, found = _loop(), []
    with place.Selection():
        for thread in gdb.selected_inferior().threads():
            thread.switch()
            gdb.newest_frame().select()
            if gdb.newest_frame().pc() == loop and _goes_back():
                found.append(thread)
    return found


def _goes_back():
    magic, pc = _NOTE.unpack(gdb.selected_inferior().read_memory(_note_address(), _NOTE.size).tobytes())
    if magic == _MAGIC:
        gdb.execute(f"set var $pc = {pc}", to_string=True)
    return magic == _MAGIC
