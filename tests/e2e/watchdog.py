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


def read_order(seconds):
    """The next line of standard input as its words; None when none came in time."""
    if not select.select([sys.stdin], [], [], seconds)[0]:
        return None
    line = os.read(sys.stdin.fileno(), 4096).decode()
    if not line:
        sys.exit(0)  # gdb has ended
    return line.splitlines()[-1].split()


def enforce(pid, output):
    """Java's stacks, then the interruptions, until the next order, which is given."""
    before = dumps(output)
    send(pid, signal.SIGQUIT)
    deadline = time.monotonic() + DUMP_SECONDS
    while dumps(output) == before and time.monotonic() < deadline:
        order = read_order(0.05)
        if order:
            return order
    while True:
        send(pid, signal.SIGINT)
        order = read_order(1)
        if order:
            return order


def main(output):
    order = read_order(None)
    while True:
        if order == ["off"]:
            order = read_order(None)
            continue
        seconds, pid = float(order[0]), int(order[1])
        order = read_order(seconds) or enforce(pid, output)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
