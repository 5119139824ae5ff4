"""java bt, frame, up, down: the stack of a thread, native and Java in one list."""
import os

import gdb

from quor import source_folders, stack, thread_names
from quor.commands import command
from quor.errors import QuorError
from quor.hotspot import objects
from quor.hotspot import vm as vms
from quor.selection import Selection, select_frame

_USAGE = "[-native] [-locals] [-full] [N] [thread T|all]"


class _Wanted:
    """What `java bt` was asked for."""

    def __init__(self, words):
        self.native = self.locals = False
        self.limit = self.thread = None
        words = list(words)
        while words:
            self._take(words.pop(0), words)

    def _take(self, word, rest):
        if word in ("-native", "-locals", "-full"):
            self.native |= word != "-locals"
            self.locals |= word != "-native"
        elif word == "thread" and rest:
            self.thread = " ".join(rest)
            rest.clear()
        elif word == "all" and not rest:
            self.thread = "all"
        elif word.isdigit():
            self.limit = int(word)
        else:
            raise QuorError(f"java bt: {word}? It takes {_USAGE}")


def _words(text, _word):
    """For completion: options; behind `thread` the threads."""
    _, behind, typed = text.rpartition("thread ")
    return thread_names.words(typed) + ["all"] if behind else ["-native", "-locals", "-full", "thread", "all"]


@command("bt", group="Look", states=("stopped", "core"), usage=_USAGE, complete=_words,
         examples=("java bt", "java bt -locals 5", "java bt thread all"))
def bt_command(arguments, _from_tty):
    """The stack: native and Java frames in one list, numbered as gdb numbers them.

    Frames of the VM itself and how the thread was started are left out: -native shows them. -locals adds the locals of Java
    frames, -full is both. N: the innermost N frames only. At a stop by the agent the way from Java into the agent is left out too."""
    wanted = _Wanted(arguments.split())
    if wanted.thread is None:
        _print_stack(wanted)
        return
    with Selection():
        for thread in _threads(wanted.thread):
            thread.switch()
            gdb.write(f'\nThread {thread.num} "{thread_names.name_of(thread)}":\n')
            _print_stack(wanted)


def _threads(text):
    if text == "all":
        return sorted(gdb.selected_inferior().threads(), key=lambda each: each.num)
    return [thread_names.find(text)]


def _print_stack(wanted):
    whole = stack.entries()
    shown = whole if wanted.native else stack.for_people(whole)
    left_out = len({each.number for each in whole}) - len({each.number for each in shown})
    cut = shown[:wanted.limit]
    for entry in cut:
        gdb.write(stack.text(entry) + "\n")
        if wanted.locals and stack.is_java(entry):
            _print_locals(entry.java)
    if len(cut) < len(shown):
        gdb.write(f"(More: {len(shown) - len(cut)})\n")
    elif left_out:
        gdb.write(f"({left_out} frames of the VM left out; java bt -native shows them)\n")


def _print_locals(java):
    try:
        for local in objects.of(vms.required()).locals.of(java):
            gdb.write(f"        {local.name} = {local.text}\n")
    except QuorError as error:
        gdb.write(f"        (no locals: {error})\n")


def print_selected():
    """The selected frame as `java bt` shows it, and the source line below."""
    for entry in stack.selected():
        gdb.write(stack.text(entry) + "\n")
    java = next((entry.java for entry in stack.selected() if stack.is_java(entry)), None)
    if java is None:
        gdb.write(_native_source_line())
        return
    line = source_folders.line(java.method.klass, java.source, java.line)
    if line:
        gdb.write(line + "\n")


def _native_source_line():
    """As gdb shows it; empty when the file is not there. Not by `list`, to which a line that is inlined in places is ambiguous."""
    place = gdb.selected_frame().find_sal()
    if place.symtab is None or not os.path.exists(place.symtab.fullname()):
        return ""
    shown = gdb.execute("frame", to_string=True).splitlines()[-1]
    return shown + "\n" if shown.startswith(f"{place.line}\t") else ""


@command("frame", group="Look", states=("stopped", "core"), usage="[N]", examples=("java frame 3",))
def frame_command(arguments, _from_tty):
    """Selects a frame by the number that java bt and bt show, and shows it; without a number shows the selected one."""
    if arguments:
        if not arguments.isdigit():
            raise QuorError("java frame: it takes the number of a frame")
        try:
            select_frame(int(arguments))
        except gdb.error as error:
            raise QuorError(f"java frame: {error}") from None
    print_selected()


def _move(name, arguments, outwards):
    """Selects the next Java frame in a direction."""
    count = int(arguments) if arguments.isdigit() else 1 if not arguments else None
    if count is None:
        raise QuorError(f"java {name}: it takes a number of frames")
    level = gdb.selected_frame().level()
    numbers = sorted({entry.number for entry in stack.java_entries()})
    there = [number for number in numbers if number > level] if outwards else [n for n in reversed(numbers) if n < level]
    if len(there) < count:
        raise QuorError("there is no Java frame further " + ("out" if outwards else "in"))
    select_frame(there[count - 1])
    print_selected()


@command("up", group="Look", states=("stopped", "core"), usage="[N]", examples=("java up", "java up 2"))
def up_command(arguments, _from_tty):
    """Selects the next Java frame outwards, over native frames between."""
    _move("up", arguments, outwards=True)


@command("down", group="Look", states=("stopped", "core"), usage="[N]", examples=("java down",))
def down_command(arguments, _from_tty):
    """Selects the next Java frame inwards, over native frames between."""
    _move("down", arguments, outwards=False)
