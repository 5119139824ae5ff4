import unittest

from hotspot_world import World


class ScopesTest(unittest.TestCase):
    def setUp(self):
        self.worlds = [World(word_size, new) for word_size, new in ((4, False), (8, False), (8, True))]

    def compiled(self, world):
        methods = [world.method("Mix", name, "()V") for name in ("outer", "inner")]
        start = world.compiled(b"\x90" * 64, 4, 8, methods[0], metadata=methods,
                               descriptions=[(10, [(1, 3)]), (20, [(2, -1), (1, 300)]), (40, [(2, 7), (1, 8)])])
        hotspot = world.hotspot()
        return hotspot.debug, hotspot.code_cache.find(world.code_of(start)), methods

    def test_the_scopes_at_a_pc_come_innermost_first(self):
        for world in self.worlds:
            debug, blob, (outer, inner) = self.compiled(world)
            found = debug.scopes(blob, debug.description(blob, blob.code + 20, exact=True))
            self.assertEqual([(inner, -1), (outer, 300)], [(scope.method, scope.bci) for scope in found])

    def test_a_return_address_needs_the_exact_description(self):
        for world in self.worlds:
            debug, blob, _ = self.compiled(world)
            self.assertIsNone(debug.description(blob, blob.code + 11, exact=True))
            self.assertEqual(10, debug.description(blob, blob.code + 10, exact=True).pc_offset)

    def test_an_interrupted_pc_takes_the_next_description(self):
        for world in self.worlds:
            debug, blob, _ = self.compiled(world)
            self.assertEqual([10, 20, 40, None], [found and found.pc_offset for found in (
                debug.description(blob, blob.code + offset, exact=False) for offset in (0, 11, 21, 41))])

    def test_a_method_without_scopes_has_none(self):
        for world in self.worlds:
            start = world.compiled(b"\x90" * 64, 4, 8, descriptions=[(10, [])])
            hotspot = world.hotspot()
            blob = hotspot.code_cache.find(world.code_of(start))
            self.assertEqual([], hotspot.debug.scopes(blob, hotspot.debug.description(blob, blob.code + 10, exact=True)))
