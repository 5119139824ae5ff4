"""Where a mounted virtual thread's frames on the stack end: the next ones are still in the heap, and the stack goes on with the
frame that mounted it."""
from quor.hotspot.frames.registers import Caller


class ContinuationFrames:
    """A return barrier stands in place of the return address: it leads to the thread's ContinuationEntry."""

    name = "frames in the heap"

    def __init__(self, hotspot):
        self._hotspot = hotspot
        tables = hotspot.tables
        self._entry = tables.offset("JavaThread::_cont_entry")
        self._entry_size = tables.size("ContinuationEntry")
        self._return_at = tables.static("ContinuationEntry::_return_pc")

    def forget(self):
        pass

    def covers(self, pc, blob):
        return not (blob.compiled or blob.interpreter or blob.frame_size or self._hotspot.returns.follows_call(pc))

    def unwind(self, registers, blob):
        if not self._returned_to(registers):
            return None
        memory, word = self._hotspot.memory, self._hotspot.memory.word_size
        thread = self._hotspot.threads.at_stack(registers.sp)
        entry = memory.word(thread + self._entry) if thread else 0
        if not entry or not registers.sp - 2 * word <= entry < registers.sp + (1 << 20):
            return None
        # the frame that called the virtual thread's first one: its sp is the entry, its fp lies behind it
        return Caller(memory.word(self._return_at), entry, entry + self._entry_size, blob.start, detail="barrier")

    def _returned_to(self, registers):
        """Whether a return led, or will lead, to this pc: it stands where a return took it from."""
        memory = self._hotspot.memory
        return memory.word(registers.sp - memory.word_size) == registers.pc
