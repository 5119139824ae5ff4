"""One thread's stack as one list: native and Java frames, numbered as gdb numbers them."""
import os
from collections import namedtuple

import gdb

from quor import show
from quor.errors import QuorError
from quor.hotspot import vm as vms
from quor.hotspot.javaframes import STUB

# `java` is a JavaFrame or None; `library` the file name of the library of a native frame
Entry = namedtuple("Entry", "number frame java library")
_NEAR_THE_TOP = 60  # frames: the way from Java to the agent is shorter
_OF_THE_VM = ("libjvm.so", "libquor_agent.so")


def entries(limit=None):
    """The Entries of the selected thread, the innermost first; at most so many frames of gdb's."""
    return list(_walk(limit))


def _walk(limit=None):
    """The same one by one: none is unwound before it is asked for."""
    vm = vms.current()
    frame, number = gdb.newest_frame(), 0
    while frame is not None and (limit is None or number < limit):
        yield from _entries_of(vm, frame, number)
        frame, number = _older(frame), number + 1


def _older(frame):
    try:
        return frame.older()
    except gdb.error:
        return None


def _entries_of(vm, frame, number):
    try:
        javas = vm.java_frames_of(frame) if vm is not None and vm.code_cache is not None else []
    except QuorError:
        javas = []
    if javas:
        return [Entry(number, frame, java, None) for java in javas]
    library = gdb.current_progspace().solib_name(frame.pc())
    return [Entry(number, frame, None, os.path.basename(library) if library else None)]


def is_java(entry):
    return entry.java is not None and entry.java.kind != STUB


def is_of_the_vm(entry):
    """Whether it is one of the VM's or the agent's own, which say little about the program."""
    return not is_java(entry) if entry.java is not None else entry.library in _OF_THE_VM


def for_people(stack):
    """The entries that tell of the program: without the VM's own between, and without how the thread was started. Everything
    when the thread is no Java thread; without what leads from the innermost Java frame to the agent, when it stands there."""
    if not any(is_java(entry) for entry in stack):
        return stack
    first = next(at for at, entry in enumerate(stack) if is_java(entry))
    last = max(at for at, entry in enumerate(stack) if is_java(entry))
    begin = first if any(entry.library == _OF_THE_VM[1] for entry in stack[:first]) else 0
    return [entry for entry in stack[begin:last + 1] if not is_of_the_vm(entry)]


def text(entry):
    """#3  Shop.serve(Item, int) (Shop.java:33)"""
    return show.frame(entry.number, entry.java.text if entry.java is not None else _native_text(entry))


def _native_text(entry):
    frame = entry.frame
    function = frame.function()
    if function is None:
        return f"{frame.name() or '??'} () from {entry.library}" if entry.library else f"{frame.name() or '??'} ()"
    place = frame.find_sal()
    where = f" at {os.path.basename(place.symtab.filename)}:{place.line}" if place.symtab is not None else ""
    return f"{frame.name()} ({_arguments(frame)}){where}"


def _arguments(frame):
    shown = []
    try:
        for symbol in _function_block(frame) or ():
            if symbol.is_argument:
                shown.append(f"{symbol.print_name}={_value(symbol, frame)}")
    except (RuntimeError, gdb.error):
        pass
    return ", ".join(shown)


def _function_block(frame):
    block = frame.block()
    while block is not None and block.function is None:
        block = block.superblock
    return block


_WHOLE = (gdb.TYPE_CODE_STRUCT, gdb.TYPE_CODE_UNION, gdb.TYPE_CODE_ARRAY)


def _value(symbol, frame):
    """As gdb shows an argument in a stack: records as dots."""
    try:
        if symbol.type.strip_typedefs().code in _WHOLE:
            return "..."
        return symbol.value(frame).format_string(max_elements=40, symbols=False)
    except (gdb.error, TypeError, ValueError):
        return "<unreadable>"


def java_entries():
    """The Entries of Java frames of the selected thread."""
    return [entry for entry in entries() if is_java(entry)]


def innermost_java(limit=None):
    """The Entry of the innermost Java frame of the selected thread, or None; within so many frames of gdb's."""
    return next((entry for entry in _walk(limit) if is_java(entry)), None)


def select_innermost_java():
    """Selects the innermost Java frame of the selected thread, if it has one near its top."""
    found = innermost_java(_NEAR_THE_TOP)
    if found is not None:
        found.frame.select()


def selected():
    """The Entries at the selected frame: one native, or one or several Java ones."""
    frame, level = gdb.selected_frame(), gdb.selected_frame().level()
    return _entries_of(vms.current(), frame, level)
