"""The VM's Java threads, as its own list has them. Needs no gdb."""
from quor.hotspot.memory import Unreadable
from quor.hotspot.tables import MissingEntry

_MAX_THREADS = 1 << 20


class JavaThreads:
    """Raises MissingEntry when the tables do not tell where the list is."""

    def __init__(self, memory, tables):
        self._memory = memory
        self._list_at = tables.static("ThreadsSMRSupport::_java_thread_list")
        self._length = tables.offset("ThreadsList::_length")
        self._threads = tables.offset("ThreadsList::_threads")
        self._stack_base = tables.offset("JavaThread::_stack_base", "Thread::_stack_base")
        self._stack_size = tables.offset("JavaThread::_stack_size", "Thread::_stack_size")
        self.forget()

    def forget(self):
        self._stacks = None

    def addresses(self):
        """The JavaThread records."""
        memory = self._memory
        threads = memory.word(self._list_at)
        if not threads:
            return []
        count = memory.u32(threads + self._length)
        if count > _MAX_THREADS:
            raise MissingEntry(f"the VM's list has {count} threads")
        array = memory.word(threads + self._threads)
        return [memory.word(array + index * memory.word_size) for index in range(count)]

    def at_stack(self, sp):
        """The JavaThread on whose stack this address lies, or None."""
        if self._stacks is None:
            self._stacks = self._read_stacks()
        return next((thread for low, high, thread in self._stacks if low <= sp < high), None)

    def bounds(self, thread):
        """(lowest address, end) of a thread's stack; None when it cannot be read."""
        if self._stacks is None:
            self._stacks = self._read_stacks()
        return next(((low, high) for low, high, its in self._stacks if its == thread), None)

    def _read_stacks(self):
        memory = self._memory
        stacks = []
        try:
            for thread in self.addresses():
                base = memory.word(thread + self._stack_base)
                stacks.append((base - memory.word(thread + self._stack_size), base, thread))
        except (Unreadable, MissingEntry):
            pass
        return stacks
