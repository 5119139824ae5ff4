import unittest

from quor.hotspot.unsigned5 import BEFORE_20, SINCE_20, Reader, form_of


def encode(value, form):
    """As the VM writes it: while a byte's worth does not suffice, a byte that says so."""
    written = bytearray()
    for _ in range(4):
        if value < form.low:
            break
        value -= form.low
        written.append(form.excluded + form.low + (value & 63))
        value >>= 6
    written.append(form.excluded + value)
    return bytes(written)


class Unsigned5Test(unittest.TestCase):
    def test_numbers_of_every_length_are_read_in_both_forms(self):
        for form in (BEFORE_20, SINCE_20):
            for value in (0, 1, 190, 191, 192, 12_000, 800_000, 1 << 25, 0x7fffffff):
                data = encode(value, form)
                reader = Reader(data, form)
                self.assertEqual(value, reader.unsigned(), (form, value))
                self.assertEqual(len(data), reader.position)

    def test_known_bytes_before_20(self):
        self.assertEqual([191, 192, 255, 256], [Reader(bytes(data), BEFORE_20).unsigned()
                                                for data in ((191,), (192, 0), (255, 0), (192, 1))])

    def test_known_bytes_since_20(self):
        self.assertEqual([0, 190, 191, 192], [Reader(bytes(data), SINCE_20).unsigned()
                                              for data in ((1,), (191,), (192, 1), (193, 1))])

    def test_signed_numbers_go_back_and_forth(self):
        data = b"".join(encode(value, SINCE_20) for value in (0, 1, 2, 3, 401))
        reader = Reader(data, SINCE_20)
        self.assertEqual([0, -1, 1, -2, -201], [reader.signed() for _ in range(5)])

    def test_a_number_cut_off_is_an_index_error(self):
        with self.assertRaises(IndexError):
            Reader(bytes((255,)), BEFORE_20).unsigned()

    def test_the_form_changed_with_20(self):
        self.assertEqual([BEFORE_20, BEFORE_20, SINCE_20, SINCE_20], [form_of(version) for version in (17, 19, 20, 25)])
