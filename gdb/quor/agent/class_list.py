"""The agent's list of prepared classes, read from memory without a call."""
from collections import namedtuple

import gdb

from quor.agent import place

Prepared = namedtuple("Prepared", "handle signature source")  # source: the source file's name, or None


class _Known:
    """What was read of the list, which only grows while its beginning and end stay."""
    key = None  # of the process
    classes = []


def prepared():
    """The Prepared classes so far, in the list's order; only what came since the last time is read. Not to be changed."""
    inferior = gdb.selected_inferior()
    listed = place.global_value("prep_list")
    count, array, record = int(listed["count"]), int(listed["array"]), listed["array"].type.target()
    offsets = {field.name: field.bitpos // 8 for field in record.fields()}

    def read(first, number):
        memory = inferior.read_memory(array + first * record.sizeof, number * record.sizeof).tobytes()
        return [_at(memory, at, offsets) for at in range(0, len(memory), record.sizeof)]

    known, key = _Known.classes, (inferior.num, inferior.pid)
    probes = {0, len(known) // 2, len(known) - 1}
    if _Known.key != key or not 0 < len(known) <= count or any(read(at, 1) != [known[at]] for at in probes):
        _Known.key, _Known.classes = key, []
    if count > len(_Known.classes):
        _Known.classes += read(len(_Known.classes), count - len(_Known.classes))
    return _Known.classes


def forget():
    """The list was made anew."""
    _Known.key = None


def _at(memory, at, offsets):
    handle = int.from_bytes(memory[at + offsets["clazz"]:at + offsets["signature"]], "little")
    has_source = int.from_bytes(memory[at + offsets["has_source"]:at + offsets["has_source"] + 4], "little")
    return Prepared(handle, _text(memory, at + offsets["signature"]),
                    _text(memory, at + offsets["source_file"]) if has_source else None)


def _text(memory, at):
    return memory[at:memory.index(b"\0", at)].decode("utf-8", "replace")
