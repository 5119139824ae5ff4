"""Names and values of locals."""
import unittest

from process_image import Image
from quor.hotspot.local_names import Local, descriptors
from quor.hotspot.local_values import InterpretedLocals, narrowed
from quor.hotspot.object_text import primitive, quoted


class DescriptorsTest(unittest.TestCase):
    def test_each_parameter_has_its_own_whatever_it_is(self):
        self.assertEqual(["I", "[[J", "Ljava/lang/String;", "[Ljava/util/List;", "Z"],
                         descriptors("(I[[JLjava/lang/String;[Ljava/util/List;Z)Ljava/lang/Object;"))

    def test_no_parameters_give_none(self):
        self.assertEqual([], descriptors("()V"))


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


class TextTest(unittest.TestCase):
    def test_what_cannot_be_seen_is_escaped(self):
        self.assertEqual('"a\\"b\\n\\u0000é"', quoted('a"b\n\0é'))

    def test_primitives_look_as_in_java(self):
        self.assertEqual(["true", "'x'", "-3", "2.5"],
                         [primitive("Z", True), primitive("C", "x"), primitive("I", -3), primitive("D", 2.5)])
