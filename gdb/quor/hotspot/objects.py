"""What is read of a VM's objects, threads and classes, made once for each Vm and told to forget when the process runs."""
import gdb

from quor.errors import QuorError
from quor.hotspot import object_text
from quor.hotspot.classes import Classes
from quor.hotspot.frame_locals import FrameLocals
from quor.hotspot.heap import Heap
from quor.hotspot.heap_frames import HeapFrames
from quor.hotspot.java_threads import JavaThreads
from quor.hotspot.monitors import Monitors
from quor.hotspot.virtual_threads import VirtualThreads


class Objects:
    """The readers of one Vm. Raises a QuorError when its tables do not tell enough."""

    def __init__(self, vm):
        self.heap = Heap(vm.memory, vm.tables)
        self.threads = JavaThreads(vm, self.heap)
        self.classes = Classes(vm.memory, vm.tables, self.heap)
        self.virtual = VirtualThreads(self.heap, self.classes)
        self.heap_frames = HeapFrames(vm, self.heap)
        self.text = object_text.of(self.heap)
        self.locals = FrameLocals(vm, self.heap, self.text)
        self._vm, self._monitors = vm, None

    @property
    def monitors(self):
        if self._monitors is None:
            self._monitors = Monitors(self._vm, self.heap, self.threads)
        return self._monitors

    def forget(self):
        self.heap.forget()
        self.classes.forget()


_known = {}  # Vm: its Objects


def of(vm):
    """The Objects of a Vm."""
    if vm not in _known:
        _known[vm] = Objects(vm)
    return _known[vm]


def frames_left_in_heap(vm, sp):
    """The JavaFrames of the virtual thread mounted on this stack that are still in the heap, the innermost first."""
    try:
        readers = of(vm)
        virtual = readers.threads.mounted(vm.threads.at_stack(sp))
        return list(readers.heap_frames.java_frames(readers.heap.get(virtual, "cont"))) if virtual else []
    except QuorError:
        return []


def _forget(_event=None):
    for each in _known.values():
        each.forget()


def _gone(_event=None):
    _known.clear()


gdb.events.cont.connect(_forget)
gdb.events.memory_changed.connect(_forget)
gdb.events.exited.connect(_gone)
gdb.events.clear_objfiles.connect(_gone)
