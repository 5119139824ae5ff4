"""In what state the process is. Found out anew at each question, never remembered."""
import re

import gdb

from quor.errors import QuorError

STATES = ("no process", "running", "stopped", "core")
_ADVICE = {
    "no process": "there is no process: start one with run, attach to one, or load a core file",
    "running": "the program is running; press Ctrl-C",
    "core": "a core file cannot run: this needs a running process",
    "stopped": "the process is stopped",
}


def current():
    """One of STATES, of the selected inferior."""
    inferior = gdb.selected_inferior()
    if not inferior.threads():
        return "no process"
    thread = gdb.selected_thread()
    if thread is not None and thread.is_running():
        return "running"
    return "core" if is_core(inferior) else "stopped"


def is_core(inferior):
    """Whether the inferior is a core file."""
    return _connection(inferior).startswith("core")


def is_remote(inferior):
    """Whether the process is worked through a gdbserver."""
    return "remote" in _connection(inferior)


class _Known:
    thread = None  # of the inferior whose connection is known; one that leaves takes its threads along
    connection = ""


def _connection(inferior):
    """core, native, extended-remote ... Not by gdb.Inferior.connection: gdb 13 may abort at its end when that was asked."""
    threads = inferior.threads()
    if _Known.thread not in threads or not threads:
        listed = re.search(r"\d+ \(([^)]*)\)", gdb.execute(f"info inferiors {inferior.num}", to_string=True))
        _Known.connection = listed.group(1) if listed else ""
        _Known.thread = threads[-1] if threads else None
    return _Known.connection


def require(what, states):
    """Raises a QuorError unless the process is in one of the states."""
    state = current()
    if state not in states:
        raise QuorError(f"{what}: {_ADVICE[state]}")
