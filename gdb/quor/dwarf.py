"""Writes debug information (DWARF 4) for types, variables and functions given in a table. Needs no gdb.

The table's "types" are lists, which name each other by their index, None standing for void:
    ["base", name, size, encoding]              encoding: one of ENCODINGS
    ["pointer", type]
    ["typedef", name, type]
    ["struct" or "union", name or None, size, [[field, type, offset] or [field, type, offset in bits, bits]...]]
    ["declared", name]                          a struct without contents
    ["enum", name or None, size, [[name, value]...]]
    ["array", type, count]
    ["function", type, [types of the parameters...]]
Its "variables" are {name: [type, whether it is exported]}, its "constants" {name: [type, value]}, its "functions" {name: type}.
"""
from quor import elf

ENCODINGS = ("boolean", "float", "signed", "signed char", "unsigned", "unsigned char")
_ENCODING_CODES = dict(zip(ENCODINGS, (0x02, 0x04, 0x05, 0x06, 0x07, 0x08)))
_C_PLUS_PLUS = 0x04
_OP_ADDR = 0x03

# Tags and attributes of DWARF, as far as they are needed.
_TAGS = {"array": 0x01, "enum": 0x04, "parameter": 0x05, "member": 0x0d, "pointer": 0x0f, "unit": 0x11, "struct": 0x13,
         "function": 0x15, "typedef": 0x16, "union": 0x17, "range": 0x21, "base": 0x24, "enumerator": 0x28, "subprogram": 0x2e,
         "variable": 0x34}
_ADDRESS, _DATA1, _DATA4, _STRING, _SIGNED, _UNSIGNED, _REFERENCE, _EXPRESSION, _PRESENT = (
    0x01, 0x0b, 0x06, 0x08, 0x0d, 0x0f, 0x13, 0x18, 0x19)
_ATTRIBUTES = {  # name: (number, form)
    "location": (0x02, _EXPRESSION), "name": (0x03, _STRING), "size": (0x0b, _UNSIGNED), "bits": (0x0d, _UNSIGNED),
    "low": (0x11, _ADDRESS), "high": (0x12, _DATA4), "language": (0x13, _DATA1), "value": (0x1c, _SIGNED),
    "prototyped": (0x27, _PRESENT), "last": (0x2f, _UNSIGNED), "offset": (0x38, _UNSIGNED), "declaration": (0x3c, _PRESENT),
    "encoding": (0x3e, _DATA1), "external": (0x3f, _PRESENT), "type": (0x49, _REFERENCE), "bit offset": (0x6b, _UNSIGNED)}


def debug_file(table, word_size, address, low):
    """The bytes of an ELF file with the table's debug information. `address(name)` gives a variable's or function's address, or
    None; what has none is left out. The file's .text is one byte at `low`, where nothing else may lie."""
    unit = _Unit(word_size, table["types"])
    unit.add("unit", True, language=_C_PLUS_PLUS, name="records")
    for number in range(len(table["types"])):
        unit.add_type(number)
    for name, (type_, exported) in table["variables"].items():
        unit.add_variable(name, type_, exported, address(name))
    for name, (type_, value) in table["constants"].items():
        unit.add("variable", name=name, type=type_, value=value)
    for name, type_ in table["functions"].items():
        unit.add_function(name, type_, address(name))
    unit.end_children()
    return elf.file(word_size, low, low + 1, [elf.Section(".debug_info", elf.PROGBITS, unit.information()),
                                              elf.Section(".debug_abbrev", elf.PROGBITS, unit.abbreviations())])


def _unsigned(number):
    parts = bytearray()
    while True:
        byte, number = number & 0x7f, number >> 7
        parts.append(byte | (0x80 if number else 0))
        if not number:
            return bytes(parts)


def _signed(number):
    parts = bytearray()
    while True:
        byte, number = number & 0x7f, number >> 7
        last = number == 0 and not byte & 0x40 or number == -1 and byte & 0x40
        parts.append(byte | (0 if last else 0x80))
        if last:
            return bytes(parts)


