#!/usr/bin/env python3
"""Measures the quickest pieces once, on one JVM, and checks that figures come out and are positive: never what they are.

usage: smoke_check.py BUILD JAVA CLIENT_JAVA RESULTS NAME...
"""
import sys
from pathlib import Path

from quor_bench import main, results


def check(build, java, client, file, *names):
    Path(file).unlink(missing_ok=True)
    if main.main(["--build", build, "--java", java, "--client-java", client, "--effort", "smoke", "--results", file, *names]) != 0:
        return "a piece failed"
    (found,) = results.load(Path(file))["jvms"].values()
    cells = [(table["name"], row, kind, values) for table in found["tables"].values() for row, kinds in table["rows"].items()
             for kind, values in kinds.items()]
    wrong = [cell for cell in cells if not cell[3] or min(cell[3]) <= 0]
    if wrong:
        return f"no positive figure: {wrong}"
    if missing := [name for name in names if name not in {cell[0].split(".")[0] for cell in cells}]:
        return f"no figures of {missing}"
    print(f"{len(cells)} figures")
    return 0


if __name__ == "__main__":
    sys.exit(check(*sys.argv[1:]))
