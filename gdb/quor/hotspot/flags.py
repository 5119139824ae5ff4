"""The VM's own options, as -XX sets them: UseCompressedOops, UseZGC. Needs no gdb."""
from quor.hotspot.memory import Unreadable

_MAX_FLAGS = 10_000


class Flags:
    """Looks options up by name. Raises MissingEntry when the tables do not tell where they are."""

    def __init__(self, memory, tables):
        self._memory = memory
        self._array, self._count = tables.static("JVMFlag::flags"), tables.static("JVMFlag::numFlags")
        self._size = tables.size("JVMFlag")
        self._name, self._address = tables.offset("JVMFlag::_name"), tables.offset("JVMFlag::_addr")
        self._addresses = None

    def _read_addresses(self):
        memory = self._memory
        count = memory.word(self._count)
        flag = memory.word(self._array)
        found = {}
        for _ in range(min(count, _MAX_FLAGS)):
            name = memory.word(flag + self._name)
            if name:
                found[memory.string(name)] = memory.word(flag + self._address)
            flag += self._size
        return found

    def _value(self, name, read):
        if self._addresses is None:
            self._addresses = self._read_addresses()
        address = self._addresses.get(name)
        try:
            return read(address) if address else None
        except Unreadable:
            return None

    def boolean(self, name):
        """Whether the option is on; None when this VM has no such option."""
        value = self._value(name, self._memory.u8)
        return None if value is None else bool(value)

    def number(self, name):
        """An option that is a number of the machine's word size; 0 when this VM has no such option."""
        return self._value(name, self._memory.signed_word) or 0
