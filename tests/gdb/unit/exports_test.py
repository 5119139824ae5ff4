import struct
import unittest

from process_image import Image
from quor.hotspot import exports

NAMES = ("gHotSpotVMStructs", "gHotSpotVMTypes", "JNI_CreateJavaVM", "gHotSpotVMIntConstants", "jio_printf")
STRINGS, SYMBOLS, HASH = 5, 6, 0x6ffffef5


def gnu_hash(name):
    """As the System V ABI's GNU extension has it, by shifts."""
    value = 5381
    for character in name:
        value = ((value << 5) + value + ord(character)) % (1 << 32)
    return value


class Library:
    """A library's dynamic section, symbols and hash table in an image, as a linker lays them out."""

    def __init__(self, image, names=NAMES, buckets=3, relocated=True):
        self.image, self.word = image, image.word_size
        self.base = image.take(0x4000)
        self.offsets = {name: 0x3000 + 16 * index for index, name in enumerate(names)}
        ordered = sorted(names, key=lambda name: gnu_hash(name) % buckets)
        strings, symbols = bytearray(b"\0"), bytearray(24 if self.word == 8 else 16)
        for name in ordered:
            symbols += self.symbol(len(strings), self.offsets[name])
            strings += name.encode() + b"\0"
        bloom = bytes(2 * self.word)
        first = [next((1 + at for at, name in enumerate(ordered) if gnu_hash(name) % buckets == bucket), 0)
                 for bucket in range(buckets)]
        chains = [gnu_hash(name) & ~1 | (at + 1 == len(ordered) or gnu_hash(ordered[at + 1]) % buckets != gnu_hash(name) % buckets)
                  for at, name in enumerate(ordered)]
        table = struct.pack("<4I", buckets, 1, 2, 6) + bloom + struct.pack(f"<{len(first) + len(chains)}I", *first, *chains)
        places = {STRINGS: 0x400, SYMBOLS: 0x1000, HASH: 0x2000}
        for tag, content in ((STRINGS, strings), (SYMBOLS, symbols), (HASH, table)):
            image.write(self.base + places[tag], bytes(content))
        self.dynamic = self.base + 0x100
        for index, (tag, place) in enumerate((*places.items(), (0, 0))):
            image.put_word(self.dynamic + 2 * index * self.word, tag)
            image.put_word(self.dynamic + (2 * index + 1) * self.word, place + (self.base if relocated else 0))

    def symbol(self, name, value):
        if self.word == 8:
            return struct.pack("<IBBHQQ", name, 0, 0, 1, value, 8)
        return struct.pack("<IIIBBH", name, value, 4, 0, 0, 1)


def r_debug(image, libraries):
    """The dynamic linker's list."""
    entry = 0
    for library in reversed(libraries):
        made = image.take(64)
        for index, word in enumerate((library.base, 0, library.dynamic, entry)):
            image.put_word(made + index * image.word_size, word)
        entry = made
    root = image.take(64)
    image.put_word(root + image.word_size, entry)
    return root


class ExportsTest(unittest.TestCase):
    def test_every_exported_symbol_is_found_in_both_widths_whether_the_section_was_relocated_or_not(self):
        for word_size in (4, 8):
            for relocated in (True, False):
                for buckets in (1, 3, 7):
                    image = Image(word_size)
                    libraries = [Library(image, ("puts",)), Library(image, NAMES, buckets, relocated), Library(image, ("cos",))]
                    vm = libraries[1]
                    found = exports.of_library(image.memory, r_debug(image, libraries), "gHotSpotVMStructs",
                                               vm.base + vm.offsets["gHotSpotVMStructs"])
                    self.assertEqual({name: vm.base + at for name, at in vm.offsets.items()},
                                     {name: found.address(name) for name in NAMES})

    def test_what_is_not_exported_is_not_found(self):
        image = Image()
        library = Library(image)
        found = exports.of_library(image.memory, r_debug(image, [library]), NAMES[0], library.base + library.offsets[NAMES[0]])
        for name in ("gHotSpotVMLongConstants", "", "gHotSpotVMStruct", "jio_print"):
            self.assertIsNone(found.address(name), name)

    def test_a_library_in_which_the_symbol_lies_elsewhere_is_not_the_one(self):
        image = Image()
        library = Library(image)
        self.assertIsNone(exports.of_library(image.memory, r_debug(image, [library]), NAMES[0], library.base + 8))

    def test_lists_and_sections_that_make_no_sense_give_nothing(self):
        image = Image()
        library = Library(image)
        root, address = r_debug(image, [library]), library.base + library.offsets[NAMES[0]]
        for name, at, value in (("no hash table", library.dynamic + 32, 0), ("no buckets", library.base + 0x2000, 0),
                                ("a list that leads nowhere", root + 8, 0x123), ("an empty list", root + 8, 0)):
            with self.subTest(name):
                kept = image.memory.word(at)
                image.put_word(at, value)
                self.assertIsNone(exports.of_library(image.memory, root, NAMES[0], address))
                image.put_word(at, kept)
        self.assertIsNotNone(exports.of_library(image.memory, root, NAMES[0], address))
