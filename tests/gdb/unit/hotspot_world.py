"""A HotSpot made by hand for the tests: a code cache with blobs of machine code, methods, debug information, a stack.

The offsets are this file's own choice; two layouts stand for the older VMs (debug information behind the code, pointers) and
the newer ones (apart from it, offsets).
"""
from lines_test import table
from process_image import Image
from quor.hotspot.hotspot import HotSpot
from quor.hotspot.unsigned5 import BEFORE_20, SINCE_20
from unsigned5_test import encode
from vm_tables import export_tables

LOG2_SEGMENT = 7
SEGMENT = 1 << LOG2_SEGMENT
HEADER = 0x40  # bytes of a blob before its code
KEPT = 0x1000  # room that each compiled method has for its debug information

_COMMON = (
    ("GrowableArrayBase::_len", 0), ("GrowableArray<int>::_data", 8), ("CodeHeap::_memory", 0), ("CodeHeap::_segmap", 64),
    ("CodeHeap::_log2_segment_size", 128), ("VirtualSpace::_low", 16), ("VirtualSpace::_high", 24), ("HeapBlock::Header::_used", 8),
    ("HeapBlock::Header::_length", 0), ("CodeBlob::_name", 0), ("CodeBlob::_size", 8), ("CodeBlob::_frame_size", 12),
    ("CodeBlob::_frame_complete_offset", 16), ("Method::_constMethod", 8), ("Method::_access_flags", 16),
    ("Method::_i2i_entry", 24), ("ConstMethod::_constants", 8), ("ConstMethod::_name_index", 16),
    ("ConstMethod::_signature_index", 18),
    ("ConstMethod::_code_size", 20), ("ConstantPool::_pool_holder", 8), ("ConstantPool::_length", 16),
    ("ConstantPool::_source_file_name_index", 20), ("Klass::_name", 8), ("Symbol::_length", 4), ("Symbol::_body", 6),
    ("PcDesc::_pc_offset", 0), ("PcDesc::_scope_decode_offset", 4), ("PcDesc::_obj_decode_offset", 8), ("PcDesc::_flags", 12),
    ("nmethod::_orig_pc_offset", 60), ("nmethod::_scopes_pcs_offset", 52), ("StubQueue::_stub_buffer", 0),
    ("ThreadsList::_length", 0), ("ThreadsList::_threads", 8), ("JavaThread::_stack_base", 0), ("JavaThread::_stack_size", 8),
    ("JavaThread::_saved_exception_pc", 16),
)
_OLD = (("CodeBlob::_code_begin", 24), ("CompiledMethod::_method", 32), ("nmethod::_verified_entry_point", 40),
        ("CompiledMethod::_scopes_data_begin", 64), ("nmethod::_dependencies_offset", 56), ("nmethod::_metadata_offset", 72),
        ("CompiledMethod::_deopt_handler_begin", 80), ("ConstMethod::_flags", 22))
_NEW = (("CodeBlob::_code_offset", 24), ("nmethod::_method", 32), ("nmethod::_verified_entry_offset", 40),
        ("nmethod::_immutable_data", 64), ("nmethod::_scopes_data_offset", 56), ("CodeBlob::_mutable_data", 72),
        ("CodeBlob::_relocation_size", 88), ("nmethod::_deopt_handler_offset", 80), ("ConstMethod::_flags._flags", 22),
        ("JavaThread::_cont_entry", 24))
_SIZES = (("HeapBlock", 16), ("ConstMethod", 32), ("ConstantPool", 32), ("PcDesc", 16), ("Method", 64))
BLOB_HEADER = 96  # the largest record above


