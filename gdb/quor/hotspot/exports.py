"""What a loaded library exports, read from its own dynamic symbol table in the process's memory. Needs no gdb: to ask gdb for a
symbol without debug information takes it milliseconds."""
import os

from quor.hotspot import libraries
from quor.hotspot.memory import Unreadable

_STRINGS, _SYMBOLS, _HASH = 5, 6, 0x6ffffef5  # DT_STRTAB, DT_SYMTAB, DT_GNU_HASH
_MAX_CHAIN = 1 << 16
_LAST = 1  # in a hash of a chain


class Exports:
    """The dynamic symbols of the library that is loaded at `base` and has its dynamic section at `dynamic`."""

    def __init__(self, memory, base, dynamic):
        self._memory, self._base, self._word = memory, base, memory.word_size
        tags = libraries.tags(memory, dynamic)
        self._strings, self._symbols, table = (self._address(tags[tag]) for tag in (_STRINGS, _SYMBOLS, _HASH))
        self._bucket_count, self._first, bloom_size = (memory.u32(table + 4 * index) for index in range(3))
        self._buckets = table + 16 + bloom_size * self._word
        self._chains = self._buckets + 4 * self._bucket_count

    def _address(self, pointer):
        """glibc relocates the pointers in the section, others do not."""
        return pointer if pointer >= self._base else pointer + self._base

    def address(self, name):
        """The address of this symbol; None when the library does not define it."""
        wanted = _hash(name)
        index = self._memory.u32(self._buckets + 4 * (wanted % self._bucket_count))
        for index in range(index, index + _MAX_CHAIN if index else index):
            found = self._memory.u32(self._chains + 4 * (index - self._first))
            if found | _LAST == wanted | _LAST:
                entry = self._symbols + index * (24 if self._word == 8 else 16)
                if self._memory.string(self._strings + self._memory.u32(entry)) == name:
                    return self._base + self._memory.word(entry + self._word)
            if found & _LAST:
                break
        return None


def _hash(name):
    value = 5381
    for byte in name.encode():
        value = (value * 33 + byte) & 0xffffffff
    return value


def of_library(memory, auxiliary, part, name):
    """The Exports of the library that exports `name` and has `part` in its file's name; None when there is none, or it cannot be
    read. `auxiliary`: gdb's text of the process's auxiliary vector."""
    try:
        for base, file, dynamic in libraries.loaded(memory, auxiliary):
            if part in os.path.basename(file):
                exports = _with_symbol(memory, base, dynamic, name)
                if exports is not None:
                    return exports
    except (Unreadable, KeyError):
        pass
    return None


def _with_symbol(memory, base, dynamic, name):
    try:
        exports = Exports(memory, base, dynamic)
        return exports if exports.address(name) is not None else None
    except (Unreadable, KeyError, ZeroDivisionError):
        return None
