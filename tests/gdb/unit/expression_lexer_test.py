"""The words of expressions: literals as javac reads them."""
import math
import unittest

from quor.errors import QuorError
from quor.expression.lexer import END, LITERAL, NAME, SIGN, MinusOnly, tokens


class LiteralsTest(unittest.TestCase):
    def literal(self, text):
        found = tokens(text)
        self.assertEqual([LITERAL, END], [each.kind for each in found])
        return found[0].value

    def holds(self, type_, texts):
        for text, payload in texts.items():
            value = self.literal(text)
            self.assertEqual((type_, payload, True), tuple(value), text)

    def refused(self, text, message):
        with self.assertRaises(QuorError) as raised:
            tokens(text)
        self.assertEqual(message, str(raised.exception))

    def test_ints_have_four_bases_and_underscores(self):
        self.holds("I", {"0": 0, "42": 42, "2147483647": 2147483647, "1_000_000": 1000000, "0x1F": 31, "0Xff_ff": 65535,
                         "017": 15, "0_7": 7, "0b101": 5, "0B1_0": 2, "00": 0})

    def test_hexadecimal_octal_and_binary_numbers_reach_into_the_sign(self):
        self.holds("I", {"0xFFFFFFFF": -1, "0x80000000": -2147483648, "037777777777": -1, "0b11111111111111111111111111111110": -2})
        self.holds("J", {"0xFFFFFFFFFFFFFFFFL": -1})

    def test_longs_end_in_l(self):
        self.holds("J", {"0L": 0, "42l": 42, "9223372036854775807L": 9223372036854775807, "0xFFFFFFFFL": 4294967295})

    def test_the_smallest_numbers_need_their_minus(self):
        self.assertEqual(MinusOnly, type(self.literal("2147483648")))
        self.assertEqual(MinusOnly, type(self.literal("9223372036854775808L")))

    def test_doubles_have_a_point_an_exponent_or_a_d(self):
        self.holds("D", {"1.5": 1.5, "1.": 1.0, ".5": 0.5, "1e3": 1000.0, "1.5E-3": 0.0015, "1d": 1.0, "1_0.2_5D": 10.25,
                         "0x1.8p1": 3.0, "0x1p-2": 0.25, "0x.8P0": 0.5, "0.1": 0.1, "09.5": 9.5,
                         "1.7976931348623157e308": 1.7976931348623157e308,
                         "4.9e-324": 5e-324})

    def test_floats_are_rounded_once(self):
        self.holds("F", {"1f": 1.0, "0.1f": 0.10000000149011612, "1e10F": 1e10, "0x1p3f": 8.0,
                         "1.00000017881393432617187499f": 1.00000011920928955078125})

    def test_booleans_and_null(self):
        self.holds("Z", {"true": True, "false": False})
        self.assertTrue(self.literal("null").is_null)

    def test_characters_have_escapes(self):
        self.holds("C", {"'x'": "x", "'\\n'": "\n", "'\\''": "'", "'\"'": '"', "'\\\\'": "\\", "'\\0'": "\0", "'\\377'": "\xff",
                         "'\\u0041'": "A", "'\\uu00e9'": "é", "'\\s'": " "})

    def test_strings_have_escapes_and_surrogates_join(self):
        self.holds("Ljava/lang/String;",
        {'""': "", '"a b"': "a b", '"\\"\\t\\101\\u20ac\'"': '"\tA€\'', '"\\ud83d\\ude00"': "\U0001f600",
                                          '"\\08"': "\x008", '"\\477"': "'7"})

    def test_numbers_that_do_not_fit_are_refused(self):
        self.refused("2147483649", "column 1: 2147483649 is too large; write L behind it for a long")
        self.refused("x+0x1FFFFFFFF", "column 3: 0x1FFFFFFFF is too large; write L behind it for a long")
        self.refused("9223372036854775809L", "column 1: 9223372036854775809L is too large")
        self.refused("1e400", "column 1: 1e400 is too large")
        self.refused("1e999999999", "column 1: 1e999999999 is too large")
        self.refused("1e-400", "column 1: 1e-400 is too small")
        self.refused("1e39f", "column 1: 1e39f is too large")
        self.refused("0x1p99999", "column 1: 0x1p99999 is too large")

    def test_what_is_no_literal_is_refused(self):
        self.refused("123abc", 'column 1: "123abc" is no number')
        self.refused("1_", 'column 1: "1_" is no number')
        self.refused("0x", 'column 1: "0x" is no number')
        self.refused("089", 'column 1: "089" is no number: it begins with 0, so it is octal')
        self.refused('"abc', 'column 1: no closing "')
        self.refused("a + 'x", "column 5: no closing '")
        self.refused("''", "column 1: a character stands alone between ' and '")
        self.refused('"\\q"', 'column 1: "\\q" is no escape')
        self.refused("a # b", 'column 3: "#" has no meaning here')

    def test_special_numbers_have_no_literals(self):
        self.assertEqual([NAME, END], [each.kind for each in tokens("NaN")])
        self.assertFalse(math.isnan(self.literal("0.0").payload))


class SignsTest(unittest.TestCase):
    def test_the_longest_sign_is_taken(self):
        self.assertEqual(["a", ">>>", "b", ">>", "c", ">=", "d", "&&", "e"], [each.text for each in tokens("a>>>b>>c>=d&&e")[:-1]])

    def test_names_may_hold_dollars_and_letters_of_all_languages(self):
        self.assertEqual([(NAME, "$j1"), (SIGN, "."), (NAME, "größe"), (NAME, "a_1")],
                         [(each.kind, each.text) for each in tokens("$j1.größe a_1")[:-1]])

    def test_columns_count_from_one(self):
        self.assertEqual([1, 3, 5, 6], [each.column for each in tokens("a + b")])
