import unittest

from hotspot_world import SEGMENT, World


class CodeCacheTest(unittest.TestCase):
    def test_a_pc_leads_to_its_blob_in_both_layouts_and_widths(self):
        for word_size, new in ((4, False), (8, False), (8, True)):
            world = World(word_size, new)
            start = world.blob("RuntimeStub", b"\x90" * 700, frame_words=6, complete=12)
            cache = world.hotspot().code_cache
            for pc in (world.code_of(start), world.code_of(start) + 699):
                blob = cache.find(pc)
                self.assertEqual((start, world.code_of(start), "RuntimeStub", 6 * word_size, world.code_of(start) + 12, False),
                                 (blob.start, blob.code, blob.name, blob.frame_size, blob.frame_complete, blob.compiled))

    def test_a_long_blob_is_found_over_many_steps_of_the_segment_map(self):
        world = World()
        world.blob("first", b"\x90" * 8)
        start = world.blob("StubRoutines (1)", b"\x90" * (SEGMENT * 300))
        self.assertEqual(start, world.hotspot().code_cache.find(start + SEGMENT * 299).start)

    def test_outside_of_the_cache_and_in_free_segments_there_is_none(self):
        world = World()
        start = world.blob("nmethod", b"\x90" * 8)
        cache = world.hotspot().code_cache
        self.assertIsNone(cache.find(world.low - 1))
        self.assertIsNone(cache.find(world.low + 0x40000))
        self.assertIsNone(cache.find(start + 4 * SEGMENT))

    def test_a_freed_block_holds_none(self):
        world = World()
        start = world.blob("nmethod", b"\x90" * 8)
        world.image.write(start - 16 + 8, b"\0")
        self.assertIsNone(world.hotspot().code_cache.find(world.code_of(start)))

    def test_before_the_vm_has_made_it_nothing_is_held(self):
        world = World()
        world.image.put_word(world.statics["CodeCache::_heaps"], 0)
        cache = world.hotspot().code_cache
        self.assertFalse(cache.holds(world.low))
        self.assertEqual([], list(cache.blobs()))

    def test_what_was_read_holds_until_it_is_forgotten(self):
        world = World()
        hotspot = world.hotspot()
        self.assertIsNone(hotspot.code_cache.find(world.low + 200))
        start = world.blob("nmethod", b"\x90" * 200)
        self.assertIsNone(hotspot.code_cache.find(world.low + 200))
        hotspot.forget()
        self.assertEqual(start, hotspot.code_cache.find(world.low + 200).start)

    def test_all_blobs_are_listed_by_address(self):
        world = World()
        starts = [world.blob(f"blob {index}", b"\x90" * size) for index, size in enumerate((8, 1000, 300))]
        self.assertEqual(starts, [blob.start for blob in world.hotspot().code_cache.blobs()])

    def test_a_size_that_makes_no_sense_is_no_blob(self):
        world = World()
        start = world.blob("nmethod", b"\x90" * 8)
        world.image.put_int(start + 8, -5)
        self.assertIsNone(world.hotspot().code_cache.find(world.code_of(start)))
