"""Time limits: past one, gdb is interrupted and has its process back, in the middle of a call too."""
import os
import sys
import time

_WATCHDOG = os.path.join(os.path.dirname(os.path.abspath(__file__)), "watchdog.py")


class _State:
    watchdog = None  # the child process that enforces limits; made on first use


def _tell_watchdog(line):
    if _State.watchdog is None or _State.watchdog.poll() is not None:
        import subprocess  # here: sessions without the agent do not need it, and each would load it
        _State.watchdog = subprocess.Popen([_python(), _WATCHDOG, str(os.getpid())], stdin=subprocess.PIPE,
                                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
    _State.watchdog.stdin.write(line.encode() + b"\n")
    _State.watchdog.stdin.flush()


def _python():
    """The Python that runs the watchdog. gdb's own has no program; it may say a wrong one."""
    found = os.path.join(sys.exec_prefix, "bin", f"python{sys.version_info[0]}")
    return found if os.path.exists(found) else "python3"


class Limit:
    """A block that is interrupted, every three seconds, when it takes longer. Limits do not nest."""

    def __init__(self, seconds):
        self.seconds = seconds
        self.has_passed = False  # known at the block's end

    def __enter__(self):
        self._end = time.monotonic() + self.seconds
        _tell_watchdog(str(self.seconds))
        return self

    def __exit__(self, *_):
        self.has_passed = time.monotonic() >= self._end
        _tell_watchdog("off")
