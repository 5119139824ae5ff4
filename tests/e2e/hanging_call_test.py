#!/usr/bin/env python3
"""A call into the process that never returns, and a run to a hook that is never reached, fail their case within their limit, and
show all stacks.

usage: hanging_call_test.py VARIANT.json
"""
import shutil
import subprocess
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
STACKS = (
    ("gdb.log", " JavaThread::"),  # native ones: run() or, where that is inlined, what it calls
    ("program.out", "Full thread dump"),
    ("program.out", "at java.lang.ref.Finalizer$FinalizerThread.run"),  # a Java stack
)
EXPECTED = {
    "hangs_on_purpose": (
        ("gdb.log", "Interrupted: acquire_globalocks did not answer within 3 seconds"),
        ("gdb.log", " acquire_globalocks ()"),  # the native stack of the call
        *STACKS,
    ),
    "waits_in_vain_on_purpose": (("gdb.log", "CaseFailed: to hook_bpt: not within 3 seconds"), *STACKS),
}
LIMIT = 40  # the call's own limit is 3 seconds, the case's 60


def failures_of(variant, stem, expected):
    begin = time.monotonic()
    ran = subprocess.run([sys.executable, str(HERE / "run_case.py"), variant, stem], stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, text=True, check=False)
    took = time.monotonic() - begin
    failures = [] if ran.returncode == 1 else [f"the case ends with status {ran.returncode}, not 1"]
    if took > LIMIT:
        failures.append(f"it took {took:.0f} seconds, not {LIMIT} at most")
    folder = ran.stdout.partition("FAILED; its folder is ")[2].partition("\n")[0]
    if not folder:
        failures.append("the case names no folder")
    for name, text in expected if folder else ():
        if text not in (Path(folder) / name).read_text(errors="replace"):
            failures.append(f"{name} lacks {text!r}")
    if "was left over" in ran.stdout:
        failures.append("a JVM was left over")
    if failures:
        print(ran.stdout)
    else:
        shutil.rmtree(folder)
        print(f"{stem} fails after {took:.1f} seconds, with all stacks")
    return [f"{stem}: {each}" for each in failures]


def main(variant):
    failures = [each for stem, expected in EXPECTED.items() for each in failures_of(variant, stem, expected)]
    for each in failures:
        print(each)
    return 1 if failures else 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1]))
