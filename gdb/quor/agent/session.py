"""The debugger's hold on the agent of one process: attached or not, the state of now, the number of the stop.

States, found out anew at each question:
    none      the agent is not in the process (or there is no process)
    loaded    the agent is there, this debugger has not attached to it
    running   the process runs
    hook      the agent thread stands at a hook point: everything can be asked
    busy      a function that was called on the agent thread has not come back
    native    stopped elsewhere
    core      a core file
"""
import gdb

from quor import states
from quor.agent import calls, place
from quor.errors import QuorError

ADVICE = {
    "none": "the agent is not in this process; see help java run",
    "loaded": "the agent is not attached; java attach does that",
    "running": "the program is running; press Ctrl-C",
    "native": "the program is stopped in native code: the agent can be asked there; java continue leads to a Java stop",
    "busy": "a function that was called in the program was interrupted; java abort lets it come to its end",
    "core": "a core file cannot run: this needs a running process",
}


_ENDED = "the program has ended; java run starts it again"


class _State:
    ended = False  # the last process has, and none came since
    attached = set()  # (inferior's number, process id)
    stop_number = 1


def _key():
    inferior = gdb.selected_inferior()
    return inferior.num, inferior.pid


def state():
    process = states.current()
    if process != "stopped":
        return {"no process": "none"}.get(process, process)
    if not place.is_loaded():
        return "none"
    if place.hook() is not None:
        return "hook"
    if place.is_called():
        return "busy"
    return "native" if is_attached() else "loaded"


def require(what, *wanted):
    """Raises a QuorError unless the state is one of those; gives it."""
    now = state()
    if now not in wanted:
        raise QuorError(f"{what}: {advice(now)}")
    return now


def advice(now):
    """A state in words, and what to do."""
    if now == "none" and _State.ended and not gdb.selected_inferior().pid:
        return _ENDED
    return ADVICE.get(now, "not at a stop of this kind")


def is_attached():
    """Whether this debugger has attached to the agent of the process."""
    return _key() in _State.attached


def attach():
    """Takes hold of the Java side. At a hook; gives the agent's code."""
    code = calls.call("agent_attach_jquor", 0)
    calls.forget_last_signal()
    if code == 0:
        _State.attached.add(_key())
    return code


def detach():
    """Lets go. At a hook."""
    code = calls.call("agent_detach_jquor", 0)
    _State.attached.discard(_key())
    return code


def stop_number():
    """Grows each time that the process goes on: what was handed out at an earlier number is gone."""
    return _State.stop_number


def _goes_on(_event):
    _State.ended = False
    if not calls.is_calling():
        _State.stop_number += 1


def _has_ended(_event):
    _State.ended = True
    _State.stop_number += 1
    _State.attached.clear()


gdb.events.cont.connect(_goes_on)
gdb.events.exited.connect(_has_ended)
