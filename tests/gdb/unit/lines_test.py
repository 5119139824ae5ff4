import unittest

from quor.hotspot.lines import line_at, pairs
from quor.hotspot.unsigned5 import BEFORE_20, SINCE_20
from unsigned5_test import encode


def zigzag(value):
    return value << 1 if value >= 0 else (-value << 1) - 1


def table(entries, form):
    """Compresses (bci, line) pairs as the VM does: a byte where the deltas are small."""
    data = bytearray()
    last_bci = last_line = 0
    for bci, line in entries:
        bci_delta, line_delta = bci - last_bci, line - last_line
        last_bci, last_line = bci, line
        if 0 <= bci_delta < 32 and 0 <= line_delta < 8 and (bci_delta << 3 | line_delta) not in (0, 0xff):
            data.append(bci_delta << 3 | line_delta)
        else:
            data += b"\xff" + encode(zigzag(bci_delta), form) + encode(zigzag(line_delta), form)
    return bytes(data) + b"\0"


class LinesTest(unittest.TestCase):
    ENTRIES = [(0, 31), (5, 33), (9, 32), (300, 900), (310, 33)]

    def test_a_table_is_read_back_in_both_forms(self):
        for form in (BEFORE_20, SINCE_20):
            self.assertEqual(self.ENTRIES, list(pairs(table(self.ENTRIES, form), form)))

    def test_a_bytecode_has_the_line_of_the_last_entry_before_it(self):
        data = table(self.ENTRIES, SINCE_20)
        self.assertEqual([31, 31, 33, 32, 32, 900, 33],
                         [line_at(data, SINCE_20, bci) for bci in (0, 4, 8, 9, 299, 300, 5000)])

    def test_entries_need_not_be_sorted(self):
        data = table([(0, 10), (20, 14), (8, 11)], BEFORE_20)
        self.assertEqual([10, 11, 14], [line_at(data, BEFORE_20, bci) for bci in (7, 19, 20)])

    def test_before_the_first_entry_there_is_no_line(self):
        self.assertIsNone(line_at(table([(4, 10)], BEFORE_20), BEFORE_20, 3))

    def test_a_table_without_an_end_gives_what_it_has(self):
        data = table(self.ENTRIES, SINCE_20)[:-1]
        self.assertEqual(31, line_at(data, SINCE_20, 2))
