"""The code cache: from a pc to the blob of code that it lies in. Needs no gdb."""
from quor.hotspot.memory import Unreadable
from quor.hotspot.tables import MissingEntry

_FREE = 0xff  # in a segment map: no block here
_MAX_HEAPS = 16
_MAX_BLOB = 1 << 28
INTERPRETER = "Interpreter"
_COMPILED = ("nmethod", "native nmethod")


class Blob:
    """One blob of code as its header tells it. `end` is behind its last byte, `code` where its instructions begin."""
    __slots__ = ("start", "end", "code", "name", "frame_size", "frame_complete", "compiled", "details")

    def __init__(self, start, end, code, name, frame_size, frame_complete, compiled):
        self.start, self.end, self.code, self.name = start, end, code, name
        self.frame_size = frame_size  # in bytes, the return address included; 0 when the frame has no fixed size
        self.frame_complete = frame_complete  # the pc from which on the frame stands; `code` when that is not told
        self.compiled = compiled  # a method's code, native wrappers included
        self.details = None  # what the module of compiled methods keeps of it

    @property
    def interpreter(self):
        return self.name == INTERPRETER


class CodeCache:
    """What is in it at this stop. Raises MissingEntry when the tables do not tell enough."""

    def __init__(self, memory, tables):
        self._memory = memory
        self._heaps_at = tables.static("CodeCache::_heaps")
        self._low_at = tables.static("CodeCache::_low_bound")
        self._high_at = tables.static("CodeCache::_high_bound")
        self._heap_count = tables.offset("GrowableArrayBase::_len", "GenericGrowableArray::_len")
        self._heap_array = tables.offset("GrowableArray<int>::_data")
        low, high = tables.offset("VirtualSpace::_low"), tables.offset("VirtualSpace::_high")
        space, map_ = tables.offset("CodeHeap::_memory"), tables.offset("CodeHeap::_segmap")
        self._heap_low, self._heap_high, self._segments = space + low, space + high, map_ + low
        self._segments_end = map_ + high
        self._log2_segment = tables.offset("CodeHeap::_log2_segment_size")
        self._block_header = tables.size("HeapBlock")
        self._used = tables.offset("HeapBlock::Header::_used")
        self._length = tables.offset("HeapBlock::Header::_length")
        self._name = tables.offset("CodeBlob::_name")
        self._size = tables.offset("CodeBlob::_size")
        self._frame_size = tables.offset("CodeBlob::_frame_size")
        self._frame_complete = tables.offset("CodeBlob::_frame_complete_offset")
        self._frame_complete_narrow = tables.type_of("CodeBlob::_frame_complete_offset") in ("int16_t", "short", "s2")
        self._code_begin = tables.offset_or_none("CodeBlob::_code_begin")
        self._code_offset = None if self._code_begin is not None else tables.offset("CodeBlob::_code_offset")
        self._names = {}
        self.forget()

    def forget(self):
        """The process ran: read everything again."""
        self._bounds = None
        self._heaps = None
        self._by_pc = {}
        self._blobs = {}

    def bounds(self):
        """The lowest address and the one behind the highest; (0, 0) while there is no code cache."""
        if self._bounds is None:
            try:
                self._bounds = self._memory.word(self._low_at), self._memory.word(self._high_at)
                if not self._memory.word(self._heaps_at):
                    self._bounds = 0, 0
            except Unreadable:
                self._bounds = 0, 0
        return self._bounds

    def holds(self, pc):
        low, high = self._bounds or self.bounds()
        return low <= pc < high

    def _heap_rows(self):
        """(low, high, segment map, end of the map, log2 of a segment's size) of each heap."""
        if self._heaps is None:
            memory = self._memory
            array = memory.word(self._heaps_at)
            count = memory.i32(array + self._heap_count)
            if not 0 < count <= _MAX_HEAPS:
                raise MissingEntry(f"the code cache has {count} heaps")
            data = memory.word(array + self._heap_array)
            self._heaps = []
            for index in range(count):
                heap = memory.word(data + index * memory.word_size)
                self._heaps.append((
                    memory.word(heap + self._heap_low), memory.word(heap + self._heap_high),
                    memory.word(heap + self._segments), memory.word(heap + self._segments_end),
                    memory.i32(heap + self._log2_segment)))
        return self._heaps

    def find(self, pc):
        """The blob that holds this pc, or None."""
        if not self.holds(pc):
            return None
        try:
            return self._by_pc[pc]
        except KeyError:
            pass
        try:
            blob = self._find(pc)
        except Unreadable:
            blob = None
        self._by_pc[pc] = blob
        return blob

    def _find(self, pc):
        for low, high, segments, _, log2 in self._heap_rows():
            if low <= pc < high:
                block = self._block(pc, low, segments, log2)
                blob = block and self._blob(block + self._block_header)
                return blob if blob and pc < blob.end else None
        return None

    def _block(self, pc, low, segments, log2):
        """The used block that covers the pc: the map leads back to its first segment."""
        segment = (pc - low) >> log2
        back = self._memory.u8(segments + segment)
        if back == _FREE:
            return None
        while back:
            segment -= back
            if segment < 0:
                return None
            back = self._memory.u8(segments + segment)
        block = low + (segment << log2)
        return block if self._memory.u8(block + self._used) else None

    def _blob(self, start):
        if start not in self._blobs:
            self._blobs[start] = self._read_blob(start)
        return self._blobs[start]

    def _read_blob(self, start):
        memory = self._memory
        size = memory.i32(start + self._size)
        frame_size = memory.i32(start + self._frame_size)
        if not 0 < size < _MAX_BLOB or not -1 <= frame_size < 1 << 20:
            return None
        if self._code_begin is not None:
            code = memory.word(start + self._code_begin)
        else:
            code = start + memory.i32(start + self._code_offset)
        if not start <= code <= start + size:
            return None
        read = memory.i16 if self._frame_complete_narrow else memory.i32
        name = self._name_of(memory.word(start + self._name))
        return Blob(start, start + size, code, name, max(0, frame_size) * memory.word_size,
                    code + max(0, read(start + self._frame_complete)), name in _COMPILED)

    def _name_of(self, address):
        if address not in self._names:
            try:
                self._names[address] = self._memory.string(address)
            except Unreadable:
                return "?"
        return self._names[address]

    def blobs(self):
        """Every blob, by address."""
        if self.bounds() == (0, 0):
            return
        for low, _, segments, segments_end, log2 in self._heap_rows():
            yield from self._blobs_of_heap(low, segments, segments_end, log2)

    def _blobs_of_heap(self, low, segments, segments_end, log2):
        count = segments_end - segments
        segment = 0
        while segment < count:
            try:
                if self._memory.u8(segments + segment) != 0:  # free, or the map ends here
                    segment += 1
                    continue
                block = low + (segment << log2)
                length = self._memory.u32(block + self._length)
                if self._memory.u8(block + self._used):
                    blob = self._blob(block + self._block_header)
                    if blob:
                        yield blob
                segment += max(1, length)
            except Unreadable:
                return
