"""Reads the process's memory through a cache of pages. Needs no gdb: the reader of bytes is given."""
import struct

from quor.errors import QuorError

PAGE = 4096
_MAX_STRING = 4096


class Unreadable(QuorError):
    """This address cannot be read."""

    def __init__(self, address):
        super().__init__(f"cannot read memory at {address:#x}")
        self.address = address


class Memory:
    """Bytes and little-endian numbers of one process, as they are at this stop.

    `read(address, size)` gives bytes or raises Unreadable; `word_size` is 4 or 8. `forget()` drops what was read, when the
    process has run or its memory was written.
    """

    def __init__(self, read, word_size):
        self._read = read
        self._pages = {}
        self.word_size = word_size
        self.mask = (1 << (8 * word_size)) - 1
        self._unpack_word = struct.Struct("<Q" if word_size == 8 else "<I").unpack_from
        self._last_word = PAGE - word_size

    def forget(self):
        self._pages.clear()

    def _page(self, number):
        page = self._pages.get(number)
        if page is None:
            try:
                page = self._read(number * PAGE, PAGE)
            except Unreadable:
                page = False  # asked once a stop: a wrong pointer is often followed by every thread
            self._pages[number] = page
        if page is False:
            raise Unreadable(number * PAGE)
        return page

    def bytes(self, address, size):
        """`size` bytes at the address."""
        address &= self.mask
        number, start = divmod(address, PAGE)
        if start + size <= PAGE:
            return self._page(number)[start:start + size]
        parts = [self._page(number)[start:]]
        left = size - (PAGE - start)
        while left > 0:
            number += 1
            parts.append(self._page(number)[:left])
            left -= PAGE
        return b"".join(parts)

    def _number(self, address, size, signed=False):
        return int.from_bytes(self.bytes(address, size), "little", signed=signed)

    def word(self, address):
        """The unsigned pointer-sized number at the address."""
        address &= self.mask
        start = address & (PAGE - 1)
        if start <= self._last_word:
            return self._unpack_word(self._pages.get(address >> 12) or self._page(address >> 12), start)[0]
        return self._number(address, self.word_size)

    def signed_word(self, address):
        return self._number(address, self.word_size, signed=True)

    def u8(self, address):
        address &= self.mask
        return self._page(address >> 12)[address & (PAGE - 1)]

    def u16(self, address):
        return self._number(address, 2)

    def i16(self, address):
        return self._number(address, 2, signed=True)

    def u32(self, address):
        return self._number(address, 4)

    def i32(self, address):
        return self._number(address, 4, signed=True)

    def u64(self, address):
        return self._number(address, 8)

    def i64(self, address):
        return self._number(address, 8, signed=True)

    def string(self, address):
        """The NUL-terminated text at the address."""
        text = b""
        while len(text) < _MAX_STRING:
            part = self.bytes(address + len(text), PAGE - (address + len(text)) % PAGE)
            end = part.find(b"\0")
            if end >= 0:
                return (text + part[:end]).decode("utf-8", "replace")
            text += part
        raise Unreadable(address)
