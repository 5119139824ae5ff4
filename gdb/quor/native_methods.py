"""The C functions of native methods: where they are, and a breakpoint on one."""
import gdb

from quor import hits, names, show, thread_names
from quor.agent import place, settling
from quor.errors import QuorError
from quor.hotspot import vm as vms

_UNLINKED = "throw_unsatisfied_link_error"


def function_of(method_id):
    """The address of a native method's C function; None as long as it is not linked.

    It stands in the word behind the VM's record of the method."""
    vm = vms.required()
    vm.forget()
    record = vm.memory.word(method_id)
    address = vm.memory.word(record + vm.tables.size("Method"))
    return address if address and _UNLINKED not in gdb.execute(f"info symbol {address}", to_string=True) else None


def behind_prologue(address):
    """Where a function's second line begins, if gdb knows the function: the arguments can be read there."""
    place_there = gdb.find_pc_line(address)
    block = gdb.block_for_pc(address)
    if place_there.symtab is None or block is None or block.function is None or block.start != address:
        return address
    return min((entry.pc for entry in place_there.symtab.linetable() if address < entry.pc < block.end), default=address)


class NativeBreakpoint(gdb.Breakpoint):
    """On the C function, behind its prologue where gdb knows the function."""

    def __init__(self, stop, location, title):
        super().__init__(location, internal=True)
        self.silent = True
        self.commands = settling.COMMANDS
        self._stop_wanted, self._title = stop, title

    def stop(self):
        stop = self._stop_wanted
        try:
            if not stop.enabled or not hits.is_of_thread(stop.thread, gdb.selected_thread()) or not hits.counts(stop):
                return False
            settling.add_reason(_NativeHit(stop, self._title, gdb.selected_thread()))
        except Exception as error:  # in stop(): nothing may be raised
            settling.complain(f"J{stop.number}", error)
        return True


class _NativeHit(settling.Reason):
    def __init__(self, stop, title, thread):
        self._stop_wanted, self._title, self._thread = stop, title, thread

    def announce(self):
        return f"{self._title}, {show.thread_name(self._thread.num, thread_names.name_of(self._thread))}"

    def commands(self):
        return hits.leave(self._stop_wanted)


def plant(method, klass, stop):
    """A breakpoint on the C function of a native method, for a Stop; None when it is not linked yet."""
    location = _linked_place(method.id) or _named_place(klass, method)
    if location is None:
        return None
    text = f"{names.class_name(klass)}.{method.name} <native>"
    return NativeBreakpoint(stop, location, f"Java breakpoint J{stop.number}, {text}")


def location_of(method_id, method):
    """Where gdb stops in the C function of a hotspot Method; None when it cannot be found."""
    return _linked_place(method_id) or _named_place(method.klass, method)


def _linked_place(method_id):
    try:
        address = function_of(method_id)
    except QuorError:
        return None
    return f"*{behind_prologue(address):#x}" if address is not None else None


def _named_place(klass, method):
    for signature in (None, method.signature):
        symbol = names.native_name(klass, method.name, signature)
        if place.address_or_none(symbol) is not None:
            return symbol
    return None


# ---- Native methods that are registered later ----

class _Watch:
    """The breakpoint on JNI's RegisterNatives, and who wants to know when it returns."""
    planted = None
    callback = None


class _Registers(gdb.Breakpoint):
    """On RegisterNatives, and then where it returns to: its address there tells what it was given."""

    def __init__(self, address, returned=False):
        super().__init__(f"*{address:#x}", internal=True, temporary=returned)
        self.silent = True
        self.commands = settling.COMMANDS
        self._reason = _Returned if returned else _Called

    def stop(self):
        settling.add_reason(self._reason())
        return True


class _Called(settling.Reason):
    def passes(self):
        _Registers(int(gdb.parse_and_eval("*(unsigned long*)$sp")), returned=True)
        return True


class _Returned(settling.Reason):
    def passes(self):
        _Watch.callback()
        return True


def when_registered(callback):
    """Has the function called when native methods were registered. Costs two stops each time that a program does that."""
    _Watch.callback = callback
    if _Watch.planted is None or not _Watch.planted.is_valid():
        _Watch.planted = _Registers(int(place.global_value("quor_env")["functions"]["RegisterNatives"]))


def forget_registrations():
    if _Watch.planted is not None and _Watch.planted.is_valid():
        _Watch.planted.delete()
    _Watch.planted = None
