#!/usr/bin/env python3
"""Interrupts the gdb whose process id is the argument when a limit passes. A process of its own, because gdb's Python runs
nothing while gdb calls into the process. On standard input: "SECONDS" sets a limit, "off" lifts it."""
import os
import select
import signal
import sys


class Orders:
    """Lines from a pipe, which may come several at once."""

    def __init__(self, pipe):
        self._pipe, self._begun, self._lines = pipe, b"", []

    def newest(self, seconds):
        """The newest line; None when none came in time. Ends this process with the pipe."""
        if not select.select([self._pipe], [], [], seconds)[0]:
            return None
        read = os.read(self._pipe, 4096)
        if not read:
            sys.exit(0)
        *lines, self._begun = (self._begun + read).split(b"\n")
        return lines[-1].decode() if lines else None


def main():
    gdb_pid = int(sys.argv[1])
    orders, limit = Orders(0), None
    while True:
        line = orders.newest(limit)
        if line is not None:
            limit = None if line == "off" else float(line)
        elif limit is not None:
            os.kill(gdb_pid, signal.SIGINT)
            limit = 1.0  # again, until it is lifted


if __name__ == "__main__":
    main()
