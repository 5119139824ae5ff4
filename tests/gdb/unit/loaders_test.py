"""Which of several classes of one name the code of another class sees."""
import unittest

from quor.hotspot.loaders import Loaders

BOOT, PLATFORM, APPLICATION, PLUGIN, OTHER = 0, 0x10, 0x20, 0x30, 0x40


class FakeHeap:
    """Objects are numbers; classes are 100 and more, their loaders what they are given."""

    def __init__(self):
        self.loaders = {100: BOOT, 101: APPLICATION, 102: PLUGIN, 103: OTHER, 104: PLATFORM}
        self.parents = {PLATFORM: BOOT, APPLICATION: PLATFORM, PLUGIN: APPLICATION, OTHER: APPLICATION}

    def get(self, obj, name):
        return self.loaders[obj] if name == "classLoader" else self.parents.get(obj)


class NearestTest(unittest.TestCase):
    def setUp(self):
        self.heap = FakeHeap()
        self.loaders = Loaders(self.heap)

    def test_the_class_of_the_same_loader_comes_first(self):
        self.assertEqual(2, self.loaders.nearest(102, [101, 103, 102]))
        self.assertEqual(1, self.loaders.nearest(103, [101, 103, 102]))

    def test_then_that_of_the_nearest_parent(self):
        self.assertEqual(1, self.loaders.nearest(102, [100, 101, 104]))
        self.assertEqual(1, self.loaders.nearest(101, [100, 104, 102]))

    def test_a_class_of_the_bootstrap_loader_sees_no_other_loaders(self):
        self.assertEqual(1, self.loaders.nearest(100, [101, 100]))

    def test_the_first_is_taken_where_none_is_seen(self):
        self.assertEqual(0, self.loaders.nearest(101, [102, 103]))

    def test_parents_in_a_circle_end(self):
        self.heap.parents[APPLICATION] = PLUGIN
        self.assertEqual(1, self.loaders.nearest(102, [103, 101]))
