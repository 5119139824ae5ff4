"""Orders reach the watchdog whole, however the pipe cuts them."""
import os
import unittest

from quor.agent.watchdog import Orders


class OrdersTest(unittest.TestCase):
    def setUp(self):
        self.pipe, self.writer = os.pipe()
        self.orders = Orders(self.pipe)

    def tearDown(self):
        os.close(self.pipe)
        os.close(self.writer)

    def test_the_newest_of_several_counts(self):
        os.write(self.writer, b"3\noff\n")
        self.assertEqual(self.orders.newest(10), "off")

    def test_an_order_is_waited_for_to_its_end(self):
        os.write(self.writer, b"3\no")
        self.assertEqual(self.orders.newest(10), "3")
        os.write(self.writer, b"ff\n")
        self.assertEqual(self.orders.newest(10), "off")

    def test_a_read_that_ends_within_an_order_loses_nothing(self):
        os.write(self.writer, b"off\n" * 1023 + b"60.12345\n")  # the last one lies across the end of a read
        self.assertEqual(self.orders.newest(10), "off")
        self.assertEqual(self.orders.newest(10), "60.12345")

    def test_a_read_without_the_end_of_an_order_is_no_time_that_passed(self):
        os.write(self.writer, b"6" * 4096 + b"\n")  # the end comes with the next read
        self.assertEqual(self.orders.newest(10), "6" * 4096)

    def test_begun_order_is_none_yet(self):
        os.write(self.writer, b"6")
        self.assertIsNone(self.orders.newest(0.05))


if __name__ == "__main__":
    unittest.main()
