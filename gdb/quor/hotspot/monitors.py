"""Java monitors, read from memory: who holds one, who waits for it. Needs no gdb.

A monitor that somebody waits for has a record of its own, which is in the VM's list. One that is only held may be marked in its
object's header and its owner's stack alone.
"""
from quor.errors import QuorError
from quor.hotspot.memory import Unreadable

_MAX_MONITORS = 1 << 20
_MAX_STACK_WORDS = 1 << 15
_LOCK_BITS, _UNLOCKED = 3, 1
_SYNCHRONIZER = "java/util/concurrent/locks/AbstractOwnableSynchronizer"


class Monitors:
    """Raises MissingEntry when the tables do not tell how monitors lie. A thread is the address of its JavaThread, 0 for none."""

    def __init__(self, hotspot, heap, threads):
        self._memory, self._heap, self._listed, self._threads = hotspot.memory, heap, hotspot.threads, threads
        tables = hotspot.tables
        self._pending = tables.offset("JavaThread::_current_pending_monitor", "Thread::_current_pending_monitor")
        self._waiting = tables.offset("JavaThread::_current_waiting_monitor", "Thread::_current_waiting_monitor")
        self._object, self._owner = tables.offset("ObjectMonitor::_object"), tables.offset("ObjectMonitor::_owner")
        self._next, self._head = tables.offset("ObjectMonitor::_next_om"), tables.offset("MonitorList::_head")
        self._list = tables.static("ObjectSynchronizer::_in_use_list")
        self._owner_is_number = tables.type_of("ObjectMonitor::_owner") == "int64_t"
        self._number = tables.offset_or_none("JavaThread::_monitor_owner_id")
        self._anonymous = tables.constants.get("ObjectMonitor::ANONYMOUS_OWNER")
        self._locker = tables.offset_or_none("ObjectMonitor::_stack_locker")
        self._choose_lock_stack(tables)

    def _choose_lock_stack(self, tables):
        """Newer VMs list the objects that a thread has locked in its record."""
        self._lock_stack = tables.offset_or_none("JavaThread::_lock_stack")
        if self._lock_stack is not None:
            self._top, self._base = tables.offset("LockStack::_top"), tables.offset("LockStack::_base[0]")

    # ---- Records ----

    def all(self):
        """The addresses of the monitors' records."""
        record = self._memory.word(self._list + self._head)
        for _ in range(_MAX_MONITORS):
            if not record:
                return
            yield record
            record = self._memory.word(record + self._next)

    def object(self, record):
        """The object that the monitor belongs to, 0 when it is gone."""
        return self._heap.of_handle(record + self._object)

    def wanted(self, thread):
        """The monitor that a thread wants to enter, or 0."""
        return self._memory.word(thread + self._pending)

    def waited(self, thread):
        """The monitor in whose wait() a thread is, or 0."""
        return self._memory.word(thread + self._waiting)

    def owner(self, record):
        """The thread that holds the monitor, or 0."""
        memory = self._memory
        told = memory.i64(record + self._owner) if self._owner_is_number else memory.word(record + self._owner)
        if not told:
            return 0
        if told == self._anonymous:
            return self._owner_by_stack(record)
        if self._owner_is_number:
            return next((each for each in self._listed.addresses() if memory.i64(each + self._number) == told), 0)
        if told in self._listed.addresses():
            return told
        return self._listed.at_stack(told) or 0

    def _owner_by_stack(self, record):
        """Of a monitor whose record was made while its owner had only marked the object."""
        if self._lock_stack is not None:
            obj = self.object(record)
            found = next((thread for thread in self._listed.addresses() if obj in self._in_lock_stack(thread)), 0)
            if found:
                return found
        locker = self._memory.word(record + self._locker) if self._locker is not None else 0
        return self._listed.at_stack(locker) or 0 if locker else 0

    # ---- What is held without a record ----

    def marked(self, thread, sp):
        """The objects that a thread has locked without a record; `sp`: how far its stack goes."""
        if self._lock_stack is not None:
            return self._in_lock_stack(thread)
        return self._in_stack(thread, sp)

    def _in_lock_stack(self, thread):
        memory = self._memory
        end = thread + memory.u32(thread + self._lock_stack + self._top)
        start, word = thread + self._lock_stack + self._base, memory.word_size
        return [memory.word(at) for at in range(start, min(end, start + 64 * word), word)]

    def _in_stack(self, thread, sp):
        """Older VMs: the object's header points into the owner's stack, where its former header stands."""
        bounds = self._listed.bounds(thread)
        if bounds is None or not bounds[0] <= sp < bounds[1]:
            return []
        word, found = self._memory.word_size, []
        for at in range(sp, min(bounds[1], sp + _MAX_STACK_WORDS * word), word):
            obj = self._memory.word(at)
            if obj not in found and self._is_marked(obj, sp, bounds[1]):
                found.append(obj)
        return found

    def _is_marked(self, obj, low, high):
        if not obj or obj % self._memory.word_size or low <= obj < high:
            return False
        try:
            mark = self._memory.word(obj)
            if mark & _LOCK_BITS or not low <= mark < high or self._memory.word(mark) & _LOCK_BITS != _UNLOCKED:
                return False
            name = self._heap.class_name(self._heap.klass(obj))
            return name != "" and name.isprintable()
        except (QuorError, ValueError):
            return False

    # ---- java.util.concurrent ----

    def synchronizer(self, thread):
        """(object, owner) of the java.util.concurrent lock that a parked thread waits for; (0, 0) when it waits for none."""
        try:
            java = self._threads.object(thread)
            blocker = self._heap.get(java, "parkBlocker") if java else 0
            if blocker and self._heap.is_a(blocker, _SYNCHRONIZER):
                owner = self._heap.get(blocker, "exclusiveOwnerThread")
                return blocker, self._threads.by_object(owner) if owner else 0
        except Unreadable:
            pass
        return 0, 0
