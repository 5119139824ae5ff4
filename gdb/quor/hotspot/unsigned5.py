"""HotSpot's compressed numbers (UNSIGNED5), in the two forms that VMs use. Needs no gdb.

A number is one to five bytes, the lowest part first. A byte below L ends it; a byte from L on goes on, and the next one counts
64 times as much. Since JDK 20 no byte is 0 (so that 0 can end a sequence): L is one less, and every byte stands for one less.
"""
from collections import namedtuple

_HIGH_BITS = 6
_MAX_BYTES = 5

Form = namedtuple("Form", "low excluded")  # `low`: L; `excluded`: how many byte values from 0 on are not used
BEFORE_20 = Form(192, 0)
SINCE_20 = Form(191, 1)


def form_of(major_version):
    """The form that HotSpot of this version writes: the tables do not tell it."""
    return SINCE_20 if major_version >= 20 else BEFORE_20


class Reader:
    """Reads numbers one after the other from bytes."""

    def __init__(self, data, form, position=0):
        self._data, self._low, self._excluded, self.position = data, form.low, form.excluded, position

    def byte(self):
        """One plain byte. IndexError behind the end."""
        self.position += 1
        return self._data[self.position - 1]

    def unsigned(self):
        result = shift = 0
        for _ in range(_MAX_BYTES):
            byte = self.byte() - self._excluded
            result += byte << shift
            if byte < self._low:
                break
            shift += _HIGH_BITS
        return result & 0xffffffff

    def signed(self):
        """A number in zigzag form: 0, -1, 1, -2..."""
        value = self.unsigned()
        return (value >> 1) ^ -(value & 1)
