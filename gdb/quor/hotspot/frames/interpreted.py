"""Frames of the interpreter. Where their slots lie is not in the tables; it is the same in every HotSpot on x86."""
from quor.hotspot import flow
from quor.hotspot.frames import leaving
from quor.hotspot.frames.registers import BX, R13, SI, Caller
from quor.hotspot.memory import Unreadable

# words from fp
SENDER_SP, LAST_SP, METHOD, MIRROR, MDP, CACHE, LOCALS, BCP = -1, -2, -3, -4, -5, -6, -7, -8
_MAX_FRAME = 1 << 24
_MAX_LOCALS = 1 << 20
_ENTRY = 4096  # bytes of the code between a method's entry and the standing frame


class InterpretedFrames:
    """Caller: pc at [fp+1], fp at [fp], sp at [fp-1] (words)."""

    name = "interpreted"

    def __init__(self, hotspot):
        self._hotspot = hotspot
        self._memory = hotspot.memory
        self._word = hotspot.memory.word_size
        self._methods = hotspot.methods
        self._entry = hotspot.tables.offset_or_none("Method::_i2i_entry")
        self._bcp_register = R13 if self._word == 8 else SI
        self._sender_register = self._bcp_register
        self._left = {}  # pc: the Left there, or None; for good, since the VM makes the interpreter once

    def forget(self):
        pass

    def covers(self, _pc, blob):
        return blob.interpreter

    def unwind(self, registers, blob):
        found = registers.top and self._entering(registers, blob) or self._leaving(registers, blob)
        return found or self._standing(registers, blob)

    # ---- The frame stands ----

    def _slot(self, fp, index):
        return self._memory.word(fp + index * self._word)

    def method_of(self, registers):
        """The Method of a standing frame, or None."""
        fp = registers.fp
        if fp % self._word or not registers.sp + 3 * self._word <= fp < registers.sp + _MAX_FRAME:
            return None
        try:
            method = self._methods.plausible(self._slot(fp, METHOD))
            if method is None or not method.is_native and self._methods.bci(method, self._slot(fp, BCP)) is None:
                return None
        except Unreadable:
            return None
        return method

    def _standing(self, registers, blob):
        fp = registers.fp
        method = self.method_of(registers)
        if method is None and (registers.top or not self._is_chain(registers)):
            return None
        pc = self._slot(fp, 1)
        sender = self._slot(fp, SENDER_SP)
        if not fp + self._word < sender < fp + _MAX_FRAME:
            sender = fp + 2 * self._word
        return Caller(pc, sender, self._slot(fp, 0), blob.start, fp + 2 * self._word, detail=method)

    def _is_chain(self, registers):
        """A frame that deoptimisation has not filled in yet: fp leads on all the same."""
        fp = registers.fp
        if fp % self._word or not registers.sp <= fp < registers.sp + _MAX_FRAME:
            return False
        return self._hotspot.returns.plausible(self._slot(fp, 1))

    def bci(self, registers, method):
        """The index of the bytecode at which this frame stands; None in native methods."""
        if method.is_native:
            return None
        if registers.top:
            bcp = registers.read(self._bcp_register)
            bci = self._methods.bci(method, bcp) if bcp else None
            if bci is not None:
                return bci
        return self._methods.bci(method, self._slot(registers.fp, BCP))

    # ---- It is being built, or was left ----

    def _entering(self, registers, blob):
        """Between the method's entry and the standing frame: the code tells where the return address is."""
        pointer = registers.read(BX)
        method = self._methods.plausible(pointer) if pointer and self._entry is not None else None
        if method is None:
            return None
        entry = self._memory.word(pointer + self._entry)
        if not 0 <= registers.pc - entry < _ENTRY:
            return None
        state = flow.at(self._hotspot.code, entry, registers.pc)
        if state is None or state.ret is None and not (state.by_frame or state.register is not None):
            return None
        if state.by_frame and self.method_of(registers) is not None:
            return None
        return self._by_state(registers, blob, state, method)

    def _by_state(self, registers, blob, state, method):
        """The caller as the code's State tells; its sp is in the sender's register from the entry on."""
        word, sp = self._word, registers.sp
        if state.register is not None:
            pc, after = registers.read(state.register), sp
        else:
            at = registers.fp + word if state.by_frame else sp + state.ret
            pc, after = self._memory.word(at), at + word
        if not pc or not self._hotspot.returns.plausible(pc):
            return None
        fp = registers.fp
        if state.by_frame:
            fp = self._memory.word(fp)
        elif state.fp_at is not None:
            fp = self._memory.word(sp + state.fp_at)
        if state.by_frame and sp < registers.fp:  # pushed already; its register may hold the bytecode's address by now
            sender = self._slot(registers.fp, SENDER_SP)
        else:
            sender = registers.read(self._sender_register)
        if not sender or not after <= sender < after + _MAX_LOCALS:
            sender = after
        return Caller(pc, sender, fp, blob.start, detail=("entering", method))

    def _leaving(self, registers, blob):
        """The frame is gone, the return to come."""
        left = self._left_at(registers.pc)
        if left is None:
            return None
        sp = after = registers.sp
        if left.register is None:
            pc, after = self._memory.word(sp + left.ret), sp + left.ret + self._word
        else:
            pc = registers.read(left.register)
        if not pc or not self._hotspot.returns.plausible(pc):
            return None
        sender = sp + left.distance if left.sender is None else registers.read(left.sender)
        if not sender or not sp <= sender < sp + _MAX_LOCALS:  # interpreted callers, which do without, may leave the register alone
            sender = after
        return Caller(pc, sender, registers.fp, blob.start, detail="leaving")

    def _left_at(self, pc):
        try:
            return self._left[pc]
        except KeyError:
            left = self._left[pc] = leaving.at(self._hotspot.code, pc)
            return left
