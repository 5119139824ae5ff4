import unittest

from process_image import Image
from quor.hotspot.memory import Unreadable


class MemoryTest(unittest.TestCase):
    def setUp(self):
        self.image = Image()
        self.image.map(0x1000, 0x2000)

    def test_a_page_is_read_once_until_it_is_forgotten(self):
        self.image.memory.word(0x1000)
        self.image.memory.word(0x1ff8)
        self.assertEqual(1, self.image.reads)
        self.image.memory.forget()
        self.image.memory.word(0x1000)
        self.assertEqual(2, self.image.reads)

    def test_a_number_across_the_border_of_two_pages_is_whole(self):
        self.image.write(0x1ffc, bytes(range(1, 9)))
        self.assertEqual(0x0807060504030201, self.image.memory.word(0x1ffc))

    def test_words_have_the_process_s_width(self):
        narrow = Image(4)
        narrow.map(0x1000, 0x1000)
        narrow.write(0x1000, b"\xfe\xff\xff\xff\xff\xff\xff\xff")
        self.assertEqual(0xfffffffe, narrow.memory.word(0x1000))
        self.assertEqual(-2, narrow.memory.signed_word(0x1000))

    def test_memory_that_is_not_mapped_raises_the_one_error_and_is_asked_for_once(self):
        for _ in range(2):
            with self.assertRaises(Unreadable):
                self.image.memory.u8(0x9000)
        self.assertEqual(1, self.image.reads)

    def test_a_string_may_run_into_the_next_page(self):
        self.image.write(0x1ffe, b"Mix.run\0")
        self.assertEqual("Mix.run", self.image.memory.string(0x1ffe))

    def test_a_string_without_an_end_is_unreadable(self):
        self.image.write(0x1000, b"x" * 0x2000)
        with self.assertRaises(Unreadable):
            self.image.memory.string(0x1000)
