"""What a physical frame in the code cache is in Java: one method, or several when some were inlined. Needs no gdb."""
from quor import show
from quor.hotspot.frames.registers import Registers
from quor.hotspot.memory import Unreadable
from quor.hotspot.tables import MissingEntry

INTERPRETED, COMPILED, NATIVE, INLINED, STUB = "interpreted", "compiled", "native wrapper", "inlined", "stub"

IN_THE_HEAP = "frames in the heap"  # the name of the stub behind which a virtual thread's frames go on there


class JavaFrame:
    """One Java frame, or one stub of the VM between them (kind STUB: `method` is None).

    `bci` and `line` are None where they are not told. `registers` are those of the physical frame (quor.hotspot.frames.registers.
    Registers: its sp, fp and, at the top of a stack, the others); `blob` its code. For compiled and inlined ones `scope` (offset
    of the scope record) and `description` (PcDesc) lead to the locals.
    """
    __slots__ = ("kind", "method", "bci", "line", "registers", "blob", "scope", "description", "name", "cfa")

    def __init__(self, kind, method, registers, blob, bci=None, line=None, name=None):
        self.kind, self.method, self.registers, self.blob = kind, method, registers, blob
        self.bci, self.line = bci, line
        self.scope = self.description = self.cfa = None
        self.name = name

    @property
    def function(self):
        """Mix.lambda$main$0(int), or the stub's name in angle brackets."""
        if self.method is None:
            return f"<{self.name}>"
        return self.method.full_name + (" <native>" if self.method.is_native else "")

    @property
    def source(self):
        return self.method.source if self.method and not self.method.is_native else None

    @property
    def shown(self):
        """(function, source, line), as a line of `bt` needs them."""
        source = self.source
        return self.function, source, self.line if source else None

    @property
    def text(self):
        """Mix.lambda$main$0(int) (Mix.java:31)"""
        if self.method is None:
            return self.function
        return show.located(self.method.full_name, self.method.place(self.line))


class JavaFrames:
    """Names the frames that the kinds unwound."""

    def __init__(self, hotspot):
        self._hotspot = hotspot
        self._told = {}  # pc: what told_by_pc gives
        self._scopes = {}  # pc: (PcDesc, [(method, bci, line, scope's offset)]), the same in every frame that stands there

    def forget(self):
        self._scopes.clear()
        self._told.clear()

    def of(self, registers, caller):
        """The JavaFrames of a physical frame, the innermost first. `caller` is what its unwinding gave."""
        hotspot = self._hotspot
        blob = hotspot.code_cache.find(registers.pc)
        if blob is None:
            return []
        try:
            if blob.interpreter:
                frames = self._interpreted(registers, blob, caller)
            elif blob.compiled:
                frames = self._compiled(registers, blob)
            else:
                frames = None
        except (Unreadable, MissingEntry):
            frames = None
        frames = frames or [self._stub(registers, blob, caller)]
        for frame in frames:
            frame.cfa = caller.sp if caller is not None else None
        return frames

    def told_by_pc(self, pc):
        """[(function, source, line)] of the Java frames at this pc, the innermost first, where that is the same in every frame that
        stands there, as in compiled code; None where the stack has a say."""
        try:
            return self._told[pc]
        except KeyError:
            told = self._told[pc] = self._tell_by_pc(pc)
            return told

    def _tell_by_pc(self, pc):
        hotspot = self._hotspot
        blob = hotspot.code_cache.find(pc)
        if blob is None or not blob.compiled or hotspot.debug is None:
            return None
        try:
            if pc in hotspot.debug.details(blob).deopt_handlers:
                return None
            return [frame.shown for frame in self._compiled(Registers(pc, 0, 0), blob) or ()] or None
        except (Unreadable, MissingEntry):
            return None

    @staticmethod
    def _stub(registers, blob, caller):
        name = caller.kind.name if caller is not None and caller.kind.name in ("call stub", IN_THE_HEAP) else blob.name
        return JavaFrame(STUB, None, registers, blob, name=name)

    def _interpreted(self, registers, blob, caller):
        detail = caller.detail if caller is not None else None
        if detail is None or detail == "leaving":
            return None
        kind = caller.kind
        if isinstance(detail, tuple):  # entering
            method = detail[1]
            bci = None if method.is_native else 0
        else:
            method = detail
            bci = kind.bci(registers, method)
        return [JavaFrame(INTERPRETED, method, registers, blob, bci, self._line(method, bci))]

    def _line(self, method, bci):
        return self._hotspot.methods.line(method, bci)

    def _method(self, address):
        return self._hotspot.methods.plausible(address) if self._hotspot.methods is not None else None

    def _compiled(self, registers, blob):
        debug = self._hotspot.debug
        if debug is None:
            return None
        details = debug.details(blob)
        own = self._method(details.method)
        if own is None:
            return None
        if blob.name == "native nmethod" or own.is_native:
            return [JavaFrame(NATIVE, own, registers, blob)]
        description, scopes = self._scopes_at(self._pc(registers, blob, details), blob)
        if not scopes:
            return [JavaFrame(COMPILED, own, registers, blob)]
        frames = []
        for method, bci, line, offset in scopes:
            frame = JavaFrame(INLINED, method, registers, blob, bci, line)
            frame.scope, frame.description = offset, description
            frames.append(frame)
        frames[-1].kind = COMPILED
        return frames

    def _pc(self, registers, blob, details):
        """Where the frame stands; in frames to be deoptimised the pc that was replaced."""
        if registers.pc in details.deopt_handlers and details.orig_pc:
            original = self._hotspot.memory.word(registers.sp + details.orig_pc)
            if blob.code <= original < blob.end:
                return original
        return registers.pc

    def _scopes_at(self, pc, blob):
        if pc not in self._scopes:
            self._scopes[pc] = self._find_scopes(pc, blob)
        return self._scopes[pc]

    def _find_scopes(self, pc, blob):
        debug = self._hotspot.debug
        description = debug.description(blob, pc, exact=True) or debug.description(blob, pc, exact=False)
        if description is None:
            return None, []
        found = []
        for scope in debug.scopes(blob, description):
            method = self._method(scope.method)
            if method is None:
                return description, []
            bci = max(0, scope.bci)  # -1: before the first bytecode, at a synchronised method's lock
            found.append((method, bci, self._line(method, bci), scope.offset))
        return description, found
