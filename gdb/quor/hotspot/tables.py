"""HotSpot's own description of its layout: the tables of fields, types and constants that libjvm exports (vmStructs).

Needs no gdb: the memory and a function that finds an exported symbol's address are given.
"""
from collections import namedtuple

from quor.errors import QuorError

_MAX_ROWS = 50_000  # a table that has not ended by then is none
_MAX_OFFSET = 1 << 20

Field = namedtuple("Field", "type offset address")  # address: of a static field; else None


class NotYet(QuorError):
    """The tables cannot be read now: libjvm is not loaded, or not relocated. To be tried again at the next stop."""


class MissingEntry(QuorError):
    """The tables do not tell what is asked, or tell what makes no sense."""


class Tables:
    """What this libjvm says of its records. Fields are named "Type::field"; of several names the first that exists counts."""

    def __init__(self, memory, symbol):
        """`symbol(name)` gives the address of an exported variable or raises NotYet."""
        self._memory = memory
        self._symbol = symbol
        self._strings = {0: None}
        self.fields = {}
        self.sizes = {}
        self.constants = {}
        self.superclasses = {}
        try:
            self._read_all()
        except QuorError as error:
            raise NotYet(str(error)) from error
        if not self.fields or not self.sizes:
            raise NotYet("the tables are empty")

    # ---- Reading ----

    def _u64(self, symbol):
        return self._memory.u64(self._symbol(symbol))

    def _string(self, address):
        if address not in self._strings:
            self._strings[address] = self._memory.string(address)
        return self._strings[address]

    def _first_row(self, array):
        row = self._memory.word(self._symbol(array))
        if not row:
            raise NotYet(f"{array} is not set")
        self._memory.word(row)
        return row

    def _rows(self, array, entry, name_column):
        """The addresses of a table's rows, with their names."""
        row = self._first_row(array)
        name_offset = self._u64(f"{entry}{name_column}Offset")
        stride = self._u64(f"{entry}ArrayStride")
        if not 0 < stride <= 1024 or name_offset >= stride:
            raise NotYet(f"{entry}ArrayStride is {stride}")
        for _ in range(_MAX_ROWS):
            name = self._memory.word(row + name_offset)
            if not name:
                return
            yield row, self._string(name)
            row += stride
        raise NotYet(f"{array} does not end")

    def _read_all(self):
        self._first_row("gHotSpotVMStructs")  # it is often too early, and each further symbol takes gdb milliseconds
        self._read_fields()
        self._read_types()
        self._read_constants("Int", self._memory.i32)
        self._read_constants("Long", self._memory.i64)

    def _read_fields(self):
        entry = "gHotSpotVMStructEntry"
        column = {name: self._u64(f"{entry}{name}Offset")
                  for name in ("FieldName", "TypeString", "IsStatic", "Offset", "Address")}
        word = self._memory.word
        for row, owner in self._rows("gHotSpotVMStructs", entry, "TypeName"):
            name = self._string(word(row + column["FieldName"]))
            type_name = self._string(word(row + column["TypeString"]))
            static = self._memory.i32(row + column["IsStatic"])
            self.fields[f"{owner}::{name}"] = Field(
                type_name,
                None if static else self._memory.u64(row + column["Offset"]),
                word(row + column["Address"]) if static else None)

    def _read_types(self):
        entry = "gHotSpotVMTypeEntry"
        size = self._u64(f"{entry}SizeOffset")
        superclass = self._u64(f"{entry}SuperclassNameOffset")
        for row, name in self._rows("gHotSpotVMTypes", entry, "TypeName"):
            self.sizes[name] = self._memory.u64(row + size)
            self.superclasses[name] = self._string(self._memory.word(row + superclass))

    def _read_constants(self, kind, read):
        entry = f"gHotSpotVM{kind}ConstantEntry"
        value = self._u64(f"{entry}ValueOffset")
        for row, name in self._rows(f"gHotSpotVM{kind}Constants", entry, "Name"):
            self.constants[name] = read(row + value)

    # ---- Asking ----

    def has(self, name):
        return name in self.fields

    def offset(self, *names):
        """The offset of a field in its record."""
        for name in names:
            field = self.fields.get(name)
            if field is not None and field.offset is not None:
                if field.offset > _MAX_OFFSET:
                    raise MissingEntry(f"{name} has offset {field.offset}")
                return field.offset
        raise MissingEntry(f"no {' or '.join(names)} in libjvm's tables")

    def offset_or_none(self, *names):
        return next((self.offset(name) for name in names if name in self.fields), None)

    def static(self, *names):
        """The address of a static field."""
        for name in names:
            field = self.fields.get(name)
            if field is not None and field.address:
                return field.address
        raise MissingEntry(f"no {' or '.join(names)} in libjvm's tables")

    def size(self, *types):
        """The size of a record in bytes."""
        for name in types:
            size = self.sizes.get(name)
            if size is not None:
                if not 0 < size <= _MAX_OFFSET:
                    raise MissingEntry(f"{name} has size {size}")
                return size
        raise MissingEntry(f"no type {' or '.join(types)} in libjvm's tables")

    def constant(self, *names):
        for name in names:
            if name in self.constants:
                return self.constants[name]
        raise MissingEntry(f"no constant {' or '.join(names)} in libjvm's tables")

    def type_of(self, name):
        """The C++ type of a field, as the tables spell it, or None."""
        field = self.fields.get(name)
        return field.type if field else None
