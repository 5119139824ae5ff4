"""The VM's handler of safepoint polls (SafepointBlob). At a poll inside a method it is not called: it makes room for the return
address first and fills it in later; until then the thread's record holds it."""
from quor.hotspot import flow
from quor.hotspot.frames.registers import BX, Caller

_NAMES = ("SafepointBlob",)


class SafepointFrames:
    name = "safepoint"

    def __init__(self, hotspot):
        self._hotspot = hotspot
        self._word = hotspot.memory.word_size
        self._saved_pc = hotspot.tables.offset("JavaThread::_saved_exception_pc")

    def forget(self):
        pass

    def covers(self, _pc, blob):
        return blob.name in _NAMES

    def unwind(self, registers, blob):
        code, word, memory = self._hotspot.code, self._word, self._hotspot.memory
        first = code.instruction(blob.code)
        makes_room = first is not None and first[1:] == ("push", BX)
        if not makes_room:
            return None  # it was entered with a return address: a frame like others
        state = flow.at(code, blob.code, registers.pc)
        if state is not None and state.by_frame:
            cfa, fp = registers.fp + 2 * word, memory.word(registers.fp)
        elif state is not None and state.ret is not None and 0 <= state.ret < blob.frame_size:
            cfa = registers.sp + state.ret
            fp = registers.fp if state.fp_at is None else memory.word(registers.sp + state.fp_at)
        else:
            cfa = registers.sp + blob.frame_size
            fp = memory.word(cfa - 2 * word)
        pc = memory.word(cfa - word)
        if registers.pc == blob.code or not self._hotspot.returns.plausible(pc):
            thread = self._hotspot.threads.at_stack(registers.sp)
            pc = memory.word(thread + self._saved_pc) if thread else 0
        if not self._hotspot.code_cache.find(pc):
            return None
        return Caller(pc, cfa, fp, blob.start)
