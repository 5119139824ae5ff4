#!/usr/bin/env python3
"""Interrupts the gdb whose process id is the argument when a limit passes. A process of its own, because gdb's Python runs
nothing while gdb calls into the process. On standard input: "SECONDS" sets a limit, "off" lifts it."""
import os
import select
import signal
import sys
import time


class Orders:
    """Lines from a pipe. On a busy machine several wait at once, and a read may end in the middle of one."""

    def __init__(self, pipe):
        self._pipe, self._begun = pipe, b""  # a line whose end has not come

    def newest(self, seconds):
        """The newest line; None when none came in time. Ends this process with the pipe."""
        end = None if seconds is None else time.monotonic() + seconds
        while select.select([self._pipe], [], [], None if end is None else max(0, end - time.monotonic()))[0]:
            read = os.read(self._pipe, 4096)
            if not read:
                sys.exit(0)
            *lines, self._begun = (self._begun + read).split(b"\n")
            if lines:
                return lines[-1].decode()
        return None


def main():
    gdb_pid = int(sys.argv[1])
    orders, limit = Orders(0), None
    while True:
        line = orders.newest(limit)
        if line is not None:
            limit = None if line == "off" else float(line)
        else:
            os.kill(gdb_pid, signal.SIGINT)
            limit = 3.0  # again, until it is lifted: a busy gdb takes its time to lift it


if __name__ == "__main__":
    main()
