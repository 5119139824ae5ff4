"""The Java frame in which an event was raised, read from memory alone: its thread has left its last Java frame's address for the
VM's own stack walks. Costs no unwinding, so it may be asked in a breakpoint's stop()."""
from quor.errors import QuorError
from quor.names import return_descriptor
from quor.hotspot import objects
from quor.hotspot import vm as vms
from quor.hotspot.frames.registers import Registers
from quor.hotspot import heap as heap_values
from quor.hotspot.local_values import narrowed
from quor.hotspot.javaframes import INTERPRETED, JavaFrame
from quor.hotspot.memory import Unreadable

_TAGS = 3  # bits of a handle that tell its kind


class NotTold(QuorError):
    """Memory does not tell it; the agent may."""


def _readers():
    """The VM and its readers, with nothing kept from before: the process has run, and a stop that is none tells nobody."""
    vm = vms.current()
    if vm is None:
        raise NotTold("there is no HotSpot in this process")
    vm.forget()
    readers = objects.of(vm)
    readers.forget()
    return vm, readers


def readers():
    """What reads the VM's objects at this event."""
    return _readers()[1]


def object_of(handle):
    """The address of the object of a handle, 0 of null."""
    return _readers()[1].heap.load_full(handle & ~_TAGS) if handle else 0


def thread_record(vm, readers, handle):
    """The VM's record of the thread of a handle; of a virtual thread, that of its carrier."""
    obj = readers.heap.load_full(handle & ~_TAGS)
    carrier = readers.heap.get(obj, "carrierThread")
    record = readers.heap.get(carrier or obj, "eetop")
    if not record:
        raise NotTold("the thread is not known")
    return record


def _anchor(vm, record):
    """(sp, fp) of the thread's last Java frame; fp is 0 when it was not left."""
    tables, memory = vm.tables, vm.memory
    anchor = record + tables.offset("JavaThread::_anchor")
    return (memory.word(anchor + tables.offset("JavaFrameAnchor::_last_Java_sp")),
            memory.word(anchor + tables.offset("JavaFrameAnchor::_last_Java_fp")))


def method_of(vm, method_id):
    """The Method of a jmethodID."""
    method = vm.methods.plausible(vm.memory.word(method_id)) if vm.methods is not None and method_id else None
    if method is None:
        raise NotTold("the method is not known")
    return method


def method(event):
    """The Method of an event that has a place."""
    vm, _ = _readers()
    return method_of(vm, int(event.part("breakpoint")["method"]))


def place(event):
    """(Method, line or None) of an event that has a location."""
    part = event.part("breakpoint")
    return place_of(int(part["method"]), int(part["location"]))


def place_of(method_id, location):
    """(Method, line or None) of a location in the method of a jmethodID."""
    vm, _ = _readers()
    found = method_of(vm, method_id)
    return found, vm.methods.line(found, location)


# Bytecodes that call, the breakpoint that may hide one, and what the VM writes in their places: behind its own for fields.
_MAY_CALL = bytes([*range(0xb6, 0xbb), 0xca, *range(0xe1, 0x100)])


def may_call(method_id, ranges):
    """Whether bytecodes in these ranges of a method may call another; a byte that only looks like a call counts."""
    vm, _ = _readers()
    found = method_of(vm, method_id)
    return any(byte in _MAY_CALL for begin, end in ranges
               for byte in vm.memory.bytes(found.code + begin, min(end, found.code_size) - begin))


def class_of_mirror(handle):
    """The VM's record of the class of a handle."""
    vm, found = _readers()
    mirror = found.heap.load_full(handle & ~_TAGS)
    return next(klass for klass in found.classes.all() if found.classes.mirror(klass) == mirror)


def base_of(handle, native):
    """An address that tells the innermost frame of a thread from those further in and out; None of a compiled frame. In a native
    method: one that lies between its caller and what it calls."""
    vm, readers = _readers()
    sp, fp = _anchor(vm, thread_record(vm, readers, handle))
    return sp if native else fp or None


class EventFrame:
    """The innermost frame of an event's thread, `java`, and its locals. Raises NotTold."""

    def __init__(self, event):
        part = event.part("breakpoint")
        try:
            self.vm, self.readers = _readers()
            self.method = method_of(self.vm, int(part["method"]))
            sp, fp = _anchor(self.vm, thread_record(self.vm, self.readers, int(part["thread"])))
        except NotTold:
            raise
        except (QuorError, ValueError, KeyError) as error:
            raise NotTold(str(error)) from error
        if not fp:
            raise NotTold("the frame is not told")
        self.java = JavaFrame(INTERPRETED, self.method, Registers(0, sp, fp), None, int(part["location"]))
        self.base, self._sp = fp, sp

    def local(self, name):
        """(signature, value) of a local or argument; None when there is none of this name. An object is its address."""
        try:
            return self.readers.locals.value_of(self.java, name)
        except Unreadable as error:
            raise NotTold(str(error)) from error

    def top_of_stack(self, signature):
        """The text of the value on top of an interpreted frame's own stack."""
        heap, kind = self.readers.heap, signature[0]
        if kind in "L[":
            return self.readers.text.value(signature, heap.load_full(self._sp))
        data = self.vm.memory.bytes(self._sp, 8)
        return self.readers.text.value(kind, heap_values.decoded(kind, data) if kind in "JD" else narrowed(kind, data[:4]))

    def returned(self):
        """The text of the value that the frame is about to return; None of void."""
        signature = return_descriptor(self.method.signature)
        return self.top_of_stack(signature) if signature != "V" else None

    def this(self):
        return None if self.method.is_static else self.local("this")
