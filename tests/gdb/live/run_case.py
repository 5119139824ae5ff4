#!/usr/bin/env python3
"""Runs one case on one JVM, in a folder of its own.

usage: run_case.py JVM.json STEM

The folder of a failed case is kept, and the command that repeats it printed. QUOR_SOAK=1 runs the long form of the cases that
have one; QUOR_MODES=NAME,... only these of their modes.
"""
import importlib
import json
import os
import resource
import shutil
import sys
import time
import traceback
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE / "cases")]

import harness  # noqa: E402 (the lines above make it importable)

SKIPPED = 77  # ctest takes this exit status for a skipped test


def main():
    config, stem = json.loads(Path(sys.argv[1]).read_text()), sys.argv[2]
    folder = Path(config["work"]) / f"{stem}.{config['name']}"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    jvm = harness.Jvm(config, folder.resolve())
    resource.setrlimit(resource.RLIMIT_CORE, (0, resource.getrlimit(resource.RLIMIT_CORE)[1]))
    os.chdir(folder)
    begun = time.monotonic()
    try:
        importlib.import_module(stem).case(jvm)
        harness.check(harness.Checks.count, "the case checks something")
    except harness.Skipped as reason:
        print(f"skipped: {reason}")
        return SKIPPED
    except Exception as error:
        if isinstance(error, harness.CaseFailed):
            print(f"FAILED: {error}")
        else:
            traceback.print_exc()
        print(f"its folder is {folder}\nrepeat it: {sys.executable} {HERE}/run_case.py {sys.argv[1]} {stem}")
        return 1
    finally:
        jvm.end_all()
    print(f"{stem}: {harness.Checks.count} checks in {time.monotonic() - begun:.1f} s")
    shutil.rmtree(folder)
    return 0


if __name__ == "__main__":
    sys.exit(main())
