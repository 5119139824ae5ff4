"""The words of result codes, held against the agent's source and the user's page."""
import pathlib
import re
import unittest

from quor import codes

ROOT = pathlib.Path(__file__).resolve().parents[3]


class CodesTest(unittest.TestCase):
    def test_numbers_and_names_are_those_of_the_agent(self):
        source = (ROOT / "agent/support/err_str.cpp").read_text()
        symbols = {name: int(value) for name, value in re.findall(r"const jint (\w+) = (\d+);", source)}
        rows = re.findall(r'\{(\w+), "(\w+)"\}', source)
        told = {int(number) if number.isdigit() else symbols[number]: name for number, name in rows}
        self.assertGreater(len(told), 40)
        self.assertEqual(told, {number: code.name for number, code in codes.CODES.items()})

    def test_every_code_of_the_users_page_is_one_of_them(self):
        page = (ROOT / "docs/debugging-with-gdb.md").read_text().partition("## Result codes")[2]
        rows = re.findall(r"^\| (\d+) \| (\w+) \|", page, re.MULTILINE)
        self.assertGreater(len(rows), 15)
        for number, name in rows:
            self.assertEqual(name, codes.CODES[int(number)].name)

    def test_each_code_has_words_of_its_own_in_one_line(self):
        words = [code.words for code in codes.CODES.values()]
        self.assertEqual(len(words), len(set(words)))
        for text in words:
            self.assertRegex(text, r"^[a-z][^\n]{2,}[^.]$")

    def test_what_users_meet_is_said_in_their_words(self):
        for number, part in {10: "thread is gone", 13: "not suspended", 15: "thread is gone", 31: "stack", 34: "local", 35: "local",
                             40: "set already", 99: "cannot be had here", 100: "thread map", 101: "without -g", 112: "VM has ended",
                             113: "Java exception", 115: "wrong thread"}.items():
            self.assertIn(part, codes.words(number))

    def test_an_unknown_code_keeps_its_number(self):
        self.assertEqual("the VM gave code 77, which has no name", codes.words(77))

    def test_codes_are_found_by_name(self):
        self.assertEqual(101, codes.code_named("ABSENT_INFORMATION"))
        self.assertRaises(KeyError, codes.code_named, "NO_SUCH")
