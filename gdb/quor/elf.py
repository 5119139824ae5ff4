"""Writes small ELF files that gdb loads for their symbols or their debug information: a .text without contents, and sections of
bytes. Needs no gdb."""
import struct
from collections import namedtuple

PROGBITS, SYMTAB, STRTAB = 1, 2, 3
_NOBITS, _ALLOC_EXEC, _ET_EXEC = 8, 2 | 4, 2
_EM = {4: 3, 8: 62}  # EM_386, EM_X86_64

Section = namedtuple("Section", "name type data link info entry_size", defaults=(0, 0, 0))  # link: the number of another section


class Strings:
    """A string table under construction."""

    def __init__(self):
        self.data = bytearray(1)

    def add(self, text):
        at = len(self.data)
        self.data += text.encode() + b"\0"
        return at


def file(word_size, low, high, sections):
    """The file's bytes. Its .text, section 1, lies from `low` to `high`; `sections` are those from 2 on."""
    wide = word_size == 8
    header_form, section_form = ("<HHIQQQIHHHHHH", "<IIQQQQIIQQ") if wide else ("<HHIIIIIHHHHHH", "<IIIIIIIIII")
    header_size = 16 + struct.calcsize(header_form)
    names, content = Strings(), bytearray(_aligned(header_size))
    rows = [(0,) * 10, (names.add(".text"), _NOBITS, _ALLOC_EXEC, low, len(content), high - low, 0, 0, 16, 0)]
    for each in sections:
        rows.append((names.add(each.name), each.type, 0, 0, len(content), len(each.data), each.link, each.info, 1, each.entry_size))
        content += each.data.ljust(_aligned(len(each.data)), b"\0")
    rows.append((names.add(".shstrtab"), STRTAB, 0, 0, len(content), len(names.data), 0, 0, 1, 0))
    content += names.data.ljust(_aligned(len(names.data)), b"\0")
    ident = b"\x7fELF" + bytes((2 if wide else 1, 1, 1)) + bytes(9)
    header = ident + struct.pack(header_form, _ET_EXEC, _EM[word_size], 1, 0, 0, len(content), 0, header_size, 0, 0,
                                 struct.calcsize(section_form), len(rows), len(rows) - 1)
    content[:len(header)] = header
    return bytes(content) + b"".join(struct.pack(section_form, *row) for row in rows)


def _aligned(size):
    return (size + 7) // 8 * 8
