"""Where the locals of a Java frame stand, and what is in them. Needs no gdb.

A value is a pair (signature, value): a Java primitive, or ("L...;", address) of an object; UNKNOWN when it cannot be had.
"""
import struct

from quor.hotspot import heap
from quor.hotspot.memory import Unreadable
from quor.hotspot.tables import MissingEntry
from quor.hotspot.unsigned5 import Reader

UNKNOWN = None
_WIDE = ("J", "D")

# Kinds of a scope's values, in the order of HotSpot's debug information; the tables do not tell them.
_LOCATION, _INT, _OOP, _LONG, _DOUBLE, _OBJECT, _OBJECT_AGAIN, _BOX, _MARKER, _MERGE = range(10)


class InterpretedLocals:
    """Locals of an interpreted frame: a slot a word, downwards from the frame's pointer to them."""

    def __init__(self, memory):
        self._memory = memory

    def value(self, locals_at, local):
        """The value of a local_names.Local; `locals_at` is the address of slot 0."""
        word = self._memory.word_size
        kind = local.signature[0]
        if kind in "L[":
            return local.signature, self._memory.word(locals_at - local.slot * word)
        if kind in _WIDE:  # two slots; the value lies in the upper one, lower in memory
            return kind, heap.decoded(kind, self._memory.bytes(locals_at - (local.slot + 1) * word, 8))
        return kind, narrowed(kind, self._memory.bytes(locals_at - local.slot * word, 4))


def narrowed(kind, data):
    """A value of at most 32 bits from the 32 bits that a slot holds."""
    if kind == "F":
        return heap.decoded("F", data)
    return heap.decoded(kind, data[:{"Z": 1, "B": 1, "C": 2, "S": 2}.get(kind, 4)])


class CompiledLocals:
    """Locals of a compiled method's frame, as far as the compiler told where they are. Raises MissingEntry."""

    def __init__(self, memory, tables, unsigned5, heap_):
        self._memory, self._form, self._heap = memory, unsigned5, heap_
        constant = tables.constant
        self._type_mask, self._type_shift = constant("Location::TYPE_MASK"), constant("Location::TYPE_SHIFT")
        self._where_mask, self._where_shift = constant("Location::WHERE_MASK"), constant("Location::WHERE_SHIFT")
        self._offset_shift = constant("Location::OFFSET_SHIFT")
        self._on_stack = constant("Location::on_stack")
        self._types = {constant(f"Location::{name}"): name for name in
                       ("normal", "oop", "narrowoop", "int_in_long", "lng", "float_in_dbl", "dbl", "addr", "invalid")}
        self._slot_size = constant("VMRegImpl::stack_slot_size")
        self._register_names = tables.static("VMRegImpl::regName[0]")
        self._oops = self._choose_oops(tables)

    def _choose_oops(self, tables):
        """A function from a blob's start to its table of constant objects."""
        memory = self._memory
        if tables.has("nmethod::_oops_offset"):
            offset = tables.offset("nmethod::_oops_offset")
            return lambda start: start + memory.i32(start + offset)
        data = tables.offset_or_none("CodeBlob::_data_offset")
        if data is None or tables.has("nmethod::_data_offset"):
            raise MissingEntry("no nmethod::_oops_offset in libjvm's tables")
        return lambda start: start + memory.i32(start + data)

    def values(self, blob, scopes_data, scope_offset, registers):
        """The values by slot, each a function from a signature to a value, of the scope whose record begins at this offset.

        `registers`: the frame's.
        """
        data = _From(self._memory, scopes_data)
        record = Reader(data, self._form, scope_offset)
        record.unsigned(), record.unsigned(), record.unsigned()  # sender, method, bci
        locals_offset = record.unsigned()
        if not locals_offset:
            return []
        reader = Reader(data, self._form, locals_offset)
        count = reader.unsigned()
        found = []
        for _ in range(count):
            value = self._read(reader, blob, registers)
            found.append(value)
            if value is _undecodable:
                found += [_undecodable] * (count - len(found))
                break
        return found

    def _read(self, reader, blob, registers):
        kind = reader.unsigned()
        if kind == _LOCATION:
            return self._location(reader.unsigned(), registers)
        if kind == _INT:
            value = reader.signed()
            return lambda signature: _of_bits(signature, struct.pack("<i", value))
        if kind in (_LONG, _DOUBLE):
            high, low = reader.signed(), reader.signed()
            return lambda signature: _of_bits(signature, struct.pack("<Ii", low & 0xffffffff, high))
        if kind == _OOP:
            return self._constant_object(reader.unsigned(), blob)
        if kind == _MARKER:
            return _unknown
        if kind == _OBJECT_AGAIN:
            reader.unsigned()
            return _unknown
        return _undecodable  # an object that was never allocated: its record differs between versions

    def _location(self, bits, registers):
        where = (bits & self._where_mask) >> self._where_shift
        kind = self._types.get((bits & self._type_mask) >> self._type_shift)
        place = bits >> self._offset_shift
        if kind in (None, "invalid", "addr"):
            return _unknown
        if where != self._on_stack:
            return self._in_register(kind, place, registers)
        return self._on_stack_at(kind, registers.sp + place * self._slot_size)

    def _in_register(self, kind, number, registers):
        """Calls save the frame pointer's register alone, which compiled code uses as any other."""
        name = self._memory.string(self._memory.word(self._register_names + number * self._memory.word_size))
        if name not in ("rbp", "ebp"):
            return _unknown
        data = registers.fp.to_bytes(8, "little")

        def value(signature):
            if kind in ("oop", "narrowoop"):
                return signature, registers.fp if kind == "oop" else self._heap.widened(registers.fp & 0xffffffff)
            return UNKNOWN if signature[0] in "L[" else _of_bits(signature, data)
        return value

    def _on_stack_at(self, kind, address):
        def value(signature):
            if kind == "oop":
                return signature, self._memory.word(address)
            if kind == "narrowoop":
                return signature, self._heap.load(address)
            if signature[0] in "L[":
                return UNKNOWN
            return _of_bits(signature, self._memory.bytes(address, 8))
        return value

    def _constant_object(self, index, blob):
        if not index:
            return lambda signature: (signature, 0)
        address = self._oops(blob.start) + (index - 1) * self._memory.word_size
        return lambda signature: (signature, self._heap.load_full(address))


def _of_bits(signature, data):
    kind = signature[0]
    if kind in "L[":  # a null that the compiler knew
        return (signature, 0) if not any(data) else UNKNOWN
    if kind in _WIDE:
        return (kind, heap.decoded(kind, data)) if len(data) == 8 else UNKNOWN
    return kind, narrowed(kind, data[:4])


def _unknown(_signature):
    return UNKNOWN


def _undecodable(_signature):
    """Neither this value nor those behind it."""
    return UNKNOWN


class _From:
    """The process's bytes from an address on, by index."""

    def __init__(self, memory, start):
        self._memory, self._start = memory, start

    def __getitem__(self, index):
        return self._memory.u8(self._start + index)


def read(value, signature):
    """A slot's value, UNKNOWN also when its memory cannot be read."""
    try:
        return value(signature)
    except Unreadable:
        return UNKNOWN
