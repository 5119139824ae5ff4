"""Processes that run beside others: a program while a debugger looks at it."""
import contextlib
import re
import subprocess

from .jvm import Failed


@contextlib.contextmanager
def running(command, **further):
    """A block with the process of a command, whose input and output are pipes; it is ended with the block."""
    process = subprocess.Popen(list(map(str, command)), stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               text=True, **further)
    try:
        yield process
    finally:
        if process.poll() is None:
            process.kill()
        process.stdin.close()
        process.wait()
        process.stdout.close()


def await_line(process, pattern):
    """The first line that matches; what comes before it is passed over."""
    seen = []
    for line in process.stdout:
        seen.append(line)
        if found := re.search(pattern, line):
            return found
    raise Failed(f"no line '{pattern}' in:\n{''.join(seen)}")
