"""Writes an ELF file that names addresses of the code cache: a .text without contents, and a symbol table. Needs no gdb."""
import struct

from quor import elf

_FUNCTION = 2  # STT_FUNC, local: names may occur more than once
_TEXT, _STRINGS = 1, 3  # numbers of sections


def _symbol(word_size, name, value, size, info, section):
    if word_size == 8:
        return struct.pack("<IBBHQQ", name, info, 0, section, value, size)
    return struct.pack("<IIIBBH", name, value, size, info, 0, section)


def symbol_file(word_size, low, high, symbols):
    """The file's bytes. `symbols`: (address, size, name) of each function between `low` and `high`."""
    strings = elf.Strings()
    table = bytearray(_symbol(word_size, 0, 0, 0, 0, 0))
    entry_size = len(table)
    for address, size, name in symbols:
        table += _symbol(word_size, strings.add(name), address, size, _FUNCTION, _TEXT)
    return elf.file(word_size, low, high, [
        elf.Section(".symtab", elf.SYMTAB, bytes(table), _STRINGS, len(table) // entry_size, entry_size),
        elf.Section(".strtab", elf.STRTAB, bytes(strings.data))])
