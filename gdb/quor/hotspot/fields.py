"""Where the fields of a class lie, from the layout that the VM itself works by. Needs no gdb."""
from collections import namedtuple

from quor.hotspot.unsigned5 import SINCE_20, Reader

Field = namedtuple("Field", "name signature offset static")

_ACC_STATIC = 0x0008  # of the class file format
_MAX_FIELDS = 1 << 16


class FieldReader:
    """Reads the fields that a class declares itself. Raises MissingEntry when the tables do not tell where they are."""

    def __init__(self, memory, tables, pool_symbol):
        """`pool_symbol(pool, index)` gives the text of a constant pool's Utf8 entry."""
        self._memory, self._pool_symbol = memory, pool_symbol
        self._pool = tables.offset("InstanceKlass::_constants")
        if tables.has("InstanceKlass::_fieldinfo_stream"):
            self._array, self._read = tables.offset("InstanceKlass::_fieldinfo_stream"), self._from_stream
            self._length, self._data = self._array_layout(tables, "u1")
            self._flags = {name: 1 << tables.constant(f"FieldInfo::FieldFlags::_ff_{name}")
                           for name in ("initialized", "generic", "contended")}
        else:
            self._array, self._read = tables.offset("InstanceKlass::_fields"), self._from_slots
            self._length, self._data = self._array_layout(tables, "u2")
            self._count = tables.offset("InstanceKlass::_java_fields_count")
            self._slots, self._tag_bits = tables.constant("FieldInfo::field_slots"), tables.constant("FIELDINFO_TAG_SIZE")
            self._slot = {name: tables.constant(f"FieldInfo::{name}_offset")
                          for name in ("access_flags", "name_index", "signature_index", "low_packed", "high_packed")}

    @staticmethod
    def _array_layout(tables, element):
        return tables.offset("Array<int>::_length"), tables.offset(f"Array<{element}>::_data")

    def fields(self, klass):
        """The Fields that this class declares, without those of its superclasses."""
        return self._read(klass, self._memory.word(klass + self._pool), self._memory.word(klass + self._array))

    def _from_slots(self, klass, pool, array):
        """Until JDK 20: an array of 16-bit numbers, so many a field."""
        count = self._memory.u16(klass + self._count)
        found = []
        for index in range(count):
            start = array + self._data + 2 * index * self._slots
            slot = {name: self._memory.u16(start + 2 * position) for name, position in self._slot.items()}
            offset = (slot["high_packed"] << 16 | slot["low_packed"]) >> self._tag_bits
            found.append(Field(self._pool_symbol(pool, slot["name_index"]), self._pool_symbol(pool, slot["signature_index"]),
                               offset, bool(slot["access_flags"] & _ACC_STATIC)))
        return found

    def _from_stream(self, klass, pool, array):
        """Since JDK 21: compressed numbers, of which some stand there only when a flag says so."""
        size = self._memory.i32(array + self._length)
        reader = Reader(self._memory.bytes(array + self._data, max(0, min(size, 8 * _MAX_FIELDS))), SINCE_20)
        count, _injected = reader.unsigned(), reader.unsigned()
        found = []
        for _ in range(min(count, _MAX_FIELDS)):
            name, signature, offset, access, flags = (reader.unsigned() for _ in range(5))
            for optional in ("initialized", "generic", "contended"):
                if flags & self._flags[optional]:
                    reader.unsigned()
            found.append(Field(self._pool_symbol(pool, name), self._pool_symbol(pool, signature), offset,
                               bool(access & _ACC_STATIC)))
        return found
