"""Writes an ELF file that names addresses of the code cache: a .text without contents, and a symbol table. Needs no gdb."""
import struct

_EM = {4: 3, 8: 62}  # EM_386, EM_X86_64
_ET_EXEC = 2
_SHT_SYMTAB, _SHT_STRTAB, _SHT_NOBITS = 2, 3, 8
_SHF_ALLOC_EXEC = 2 | 4
_FUNCTION = 2  # STT_FUNC, local: names may occur more than once
_TEXT, _SYMBOLS, _STRINGS, _NAMES = 1, 2, 3, 4


class _Layout:
    """The records of one width."""

    def __init__(self, word_size):
        wide = word_size == 8
        self.header = "<HHIQQQIHHHHHH" if wide else "<HHIIIIIHHHHHH"
        self.section = "<IIQQQQIIQQ" if wide else "<IIIIIIIIII"
        self.wide = wide
        self.ident = b"\x7fELF" + bytes((2 if wide else 1, 1, 1)) + bytes(9)
        self.symbol_size = 24 if wide else 16

    def symbol(self, name, value, size, info, section):
        if self.wide:
            return struct.pack("<IBBHQQ", name, info, 0, section, value, size)
        return struct.pack("<IIIBBH", name, value, size, info, 0, section)


class _Strings:
    """A string table under construction."""

    def __init__(self):
        self.data = bytearray(1)

    def add(self, text):
        at = len(self.data)
        self.data += text.encode() + b"\0"
        return at


def symbol_file(word_size, low, high, symbols):
    """The file's bytes. `symbols`: (address, size, name) of each function between `low` and `high`."""
    layout = _Layout(word_size)
    strings, names = _Strings(), _Strings()
    table = bytearray(layout.symbol(0, 0, 0, 0, 0))
    for address, size, name in symbols:
        table += layout.symbol(strings.add(name), address, size, _FUNCTION, _TEXT)
    count = len(table) // layout.symbol_size
    header_size = 16 + struct.calcsize(layout.header)
    table_at = (header_size + 7) // 8 * 8
    strings_at = table_at + len(table)
    section_names = [names.add(name) for name in (".text", ".symtab", ".strtab", ".shstrtab")]
    names_at = strings_at + len(strings.data)
    sections_at = (names_at + len(names.data) + 7) // 8 * 8
    sections = [
        (0, 0, 0, 0, 0, 0, 0, 0, 0, 0),
        (section_names[0], _SHT_NOBITS, _SHF_ALLOC_EXEC, low, table_at, high - low, 0, 0, 16, 0),
        (section_names[1], _SHT_SYMTAB, 0, 0, table_at, len(table), _STRINGS, count, 8, layout.symbol_size),
        (section_names[2], _SHT_STRTAB, 0, 0, strings_at, len(strings.data), 0, 0, 1, 0),
        (section_names[3], _SHT_STRTAB, 0, 0, names_at, len(names.data), 0, 0, 1, 0),
    ]
    header = layout.ident + struct.pack(layout.header, _ET_EXEC, _EM[word_size], 1, 0, 0, sections_at, 0, header_size, 0, 0,
                                        struct.calcsize(layout.section), len(sections), _NAMES)
    content = bytearray(header).ljust(table_at, b"\0") + table + strings.data + names.data
    return bytes(content.ljust(sections_at, b"\0") + b"".join(struct.pack(layout.section, *section) for section in sections))
