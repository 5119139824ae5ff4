"""Debug information of compiled methods: from a pc to the methods that were inlined there. Needs no gdb."""
import struct
from bisect import bisect_left
from collections import namedtuple

from quor.hotspot.tables import MissingEntry
from quor.hotspot.unsigned5 import Reader

_MAX_DEPTH = 200  # of inlining
_MAX_TABLE = 1 << 24

PcDesc = namedtuple("PcDesc", "pc_offset scope objects flags")
Scope = namedtuple("Scope", "method bci offset")  # method: its address; offset: of the record, where its locals are told too


class Details:
    """Where one compiled method keeps its debug information."""
    __slots__ = ("method", "entry", "osr_entry", "deopt_handlers", "orig_pc", "pcs", "pcs_end", "scopes", "metadata", "table",
                 "offsets")


class DebugInformation:
    """Reads it. Raises MissingEntry when the tables do not tell where it is."""

    def __init__(self, memory, tables, unsigned5):
        self._memory = memory
        self._form = unsigned5
        self._desc_size = tables.size("PcDesc")
        self._desc = [tables.offset(f"PcDesc::_{name}")
                      for name in ("pc_offset", "scope_decode_offset", "obj_decode_offset", "flags")]
        self._offset = tables.offset
        self._tables = tables
        self._method = tables.offset("CompiledMethod::_method", "nmethod::_method")
        self._orig_pc = tables.offset_or_none("nmethod::_orig_pc_offset")
        self._osr_entry = tables.offset_or_none("nmethod::_osr_entry_point")
        self._where = self._choose_layout(tables)
        self._entry = self._choose_entry(tables)
        self._handlers = self._choose_handlers(tables)

    # ---- Layouts, by the entries that exist ----

    def _read_int(self, name):
        """A function that reads this field of a compiled method, in the width that the tables tell."""
        offset = self._tables.offset(name)
        read = self._memory.u16 if self._tables.type_of(name) in ("u2", "uint16_t") else self._memory.i32
        return lambda start: read(start + offset)

    def _choose_layout(self, tables):
        """A function from a blob to (first PcDesc, behind the last, scopes, metadata)."""
        word = self._memory.word
        pcs = self._read_int("nmethod::_scopes_pcs_offset")
        if tables.has("nmethod::_immutable_data"):
            immutable = tables.offset("nmethod::_immutable_data")
            scopes = self._read_int("nmethod::_scopes_data_offset")
            metadata = self._choose_metadata(tables)

            def apart(start):
                data = word(start + immutable)
                return data + pcs(start), data + scopes(start), data + scopes(start), metadata(start)
            return apart
        scopes_begin = tables.offset("CompiledMethod::_scopes_data_begin", "nmethod::_scopes_data_begin")
        end = self._read_int("nmethod::_dependencies_offset")
        metadata_offset = self._read_int("nmethod::_metadata_offset")
        return lambda start: (start + pcs(start), start + end(start), word(start + scopes_begin), start + metadata_offset(start))

    def _choose_metadata(self, tables):
        word = self._memory.word
        if tables.has("CodeBlob::_mutable_data"):
            mutable = tables.offset("CodeBlob::_mutable_data")
            relocation = self._read_int("CodeBlob::_relocation_size")
            return lambda start: word(start + mutable) + relocation(start)
        data = self._read_int("CodeBlob::_data_offset")
        metadata_offset = self._read_int("nmethod::_metadata_offset")
        return lambda start: start + data(start) + metadata_offset(start)

    def _choose_entry(self, tables):
        """A function from (start, code) to the verified entry point."""
        if tables.has("nmethod::_verified_entry_point"):
            pointer = tables.offset("nmethod::_verified_entry_point")
            return lambda start, code: self._memory.word(start + pointer)
        offset = self._read_int("nmethod::_verified_entry_offset")
        return lambda start, code: code + offset(start)

    def _choose_handlers(self, tables):
        """A function from a blob's start to the addresses that deoptimisation puts in place of return addresses."""
        readers = []
        for name in ("deopt_handler", "deopt_mh_handler"):
            for owner in ("CompiledMethod", "nmethod"):
                if tables.has(f"{owner}::_{name}_begin"):
                    offset = tables.offset(f"{owner}::_{name}_begin")
                    readers.append(lambda start, offset=offset: self._memory.word(start + offset))
            for suffix in ("_offset", "_entry_offset"):
                if tables.has(f"nmethod::_{name}{suffix}"):
                    read = self._read_int(f"nmethod::_{name}{suffix}")
                    readers.append(lambda start, read=read: start + read(start))
        return lambda start: tuple(read(start) for read in readers)

    # ---- One compiled method ----

    def details(self, blob):
        """The Details of a compiled method's blob."""
        if blob.details is None:
            blob.details = self._read_details(blob)
        return blob.details

    def _read_details(self, blob):
        details = Details()
        details.method = self._memory.word(blob.start + self._method)
        details.entry = self._entry(blob.start, blob.code)
        details.osr_entry = self._memory.word(blob.start + self._osr_entry) if self._osr_entry is not None else 0
        details.deopt_handlers = self._handlers(blob.start)
        details.orig_pc = self._memory.i32(blob.start + self._orig_pc) if self._orig_pc is not None else None
        details.pcs, details.pcs_end, details.scopes, details.metadata = self._where(blob.start)
        details.table = details.offsets = None
        return details

    def _descriptions(self, blob):
        """Every PcDesc of the blob, sorted by pc, without the sentinels."""
        details = self.details(blob)
        if details.table is None:
            size = details.pcs_end - details.pcs
            if not 0 <= size <= _MAX_TABLE or size % self._desc_size:
                raise MissingEntry(f"the table of PcDescs has {size} bytes")
            data = self._memory.bytes(details.pcs, size)
            rows = []
            for at in range(0, size, self._desc_size):
                row = PcDesc(*(struct.unpack_from("<i", data, at + offset)[0] for offset in self._desc))
                if 0 <= row.pc_offset < blob.end - blob.code:  # the sentinels lie outside
                    rows.append(row)
            details.table, details.offsets = rows, [row.pc_offset for row in rows]
        return details.table

    def description(self, blob, pc, exact):
        """The PcDesc at this pc, or (exact=False) the next one behind it; None when there is none."""
        table = self._descriptions(blob)
        offset = pc - blob.code
        index = bisect_left(blob.details.offsets, offset)
        if index == len(table) or exact and table[index].pc_offset != offset:
            return None
        return table[index]

    def scopes(self, blob, description):
        """The Scopes at this PcDesc, the innermost first; the last is the compiled method itself."""
        details = self.details(blob)
        data = _From(self._memory, details.scopes)
        found = []
        offset = description.scope
        while offset > 0 and len(found) < _MAX_DEPTH:
            reader = Reader(data, self._form, offset)
            sender, index, bci = reader.unsigned(), reader.unsigned(), reader.unsigned() - 1
            found.append(Scope(self._metadata(details, index), bci, offset))
            if sender >= offset:  # a sender is always written before
                break
            offset = sender
        return found

    def _metadata(self, details, index):
        if not index:
            return 0
        return self._memory.word(details.metadata + (index - 1) * self._memory.word_size)


class _From:
    """The process's bytes from an address on, by index."""

    def __init__(self, memory, start):
        self._memory, self._start = memory, start

    def __getitem__(self, index):
        return self._memory.u8(self._start + index)


