"""Names and values of locals."""
import unittest

from process_image import Image
from quor.hotspot.local_names import Local
from quor.hotspot.local_values import InterpretedLocals, narrowed


class InterpretedLocalsTest(unittest.TestCase):
    def locals_of(self, word_size):
        image = Image(word_size)
        return image, image.take(4096) + 1024, InterpretedLocals(image.memory)

    def test_slots_go_downwards_a_word_each(self):
        for size in (4, 8):
            image, start, reader = self.locals_of(size)
            image.put_int(start - 2 * size, -7)
            self.assertEqual(("I", -7), reader.value(start, Local(2, "x", "I", False)))

    def test_a_wide_value_lies_in_the_upper_of_its_slots(self):
        for size in (4, 8):
            image, start, reader = self.locals_of(size)
            image.put_u64(start - 2 * size, 1 << 40)
            self.assertEqual(("J", 1 << 40), reader.value(start, Local(1, "x", "J", False)))

    def test_an_object_is_its_address(self):
        image, start, reader = self.locals_of(4)
        image.put_word(start, 0xf0001000)
        self.assertEqual(("[I", 0xf0001000), reader.value(start, Local(0, "x", "[I", False)))

    def test_small_types_are_cut_out_of_their_slot(self):
        self.assertEqual(-3, narrowed("B", b"\xfd\xff\xff\xff"))
        self.assertEqual("x", narrowed("C", b"x\0\0\0"))
        self.assertIs(True, narrowed("Z", b"\1\0\0\0"))
        self.assertEqual(1.5, narrowed("F", b"\0\0\xc0\x3f"))
