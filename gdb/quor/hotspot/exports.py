"""What a loaded library exports, read from its own dynamic symbol table in the process's memory. Needs no gdb: to ask gdb for a
symbol without debug information takes it milliseconds."""
from quor.hotspot.memory import Unreadable

_STRINGS, _SYMBOLS, _HASH = 5, 6, 0x6ffffef5  # DT_STRTAB, DT_SYMTAB, DT_GNU_HASH
_MAX_LIBRARIES, _MAX_TAGS, _MAX_CHAIN = 4096, 256, 1 << 16
_LAST = 1  # in a hash of a chain


class Exports:
    """The dynamic symbols of the library that is loaded at `base` and has its dynamic section at `dynamic`."""

    def __init__(self, memory, base, dynamic):
        self._memory, self._base, self._word = memory, base, memory.word_size
        tags = self._tags(dynamic)
        self._strings, self._symbols, table = (self._address(tags[tag]) for tag in (_STRINGS, _SYMBOLS, _HASH))
        self._bucket_count, self._first, bloom_size = (memory.u32(table + 4 * index) for index in range(3))
        self._buckets = table + 16 + bloom_size * self._word
        self._chains = self._buckets + 4 * self._bucket_count

    def _tags(self, dynamic):
        tags = {}
        for index in range(_MAX_TAGS):
            tag = self._memory.word(dynamic + 2 * index * self._word)
            if not tag:
                break
            tags[tag] = self._memory.word(dynamic + (2 * index + 1) * self._word)
        return tags

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


def of_library(memory, r_debug, name, address):
    """The Exports of the library in which the symbol `name` has this address; None when it cannot be read. `r_debug`: the address of
    the dynamic linker's list of libraries."""
    try:
        base, dynamic = max((each for each in _libraries(memory, r_debug) if each[0] <= address), default=(None, None))
        exports = Exports(memory, base, dynamic) if dynamic else None
        return exports if exports is not None and exports.address(name) == address else None
    except (Unreadable, KeyError, ZeroDivisionError):
        return None


def _libraries(memory, r_debug):
    """(base, dynamic section) of all libraries."""
    word = memory.word_size
    entry = memory.word(r_debug + word)
    for _ in range(_MAX_LIBRARIES):
        if not entry:
            break
        yield memory.word(entry), memory.word(entry + 2 * word)
        entry = memory.word(entry + 3 * word)
