"""The source path of this gdb: what `java sourcepath` gave, then gdb's own `directory` and the current folder."""
import os

import gdb

from quor.source import SourcePath

PATH = SourcePath()


def _gdbs_own():
    cwd = os.getcwd()
    named = gdb.parameter("directories") or ""
    return [cwd if each == "$cwd" else each for each in named.split(":") if each and each != "$cdir"] + [cwd]


def find(klass, source):
    """The path of the source file of a class (its internal name), or None."""
    return PATH.find(klass, source, _gdbs_own())


def line(klass, source, number):
    """The text of one line, as gdb shows it ("33\\tint total = 0;"); None when the file is not found or has no such line."""
    path = find(klass, source) if number is not None else None
    found = PATH.text(path, number, number) if path else []
    return f"{found[0][0]}\t{found[0][1]}" if found else None
