"""Circles of those who wait for each other."""
import unittest

from quor.circles import circles


class Circles(unittest.TestCase):
    def test_nobody_waits(self):
        self.assertEqual([], circles({}))

    def test_a_chain_is_no_circle(self):
        self.assertEqual([], circles({1: 2, 2: 3}))

    def test_two_wait_for_each_other(self):
        self.assertEqual([[1, 2]], circles({2: 1, 1: 2}))

    def test_a_circle_begins_with_its_least_member_wherever_it_was_entered(self):
        self.assertEqual([[2, 7, 5]], circles({1: 7, 7: 5, 5: 2, 2: 7}))

    def test_who_waits_for_a_circle_is_not_part_of_it(self):
        self.assertEqual([[1, 2]], circles({1: 2, 2: 1, 3: 1, 4: 3}))

    def test_several_circles(self):
        self.assertEqual([[1, 2], [3, 4]], circles({4: 3, 3: 4, 1: 2, 2: 1}))

    def test_one_that_waits_for_itself(self):
        self.assertEqual([[1]], circles({1: 1}))


if __name__ == "__main__":
    unittest.main()
