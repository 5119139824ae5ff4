"""In gdb: stops the program at a random moment."""
import random
import subprocess

import gdb


def interrupt(shortest=0.002, longest=0.03):
    """Lets the program run for so many seconds. A child process interrupts it: gdb keeps Python's lock meanwhile."""
    pid = gdb.selected_inferior().pid
    child = subprocess.Popen(["sh", "-c", f"sleep {random.uniform(shortest, longest):.4f}; kill -INT {pid}"])
    gdb.execute("continue", to_string=True)
    child.wait()
