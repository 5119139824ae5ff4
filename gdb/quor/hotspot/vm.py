"""The HotSpot in the selected inferior, kept while the process lives; what was read of it, while it stands.

`current()` gives the Vm, or None when there is no HotSpot in it (or not yet): a failure is never remembered beyond the stop at
which it happened.
"""
import os

import gdb

from quor.errors import QuorError
from quor.hotspot import exports, x86
from quor.hotspot.complaint import complain
from quor.hotspot.frames.registers import NAMES_32, NAMES_64, Registers
from quor.hotspot.hotspot import HotSpot
from quor.hotspot.memory import Memory, Unreadable
from quor.hotspot.tables import NotYet

_MARK = "gHotSpotVMStructs"  # exported by every HotSpot
_LIBRARY = "libjvm"  # in its file's name


class Vm(HotSpot):
    """The HotSpot of one inferior."""

    def __init__(self, inferior):
        self.inferior = inferior
        self.unwound = {}  # (sp, pc) of a frame at this stop: its Registers and Caller
        self.called = {}  # (sp, pc) of frames that one of those in the code cache returns to: their fp
        self.native_frames = {}  # (pc, ...): what the frame filter shows of a native frame there
        self._code_values = {}  # address: the gdb.Value of it
        memory = Memory(self._read, _word_size())
        super().__init__(memory, _Symbols(memory), _is_native)
        # makes a gdb.Value as wide as a register: an int becomes a long, or what is wider when a long has no room for it
        self.value = gdb.Value if self.word_size == 8 else self._narrow_value
        self._word_type = gdb.lookup_type("unsigned long")
        self.register_names = NAMES_64 if self.word_size == 8 else NAMES_32
        self.pc_name = "rip" if self.word_size == 8 else "eip"
        self.sp_name, self.fp_name = self.register_names[x86.SP], self.register_names[x86.FP]

    def _read(self, address, size):
        try:
            return self.inferior.read_memory(address, size).tobytes()
        except (gdb.error, OverflowError) as error:
            raise Unreadable(address) from error

    def _narrow_value(self, number):
        return gdb.Value(number).cast(self._word_type)

    def code_value(self, address):
        """The value of an address of code: threads mostly stand at the same places."""
        value = self._code_values.get(address)
        if value is None:
            value = self._code_values[address] = self.value(address)
        return value

    def forget(self):
        super().forget()
        self.unwound.clear()
        self.called.clear()
        self.native_frames.clear()
        self._code_values.clear()

    def java_frames_of(self, frame):
        """The JavaFrames of a gdb.Frame, the innermost first; empty when it is no frame of the code cache."""
        pc = frame.pc()
        return self.java_frames_at(frame, pc) if self.in_code(pc) else []

    def java_frames_at(self, frame, pc):
        """The same of a frame whose pc is known to lie in the code cache."""
        sp = self._read_register(frame, x86.SP)
        found = self.unwound.get((sp, pc))
        if found is None:  # unwound before what we keep was dropped; gdb keeps frames longer
            top = (sp, pc) not in self.called and (frame.newer() is None or not self.returns.follows_call(pc))
            registers = Registers(pc, sp, self._read_register(frame, x86.FP), top=top)
        else:
            registers, caller = found
        registers.read = lambda number: self._read_register(frame, number)
        if found is None:
            caller = self.unwind(registers)
            self.unwound[sp, pc] = registers, caller
        return self.java_frames.of(registers, caller)

    def _read_register(self, frame, number):
        try:
            return int(frame.read_register(self.register_names[number])) & self.memory.mask
        except gdb.error:  # nobody saved it
            return None


class _Symbols:
    """The addresses of libjvm's variables: from its own table, or from gdb where that cannot be read or the program is the VM."""

    def __init__(self, memory):
        self._exports = exports.of_library(memory, _auxiliary_vector(), _LIBRARY, _MARK)

    def __call__(self, name):
        found = self._exports.address(name) if self._exports else None
        return address_of_symbol(name) if found is None else found


