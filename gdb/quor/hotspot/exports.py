"""What a loaded library exports, read from its own dynamic symbol table in the process's memory. Needs no gdb: to ask gdb for a
symbol without debug information takes it milliseconds."""
import os
import re

from quor.hotspot.memory import Unreadable

_AT_PHDR, _AT_PHNUM = 3, 5
_PT_DYNAMIC, _PT_PHDR = 2, 6
_STRINGS, _SYMBOLS, _DEBUG, _HASH = 5, 6, 21, 0x6ffffef5  # DT_STRTAB, DT_SYMTAB, DT_DEBUG, DT_GNU_HASH
_MAX_LIBRARIES, _MAX_HEADERS, _MAX_TAGS, _MAX_CHAIN = 4096, 256, 256, 1 << 16
_LAST = 1  # in a hash of a chain


class Exports:
    """The dynamic symbols of the library that is loaded at `base` and has its dynamic section at `dynamic`."""

    def __init__(self, memory, base, dynamic):
        self._memory, self._base, self._word = memory, base, memory.word_size
        tags = _tags(memory, dynamic)
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


def _tags(memory, dynamic):
    """What a dynamic section says."""
    tags = {}
    for index in range(_MAX_TAGS):
        tag = memory.word(dynamic + 2 * index * memory.word_size)
        if not tag:
            break
        tags[tag] = memory.word(dynamic + (2 * index + 1) * memory.word_size)
    return tags


def of_library(memory, auxiliary, part, name):
    """The Exports of the library that exports `name` and has `part` in its file's name; None when there is none, or it cannot be
    read. `auxiliary`: gdb's text of the process's auxiliary vector."""
    try:
        for base, file, dynamic in _libraries(memory, _r_debug(memory, _vector(auxiliary))):
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


def _vector(text):
    """{type: value}. A line is "3  AT_PHDR  Program headers for program  0x555555554040"; those of texts end in quotation marks."""
    return {int(kind): int(value, 0) for kind, value in re.findall(r"^(\d+) .* (0x[0-9a-f]+|\d+)$", text, re.MULTILINE)}


def _r_debug(memory, vector):
    """Where the dynamic linker's list of libraries begins: the program's own dynamic section tells."""
    first, size, at = vector[_AT_PHDR], *((56, 16) if memory.word_size == 8 else (32, 8))
    addresses = {}
    for header in range(first, first + size * min(vector[_AT_PHNUM], _MAX_HEADERS), size):
        addresses[memory.u32(header)] = memory.word(header + at)
    dynamic = first - addresses[_PT_PHDR] + addresses[_PT_DYNAMIC]
    return _tags(memory, dynamic & memory.mask)[_DEBUG]


def _libraries(memory, r_debug):
    """(base, file, dynamic section) of all libraries."""
    word = memory.word_size
    entry = memory.word(r_debug + word)
    for _ in range(_MAX_LIBRARIES):
        if not entry:
            break
        base, file, dynamic, entry = (memory.word(entry + index * word) for index in range(4))
        yield base, memory.string(file), dynamic
