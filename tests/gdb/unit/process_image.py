"""A process's memory for the tests: regions of bytes that records are written into."""
import struct

from quor.hotspot.memory import Memory, Unreadable
from quor.hotspot.tables import NotYet


class Image:
    """Mapped regions; `memory` reads them, and `reads` counts how often it did."""

    def __init__(self, word_size=8):
        self.word_size = word_size
        self.regions = {}
        self.symbols = {}
        self.reads = 0
        self._next = 0x10000
        self.memory = Memory(self._read, word_size)

    def map(self, address, size):
        self.regions[address] = bytearray(size)

    def take(self, size):
        """A fresh region of at least this size, in whole pages."""
        address = self._next
        size = (size + 4095) // 4096 * 4096
        self.map(address, size)
        self._next += size + 4096  # a gap, so that running over the end is seen
        return address

    def _region(self, address, size):
        for start, content in self.regions.items():
            if start <= address and address + size <= start + len(content):
                return content, address - start
        raise Unreadable(address)

    def _read(self, address, size):
        self.reads += 1
        content, start = self._region(address, size)
        return bytes(content[start:start + size])

    def write(self, address, data):
        content, start = self._region(address, len(data))
        content[start:start + len(data)] = data
        self.memory.forget()

    def put_word(self, address, value):
        self.write(address, struct.pack("<Q" if self.word_size == 8 else "<I", value))

    def put_int(self, address, value):
        self.write(address, struct.pack("<i", value))

    def put_u16(self, address, value):
        self.write(address, struct.pack("<H", value))

    def put_u64(self, address, value):
        self.write(address, struct.pack("<Q", value))

    def put_string(self, text):
        data = text.encode() + b"\0"
        address = self.take(len(data))
        self.write(address, data)
        return address

    def symbol(self, name):
        try:
            return self.symbols[name]
        except KeyError:
            raise NotYet(f'No symbol "{name}" in current context.') from None

    def put_symbol(self, name, value, size=8):
        """An exported variable of this value."""
        address = self.take(8)
        self.write(address, value.to_bytes(size, "little"))
        self.symbols[name] = address