class World:
    """`new`: the newer layout. `leave_out`: entries that the tables lack."""

    def __init__(self, word_size=8, new=False, leave_out=(), change=None):
        self.image = Image(word_size)
        self.word = word_size
        self.new = new
        self.form = SINCE_20 if new else BEFORE_20
        self.low = 0xe7000000 if word_size == 4 else 0x7f72e5000000
        self.natives = set()
        image = self.image
        image.map(self.low, 0x40000)
        self.segments = image.take(0x40000 >> LOG2_SEGMENT)
        image.write(self.segments, b"\xff" * (0x40000 >> LOG2_SEGMENT))
        self.next_segment = 0
        self.stack = image.take(0x4000)
        self.statics = {name: image.take(8) for name in (
            "CodeCache::_heaps", "CodeCache::_low_bound", "CodeCache::_high_bound", "StubRoutines::_call_stub_return_address",
            "Abstract_VM_Version::_vm_major_version", "ThreadsSMRSupport::_java_thread_list")}
        if new:
            self.statics["ContinuationEntry::_return_pc"] = image.take(8)
        image.put_int(self.statics["Abstract_VM_Version::_vm_major_version"], 25 if new else 17)
        self._make_heap()
        fields = [(name, offset) for name, offset in _COMMON + (_NEW if new else _OLD) if name not in leave_out]
        fields = [(name, (change or {}).get(name, offset)) for name, offset in fields]
        flag = "ConstMethodFlags::_misc_has_linenumber_table" if new else "ConstMethod::_has_linenumber_table"
        export_tables(image, fields=fields, statics=[(name, at) for name, at in self.statics.items() if name not in leave_out],
                      sizes=_SIZES + ((("ContinuationEntry", 64),) if new else ()), ints=[(flag, 1)])

    def hotspot(self):
        return HotSpot(self.image.memory, self.image.symbol, self.natives.__contains__)

    def _make_heap(self):
        image = self.image
        heap = image.take(256)
        image.put_word(heap + 16, self.low)
        image.put_word(heap + 24, self.low + 0x40000)
        image.put_word(heap + 64 + 16, self.segments)
        image.put_word(heap + 64 + 24, self.segments + (0x40000 >> LOG2_SEGMENT))
        image.put_int(heap + 128, LOG2_SEGMENT)
        array = image.take(16)
        data = image.take(8)
        image.put_word(data, heap)
        image.put_int(array, 1)
        image.put_word(array + 8, data)
        image.put_word(self.statics["CodeCache::_heaps"], array)
        image.put_word(self.statics["CodeCache::_low_bound"], self.low)
        image.put_word(self.statics["CodeCache::_high_bound"], self.low + 0x40000)

    # ---- Code ----

    def blob(self, name, code, frame_words=0, complete=0, kept=0):
        """A blob of this machine code (bytes); gives the address of its header."""
        image = self.image
        size = BLOB_HEADER + len(code) + kept
        count = (16 + size + SEGMENT - 1) // SEGMENT
        block = self.low + self.next_segment * SEGMENT
        for index in range(count):
            image.write(self.segments + self.next_segment + index, bytes((0 if index == 0 else min(index, 0xfe),)))
        self.next_segment += count
        image.put_int(block, count)
        image.write(block + 8, b"\1")
        start = block + 16
        image.put_word(start, image.put_string(name))
        image.put_int(start + 8, size)
        image.put_int(start + 12, frame_words)
        image.put_int(start + 16, complete)
        if self.new:
            image.put_int(start + 24, BLOB_HEADER)
        else:
            image.put_word(start + 24, start + BLOB_HEADER)
        image.write(start + BLOB_HEADER, code)
        return start

    @staticmethod
    def code_of(start):
        return start + BLOB_HEADER

    def compiled(self, code, frame_words, complete, method=0, name="nmethod", descriptions=(), metadata=(), deopt=0, orig_pc=0):
        """A compiled method. `descriptions`: (pc offset, [(metadata index, bci)...]), the innermost scope first."""
        image = self.image
        start = self.blob(name, code, frame_words, complete, KEPT)
        image.put_word(start + 32, method)
        image.put_int(start + 60, orig_pc)
        data = self.code_of(start) + len(code)
        data += -data % 16
        scopes, rows = self._scopes(descriptions)
        pcs = b"".join(self._row(*row) for row in [(-1, 0), *rows, (1 << 30, 0)])
        kept = image.take(0x1000) if self.new else data
        image.write(kept, pcs + scopes)
        metadata_at = kept + 0x800
        for index, address in enumerate(metadata):
            image.put_word(metadata_at + index * self.word, address)
        if self.new:
            image.put_int(start + 40, 0)
            image.put_word(start + 64, kept)
            image.put_int(start + 52, 0)
            image.put_int(start + 56, len(pcs))
            image.put_word(start + 72, metadata_at - 32)
            image.put_int(start + 88, 32)
            image.put_int(start + 80, deopt + BLOB_HEADER)
        else:
            image.put_word(start + 40, self.code_of(start))
            image.put_int(start + 52, kept - start)
            image.put_int(start + 56, kept + len(pcs) - start)
            image.put_word(start + 64, kept + len(pcs))
            image.put_int(start + 72, metadata_at - start)
            image.put_word(start + 80, self.code_of(start) + deopt)
        return start

    @staticmethod
    def _row(pc_offset, scope):
        return b"".join(number.to_bytes(4, "little", signed=True) for number in (pc_offset, scope, 0, 0))

    def _scopes(self, descriptions):
        """The scope records, each after its sender, and (pc offset, offset of the innermost) of each description."""
        data = bytearray(1)
        rows = []
        for pc_offset, scopes in descriptions:
            sender = 0
            for index, bci in reversed(scopes):
                at = len(data)
                data += encode(sender, self.form) + encode(index, self.form) + encode(bci + 1, self.form)
                sender = at
            rows.append((pc_offset, sender))
        return bytes(data), rows

    # ---- Methods ----

    def symbol(self, text):
        image = self.image
        at = image.take(6 + len(text))
        image.put_u16(at + 4, len(text))
        image.write(at + 6, text.encode())
        return at

    def method(self, klass, name, signature, bytecodes=16, lines=(), source=None, flags=1, entry=0):
        """A Method record's address."""
        image = self.image
        pool, holder, const, method = (image.take(0x200) for _ in range(4))
        image.put_word(holder + 8, self.symbol(klass))
        image.put_word(pool + 8, holder)
        image.put_int(pool + 16, 4)
        for index, text in enumerate((name, signature, source or "?"), 1):
            image.put_word(pool + 32 + index * self.word, self.symbol(text))
        image.put_u16(pool + 20, 3 if source else 0)
        image.put_word(const + 8, pool)
        image.put_u16(const + 16, 1)
        image.put_u16(const + 18, 2)
        image.put_u16(const + 20, bytecodes)
        image.put_u16(const + 22, 1 if lines else 0)
        if lines:
            image.write(const + 32 + bytecodes, table(lines, self.form))
        image.put_word(method + 8, const)
        image.put_u16(method + 16, flags)
        image.put_word(method + 24, entry)
        return method

    def bytecodes_of(self, method):
        return self.image.memory.word(method + 8) + 32

    # ---- Stack and threads ----

    def push_words(self, at, *words):
        for index, value in enumerate(words):
            self.image.put_word(at + index * self.word, value)

    def thread(self, saved_pc=0, continuation=0):
        """A JavaThread whose stack is the world's."""
        image = self.image
        thread, threads, array = image.take(64), image.take(16), image.take(8)
        image.put_word(thread, self.stack + 0x4000)
        image.put_word(thread + 8, 0x4000)
        image.put_word(thread + 16, saved_pc)
        if self.new:
            image.put_word(thread + 24, continuation)
        image.put_int(threads, 1)
        image.put_word(threads + 8, array)
        image.put_word(array, thread)
        image.put_word(self.statics["ThreadsSMRSupport::_java_thread_list"], threads)
        return thread
