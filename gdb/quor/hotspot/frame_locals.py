"""The arguments and locals of one Java frame, as texts. Needs no gdb."""
from collections import namedtuple

from quor.errors import QuorError
from quor.hotspot.frames import interpreted
from quor.hotspot.javaframes import INTERPRETED, NATIVE
from quor.hotspot.local_names import LocalNames
from quor.hotspot.local_values import UNKNOWN, CompiledLocals, InterpretedLocals, read
from quor.hotspot.memory import Unreadable
from quor.hotspot.tables import MissingEntry

Shown = namedtuple("Shown", "name text argument")

NOT_TOLD = "<not told>"
_RELATIVE = 1 << 20  # a smaller number is a distance from fp, as newer VMs write it


class FrameLocals:
    """Reads them from a HotSpot. Raises MissingEntry when its tables do not tell where names are."""

    def __init__(self, hotspot, heap, text):
        self._hotspot, self._memory, self._text = hotspot, hotspot.memory, text
        self._names = LocalNames(hotspot.memory, hotspot.tables)
        self._interpreted = InterpretedLocals(hotspot.memory)
        try:
            self._compiled = CompiledLocals(hotspot.memory, hotspot.tables, hotspot.unsigned5, heap)
        except MissingEntry:
            self._compiled = None

    def of(self, frame, depth=1):
        """A Shown for each local of a JavaFrame; objects with so many levels of fields."""
        if frame.method is None or frame.kind == NATIVE:
            return []
        try:
            locals_ = self._locals(frame)
            value = self._values(frame)
            return [Shown(local.name, self._shown(local, value, depth), local.argument) for local in locals_]
        except (QuorError, IndexError, ValueError):
            return []

    def value_of(self, frame, name):
        """(signature, value) of the local of this name that lives at a JavaFrame's place; None when there is none."""
        local = next((each for each in self._locals(frame) if each.name == name), None)
        return self._values(frame)(local) if local is not None else None

    def _locals(self, frame):
        if frame.method.is_native or frame.bci is None:
            return self._names.arguments(frame.method)
        return self._names.at(frame.method, frame.bci)

    def _shown(self, local, value, depth):
        try:
            found = value(local)
        except Unreadable:
            found = UNKNOWN
        return NOT_TOLD if found is UNKNOWN else self._text.value(*found, depth)

    def _values(self, frame):
        """A function from a Local to its value."""
        if frame.kind == INTERPRETED:
            start = self._locals_at(frame.registers.fp)
            return lambda local: self._interpreted.value(start, local)
        slots = self._compiled_slots(frame)
        return lambda local: read(slots[local.slot], local.signature) if local.slot < len(slots) else UNKNOWN

    def _locals_at(self, fp):
        word = self._memory.word_size
        told = self._memory.signed_word(fp + interpreted.LOCALS * word)
        return fp + told * word if 0 <= told < _RELATIVE else told & self._memory.mask

    def _compiled_slots(self, frame):
        """What the compiler told of the frame's slots: only of places where other code may look at the frame."""
        if self._compiled is None or frame.scope is None:
            return []
        pc = frame.blob.code + frame.description.pc_offset
        if pc != frame.registers.pc and frame.registers.pc not in frame.blob.details.deopt_handlers:
            return []
        return self._compiled.values(frame.blob, frame.blob.details.scopes, frame.scope, frame.registers)
