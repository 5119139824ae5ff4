"""Whose fault a signal is: the VM's own business (null checks, polls, guard pages) or the program's. Needs no gdb."""
import struct

from quor.hotspot.memory import Unreadable

PAGE = 4096
_MAX_ENTRIES = 1 << 16  # of one method's table of implicit null checks
_NEAR_STACK = 1 << 16  # a fault this near to the stack pointer may have touched the stack's guard

# Loads that the VM makes to see whether memory can be read: `mov (%rdi),%eax; ret` and the like, as SafeFetch is written.
_PROBING_LOADS = (b"\x8b\x07\xc3", b"\x48\x8b\x07\xc3", b"\x8b\x01\xc3", b"\x8b\x00\xc3")


class Guard:
    """The guard pages at the end of a Java thread's stack, lowest first: red, then yellow, then reserved."""

    def __init__(self, low, red, yellow):
        self.low, self.red_end, self.end = low, low + red, low + red + yellow


class Faults:
    """Judges faults. Raises MissingEntry when the tables do not tell what is needed."""

    def __init__(self, memory, tables, code_cache, details, flags):
        """`details` gives descriptions of compiled code (scopes.DebugInformation)."""
        self._memory, self._code_cache, self._details = memory, code_cache, details
        self._null_checks = tables.offset("nmethod::_nul_chk_table_offset")
        self._null_checks_narrow = tables.type_of("nmethod::_nul_chk_table_offset") in ("u2", "uint16_t")
        self._immutable = tables.offset_or_none("nmethod::_immutable_data")
        self._heap_base = 0
        if flags.boolean("UseCompressedOops"):
            self._heap_base = memory.word(tables.static("CompressedOops::_base", "CompressedOops::_narrow_oop._base"))
        self._stack_base = tables.offset("JavaThread::_stack_base", "Thread::_stack_base")
        self._stack_size = tables.offset("JavaThread::_stack_size", "Thread::_stack_size")
        self._red, self._yellow = (flags.number(name) * PAGE for name in ("StackRedPages", "StackYellowPages"))
        self._yellow += flags.number("StackReservedPages") * PAGE

    def guard(self, thread):
        """The Guard of a JavaThread's stack."""
        base, size = self._memory.word(thread + self._stack_base), self._memory.word(thread + self._stack_size)
        return Guard(base - size, self._red, self._yellow)

    @staticmethod
    def near_stack(address, sp):
        return abs(address - sp) < _NEAR_STACK

    def is_the_vms(self, signal, pc, address, guard):
        """Whether the VM expects this fault. `guard`: of the thread's stack when the address is near it, or None."""
        if guard is not None and guard.low <= address < guard.end:
            return address >= guard.red_end  # the VM opens the yellow pages; nothing helps behind the red one
        return self._code_cache.holds(pc) and self._expected_in_code_cache(signal, pc, address)

    def is_probing_load(self, pc):
        """Whether the code at this pc looks like SafeFetch. Other small functions of the VM look the same."""
        try:
            code = self._memory.bytes(pc, 4)
        except Unreadable:
            return False
        return any(code.startswith(load) for load in _PROBING_LOADS)

    def _expected_in_code_cache(self, signal, pc, address):
        if signal != "SIGSEGV":
            return True  # SIGFPE is a division by zero, SIGBUS an access to a mapped file: both become exceptions
        blob = self._code_cache.find(pc)
        if blob is None:
            return False
        if not blob.compiled:
            return blob.name not in ("Interpreter", "vtable chunks", "VtableBlob") or self._is_null(address)
        return self._has_null_check(blob, pc) and self._is_null(address) or self._details.description(blob, pc, True) is not None

    def _is_null(self, address):
        return 0 <= address < PAGE or self._heap_base and self._heap_base <= address < self._heap_base + PAGE

    def _has_null_check(self, blob, pc):
        """Whether the compiler told that the instruction at this pc may meet a null pointer."""
        at = blob.start + self._null_checks
        offset = self._memory.u16(at) if self._null_checks_narrow else self._memory.i32(at)
        start = (blob.start if self._immutable is None else self._memory.word(blob.start + self._immutable)) + offset
        count = self._memory.u32(start)
        if count > _MAX_ENTRIES:
            return False
        entries = struct.unpack(f"<{2 * count}I", self._memory.bytes(start + 4, 8 * count))
        return pc - blob.code in entries[::2]
