#!/usr/bin/env python3
"""Stands for the debugger in a start-up handshake: notes the signal that it gets, and may answer through a FIFO.

usage: debugger.py LOG READY [FIFO HEX]      READY appears when the signal can be received
"""
import os
import signal
import sys

SIGNAL = 16  # a number on purpose: it is what debuggers expect, whatever the platform calls it


def main():
    log, ready = sys.argv[1:3]
    signal.pthread_sigmask(signal.SIG_BLOCK, {SIGNAL})
    with open(ready, "w", encoding="ascii") as file:
        file.write(f"{os.getpid()}\n")
    received = signal.sigtimedwait({SIGNAL}, 60)
    with open(log, "w", encoding="ascii") as file:
        file.write(f"signal {received.si_signo}\n" if received else "no signal\n")
    if len(sys.argv) > 3:
        with open(sys.argv[3], "wb") as fifo:
            fifo.write(bytes.fromhex(sys.argv[4]))


main()
