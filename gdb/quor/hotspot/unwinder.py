"""gdb's unwinder for frames in the code cache."""
import gdb
from gdb.unwinder import Unwinder, register_unwinder

from quor.errors import QuorError
from quor.hotspot.complaint import complain
from quor.hotspot import vm as vms
from quor.hotspot.frames.registers import Registers


class FrameId:
    """What makes a frame the same one at the next stop: its base and the beginning of its code."""
    __slots__ = ("sp", "pc")
    special = None  # gdb asks for it, and an error for each frame is dear

    def __init__(self, sp, pc):
        self.sp, self.pc = sp, pc


class JavaUnwinder(Unwinder):
    """Asked by gdb for every frame, before its own unwinders."""

    def __init__(self):
        super().__init__("quor-java")

    def __call__(self, pending):
        try:
            return self._unwind(pending)
        except (gdb.error, QuorError):
            return None
        except Exception as error:  # ours to mend; the frame is gdb's then
            complain(error)
            return None

    def _unwind(self, pending):
        vm = vms.known()
        if vm is None or vm.code_cache is None:
            return None
        pc = int(pending.read_register(vm.pc_name)) & vm.memory.mask
        if not vm.code_cache.holds(pc):
            return None
        reader = _Reader(vm, pending)
        registers = _registers(vm, pc, reader, pending)
        caller = vm.unwind(registers)
        reader.close()
        if caller is None:
            return None
        vm.unwound[registers.sp, pc] = registers, caller
        vm.called[caller.sp, caller.pc] = caller.fp
        sp = vm.value(caller.sp)
        base = sp if caller.base == caller.sp else vm.value(caller.base)
        info = pending.create_unwind_info(FrameId(base, vm.code_value(caller.start)))
        info.add_saved_register(vm.pc_name, vm.code_value(caller.pc))
        info.add_saved_register(vm.sp_name, sp)
        info.add_saved_register(vm.fp_name, vm.value(caller.fp))
        for number, value in caller.saved.items():
            info.add_saved_register(vm.register_names[number], vm.value(value))
        return info


class _Reader:
    """Reads the general registers of a frame that gdb asks about; gdb must not be asked any more when that is over."""

    def __init__(self, vm, pending):
        self._vm, self._pending = vm, pending
        self._values = {}

    def __call__(self, number):
        if number not in self._values and self._pending is not None:
            try:
                value = int(self._pending.read_register(self._vm.register_names[number])) & self._vm.memory.mask
            except gdb.error:  # nobody saved it
                value = None
            self._values[number] = value
        return self._values.get(number)

    def close(self):
        self._pending = None


def _registers(vm, pc, reader, pending):
    # the interpreter jumps into what it calls: its own return addresses follow no call, but the frames that it called tell of it
    mask = vm.memory.mask
    sp = int(pending.read_register(vm.sp_name)) & mask
    fp = vm.called.get((sp, pc))
    if fp is not None:
        return Registers(pc, sp, fp, reader, False)
    level = getattr(pending, "level", None)
    top = level is not None and level() == 0 or not vm.returns.follows_call(pc)
    return Registers(pc, sp, int(pending.read_register(vm.fp_name)) & mask, reader, top)


register_unwinder(None, JavaUnwinder(), True)
