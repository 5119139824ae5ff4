#!/usr/bin/env python3
"""Orders reach the watchdog whole, however the pipe cuts them."""
import os
import unittest

from watchdog import Orders


class OrdersTest(unittest.TestCase):
    def setUp(self):
        self.pipe, self.writer = os.pipe()
        self.orders = Orders(self.pipe)

    def tearDown(self):
        os.close(self.pipe)
        os.close(self.writer)

    def test_the_newest_of_several_counts(self):
        os.write(self.writer, b"3 17\noff\n")
        self.assertEqual(self.orders.next(10), ["off"])

    def test_an_order_is_waited_for_to_its_end(self):
        os.write(self.writer, b"3 17\no")
        self.assertEqual(self.orders.next(10), ["3", "17"])
        os.write(self.writer, b"ff\n")
        self.assertEqual(self.orders.next(10), ["off"])

    def test_a_read_that_ends_within_an_order_loses_nothing(self):
        os.write(self.writer, b"off\n" * 1023 + b"60 12345\n")  # the last one lies across the end of a read
        self.assertEqual(self.orders.next(10), ["off"])
        self.assertEqual(self.orders.next(10), ["60", "12345"])

    def test_begun_order_is_none_yet(self):
        os.write(self.writer, b"6")
        self.assertIsNone(self.orders.next(0.05))


if __name__ == "__main__":
    unittest.main()
