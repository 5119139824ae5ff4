"""Java's float and double: what they hold and how they are written. The texts were taken from a JDK 25."""
import math
import struct
import unittest
from fractions import Fraction

from quor import floats


class TextTest(unittest.TestCase):
    DOUBLES = {0.0: "0.0", 1.0: "1.0", 0.1: "0.1", 123456.75: "123456.75", 9999999.0: "9999999.0", 1e7: "1.0E7", 1.25e10: "1.25E10",
               0.001: "0.001", 0.00099: "9.9E-4", 1e-5: "1.0E-5", 1e23: "1.0E23", 2e23: "2.0E23", 5e-324: "4.9E-324",
               1.7976931348623157e308: "1.7976931348623157E308", 1 / 3: "0.3333333333333333", 100.0: "100.0", -2.5e-7: "-2.5E-7"}
    FLOATS = {0.1: "0.1", 1 / 3: "0.33333334", 16777216.0: "1.6777216E7", 3.4028234663852886e38: "3.4028235E38", 1e10: "1.0E10",
              1.401298464324817e-45: "1.4E-45", 1.1754943508222875e-38: "1.1754944E-38", 100.5: "100.5", 336805350.0: "3.3680534E8"}

    def test_doubles_are_written_as_java_writes_them(self):
        for value, text in self.DOUBLES.items():
            self.assertEqual(text, floats.double_text(value))

    def test_floats_are_written_with_as_few_digits_as_they_need(self):
        for value, text in self.FLOATS.items():
            self.assertEqual(text, floats.float_text(floats.to_float(value)))

    def test_special_values_have_names_and_zeros_a_sign(self):
        for text in (floats.double_text, floats.float_text):
            self.assertEqual(["NaN", "Infinity", "-Infinity", "-0.0"],
                             [text(value) for value in (math.nan, math.inf, -math.inf, -0.0)])


class RoundingTest(unittest.TestCase):
    def test_a_double_becomes_the_nearest_float(self):
        self.assertEqual(struct.unpack("<f", b"\xcd\xcc\xcc\x3d")[0], floats.to_float(0.1))
        self.assertEqual(math.inf, floats.to_float(1e39))
        self.assertEqual(-math.inf, floats.to_float(-1e39))
        self.assertTrue(math.isnan(floats.to_float(math.nan)))

    def test_an_integer_is_rounded_once(self):
        halfway = (1 << 60) + (1 << 36)  # by way of a double this would be a tie, and go down
        self.assertEqual(float((1 << 60) + (1 << 37)), floats.nearest_float(halfway + 1))
        self.assertEqual(float(1 << 60), floats.nearest_float(halfway))

    def test_beyond_the_largest_float_there_is_infinity(self):
        largest = (1 << 128) - (1 << 104)
        self.assertEqual(float(largest), floats.nearest_float(largest + (1 << 103) - 1))
        self.assertEqual(math.inf, floats.nearest_float(largest + (1 << 103)))
        self.assertEqual(-math.inf, floats.nearest_float(-(1 << 130)))

    def test_the_smallest_float_is_reached_from_below(self):
        smallest = Fraction(1, 1 << 149)
        self.assertEqual(0.0, floats.nearest_float(smallest / 2))
        self.assertEqual(float(smallest), floats.nearest_float(smallest * Fraction(51, 100)))

    def test_a_double_may_overflow_too(self):
        self.assertEqual(math.inf, floats.nearest_double(10 ** 400))
        self.assertEqual(-math.inf, floats.nearest_double(-10 ** 400))
