#!/usr/bin/env python3
"""Enforces time limits on a process that its parent, a gdb, works on: a process of its own, because gdb's Python runs
nothing while gdb calls into the process.

usage: watchdog.py OUTPUT      with lines on standard input: "SECONDS PID" sets a limit, "off" lifts it

When a limit passes, the JVM is made to print its Java stacks (to OUTPUT), and then interrupted once a second until the
limit is lifted: gdb gets its process back, even in the middle of a call.
"""
import contextlib
import os
import select
import signal
import sys
import time

DUMP_SECONDS = 3  # what a JVM gets to print its stacks; one that is stuck never does


def send(pid, number):
    with contextlib.suppress(OSError):
        os.kill(pid, number)


def dumps(output):
    """How many times the JVM has ended the list of its stacks."""
    with contextlib.suppress(OSError), open(output, encoding="utf-8", errors="replace") as file:
        return file.read().count("JNI global refs")
    return 0


class Orders:
    """The orders that came on a pipe. On a busy machine many wait at once, and a read may end in the middle of one."""

    def __init__(self, pipe):
        self._pipe = pipe
        self._begun = b""  # a line whose end has not come

    def next(self, seconds):
        """The newest order as its words; None when none came in time."""
        deadline = None if seconds is None else time.monotonic() + seconds
        while select.select([self._pipe], [], [], None if deadline is None else max(0, deadline - time.monotonic()))[0]:
            read = os.read(self._pipe, 4096)
            if not read:
                sys.exit(0)  # gdb has ended
            *lines, self._begun = (self._begun + read).split(b"\n")
            if lines:
                return lines[-1].decode().split()
        return None


def enforce(pid, output, orders):
    """Java's stacks, then the interruptions, until the next order, which is given."""
    before = dumps(output)
    send(pid, signal.SIGQUIT)
    deadline = time.monotonic() + DUMP_SECONDS
    while dumps(output) == before and time.monotonic() < deadline:
        order = orders.next(0.05)
        if order:
            return order
    while True:
        send(pid, signal.SIGINT)
        order = orders.next(1)
        if order:
            return order


def main(output):
    orders = Orders(sys.stdin.fileno())
    order = orders.next(None)
    while True:
        if order == ["off"]:
            order = orders.next(None)
            continue
        seconds, pid = float(order[0]), int(order[1])
        order = orders.next(seconds) or enforce(pid, output, orders)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
