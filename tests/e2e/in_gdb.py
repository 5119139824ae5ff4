"""The frame of a case inside gdb: imports the case, runs it, tells run_case.py how it ended."""
import importlib
import os
import sys
import traceback

import gdb

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "cases"))

import quor_gdb  # noqa: E402 (found through the path that run_case.py gives)


def main():
    quor_gdb.prepare()
    status = 1
    try:
        importlib.import_module(quor_gdb.CONFIG["stem"]).case()
        if quor_gdb.Process.checks == 0:
            raise quor_gdb.CaseFailed("the case checked nothing")
        with open("passed", "w", encoding="utf-8") as file:
            file.write(f"{quor_gdb.CONFIG['stem']}: {quor_gdb.Process.checks} checks\n")
        status = 0
    except Exception:  # whatever it was, the case failed and the process must not outlive it
        traceback.print_exc()
    if gdb.selected_inferior().pid:
        gdb.execute("kill", to_string=True)
    sys.stdout.flush()
    gdb.execute(f"quit {status}")


main()
