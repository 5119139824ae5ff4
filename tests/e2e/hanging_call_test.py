#!/usr/bin/env python3
"""A call into the process that never returns fails its case within the call's limit, and shows all stacks.

usage: hanging_call_test.py VARIANT.json
"""
import shutil
import subprocess
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
STEM = "hangs_on_purpose"
EXPECTED = (
    ("gdb.log", "Interrupted: acquire_globalocks did not answer within 3 seconds"),
    ("gdb.log", " acquire_globalocks ()"),  # the native stack of the call
    ("gdb.log", " JavaThread::"),  # those of other threads: run() or, where that is inlined, what it calls
    ("program.out", "Full thread dump"),
    ("program.out", "at java.lang.ref.Finalizer$FinalizerThread.run"),  # a Java stack
)
LIMIT = 40  # the call's own limit is 3 seconds, the case's 60


def main(variant):
    begin = time.monotonic()
    ran = subprocess.run([sys.executable, str(HERE / "run_case.py"), variant, STEM], stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, text=True, check=False)
    took = time.monotonic() - begin
    failures = [] if ran.returncode == 1 else [f"the case ends with status {ran.returncode}, not 1"]
    if took > LIMIT:
        failures.append(f"it took {took:.0f} seconds, not {LIMIT} at most")
    folder = ran.stdout.partition("FAILED; its folder is ")[2].partition("\n")[0]
    for name, text in EXPECTED if folder else ():
        if text not in (Path(folder) / name).read_text(errors="replace"):
            failures.append(f"{name} lacks {text!r}")
    if "was left over" in ran.stdout:
        failures.append("a JVM was left over")
    if failures:
        print(ran.stdout)
    else:
        shutil.rmtree(folder)
    print("\n".join(failures) or f"the hanging call fails its case after {took:.1f} seconds, with all stacks")
    return 1 if failures else 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1]))
