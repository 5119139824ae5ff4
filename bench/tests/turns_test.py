"""The order of runs, medians and ratios."""
import unittest

from quor_bench import turns


class OrderOfRuns(unittest.TestCase):
    def test_every_kind_runs_once_a_round(self):
        order = turns.order("abc", 4)
        for begin in range(0, 12, 3):
            self.assertEqual(sorted(order[begin:begin + 3]), ["a", "b", "c"])

    def test_each_round_is_begun_by_another_kind(self):
        self.assertEqual(turns.order("abc", 4)[::3], ["a", "b", "c", "a"])

    def test_measures_are_called_in_that_order(self):
        called = []
        measures = {kind: (lambda kind=kind: called.append(kind) or {"row": len(called)}) for kind in "ab"}
        self.assertEqual(turns.alternate(measures, 2), {"row": {"a": [1, 4], "b": [2, 3]}})
        self.assertEqual(called, ["a", "b", "b", "a"])


class Ratios(unittest.TestCase):
    ROW = {"ours": [30, 10, 20], "floor": [11, 10, 900], "nothing": [0]}

    def test_are_those_of_the_medians(self):
        self.assertAlmostEqual(turns.ratio(self.ROW, "ours", "floor"), 20 / 11)

    def test_need_both_figures(self):
        self.assertIsNone(turns.ratio(self.ROW, "ours", "jdk"))
        self.assertIsNone(turns.ratio(self.ROW, "jdk", "ours"))

    def test_of_nothing_are_none(self):
        self.assertIsNone(turns.ratio(self.ROW, "ours", "nothing"))


class Middles(unittest.TestCase):
    def test_are_where_half_of_the_runs_lie(self):
        self.assertEqual(turns.middle([1, 9, 3, 7, 5]), (3, 7))

    def test_of_two_runs_are_both(self):
        self.assertEqual(turns.middle([4, 2]), (2, 4))


if __name__ == "__main__":
    unittest.main()
