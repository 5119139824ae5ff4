"""Which thread waits for which, Java's monitors and locks and native mutexes together. Nothing is called in the process."""
import re
from collections import namedtuple

import gdb

from quor import names, show, thread_names
from quor.circles import circles
from quor.errors import QuorError
from quor.hotspot import objects
from quor.hotspot import vm as vms
from quor.selection import Selection

Wait = namedtuple("Wait", "thread lock owner")
Wait.__doc__ = "gdb's number of a thread, the show.Lock that it waits for, gdb's number of the thread that holds it (None: unknown)."

_FUTEX = {8: ("$orig_rax", 202, "$rdi"), 4: ("$orig_eax", 240, "$ebx")}  # by word size: register, its number, first argument
_OWNER = 8  # in a pthread_mutex_t
_TAKEN = (1, 2)  # what its first word says while it is


class World:
    """The threads of one stop, and what they hold and want."""

    def __init__(self):
        self.vm = vms.required()
        self.readers = objects.of(self.vm)
        self.monitors = self.readers.monitors
        self.threads = thread_names.by_lwp()  # {native thread id: gdb's thread}
        self._names = thread_names.names()

    def number(self, java):
        """gdb's number of a JavaThread; None when it is not known."""
        thread = self.threads.get(self.readers.threads.lwp(java)) if java else None
        return thread.num if thread is not None else None

    def name(self, number):
        thread = next(each for each in self.threads.values() if each.num == number)
        return self._names.get(number) or thread.name or f"thread {number}"

    def object_lock(self, obj):
        """The Lock that an object is."""
        try:
            internal = self.readers.heap.class_name(self.readers.heap.klass(obj))
            name = names.type_name(internal if internal.startswith("[") else f"L{internal};")
        except (QuorError, ValueError):
            name = "?"
        return show.Lock("", f"{name}@{obj:x}")

    def java_threads(self):
        """(address, gdb's number) of the Java threads that gdb knows."""
        found = ((java, self.number(java)) for java in self.vm.threads.addresses())
        return [(java, number) for java, number in found if number is not None]

    # ---- Waiting ----

    def waits(self):
        """{gdb's number: its Wait}."""
        found = {wait.thread: wait for wait in (self._in_java(*each) for each in self.java_threads()) if wait is not None}
        with Selection():
            for lwp, thread in self.threads.items():
                wait = self._for_mutex(thread) if thread.num not in found else None
                if wait is not None:
                    found[thread.num] = wait
        return found

    def _in_java(self, java, number):
        record = self.monitors.wanted(java)
        if record:
            return Wait(number, self.object_lock(self.monitors.object(record)), self.number(self.monitors.owner(record)))
        obj, owner = self.monitors.synchronizer(java)
        return Wait(number, self.object_lock(obj), self.number(owner)) if obj else None

    def _for_mutex(self, thread):
        """A thread that sleeps in the system call futex, on a mutex that a thread of this process holds."""
        address = _futex(thread, self.vm.word_size)
        if not address:
            return None
        try:
            taken, owner = self.vm.memory.i32(address), self.vm.memory.i32(address + _OWNER)
        except QuorError:
            return None
        if taken & 0x7fffffff not in _TAKEN or owner not in self.threads:
            return None
        return Wait(thread.num, show.Lock("mutex", symbol(address)), self.threads[owner].num)

    def deadlocks(self):
        """Lists of show.Waiter, each a circle."""
        waits = self.waits()
        return [self._circle(each, waits) for each in circles({wait.thread: wait.owner for wait in waits.values() if wait.owner})]

    def _circle(self, numbers, waits):
        return [show.Waiter(self.name(number), waits[before].lock, waits[number].lock)
                for before, number in zip(numbers[-1:] + numbers[:-1], numbers)]

    # ---- Holding ----

    def held(self):
        """{gdb's number: [Lock]} of the monitors that are held."""
        found = {}
        for record in self.monitors.all():
            number, obj = self.number(self.monitors.owner(record)), self.monitors.object(record)
            if number is not None and obj:
                found.setdefault(number, []).append(self.object_lock(obj))
        with Selection():
            for java, number in self.java_threads():
                for obj in self.monitors.marked(java, self._sp(number)):
                    lock = self.object_lock(obj)
                    if lock not in found.setdefault(number, []):
                        found[number].append(lock)
        return found

    def _sp(self, number):
        next(each for each in self.threads.values() if each.num == number).switch()
        return int(gdb.newest_frame().read_register(self.vm.sp_name)) & self.vm.memory.mask


def _futex(thread, word_size):
    """The address of the futex that a thread waits for; 0 when it waits for none."""
    call, number, argument = _FUTEX[word_size]
    try:
        thread.switch()
        gdb.newest_frame().select()
        if int(gdb.parse_and_eval(f"(long){call}")) != number:
            return 0
        return int(gdb.parse_and_eval(f"(unsigned long){argument}"))
    except gdb.error:
        return 0


def symbol(address):
    """The name of what lies at an address, or the address."""
    told = re.match(r"(.+?) in section ", gdb.execute(f"info symbol {address}", to_string=True))
    return told.group(1) if told else f"{address:#x}"
