"""Code without a frame of fixed size: the VM's stubs, adapters, and single states of the interpreter."""
from quor.hotspot import flow, x86
from quor.hotspot.frames.registers import AX, DX, R13, SI, Caller

_LONGEST = 300  # instructions to the return
_MAX_ARGUMENTS = 1 << 16  # bytes
_PUSH_FP = (1, "push", x86.FP)
_LED = True


class StubFrames:
    """The first place that holds a return address counts: where the code says, at sp, above it, at fp."""

    name = "stub"

    def __init__(self, hotspot):
        self._hotspot = hotspot
        self._memory = hotspot.memory
        self._word = hotspot.memory.word_size
        self._sender_register = R13 if self._word == 8 else SI

    def forget(self):
        pass

    def covers(self, _pc, _blob):
        return True

    def unwind(self, registers, blob):
        native = None
        for pc, sp, fp_at, base, *led in self._candidates(registers, blob):
            if not pc:
                continue
            if self._hotspot.returns.plausible(pc) or led and self._hotspot.is_native(pc):
                return self._caller(registers, blob, pc, sp, fp_at, base)
            if native is None and self._hotspot.is_native(pc):
                native = pc, sp, fp_at, base
        return native and self._caller(registers, blob, *native)

    def _caller(self, registers, blob, pc, sp, fp_at, base):
        return Caller(pc, sp, registers.fp if fp_at is None else self._memory.word(fp_at), blob.start, base)

    def _candidates(self, registers, blob):
        """(return address, the caller's sp, where its fp lies or None when the register holds it, the frame's base), and one more
        where the code itself leads to it: then native code counts as much as Java's."""
        word, sp, memory = self._word, registers.sp, self._memory
        adapter = "adapters" in blob.name
        if adapter:
            yield from self._in_adapter(registers, blob)
        else:
            yield from self._in_prologue(registers)
        way = flow.to_exit(self._hotspot.code, registers.pc, blob, _LONGEST, follow=True)
        if way.kind == "return" and way.ret == 0 and registers.top and flow.is_handed_over(self._hotspot.code, registers.pc):
            yield registers.read(DX), sp, None, None
        if way.kind == "return" and way.ret >= 0:
            at = registers.fp if way.by_frame else sp
            yield memory.word(at + way.ret), at + way.ret + word, None if way.fp_at is None else at + way.fp_at, None, _LED
        if not adapter and sp <= registers.fp < sp + _MAX_ARGUMENTS:
            yield memory.word(registers.fp + word), registers.fp + 2 * word, registers.fp, None
        yield memory.word(sp), sp + word, None, None
        yield memory.word(sp + word), sp + 2 * word, None, None
        if registers.top:
            yield registers.read(AX), sp, None, None

    def _in_prologue(self, registers):
        """Where fp is still the caller's: at "push fp", or at "mov sp,fp" behind it."""
        code, pc, sp, word = self._hotspot.code, registers.pc, registers.sp, self._word
        here = code.instruction(pc)
        if here == _PUSH_FP and (code.instruction(pc + 1) or ())[1:2] == ("set_fp",):
            yield self._memory.word(sp), sp + word, None, None, _LED
        elif here and here[1] == "set_fp" and code.instruction(pc - 1) == _PUSH_FP:
            yield self._memory.word(sp + word), sp + 2 * word, sp, None, _LED

    def _in_adapter(self, registers, blob):
        """Adapters hold the return address in a register while they move the arguments; where they call the VM, sp is aligned, and
        a register tells what it was."""
        state = flow.at(self._hotspot.code, blob.code, registers.pc)
        if state is None:
            return
        word, sp = self._word, registers.sp
        if state.ret is None and state.copy:
            register, distance = state.copy
            at = (registers.read(register) or 0) + distance
            if not sp <= at < sp + _MAX_ARGUMENTS:
                return
            pc, after = self._memory.word(at), at + word
        elif state.register is not None:
            pc, after = registers.read(state.register), sp
        elif state.ret is not None and state.ret >= 0:
            pc, after = self._memory.word(sp + state.ret), sp + state.ret + word
        else:
            return
        sender = registers.read(self._sender_register) if state.apart or state.register is not None else after
        if not sender or not after <= sender < after + _MAX_ARGUMENTS:
            sender = after
        yield pc, sender, None, None