def _auxiliary_vector():
    try:
        return gdb.execute("info auxv", to_string=True)
    except gdb.error:
        return ""


def address_of_symbol(name):
    """The address of an exported variable, by its symbol alone."""
    try:
        return int(gdb.parse_and_eval(f"(unsigned long)&{name}"))
    except gdb.error as error:
        raise NotYet(str(error)) from error


def _is_native(pc):
    return gdb.current_progspace().solib_name(pc) is not None


def _word_size():
    return gdb.lookup_type("void").pointer().sizeof


class _Known:
    """The Vm of each inferior."""
    vms = {}  # (inferior's number, process id): Vm
    failed = set()  # keys that failed at this stop
    suspects = set()  # programs (gdb.Progspace) with an object file that may be a HotSpot


def known():
    """The Vm of the selected inferior if it was found already, else None. The one that unwinders may ask: they must not
    evaluate anything in gdb."""
    inferior = gdb.selected_inferior()
    return _Known.vms.get((inferior.num, inferior.pid))


def current():
    """The Vm of the selected inferior, or None."""
    inferior = gdb.selected_inferior()
    key = inferior.num, inferior.pid
    vm = _Known.vms.get(key)
    if vm is None and key not in _Known.failed and inferior.progspace in _Known.suspects and inferior.pid:
        vm = _find(inferior, key)
    return vm


def required():
    """The Vm of the selected inferior; a QuorError when there is none."""
    vm = current()
    if vm is None:
        raise QuorError("there is no HotSpot in this process, or it is not initialised yet")
    return vm


def _find(inferior, key):
    _Known.failed.add(key)  # until it is found; evaluating may lead here again
    try:
        vm = Vm(inferior)
    except QuorError:
        return None
    except Exception as error:  # tables that make no sense in a way that nobody thought of
        complain(error)
        return None
    _Known.failed.discard(key)
    _Known.vms[key] = vm
    for complaint in vm.complaints:
        gdb.write(f"HotSpot of a layout not known here: {complaint}\n")
    gdb.invalidate_cached_frames()  # they were unwound without it
    return vm


def _forget(_event=None):
    _Known.failed.clear()
    for vm in _Known.vms.values():
        vm.forget()


def _gone(_event=None):
    _Known.vms.clear()
    _Known.failed.clear()


def _stopped(_event=None):
    _forget()
    current()


def _may_hold_hotspot(objfile):
    """By its name; a program that links the VM in, by its symbol."""
    name = objfile.filename or ""
    if _LIBRARY in os.path.basename(name):
        return True
    if name != objfile.progspace.filename:
        return False
    try:
        address_of_symbol(_MARK)
        return True
    except NotYet:
        return False


def _symbols_changed(_event=None):
    """What native frames show came from symbols that may be gone."""
    for vm in _Known.vms.values():
        vm.native_frames.clear()


def _loaded(event):
    _Known.failed.clear()
    _symbols_changed()
    if _may_hold_hotspot(event.new_objfile):
        _Known.suspects.add(event.new_objfile.progspace)
        inferior = gdb.selected_inferior()
        _Known.vms.pop((inferior.num, inferior.pid), None)  # the process has become another program
    current()


def _connect():
    gdb.events.cont.connect(_forget)
    gdb.events.stop.connect(_stopped)
    gdb.events.memory_changed.connect(_forget)
    gdb.events.new_objfile.connect(_loaded)
    for name in ("clear_objfiles", "free_objfile"):  # the second since gdb 13
        if hasattr(gdb.events, name):
            getattr(gdb.events, name).connect(_symbols_changed)
    gdb.events.exited.connect(_gone)
    gdb.events.before_prompt.connect(current)
    for space in gdb.progspaces():
        if any(_may_hold_hotspot(objfile) for objfile in space.objfiles()):
            _Known.suspects.add(space)
    current()


_connect()
