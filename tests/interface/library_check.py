#!/usr/bin/env python3
"""Checks how a built library sits in somebody else's process.

usage: library_check.py LIBRARY VERSION CHANGELOG

- it needs no library but libc, libpthread and the C++ runtime;
- it binds to its own names, whatever the process calls the same;
- it carries debug information;
- no two of its exported functions share an address: debuggers plant breakpoints on them by name;
- it tells its version, which is the newest that the list of changes knows.

Every breach is printed on a line of its own; the exit status is 1 when there is one.
"""
import collections
import re
import subprocess
import sys

ALLOWED = re.compile(r"(libc|libpthread|libstdc\+\+|libgcc_s|libm|ld-linux(-x86-64)?)\.so\.\d+$")


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def dynamic_breaches(dynamic):
    for needed in re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic):
        if not ALLOWED.match(needed):
            yield f"needs {needed}"
    if "(SYMBOLIC)" not in dynamic:
        yield "does not bind to its own names (-Bsymbolic)"


def shared_addresses(nm):
    names = collections.defaultdict(list)
    for line in nm.splitlines():
        address, kind, name = line.split()
        if kind in "TW":
            names[address].append(name)
    return [f"one address for {', '.join(same)}" for same in names.values() if len(same) > 1]


def version_breaches(library, version, changelog):
    with open(library, "rb") as file:
        told = re.findall(rb"\0libquor_agent (\d[^\0]*)\0", file.read())
    if told != [version.encode()]:
        yield f"tells the versions {told}, not {version}"
    with open(changelog, encoding="utf-8") as file:
        newest = re.search(r"^## (\S+)", file.read(), re.M)
    if not newest or newest.group(1) != version:
        yield f"the newest version in {changelog} is {newest and newest.group(1)}, not {version}"


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    library, version, changelog = sys.argv[1:]
    breaches = list(dynamic_breaches(output("readelf", "-dW", library)))
    if ".debug_info" not in output("readelf", "-SW", library):
        breaches.append("no debug information")
    breaches += version_breaches(library, version, changelog)
    breaches += shared_addresses(output("nm", "-D", "--defined-only", library))
    for line in breaches:
        print(line)
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
