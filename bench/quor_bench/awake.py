"""Keeps the machine's processors from falling asleep while something is measured."""
import contextlib
import os
import subprocess
import sys

# Runs only where nobody else wants to, so that it takes nothing from what is measured; ends with its parent.
_SPIN = """
import os, sys
os.sched_setaffinity(0, {int(sys.argv[1])})
os.sched_setscheduler(0, os.SCHED_IDLE, os.sched_param(0))
print(flush=True)
parent = os.getppid()
while os.getppid() == parent:
    for _ in range(1000000):
        pass
"""


def _begun(processor):
    spinner = subprocess.Popen([sys.executable, "-c", _SPIN, str(processor)], stdout=subprocess.PIPE)
    spinner.stdout.readline()
    return spinner


@contextlib.contextmanager
def processors():
    """A block in which every processor that this process may use has something to do: one that slept takes its time to wake up,
    which on a virtual machine is longer than what it is woken for. Gives the ids of the processes that see to it."""
    spinners = [_begun(processor) for processor in sorted(os.sched_getaffinity(0))]
    try:
        yield [spinner.pid for spinner in spinners]
    finally:
        for spinner in spinners:
            spinner.kill()
            spinner.communicate()
