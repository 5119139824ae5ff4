"""The frames that a virtual thread left in the heap: stack chunks, walked as the stack is. Needs no gdb."""
from quor.hotspot.frames.interpreted import LOCALS, SENDER_SP, InterpretedFrames
from quor.hotspot.frames.registers import Caller, Registers
from quor.hotspot.memory import Unreadable

_MAX_CHUNKS = 1000


class HeapFrames:
    """Reads chunks of a HotSpot. Raises MissingEntry when its tables do not tell how big objects are."""

    def __init__(self, hotspot, heap):
        self._hotspot, self._memory, self._heap = hotspot, hotspot.memory, heap
        self._layout_helper = hotspot.tables.offset("Klass::_layout_helper")

    def java_frames(self, continuation):
        """The JavaFrames that a jdk.internal.vm.Continuation keeps, the innermost first.

        Unreadable when one cannot be told; those before it were given by then."""
        for registers, blob in self._physical(continuation):
            caller = self._interpreted(registers) if blob.interpreter else None
            yield from self._hotspot.java_frames.of(registers, caller)

    def _interpreted(self, registers):
        kind = self._hotspot.kind(InterpretedFrames)
        if kind is None:
            raise Unreadable(registers.sp)
        caller = Caller(0, 0, 0, 0, detail=kind.method_of(registers))
        caller.kind = kind
        return caller

    def _physical(self, continuation):
        chunk = self._heap.get(continuation, "tail")
        for _ in range(_MAX_CHUNKS):
            if not chunk:
                return
            yield from self._chunk(chunk)
            chunk = self._heap.get(chunk, "parent")

    def _chunk(self, chunk):
        """(Registers, Blob) of each frame. A return address stands below the frame it leads to, the saved fp below that."""
        memory, word = self._memory, self._memory.word_size
        start = chunk + memory.u32(self._heap.klass(chunk) + self._layout_helper) // word * word
        sp = start + self._heap.get(chunk, "sp") * word
        end = start + self._bottom(chunk) * word
        own_sp = sp  # where the frame itself begins: an interpreted callee may have grown into its caller's
        while start <= sp < end:
            pc = memory.word(sp - word)
            blob = self._hotspot.code_cache.find(pc)
            if blob is None or not blob.interpreter and not blob.frame_size:
                raise Unreadable(sp)
            fp = self._told_from(sp - 2 * word, 0) if blob.interpreter else 0
            yield Registers(pc, own_sp, fp), blob
            if not blob.interpreter:
                sp = own_sp = own_sp + blob.frame_size
            elif self._told_from(fp, LOCALS) + word >= end:
                return
            else:
                sp, own_sp = fp + 2 * word, self._told_from(fp, SENDER_SP)

    def _told_from(self, fp, index):
        """The address that a slot tells as a distance from fp, in words; in the heap interpreted frames tell all so."""
        word = self._memory.word_size
        return fp + self._memory.signed_word(fp + index * word) * word

    def _bottom(self, chunk):
        """Where the chunk's frames end, in words."""
        bottom = self._heap.get(chunk, "bottom")
        if bottom is None:  # JDK 21 tells it from the end
            bottom = self._heap.get(chunk, "size") - self._heap.get(chunk, "argsize")
        return bottom
