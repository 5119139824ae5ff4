"""One HotSpot, read through its tables: the parts, those that its tables allow, and the unwinding of one frame. Needs no gdb."""
from quor.hotspot import unsigned5
from quor.hotspot.codecache import CodeCache
from quor.hotspot.flow import Code
from quor.hotspot.frames.compiled import FixedFrames
from quor.hotspot.frames.continuation import ContinuationFrames
from quor.hotspot.frames.entry import EntryFrames
from quor.hotspot.frames.interpreted import InterpretedFrames
from quor.hotspot.frames.returns import Returns
from quor.hotspot.frames.safepoint import SafepointFrames
from quor.hotspot.frames.stub import StubFrames
from quor.hotspot.javaframes import JavaFrames
from quor.hotspot.memory import Unreadable
from quor.hotspot.methods import Methods
from quor.hotspot.scopes import DebugInformation
from quor.hotspot.tables import MissingEntry, Tables
from quor.hotspot.threads import JavaThreads

_KINDS = (("frames of the call stub", EntryFrames), ("interpreted frames", InterpretedFrames),
          ("frames at safepoint polls", SafepointFrames), ("compiled frames", FixedFrames),
          ("frames of virtual threads in the heap", ContinuationFrames), ("frames of stubs", StubFrames))


class _NoThreads:
    """Stands in when the tables do not tell where the threads are."""

    def at_stack(self, _sp):
        return None

    def addresses(self):
        return []

    def forget(self):
        pass


class HotSpot:
    """`memory` holds for this stop, `tables` for the life of the process. `complaints`: a line for each part that is off.

    Raises NotYet when the tables cannot be read.
    """

    def __init__(self, memory, symbol, is_native=lambda pc: False):
        self.memory = memory
        self.word_size = memory.word_size
        self.is_native = is_native  # whether an address lies in native code
        self.tables = Tables(memory, symbol)
        self.complaints = []
        self.code = Code(memory)
        self.returns = Returns(self)
        self.unsigned5 = unsigned5.form_of(self._major_version())
        self.code_cache = self._part("Java frames", CodeCache, memory, self.tables)
        self.methods = self._part("names of methods", Methods, memory, self.tables, self.unsigned5)
        self.debug = self._part("inlined methods and lines of compiled frames", DebugInformation, memory, self.tables,
                                self.unsigned5)
        self.threads = self._part("the VM's list of threads", JavaThreads, memory, self.tables) or _NoThreads()
        self.kinds = []
        self._kinds_at = {}  # pc: its blob and the kinds of frames that may stand there; threads mostly stand at the same places
        if self.code_cache is not None:
            self._make_kinds()
        self.java_frames = JavaFrames(self)

    def _make_kinds(self):
        for what, kind in _KINDS:
            if kind is ContinuationFrames and not self.tables.has("JavaThread::_cont_entry"):
                continue  # a HotSpot without virtual threads
            if kind is InterpretedFrames and self.methods is None:
                continue  # said already
            made = self._part(what, kind, self)
            if made is not None:
                self.kinds.append(made)
        self.entry_frames = next((kind for kind in self.kinds if isinstance(kind, EntryFrames)), None)

    def _part(self, what, make, *arguments):
        try:
            return make(*arguments)
        except MissingEntry as error:
            self.complaints.append(f"{what} are off: {error}")
            return None

    def _major_version(self):
        """The VM's feature release. Where the tables do not tell it, the layout is taken for today's."""
        try:
            return self.memory.i32(self.tables.static("Abstract_VM_Version::_vm_major_version"))
        except (MissingEntry, Unreadable):
            return 20

    def kind(self, class_):
        """The kind of this class, or None when it is off."""
        return next((kind for kind in self.kinds if isinstance(kind, class_)), None)

    @property
    def call_stub_return(self):
        return self.entry_frames.return_address if self.entry_frames else 0

    def forget(self):
        """The process ran, or its memory was written: nothing that was read holds any more."""
        self.memory.forget()
        self._kinds_at.clear()
        for part in (self.code_cache, self.methods, self.threads, self.code, self.returns, self.java_frames, *self.kinds):
            if part is not None:
                part.forget()

    @property
    def return_barriers(self):
        """Addresses that stand in place of return addresses where a virtual thread's frames go on in the heap."""
        return ()

    def in_code(self, pc):
        """Whether the pc lies in the code cache."""
        return self.code_cache is not None and self.code_cache.holds(pc)

    def unwind(self, registers):
        """The Caller of the frame with these registers, or None: not one of the code cache's, or not to be told."""
        pc = registers.pc
        try:
            blob, kinds = self._kinds_at[pc]
        except KeyError:
            blob, kinds = self._kinds_at[pc] = self._find_kinds(pc)
        for kind in kinds:
            try:
                caller = kind.unwind(registers, blob)
            except (Unreadable, MissingEntry):
                continue
            if caller is not None:
                caller.kind = kind
                return caller
        return None

    def _find_kinds(self, pc):
        """The blob that holds this pc, and the kinds of frames that may stand there."""
        blob = self.code_cache.find(pc) if self.in_code(pc) else None
        return blob, [kind for kind in self.kinds if self._covers(kind, pc, blob)] if blob is not None else []

    @staticmethod
    def _covers(kind, pc, blob):
        try:
            return kind.covers(pc, blob)
        except (Unreadable, MissingEntry):
            return False
