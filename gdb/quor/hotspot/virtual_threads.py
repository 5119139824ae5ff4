"""The virtual threads that the JDK keeps track of. Needs no gdb."""
from collections import namedtuple

from quor.hotspot.memory import Unreadable

VirtualThread = namedtuple("VirtualThread", "object name number state carrier continuation")  # carrier: its Thread, 0: unmounted

_STATES = {0: "new", 1: "started", 2: "running", 3: "parking", 4: "parked", 5: "pinned", 6: "parking", 7: "parked",
           8: "pinned", 9: "unparked", 10: "yielding", 11: "yielded", 12: "blocking", 13: "blocked", 14: "unblocked",
           15: "waiting", 16: "waiting", 17: "waiting", 18: "waiting", 99: "terminated"}  # java.lang.VirtualThread's own
_SUSPENDED = 1 << 8
_CONTAINERS = "jdk/internal/vm/ThreadContainers"
_ROOT = _CONTAINERS + "$RootContainer$TrackingRootContainer"
_ROOT_SETS = ("VTHREADS", "THREADS")  # JDKs from 21 on have one of these
_MAX = 1 << 20


class VirtualThreads:
    """Reads them from a Heap."""

    def __init__(self, heap, classes):
        self._heap, self._classes = heap, classes

    def all(self):
        """Every virtual thread that the JDK keeps track of, and whether all could be read: a collector that moves objects
        while the program runs (ZGC) may have been stopped between the old place and the new."""
        found, whole = {}, True
        try:
            for threads in self._sets():
                whole = self._add(threads, found) and whole
        except Unreadable:
            whole = False
        return list(found.values()), whole

    def _add(self, threads, found):
        """Adds those of one set; whether all could be read."""
        whole = True
        try:
            for obj in self._keys(threads):
                try:
                    if self._heap.is_a(obj, "java/lang/VirtualThread"):
                        found[obj] = self.read(obj)
                except Unreadable:
                    whole = False
        except Unreadable:
            whole = False
        return whole

    def _sets(self):
        """The sets of threads: of those started directly, and of each executor or scope."""
        root = self._classes.find(_ROOT)
        if root:  # else no virtual thread was started yet, or the program turned the list off
            yield from (value for value in (self._classes.static(root, name) for name in _ROOT_SETS) if value)
        containers = self._classes.find(_CONTAINERS)
        registry = self._classes.static(containers, "CONTAINER_REGISTRY") if containers else None
        for reference in self._keys(registry) if registry else ():
            container = self._heap.get(reference, "referent")
            holder = container and (self._heap.get(container, "flock") or container)
            threads = holder and self._heap.get(holder, "threads", "virtualThreads")
            if threads:
                yield threads

    def read(self, obj):
        heap = self._heap
        state = heap.get(obj, "state") & ~_SUSPENDED
        return VirtualThread(obj, heap.string(heap.get(obj, "name")) or "", heap.get(obj, "tid"),
                             _STATES.get(state, f"state {state}"), heap.get(obj, "carrierThread"), heap.get(obj, "cont"))

    def _keys(self, key_set):
        """The keys of a ConcurrentHashMap's KeySetView."""
        heap = self._heap
        table = heap.get(heap.get(key_set, "map"), "table")
        if not table:
            return
        for bin_ in heap.elements(table, "L", _MAX):
            yield from self._bin(bin_)

    def _bin(self, node):
        heap = self._heap
        for _ in range(_MAX):
            if not node:
                return
            name = heap.class_name(heap.klass(node))
            if name.endswith("$TreeBin"):
                node = heap.get(node, "first")
            elif name.endswith("$ForwardingNode"):
                return  # its nodes are in the next table already, which `table` becomes
            else:
                key = heap.get(node, "key")
                if key:
                    yield key
                node = heap.get(node, "next")

