"""Frames of fixed size: compiled methods, native wrappers, and the VM's stubs that have one."""
from quor.hotspot import flow
from quor.hotspot.frames.registers import DX, Caller

_STRAIGHT = 60  # instructions from a pc to the return, at most
_OSR_PROLOGUE = 96  # bytes
_MAX_PUSHED = 128  # bytes of arguments
_MAX_LOWERED = 256  # bytes
_JUMPED_TO = ("ExceptionBlob",)  # while the frame stands, with the return address in dx, which is pushed first and popped last
# to the handler, at their end: the frame is gone, dx alone has the return address
_JUMPS_ON = (*_JUMPED_TO, "_rethrow_Java", "C2 Runtime rethrow")
_NEVER_RETURN = ("throw_", "UncommonTrap", "deoptimize", "handle_exception", "unwind_exception")  # in the names of the VM's stubs
_FINDS_HANDLER = "handle_exception"  # in the name of C1's stubs that return to an exception's handler, which follows no call


class FixedFrames:
    """CFA = sp + the blob's frame size where the frame stands; before and behind that the code tells."""

    name = "compiled"

    def __init__(self, hotspot):
        self._hotspot = hotspot
        self._word = hotspot.memory.word_size
        self._layouts = {}

    def forget(self):
        self._layouts.clear()

    def covers(self, _pc, blob):
        return bool(blob.frame_size)

    def unwind(self, registers, blob):
        sp = registers.sp
        size, fp_at = self._layout(registers.pc, blob, registers.top)
        caller = self._caller(registers, blob, sp + size, None if fp_at is None else sp + fp_at)
        if caller is not None:
            return caller
        for cfa, fp_at in self._other_candidates(registers, blob, size):
            caller = self._caller(registers, blob, cfa, fp_at)
            if caller is not None:
                return caller
        return None

    def _caller(self, registers, blob, cfa, fp_at):
        """The caller for this CFA, when a return address lies there."""
        memory = self._hotspot.memory
        pc = self._return_of(registers, blob, cfa)
        return Caller(pc, cfa, registers.fp if fp_at is None else memory.word(fp_at), blob.start) if pc else None

    def _return_of(self, registers, blob, cfa):
        """The return address for this CFA, or None. Where dx has it the handler's may lie in its place, for a few instructions."""
        pcs = [] if cfa == registers.sp else [self._hotspot.memory.word(cfa - self._word)]
        if cfa == registers.sp or blob.name in _JUMPED_TO:
            pcs.append(registers.read(DX) or 0)
        found = next(filter(self._hotspot.returns.plausible, pcs), None)
        if found is None and self._leads_to_handlers(blob):
            found = next(filter(self._is_of_a_method, pcs), None)
        return found

    def _never_returns(self, target):
        blob = self._hotspot.code_cache.find(target)
        return blob is not None and not blob.compiled and any(each in blob.name for each in _NEVER_RETURN)

    def _is_jumped_to(self, target):
        blob = self._hotspot.code_cache.find(target) if target is not None else None
        return blob is not None and blob.name in _JUMPED_TO

    @staticmethod
    def _leads_to_handlers(blob):
        """Whether it returns to handlers, or comes from where a method failed by itself: no call stands before such places."""
        return _FINDS_HANDLER in blob.name or blob.name in _JUMPS_ON

    def _is_of_a_method(self, pc):
        target = self._hotspot.code_cache.find(pc)
        return target is not None and target.compiled and pc >= target.code

    def _other_candidates(self, registers, blob, size):
        """(CFA, address of the caller's fp or None when the register holds it), where the likeliest `size` led to no return."""
        word, sp = self._word, registers.sp
        if size != blob.frame_size:
            yield sp + blob.frame_size, sp + blob.frame_size - 2 * word
        if blob.name in _JUMPS_ON:
            yield sp, None
        # native wrappers and method-handle invokes move sp for a while, and keep fp
        if sp <= registers.fp < sp + 4096 * word:
            yield registers.fp + 2 * word, registers.fp
        if registers.top:
            yield sp + word, None
            yield sp + 2 * word, sp
        if blob.compiled:
            # what the compiler puts in the place of a String's method may lower sp for a while, by what only that code knows
            for cfa in range(sp + blob.frame_size + word, sp + blob.frame_size + _MAX_LOWERED, word):
                yield cfa, cfa - 2 * word

    def _layout(self, pc, blob, top):
        """(size of the frame, distance of the caller's fp or None), both from sp on, as the code tells for this pc."""
        try:
            return self._layouts[pc, top]
        except KeyError:
            found = self._layouts[pc, top] = self._find_layout(pc, blob, top)
            return found

    def _find_layout(self, pc, blob, top):
        word = self._word
        standing = blob.frame_size, blob.frame_size - 2 * word
        if blob.compiled:
            details = self._hotspot.debug and self._hotspot.debug.details(blob)
            # at the top a jump may have led to where a call would return, if it ever did
            if not top and details and self._returns_to(pc, blob):
                return standing
            entry = self._entry_before(pc, blob, details)
        else:
            entry = blob.code
        if entry is not None:
            state = flow.at(self._hotspot.code, entry, pc, entries=not blob.compiled)
            if state is not None and state.ret is not None and not state.apart and self._is_inside(state, blob):
                return state.ret + (0 if blob.name in _JUMPED_TO else word), state.fp_at
        return self._by_exit(pc, blob, standing)

    def _returns_to(self, pc, blob):
        return self._hotspot.debug.description(blob, pc, exact=True) and self._hotspot.returns.follows_call(pc)

    def _is_inside(self, state, blob):
        """Whether this depth can be: methods have no more than their frame, stubs push arguments beyond it."""
        most = blob.frame_size - self._word + (0 if blob.compiled else _MAX_PUSHED)
        return 0 <= state.ret <= most

    @staticmethod
    def _entry_before(pc, blob, details):
        """The entry point whose prologue may hold the pc."""
        if pc < blob.frame_complete:
            return blob.code
        if details and details.osr_entry and 0 <= pc - details.osr_entry < _OSR_PROLOGUE:
            return details.osr_entry
        return None

    def _by_exit(self, pc, blob, standing):
        way = flow.to_exit(self._hotspot.code, pc, blob, _STRAIGHT, ends=self._never_returns)
        word = self._word
        if way.kind == "return" and way.by_frame is False and 0 <= way.ret and not self._is_jumped_to(way.target):
            # with sp lower than in the method's own code (the code around an inner call) there is more to pop than the frame
            return way.ret + (0 if blob.name in _JUMPS_ON and not way.handed else word), way.fp_at
        size, fp_at = standing
        return size + way.extra, fp_at + way.extra
