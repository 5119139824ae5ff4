"""The libraries that a process has loaded, from its auxiliary vector and memory. Needs no gdb.

The program's own dynamic section leads to the dynamic linker's list, as the linker lays it out for debuggers.
"""
import re

_AT_PHDR, _AT_PHNUM = 3, 5
_PT_DYNAMIC, _PT_PHDR = 2, 6
_DT_DEBUG = 21
_MAX_LIBRARIES, _MAX_HEADERS, _MAX_TAGS = 4096, 256, 256


def loaded(memory, auxiliary):
    """(base, file, dynamic section) of each, in the order of loading. `auxiliary`: gdb's text of the auxiliary vector.

    Raises Unreadable or KeyError where that cannot be followed.
    """
    word = memory.word_size
    entry = memory.word(_r_debug(memory, _vector(auxiliary)) + word)
    for _ in range(_MAX_LIBRARIES):
        if not entry:
            break
        base, file, dynamic, entry = (memory.word(entry + index * word) for index in range(4))
        yield base, memory.string(file), dynamic


def tags(memory, dynamic):
    """{tag: value} of a dynamic section."""
    found = {}
    for index in range(_MAX_TAGS):
        tag = memory.word(dynamic + 2 * index * memory.word_size)
        if not tag:
            break
        found[tag] = memory.word(dynamic + (2 * index + 1) * memory.word_size)
    return found


def _vector(text):
    """{type: value}. A line is "3  AT_PHDR  Program headers for program  0x555555554040"; those of texts end in quotation marks."""
    return {int(kind): int(value, 0) for kind, value in re.findall(r"^(\d+) .* (0x[0-9a-f]+|\d+)$", text, re.MULTILINE)}


def _r_debug(memory, vector):
    """Where the list begins."""
    first, size, at = vector[_AT_PHDR], *((56, 16) if memory.word_size == 8 else (32, 8))
    addresses = {}
    for header in range(first, first + size * min(vector[_AT_PHNUM], _MAX_HEADERS), size):
        addresses[memory.u32(header)] = memory.word(header + at)
    dynamic = first - addresses[_PT_PHDR] + addresses[_PT_DYNAMIC]
    return tags(memory, dynamic & memory.mask)[_DT_DEBUG]
