import struct
import unittest

from process_image import Image
from quor.hotspot import exports

NAMES = ("gHotSpotVMStructs", "gHotSpotVMTypes", "JNI_CreateJavaVM", "gHotSpotVMIntConstants", "jio_printf")
STRINGS, SYMBOLS, DEBUG, HASH = 5, 6, 21, 0x6ffffef5
PT_LOAD, PT_DYNAMIC, PT_PHDR = 1, 2, 6
LINKED_AT = 0x400000  # where the program's headers say that it lies


def gnu_hash(name):
    """As the System V ABI's GNU extension has it, by shifts."""
    value = 5381
    for character in name:
        value = ((value << 5) + value + ord(character)) % (1 << 32)
    return value


class Library:
    """A library's dynamic section, symbols and hash table in an image, as a linker lays them out."""

    def __init__(self, image, names=NAMES, buckets=3, relocated=True, file="/jdk/lib/server/libjvm.so"):
        self.file, self.image, self.word = file, image, image.word_size
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


class Process:
    """A program with its headers and dynamic section, the dynamic linker's list of these libraries, and gdb's text of its
    auxiliary vector."""

    def __init__(self, image, libraries):
        self.image, self.word = image, image.word_size
        self.program = image.take(0x1000)
        self.root = self.list_of(libraries)
        self.dynamic = self.program + 0x800
        for index, word in enumerate((STRINGS, 0x1234, DEBUG, self.root, 0, 0)):
            image.put_word(self.dynamic + index * self.word, word)
        self.headers, self.size = self.program + 0x40, 56 if self.word == 8 else 32
        for index, (kind, place) in enumerate(((PT_PHDR, 0x40), (PT_LOAD, 0), (PT_DYNAMIC, 0x800))):
            self.put_header(index, kind, LINKED_AT + place)

    def put_header(self, index, kind, address):
        layout = "<IIQQQQQQ" if self.word == 8 else "<IIIIIIII"
        fields = (kind, 4, 0, address, address, 8, 8, 8) if self.word == 8 else (kind, 0, address, address, 8, 8, 4, 4)
        self.image.write(self.headers + index * self.size, struct.pack(layout, *fields))

    def list_of(self, libraries):
        entry = 0
        for library in reversed(libraries):
            made = self.image.take(64)
            for index, word in enumerate((library.base, self.image.put_string(library.file), library.dynamic, entry)):
                self.image.put_word(made + index * self.word, word)
            entry = made
        root = self.image.take(64)
        self.image.put_word(root + self.word, entry)
        return root

    def auxiliary(self):
        return (f"33   AT_SYSINFO_EHDR      System-supplied DSO's ELF header 0x7feb0acdc000\n"
                f"3    AT_PHDR              Program headers for program    {self.headers:#x}\n"
                f"4    AT_PHENT             Size of program header entry   {self.size}\n"
                f"5    AT_PHNUM             Number of program headers      3\n"
                f"31   AT_EXECFN            File name of executable        0x7ffce4afdfcc \"/my java/3 5\"\n"
                f"0    AT_NULL              End of vector                  0x0\n")

    def find(self, auxiliary=None, name=NAMES[0]):
        return exports.of_library(self.image.memory, self.auxiliary() if auxiliary is None else auxiliary, "libjvm", name)


class ExportsTest(unittest.TestCase):
    def check_found(self, library, found):
        self.assertEqual({name: library.base + at for name, at in library.offsets.items()},
                         {name: found.address(name) for name in NAMES})

    def test_every_exported_symbol_is_found_in_both_widths_whether_the_section_was_relocated_or_not(self):
        for word_size in (4, 8):
            for relocated in (True, False):
                for buckets in (1, 3, 7):
                    image = Image(word_size)
                    vm = Library(image, NAMES, buckets, relocated)
                    libraries = [Library(image, ("puts",), file="/lib/libc.so.6"), vm, Library(image, ("cos",), file="/lib/libm.so.6")]
                    self.check_found(vm, Process(image, libraries).find())

    def test_what_is_not_exported_is_not_found(self):
        image = Image()
        found = Process(image, [Library(image)]).find()
        for name in ("gHotSpotVMLongConstants", "", "gHotSpotVMStruct", "jio_print"):
            self.assertIsNone(found.address(name), name)

    def test_of_libraries_with_such_a_name_the_one_with_the_symbol_is_taken(self):
        image = Image()
        hashless, vm = Library(image, file="/agent/libjvmti_old.so"), Library(image)
        image.put_word(hashless.dynamic + 4 * 8, 0)
        libraries = [Library(image, file="/libjvm/libother.so"), Library(image, ("Agent_OnLoad",), file="/agent/libjvmti_new.so"),
                     hashless, vm]
        self.check_found(vm, Process(image, libraries).find())
        self.assertIsNone(Process(image, libraries[:-1]).find())

    def test_vectors_lists_and_sections_that_make_no_sense_give_nothing(self):
        image = Image()
        library = Library(image)
        process = Process(image, [library])
        for name, at, value in (("no hash table", library.dynamic + 32, 0), ("no buckets", library.base + 0x2000, 0),
                                ("a list that leads nowhere", process.root + 8, 0x123), ("an empty list", process.root + 8, 0),
                                ("a dynamic section without a debugger's entry", process.dynamic + 16, 1),
                                ("a file name that is nowhere", image.memory.word(process.root + 8) + 8, 0x123),
                                ("headers without a dynamic section", process.headers + 2 * 56, PT_LOAD)):
            with self.subTest(name):
                kept = image.memory.word(at)
                image.put_word(at, value)
                self.assertIsNone(process.find())
                image.put_word(at, kept)
        for text in ("", "3    AT_PHDR              Program headers for program    0x123\n5 AT_PHNUM Number 3\n",
                     process.auxiliary().replace("AT_PHNUM", "AT_PHNUM x").replace("5    AT", "55   AT")):
            self.assertIsNone(process.find(text), text)
        self.check_found(library, process.find())
