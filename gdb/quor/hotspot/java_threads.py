"""The Java threads' names, states and native threads. Needs no gdb."""
from collections import namedtuple

from quor.hotspot.memory import Unreadable

JavaThread = namedtuple("JavaThread", "address lwp name status state daemon number virtual_name")

_STATUS_WORDS = {  # the VM's constants and what java.lang.Thread.State calls them
    "NEW": "NEW", "RUNNABLE": "RUNNABLE", "SLEEPING": "TIMED_WAITING", "IN_OBJECT_WAIT": "WAITING",
    "IN_OBJECT_WAIT_TIMED": "TIMED_WAITING", "PARKED": "WAITING", "PARKED_TIMED": "TIMED_WAITING",
    "BLOCKED_ON_MONITOR_ENTER": "BLOCKED", "TERMINATED": "TERMINATED",
}
_STATE_WORDS = {"_thread_new": "new", "_thread_in_native": "in native", "_thread_in_vm": "in the VM", "_thread_in_Java": "in Java",
                "_thread_blocked": "blocked"}


class JavaThreads:
    """Reads what the records and their java.lang.Thread tell. Raises MissingEntry when the tables do not tell where that is."""

    def __init__(self, hotspot, heap):
        self._memory, self._heap, self._listed = hotspot.memory, heap, hotspot.threads
        tables = hotspot.tables
        self._object = tables.offset("JavaThread::_threadObj")
        self._virtual = tables.offset_or_none("JavaThread::_vthread")
        self._state = tables.offset("JavaThread::_thread_state")
        self._os_thread = tables.offset("JavaThread::_osthread", "Thread::_osthread")
        self._id = tables.offset("OSThread::_thread_id")
        self._statuses = self._words(tables, "JavaThreadStatus::", _STATUS_WORDS)
        self._states = self._words(tables, "", _STATE_WORDS)
        self._states.update({state + 1: word for state, word in list(self._states.items())})  # on the way to another

    @staticmethod
    def _words(tables, prefix, words):
        return {tables.constants[prefix + name]: word for name, word in words.items() if prefix + name in tables.constants}

    def lwp(self, thread):
        """The number of its native thread; 0 when it has none yet."""
        native = self._memory.word(thread + self._os_thread)
        return self._memory.i32(native + self._id) if native else 0

    def object(self, thread):
        """Its java.lang.Thread."""
        return self._heap.of_handle(thread + self._object)

    def by_object(self, obj):
        """The JavaThread record of a java.lang.Thread, or 0."""
        return next((thread for thread in self._listed.addresses() if self.object(thread) == obj), 0)

    def mounted(self, thread):
        """The virtual thread that it carries now, or 0."""
        if self._virtual is None:
            return 0
        virtual = self._heap.of_handle(thread + self._virtual)
        return 0 if virtual == self.object(thread) else virtual

    def all(self):
        """A JavaThread for each; what cannot be read of one is None."""
        return [self.read(thread) for thread in self._listed.addresses()]

    def read(self, thread):
        return JavaThread(thread, self.lwp(thread), state=self.state(thread), **self._of_object(thread))

    def state(self, thread):
        """Where it is, in words."""
        state = self._memory.i32(thread + self._state)
        return self._states.get(state, f"in state {state}")

    def by_lwp(self, lwp):
        """The JavaThread record of a native thread, or 0."""
        return next((thread for thread in self._listed.addresses() if self.lwp(thread) == lwp), 0)

    def _of_object(self, thread):
        nothing = dict.fromkeys(("name", "status", "daemon", "number", "virtual_name"))
        try:
            obj = self.object(thread)
            if not obj:
                return nothing
            found = self.of_object(obj)
            virtual = self.mounted(thread)
            found["virtual_name"] = self.name_of(virtual) if virtual else None
            return found
        except Unreadable:
            return nothing

    def name_of(self, obj):
        return self._heap.string(self._heap.get(obj, "name"))

    def of_object(self, obj):
        """Name, status, daemon and number of a java.lang.Thread that is no virtual one."""
        heap = self._heap
        holder = heap.get(obj, "holder") or obj  # since JDK 19 in a record of its own
        status = heap.get(holder, "threadStatus")
        return {"name": self.name_of(obj), "status": self._statuses.get(status, f"status {status}"),
                "daemon": heap.get(holder, "daemon"), "number": heap.get(obj, "tid"), "virtual_name": None}
