"""The stop round trip's figures."""
import unittest

from quor_bench.effort import FULL, SMOKE
from quor_bench.jvm import Failed
from quor_bench.pieces import stops


class Figures(unittest.TestCase):
    def test_are_microseconds_by_the_number_of_threads(self):
        self.assertEqual(stops.by_threads({"stop.0": 25000, "stop.100": 90500, "events": 300}), {"0": 25, "100": 90.5})

    def test_of_a_program_that_nobody_stopped_are_refused(self):
        for found in ({"stop.0": 60}, {"stop.0": 25000, "stop.100": 0}, {}):
            with self.assertRaises(Failed):
                stops.by_threads(found)


class Schedule(unittest.TestCase):
    def test_is_that_of_all_numbers_of_threads(self):
        self.assertEqual(stops.schedule(FULL), ["0:2000", "100:1000", "1000:150"])

    def test_of_a_part_has_fewer_stops(self):
        self.assertEqual(stops.schedule(FULL, 10), ["0:200", "100:100", "1000:15"])

    def test_of_the_smoke_test_leaves_a_thousand_threads_out(self):
        self.assertEqual(stops.schedule(SMOKE), ["0:20", "100:10"])


if __name__ == "__main__":
    unittest.main()
