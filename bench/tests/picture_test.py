"""The picture of the stop round trip."""
import unittest
import xml.etree.ElementTree as etree

from quor_bench import picture
from quor_bench.table import Table

SVG = "{http://www.w3.org/2000/svg}"


def table():
    rows = {"0": {"floor": [10], "ours": [20, 30, 25]}, "100": {"floor": [40], "ours": [80]}, "1000": {"ours": [1200]}}
    return Table("stops", "Stops", "µs", "more threads", rows)


class Picture(unittest.TestCase):
    def setUp(self):
        self.root = etree.fromstring(picture.draw([("64-bit 17 <&>", table()), ("64-bit 25", table())]))

    def places(self, colour):
        points = [point for point in self.root.iter(SVG + "circle") if point.get("fill") == colour]
        return [(float(point.get("cx")), float(point.get("cy"))) for point in points]

    def test_is_well_formed_and_names_what_it_shows(self):
        self.assertEqual(self.root.tag, SVG + "svg")
        words = [each.text for each in self.root.iter(SVG + "text")]
        for word in ("64-bit 17 <&>", "64-bit 25", "floor", "ours", "more threads", "10 µs", "1 ms"):
            self.assertIn(word, words)

    def test_has_a_curve_for_each_kind_of_each_jvm(self):
        self.assertEqual(len(list(self.root.iter(SVG + "polyline"))), 4)

    def test_has_a_point_for_each_figure(self):
        self.assertEqual(len(self.places(picture.COLOURS["ours"])), 6)
        self.assertEqual(len(self.places(picture.COLOURS["floor"])), 4)

    def test_stays_inside_its_frame(self):
        width, height = float(self.root.get("width")), float(self.root.get("height"))
        for each in self.root.iter(SVG + "circle"):
            self.assertTrue(0 < float(each.get("cx")) < width and 0 < float(each.get("cy")) < height)

    def test_puts_more_time_higher_and_more_threads_further_right(self):
        first, second, third = self.places(picture.COLOURS["ours"])[:3]
        self.assertTrue(first[0] < second[0] < third[0])
        self.assertTrue(first[1] > second[1] > third[1])


if __name__ == "__main__":
    unittest.main()
