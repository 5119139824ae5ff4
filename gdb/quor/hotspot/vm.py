"""The HotSpot in the selected inferior: its tables and everything read through them, kept while the process lives.

`current()` gives the Vm of the selected inferior, or None when there is no HotSpot in it (or not yet): a failure is never
remembered beyond the stop at which it happened.
"""
import gdb

from quor.errors import QuorError
from quor.hotspot.memory import Memory, Unreadable
from quor.hotspot.tables import NotYet, Tables

_MARK = "gHotSpotVMStructs"  # exported by every libjvm


class Vm:
    """One HotSpot. `memory` and what is cached hold for this stop; `tables` for the life of the process."""

    def __init__(self, inferior, word_size):
        self.inferior = inferior
        self.word_size = word_size
        self.memory = Memory(self._read, word_size)
        self.tables = Tables(self.memory, address_of_symbol)

    def _read(self, address, size):
        try:
            return self.inferior.read_memory(address, size).tobytes()
        except (gdb.error, OverflowError) as error:
            raise Unreadable(address) from error

    def forget(self):
        """The process ran, or its memory was written: nothing that was read holds any more."""
        self.memory.forget()


def address_of_symbol(name):
    """The address of an exported variable, by its symbol alone."""
    try:
        return int(gdb.parse_and_eval(f"(unsigned long)&{name}"))
    except gdb.error as error:
        raise NotYet(str(error)) from error


def _word_size():
    return gdb.lookup_type("void").pointer().sizeof


class _Known:
    """The Vm of each inferior."""
    vms = {}  # (inferior's number, process id): Vm
    failed = set()  # keys that failed at this stop
    suspected = False  # an object file that may hold a HotSpot was seen


def current():
    """The Vm of the selected inferior, or None."""
    inferior = gdb.selected_inferior()
    key = inferior.num, inferior.pid
    vm = _Known.vms.get(key)
    if vm is None and key not in _Known.failed:
        vm = _find(inferior, key)
    return vm


def required():
    """The Vm of the selected inferior; a QuorError when there is none."""
    vm = current()
    if vm is None:
        raise QuorError("there is no HotSpot in this process, or it is not initialised yet")
    return vm


def _find(inferior, key):
    try:
        vm = Vm(inferior, _word_size())
    except QuorError:
        _Known.failed.add(key)
        return None
    _Known.vms[key] = vm
    return vm


def _forget(_event=None):
    _Known.failed.clear()
    for vm in _Known.vms.values():
        vm.forget()


def _gone(_event=None):
    _Known.vms.clear()
    _Known.failed.clear()


gdb.events.cont.connect(_forget)
gdb.events.stop.connect(_forget)
gdb.events.memory_changed.connect(_forget)
gdb.events.new_objfile.connect(_forget)
gdb.events.clear_objfiles.connect(_gone)
gdb.events.exited.connect(_gone)
