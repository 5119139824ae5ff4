#!/usr/bin/env python3
"""Compares the names that a shared library exports with the written list, both ways.

usage: exports_check.py [--missing-only] LIST LIBRARY

Each line of LIST is "F name" (function) or "G name" (global), sorted. Every difference is printed on a line of
its own; the exit status is 1 when there is one. --missing-only lets the library export more than the list
(sanitizers add their own names).
"""
import argparse
import subprocess
import sys

FUNCTION_TYPES = "TtWi"
GLOBAL_TYPES = "BbDdRrVuGgSs"


def read_list(path):
    with open(path, encoding="ascii") as file:
        lines = file.read().splitlines()
    if lines != sorted(set(lines)):
        sys.exit(f"{path}: not sorted, or a line stands twice")
    return {name: kind for kind, name in (line.split(" ") for line in lines)}


def parse_nm(output):
    exported = {}
    for line in output.splitlines():
        kind, name = line.split()[-2:]
        exported[name] = "F" if kind in FUNCTION_TYPES else "G" if kind in GLOBAL_TYPES else kind
    return exported


def differences(wanted, exported, missing_only):
    for name, kind in sorted(wanted.items()):
        if name not in exported:
            yield f"missing: {kind} {name}"
        elif exported[name] != kind:
            yield f"wrong kind: {name} is listed as {kind}, exported as {exported[name]}"
    if not missing_only:
        for name in sorted(exported.keys() - wanted.keys()):
            yield f"extra: {exported[name]} {name}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--missing-only", action="store_true")
    parser.add_argument("list")
    parser.add_argument("library")
    arguments = parser.parse_args()
    wanted = read_list(arguments.list)
    nm = subprocess.run(["nm", "-D", "--defined-only", arguments.library], check=True, capture_output=True, text=True)
    found = list(differences(wanted, parse_nm(nm.stdout), arguments.missing_only))
    for line in found:
        print(line)
    print(f"{len(wanted)} names listed, {len(found)} differences")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