class _Unit:
    """A compilation unit under construction."""
    _HEADER = 11  # bytes: length, version, abbreviations, size of an address

    def __init__(self, word_size, types):
        self._word, self._types = word_size, types
        self._data = bytearray()
        self._shapes = {}  # (tag, has children, attributes): number of the abbreviation
        self._begins = {}  # index of a type: where its entry begins in the unit
        self._references = []  # (where in the data, index of the type)

    # ---- Entries ----

    def add(self, tag, has_children=False, **attributes):
        """An entry; attributes that are None are left out. Names of attributes have _ for a blank."""
        given = {name.replace("_", " "): value for name, value in attributes.items() if value is not None}
        shape = tag, has_children, tuple(given)
        self._data += _unsigned(self._shapes.setdefault(shape, len(self._shapes) + 1))
        for name, value in given.items():
            self._data += self._encoded(_ATTRIBUTES[name][1], value)

    def end_children(self):
        self._data.append(0)

    def _encoded(self, form, value):
        if form == _STRING:
            return value.encode() + b"\0"
        if form == _REFERENCE:
            self._references.append((len(self._data), value))
            return bytes(4)
        if form == _EXPRESSION:
            return _unsigned(len(value)) + value
        if form in (_ADDRESS, _DATA4, _DATA1):
            return value.to_bytes({_ADDRESS: self._word, _DATA4: 4, _DATA1: 1}[form], "little")
        return {_UNSIGNED: _unsigned, _SIGNED: _signed, _PRESENT: lambda _: b""}[form](value)

    def add_type(self, number):
        kind, *rest = self._types[number]
        self._begins[number] = self._HEADER + len(self._data)
        getattr(self, f"_add_{kind}")(*rest)

    def _add_base(self, name, size, encoding):
        self.add("base", name=name, size=size, encoding=_ENCODING_CODES[encoding])

    def _add_pointer(self, target):
        self.add("pointer", size=self._word, type=target)

    def _add_typedef(self, name, target):
        self.add("typedef", name=name, type=target)

    def _add_declared(self, name):
        self.add("struct", name=name, declaration=True)

    def _add_struct(self, *rest):
        self._add_members("struct", *rest)

    def _add_union(self, *rest):
        self._add_members("union", *rest)

    def _add_members(self, tag, name, size, fields):
        self.add(tag, True, name=name, size=size)
        for field, type_, offset, *bits in fields:
            if bits:
                self.add("member", name=field, type=type_, bits=bits[0], bit_offset=offset)
            else:
                self.add("member", name=field, type=type_, offset=offset)
        self.end_children()

    def _add_enum(self, name, size, values):
        self.add("enum", True, name=name, size=size)
        for each, value in values:
            self.add("enumerator", name=each, value=value)
        self.end_children()

    def _add_array(self, element, count):
        self.add("array", True, type=element)
        self.add("range", last=count - 1)
        self.end_children()

    def _add_function(self, result, parameters):
        self.add("function", True, type=result, prototyped=True)
        self._add_parameters(parameters)

    def _add_parameters(self, parameters):
        for each in parameters:
            self.add("parameter", type=each)
        self.end_children()

    def add_variable(self, name, type_, exported, address):
        if address is not None:
            place = bytes((_OP_ADDR,)) + address.to_bytes(self._word, "little")
            self.add("variable", name=name, type=type_, external=True if exported else None, location=place)

    def add_function(self, name, type_, address):
        if address is not None:
            _, result, parameters = self._types[type_]
            self.add("subprogram", True, name=name, type=result, external=True, prototyped=True, low=address, high=1)
            self._add_parameters(parameters)

    # ---- Sections ----

    def information(self):
        data = bytearray(self._data)
        for at, number in self._references:
            data[at:at + 4] = self._begins[number].to_bytes(4, "little")
        rest = (4).to_bytes(2, "little") + bytes(4) + bytes((self._word,)) + data
        return len(rest).to_bytes(4, "little") + rest

    def abbreviations(self):
        found = bytearray()
        for (tag, has_children, attributes), number in self._shapes.items():
            found += _unsigned(number) + _unsigned(_TAGS[tag]) + bytes((int(has_children),))
            for name in attributes:
                found += b"".join(map(_unsigned, _ATTRIBUTES[name]))
            found += b"\0\0"
        return bytes(found) + b"\0"
