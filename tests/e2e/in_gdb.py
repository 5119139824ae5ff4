"""The frame of a case inside gdb: imports the case, runs it, tells run_case.py how it ended."""
import importlib
import os
import sys
import traceback

import gdb

_HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(_HERE, "cases"), os.path.join(_HERE, "..", "..", "gdb")]

import waits  # noqa: E402 (the line above makes importable what it stands on)
from checks import CaseFailed, Checks  # noqa: E402
from quor.agent import calls  # noqa: E402
from surroundings import CONFIG  # noqa: E402

_SETTINGS = (
    "set pagination off", "set confirm off", "set breakpoint pending on", "set debuginfod enabled off",
    "set auto-load off", "set print thread-events off", "set print inferior-events off", "set print address off",
    "set backtrace limit 40",
    # The JVM uses these itself. SIGINT, SIGTRAP and SIGABRT keep stopping the process.
    "handle SIGSEGV SIGBUS SIGFPE SIGILL SIGPIPE SIGUSR1 SIGUSR2 SIGQUIT SIGHUP SIGTERM nostop noprint pass",
)


def prepare():
    for setting in _SETTINGS:
        gdb.execute(setting)
    calls.LIMIT = waits.LIMIT  # on a machine that is busy with other cases


def run():
    """Runs the case; gives whether it has passed."""
    try:
        importlib.import_module(CONFIG["stem"]).case()
        if Checks.count == 0:
            raise CaseFailed("the case checked nothing")
        with open("passed", "w", encoding="utf-8") as file:
            file.write(f"{CONFIG['stem']}: {Checks.count} checks\n")
        return True
    except calls.Interrupted:
        traceback.print_exc()
        waits.show_all_stacks()
    except (Exception, KeyboardInterrupt) as error:  # whatever it was, the case failed and the process must not outlive it
        traceback.print_exc()
        if not isinstance(error, CaseFailed):  # which has shown them where they tell something
            waits.show_stacks()
    return False


def main():
    prepare()
    status = 0 if run() else 1
    if gdb.selected_inferior().pid:
        gdb.execute("kill", to_string=True)
    sys.stdout.flush()
    gdb.execute(f"quit {status}")


main()
