"""The call stub: the frame through which the VM calls Java. Above it the stack is native."""
from quor.hotspot import flow, x86
from quor.hotspot.frames.registers import BX, DI, R12, R13, R14, R15, SI, Caller

_LONGEST_PROLOGUE = 256
_LONGEST_EPILOGUE = 256
_CALLEE_SAVED = {8: (BX, R12, R13, R14, R15), 4: (BX, SI, DI)}


class EntryFrames:
    """The stub sets up fp and stores the registers that native code expects back; its own code tells where."""

    name = "call stub"

    def __init__(self, hotspot):
        self._hotspot = hotspot
        self._memory = hotspot.memory
        self._word = hotspot.memory.word_size
        self._return_at = hotspot.tables.static("StubRoutines::_call_stub_return_address")
        self._range, self._states = None, {}

    def forget(self):
        self._range = None
        self._states.clear()

    @property
    def return_address(self):
        return self._memory.word(self._return_at)

    def _find_range(self):
        """(first byte, behind the last, behind its return) of the stub; only the return address is known from the tables."""
        if self._range is None:
            target = self.return_address
            begin = next((pc for pc in range(target - 3, target - _LONGEST_PROLOGUE, -1) if self._begins(pc)), target)
            self._range = (begin, *self._find_end(target))
        return self._range

    def _begins(self, pc):
        """push fp; mov fp, sp"""
        code = self._hotspot.code
        first = code.instruction(pc)
        if first is None or first[1:] != ("push", x86.FP):
            return False
        second = code.instruction(pc + first[0])
        return second is not None and second[1] == "set_fp"

    def _find_end(self, target):
        """The stub ends with the jump back to the return address, from where exceptions are caught."""
        code = self._hotspot.code
        pc = target
        behind_return = end = target + 1
        while pc < target + _LONGEST_EPILOGUE:
            found = code.instruction(pc)
            if found is None:
                break
            pc += found[0]
            if found[1] == "ret" and behind_return == target + 1:
                behind_return = end = pc
            elif found[1] == "jump" and found[2] is not None and behind_return != target + 1 and pc + found[2] == target:
                end = pc
                break
        return end, behind_return

    def _state(self, begin, pc):
        """The same in every thread, most of which stand at the return address."""
        if pc not in self._states:
            self._states[pc] = flow.at(self._hotspot.code, begin, pc)
        return self._states[pc]

    def covers(self, pc, blob):
        if blob.compiled:
            return False
        begin, end, _ = self._find_range()
        return begin <= pc < end

    def unwind(self, registers, blob):
        begin, _, behind_return = self._find_range()
        pc = registers.pc
        # behind the return stand the pieces that are jumped to, with the frame standing
        state = self._state(begin, pc if pc < behind_return else self.return_address)
        if state is None:
            return None
        word, memory = self._word, self._memory
        if state.by_frame:
            cfa, fp = registers.fp + 2 * word, memory.word(registers.fp)
        elif state.ret is not None:
            cfa = registers.sp + state.ret + word
            fp = registers.fp if state.fp_at is None else memory.word(registers.sp + state.fp_at)
        else:
            return None
        saved = {number: memory.word(registers.fp + distance) for number, distance in state.saved.items()
                 if number in _CALLEE_SAVED[word]} if state.by_frame else {}
        return Caller(memory.word(cfa - word), cfa, fp, blob.start, saved=saved)
