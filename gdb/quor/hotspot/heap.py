"""Java objects, read from memory: their classes, fields, strings, arrays. Calls nothing in the process. Needs no gdb.

An object is its address, 0 for null. Nothing is kept over a `continue`: objects move. What a pointer leads to is doubted: a
thread may be stopped in the middle of anything, and then Unreadable is raised.
"""
import struct

from quor.hotspot.fields import FieldReader
from quor.hotspot.flags import Flags
from quor.hotspot.memory import Unreadable

_MAX_TEXT = 1 << 16
_MAX_SUPERCLASSES = 64
_LATIN1 = 0

_SIZES = {"Z": 1, "B": 1, "C": 2, "S": 2, "I": 4, "F": 4, "J": 8, "D": 8}


class Heap:
    """The objects of one VM. Raises MissingEntry when its tables do not tell how they lie."""

    def __init__(self, memory, tables):
        self._memory, self._tables = memory, tables
        self._class_name, self._super = tables.offset("Klass::_name"), tables.offset("Klass::_super")
        self._layout_helper = tables.offset("Klass::_layout_helper")
        self._header_shift = tables.constant("Klass::_lh_header_size_shift")
        self._header_mask = tables.constant("Klass::_lh_header_size_mask")
        self._symbol_length, self._symbol_body = tables.offset("Symbol::_length"), tables.offset("Symbol::_body")
        self._pool_entries = tables.size("ConstantPool")
        self._fields = FieldReader(memory, tables, self._pool_symbol)
        self._flags = Flags(memory, tables)
        self._choose_pointers(tables)
        self._choose_headers(tables)
        self._choose_collector(tables)
        self._known_fields = {}
        self._known_names = {}

    def forget(self):
        """The process ran: classes may be others now."""
        self._known_fields.clear()
        self._known_names.clear()

    # ---- Layouts, by the entries and options that exist ----

    def _choose_pointers(self, tables):
        self._narrow = self._memory.word_size == 8 and bool(self._flags.boolean("UseCompressedOops"))
        self.pointer_size = 4 if self._narrow else self._memory.word_size
        if self._narrow:
            self._base = self._memory.word(tables.static("CompressedOops::_base", "CompressedOops::_narrow_oop._base"))
            self._shift = self._memory.i32(tables.static("CompressedOops::_shift", "CompressedOops::_narrow_oop._shift"))

    def _choose_headers(self, tables):
        """Where an object's class stands, and behind it an array's length."""
        self._compact = bool(self._flags.boolean("UseCompactObjectHeaders"))
        compressed = self._flags.boolean("UseCompressedClassPointers")
        self._narrow_klass = self._compact or self._memory.word_size == 8 and compressed is not False
        if self._compact:
            self._klass_bits = tables.constant("markWord::klass_shift")
            self._array_length = 8
        elif self._narrow_klass:
            self._klass_at = tables.offset("oopDesc::_metadata._compressed_klass", "oopDesc::_compressed_klass")
            self._array_length = self._klass_at + 4
        else:
            self._klass_at = tables.offset("oopDesc::_metadata._klass", "oopDesc::_klass")
            self._array_length = self._klass_at + self._memory.word_size
        if self._narrow_klass:
            self._klass_base = self._memory.word(
                tables.static("CompressedKlassPointers::_base", "CompressedKlassPointers::_narrow_klass._base"))
            self._klass_shift = self._memory.i32(
                tables.static("CompressedKlassPointers::_shift", "CompressedKlassPointers::_narrow_klass._shift"))

    def _choose_collector(self, tables):
        """ZGC keeps marks in its pointers: as high bits that are mapped too, or, generational, below the address.

        Below: the one bit set of those that tell the collector's phase is the uppermost mark; the address begins above it.
        """
        self._phase_bits = 0
        if self._flags.boolean("UseZGC") and tables.has("ZGlobalsForVMStructs::_ZPointerLoadGoodMask"):
            instance = self._memory.word(tables.static("ZGlobalsForVMStructs::_instance_p"))
            for name in ("_ZPointerLoadGoodMask", "_ZPointerLoadBadMask"):
                mask_at = self._memory.word(instance + tables.offset(f"ZGlobalsForVMStructs::{name}"))
                self._phase_bits |= self._memory.word(mask_at)

    # ---- Pointers ----

    def _full(self, pointer):
        return pointer >> (pointer & self._phase_bits).bit_length()

    def load(self, address):
        """The object that the field or array element at this address refers to."""
        if not self._narrow:
            return self._full(self._memory.word(address))
        return self.widened(self._memory.u32(address))

    def widened(self, narrow):
        """The object that a compressed pointer refers to."""
        return self._base + (narrow << self._shift) if narrow else 0

    def load_full(self, address):
        """The object that a pointer outside of the heap refers to; those are never compressed."""
        return self._full(self._memory.word(address))

    def of_handle(self, address):
        """The object of an OopHandle that lies at this address."""
        cell = self._memory.word(address)
        return self.load_full(cell) if cell else 0

    # ---- Classes ----

    def klass(self, obj):
        """The address of an object's class record."""
        if not obj or obj % self._memory.word_size:
            raise Unreadable(obj)
        if not self._narrow_klass:
            return self._memory.word(obj + self._klass_at)
        narrow = self._memory.u64(obj) >> self._klass_bits if self._compact else self._memory.u32(obj + self._klass_at)
        return self._klass_base + (narrow << self._klass_shift)

    def class_name(self, klass):
        """The internal name: java/lang/String, [B."""
        if klass not in self._known_names:
            self._known_names[klass] = self._symbol(self._memory.word(klass + self._class_name))
        return self._known_names[klass]

    def superclasses(self, klass):
        """The class and those above it."""
        for _ in range(_MAX_SUPERCLASSES):
            if not klass:
                return
            yield klass
            klass = self._memory.word(klass + self._super)

    def is_a(self, obj, name):
        """Whether the object's class is, or extends, the class of this internal name."""
        return any(self.class_name(klass) == name for klass in self.superclasses(self.klass(obj)))

    def _symbol(self, address):
        length = self._memory.u16(address + self._symbol_length)
        return self._memory.bytes(address + self._symbol_body, length).decode("utf-8", "replace")

    def _pool_symbol(self, pool, index):
        return self._symbol(self._memory.word(pool + self._pool_entries + index * self._memory.word_size))

    # ---- Fields ----

    def declared(self, klass):
        """{name: Field} of what the class itself declares."""
        if klass not in self._known_fields:
            self._known_fields[klass] = {field.name: field for field in self._fields.fields(klass)}
        return self._known_fields[klass]

    def instance_fields(self, obj):
        """The Fields of the object, those of the uppermost class first."""
        chain = list(self.superclasses(self.klass(obj)))
        return [field for klass in reversed(chain) for field in self.declared(klass).values() if not field.static]

    def get(self, obj, *names):
        """The value of the first of these instance fields that the object's class has; None when it has none of them."""
        for klass in self.superclasses(self.klass(obj)):
            for name in names:
                field = self.declared(klass).get(name)
                if field is not None and not field.static:
                    return self.value(obj + field.offset, field.signature)
        return None

    def value(self, address, signature):
        """The value of this type at the address: a number, a bool, a character, or an object's address."""
        kind = signature[0]
        if kind in "L[":
            return self.load(address)
        return decoded(kind, self._memory.bytes(address, _SIZES[kind]))

    # ---- Strings and arrays ----

    def array_length(self, array):
        return self._memory.i32(array + self._array_length)

    def array_start(self, array):
        """Where an array's elements begin."""
        helper = self._memory.u32(self.klass(array) + self._layout_helper)
        return array + (helper >> self._header_shift & self._header_mask)

    def elements(self, array, signature, limit, first=0):
        """So many elements of an array whose elements have this type, as far as it has them."""
        size = self.pointer_size if signature[0] in "L[" else _SIZES[signature[0]]
        start = self.array_start(array)
        return [self.value(start + index * size, signature) for index in range(first, min(first + limit, self.array_length(array)))]

    def string(self, obj, limit=_MAX_TEXT):
        """The text of a java.lang.String; None for null."""
        if not obj:
            return None
        if self.class_name(self.klass(obj)) != "java/lang/String":
            raise Unreadable(obj)
        array, coder = self.get(obj, "value"), self.get(obj, "coder")
        size = max(0, min(self.array_length(array), 2 * limit))
        data = self._memory.bytes(self.array_start(array), size)
        return data.decode("latin-1") if coder == _LATIN1 else data.decode("utf-16-le", "replace")


def decoded(kind, data):
    """A Java primitive from its bytes."""
    if kind == "Z":
        return data[0] != 0
    if kind == "C":
        return chr(int.from_bytes(data[:2], "little"))
    if kind in "FD":
        return struct.unpack("<f" if kind == "F" else "<d", data)[0]
    return int.from_bytes(data, "little", signed=True)
