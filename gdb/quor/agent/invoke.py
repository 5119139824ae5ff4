"""Methods called in a stopped thread, at a hook, with a limit; and JNI functions called on the agent thread."""
import contextlib
from collections import namedtuple

import gdb

from quor import codes
from quor.agent import calls, place, thread_map
from quor.agent.calls import call, out, scratch, with_own_scratch
from quor.errors import QuorError

Outcome = namedtuple("Outcome", "exception word value")  # handles or 0; `value` is the jvalue, a gdb.Value
LIMIT = 5  # seconds for a method
_END_SECONDS = 10  # for a call that was interrupted to come back: the agent looks every two
_SYNCHRONOUS = 1
_WHERE_OTHERS_RUN = ("hook_method_entry", "hook_thread_stop")
_WHILE, _WHILES = 0.003, 10  # seconds; how often at most
_OVERTAKEN = 2  # the outcome's status
_TRIES = 20  # for a request that other threads' events overtake: each time more of them wait and are hidden
_KEPT_OUT = ("JVMDI_EVENT_BREAKPOINT", "JVMDI_EVENT_CLASS_PREPARE")  # other threads meet these all the time


class TooLong(QuorError):
    """The method did not return in time; the agent has given it up."""


def jni(function, *arguments):
    """Calls a JNI function with the agent thread's environment."""
    environment = place.global_value("quor_env")
    return call(environment["functions"][function], environment, *arguments)


@with_own_scratch
def run(thread, reference, clazz, method, return_type, words, seconds=None):
    """Calls a method in the thread with this handle, on an object or, with None, on its class; `words` are the arguments, eight
    bytes each. Threads that wait at events of theirs are kept out meanwhile, as are breakpoints."""
    result = out("AgentInvokRet")
    static = "static_" if reference is None else ""
    arguments = (0, thread, clazz if reference is None else reference, method, ord(return_type), len(words), _laid_out(words),
                 _SYNCHRONOUS, result)
    for _ in range(_TRIES):
        with _others_hidden():
            code = _limited(f"agent_invoke_{static}method", arguments, seconds or LIMIT)
        if code:
            raise QuorError(f"the method was not called: {codes.words(code)}")
        exception, status = int(result["exception"]), int(result["status"])
        if status != _OVERTAKEN or exception:
            value = calls.fetched(result["value"])
            return Outcome(exception, int(value["l"]), value)
        if _is_given_up(thread):
            raise QuorError("another thread's event came while the method ran, which was given up; its thread still runs it")
        if not _is_at_its_event():
            raise QuorError("another thread's event came first, and this thread has gone on: continue to its next stop")
    raise QuorError("other threads' events came first each time: the method was not called; say it again")


def _is_at_its_event():
    """Whether the thread of the stop still waits at its event."""
    pending = gdb.lookup_static_symbol("pending_notify_event")
    return pending is None or int(pending.value()) != 0


def _is_given_up(thread):
    """Whether the method that this thread was to run has begun. If not, the agent has taken the request back."""
    record = thread_map.record_of(thread)
    return record is not None and int(record["invocation_state"]) == place.constant("INVOKE_ABANDONED")


def _laid_out(words):
    address = scratch(8 * max(1, len(words)))
    if words:
        gdb.selected_inferior().write_memory(address, b"".join(words))
    return gdb.Value(address).cast(gdb.lookup_type("jvalue").pointer())


def _limited(function, arguments, seconds):
    """A call that is never unwound: the agent would be left in the middle of its work."""
    try:
        return call(function, *arguments, seconds=seconds, unwind=False)
    except calls.Interrupted:
        place.set_global("controlc_hit", 1)
        try:
            calls.let_call_return(_END_SECONDS)
        finally:
            place.set_global("controlc_hit", 0)
        raise TooLong(f"the method did not return within {seconds} seconds and was given up; its thread still runs it") from None


@contextlib.contextmanager
def _others_hidden():
    """Takes the threads that wait at events of theirs out of the agent's sight, and breakpoints and prepared classes out of the
    others' way; puts all back, in order. Afterwards the list of prepared classes lacks those of meanwhile."""
    head, end = (gdb.lookup_static_symbol(name) for name in ("event_queue", "event_queue_end"))
    if head is None or end is None:
        yield
        return
    _notify(0)
    _let_others_arrive()
    head, end = head.value(), end.value()
    hidden, hidden_end = int(head), int(end)
    _write(head, 0)
    try:
        yield
    finally:
        if hidden:
            newer = int(gdb.lookup_static_symbol("event_queue").value())
            last = gdb.Value(hidden_end).cast(head.type).dereference()
            _write(last["next"], newer)
            if not newer:
                _write(end, hidden_end)
            _write(head, hidden)
        _notify(1)


def _let_others_arrive():
    """Lets threads that are on the way into an event of theirs come to the queue: they would overtake the call. With nothing more
    to meet on the way they are there soon; until none came in a while."""
    held = place.hook() not in _WHERE_OTHERS_RUN
    for _ in range(_WHILES):
        before = _queue()
        if held:
            call("agent_resume_all", 0)
        calls.sleep(_WHILE)
        if held:
            call("agent_suspend_all", 0)
        if _queue() == before:
            return


def _queue():
    """The last of the threads that wait at events of theirs, by its entry; 0 when none does."""
    head, end = (int(gdb.lookup_static_symbol(name).value()) for name in ("event_queue", "event_queue_end"))
    return end if head else 0


def _notify(mode):
    for name in _KEPT_OUT:
        calls.call_alone("agent_set_eventnotification", 0, mode, place.constant(name), 0)


def _write(variable, number):
    """Stores a pointer at a variable."""
    gdb.selected_inferior().write_memory(int(variable.address), number.to_bytes(variable.type.sizeof, "little"))
