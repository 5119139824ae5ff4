import os
import subprocess
import tempfile
import unittest

from quor.hotspot.symbolfile import symbol_file


def readelf(content, *options):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "java.so")
        with open(path, "wb") as file:
            file.write(content)
        done = subprocess.run(["readelf", "--wide", *options, path], capture_output=True, text=True, check=True)
    return done.stdout, done.stderr


class SymbolFileTest(unittest.TestCase):
    LOW = {4: 0xe7000000, 8: 0x7f72e5000000}

    def file(self, word_size):
        low = self.LOW[word_size]
        return symbol_file(word_size, low, low + 0x10000, [(low + 0x100, 0x40, "Mix.f(int)"), (low + 0x200, 8, "<Stub>")])

    def test_symbols_have_address_size_and_name_in_both_widths(self):
        for word_size in (4, 8):
            text, complaints = readelf(self.file(word_size), "--symbols")
            self.assertEqual("", complaints)
            self.assertRegex(text, rf"{self.LOW[word_size] + 0x100:x} +64 FUNC +LOCAL +DEFAULT +1 Mix\.f\(int\)")
            self.assertRegex(text, rf"{self.LOW[word_size] + 0x200:x} +8 FUNC +LOCAL +DEFAULT +1 <Stub>")

    def test_the_text_lies_over_the_code_cache_and_has_no_contents(self):
        for word_size in (4, 8):
            text, complaints = readelf(self.file(word_size), "--sections")
            self.assertEqual("", complaints)
            self.assertRegex(text, rf"\.text +NOBITS +0*{self.LOW[word_size]:x} \S+ 0*10000 00 +AX")

    def test_the_header_names_the_machine(self):
        for word_size, machine in ((4, "Intel 80386"), (8, "X86-64")):
            text, complaints = readelf(self.file(word_size), "--file-header")
            self.assertEqual("", complaints)
            self.assertIn(machine, text)
