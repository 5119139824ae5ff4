"""java list, sourcepath: Java source text."""
import re

import gdb

from quor import source_folders, stack
from quor.commands import command
from quor.errors import QuorError

_AROUND = 5  # lines before and behind
_PLACE = re.compile(r"(?:(?P<class>[\w.$/]+):)?(?P<line>\d+)$")


class _Shown:
    """What `java list` goes on from."""
    path = None
    next_line = 1
    frame = None  # (klass, source, line) it was begun for


@command("list", group="Look", states=("stopped", "core"), usage="[LINE|CLASS:LINE]",
         examples=("java list", "java list 40", "java list Shop:33"))
def list_command(arguments, _from_tty):
    """Source lines around the selected Java frame's line, around a line of its file, or of a class; again: those that follow."""
    java = next((entry.java for entry in stack.selected() if stack.is_java(entry)), None)
    if not arguments:
        _list_frame(java)
        return
    match = _PLACE.match(arguments)
    if not match:
        raise QuorError("java list: it takes a line, or CLASS:LINE")
    named = match.group("class")
    if named:
        klass = named.replace(".", "/")
        source = klass.rpartition("/")[2].partition("$")[0] + ".java"
    elif java is not None:
        klass, source = java.method.klass, java.source
    else:
        raise QuorError("java list: no Java frame is selected; say CLASS:LINE")
    _print(_path(klass, source), int(match.group("line")))


def _list_frame(java):
    if java is None:
        raise QuorError("java list: no Java frame is selected (java up selects one); gdb's list shows native source")
    place = java.method.klass, java.source, java.line
    if place == _Shown.frame and _Shown.path:
        _print_from(_Shown.path, _Shown.next_line)
        return
    if java.line is None:
        raise QuorError("java list: this frame's line is not known")
    _print(_path(java.method.klass, java.source), java.line)
    _Shown.frame = place


def _path(klass, source):
    path = source_folders.find(klass, source)
    if path is None:
        raise QuorError(f"{source or klass}: not found; java sourcepath DIR names the folder of the sources")
    return path


def _print(path, line):
    _Shown.frame = None
    _print_from(path, max(1, line - _AROUND))


def _print_from(path, first):
    found = source_folders.PATH.text(path, first, first + 2 * _AROUND)
    if not found:
        raise QuorError(f"{path} has {len(source_folders.PATH.lines(path))} lines")
    for number, text in found:
        gdb.write(f"{number}\t{text}\n")
    _Shown.path, _Shown.next_line = path, found[-1][0] + 1


@command("sourcepath", group="Look", usage="[DIR]", examples=("java sourcepath src/main/java",))
def sourcepath_command(arguments, _from_tty):
    """Looks for Java sources in this folder first; without one lists the folders. gdb's own `directory` counts too."""
    if arguments:
        source_folders.PATH.add(arguments)
    for folder in source_folders.PATH.folders:
        gdb.write(folder + "\n")
