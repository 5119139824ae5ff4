"""Everything that waits has a time limit. One that passes shows all stacks and fails the case."""
import contextlib
import os
import signal
import time

import gdb

from checks import CaseFailed
from quor.agent.limit import Limit
from surroundings import output

LIMIT = 25  # seconds for one wait
_DUMP_SECONDS, _TURN = 3, 0.3  # what a JVM gets to print its stacks; one that is stuck never does


def show_stacks():
    """Every thread's native stack, as far as gdb can still reach the process."""
    try:
        if gdb.selected_inferior().pid:
            gdb.execute("thread apply all bt")
    except gdb.error as error:
        print(f"no stacks: {error}", flush=True)


def show_all_stacks():
    """The native ones, then Java's, which the JVM is made to print to its output."""
    show_stacks()
    pid, before, deadline = gdb.selected_inferior().pid, _dumps(), time.monotonic() + _DUMP_SECONDS
    if not pid:
        return
    os.kill(pid, signal.SIGQUIT)
    with contextlib.suppress(gdb.error):
        while _dumps() == before and time.monotonic() < deadline:
            with Limit(_TURN):
                gdb.execute("continue", to_string=True)


def _dumps():
    """How many times the JVM has ended the list of its stacks."""
    return output().count("JNI global refs")


@contextlib.contextmanager
def limit(seconds, what):
    """When the body, in which the process runs, takes longer the case fails. Limits do not nest."""
    watched = Limit(seconds)
    try:
        with watched:
            yield
    except (gdb.error, KeyboardInterrupt) as error:
        if not watched.has_passed:
            show_stacks()
            raise CaseFailed(f"{what}: {error}") from error
    if watched.has_passed:
        show_all_stacks()
        raise CaseFailed(f"{what}: not within {seconds} seconds")


def wait_for(condition, what, seconds=LIMIT):
    """Waits, with the process free to run or gone, until condition() gives something true, which is the result."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            show_stacks()
            raise CaseFailed(f"{what}: not within {seconds} seconds")
        time.sleep(0.02)


def wait_for_output(text, seconds=LIMIT):
    return wait_for(lambda: text in output(), f"the output {text!r}", seconds)
