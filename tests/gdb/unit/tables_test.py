import unittest

from process_image import Image
from quor.hotspot.tables import MissingEntry, NotYet, Tables
from vm_tables import export_tables


def tables_of(word_size=8, **rows):
    image = Image(word_size)
    rows.setdefault("sizes", [("Method", 88)])
    rows.setdefault("fields", [("Method::_constMethod", 8)])
    export_tables(image, **rows)
    return Tables(image.memory, image.symbol)


class TablesTest(unittest.TestCase):
    def test_fields_statics_sizes_and_constants_are_read_in_both_widths(self):
        for word_size in (4, 8):
            tables = tables_of(word_size, statics=[("CodeCache::_heaps", 0x7000)], ints=[("PCDESC_reexecute", -1)],
                               longs=[("markWord::age_shift", 3)])
            self.assertEqual(8, tables.offset("Method::_constMethod"))
            self.assertEqual(0x7000, tables.static("CodeCache::_heaps"))
            self.assertEqual(88, tables.size("Method"))
            self.assertEqual(-1, tables.constant("PCDESC_reexecute"))
            self.assertEqual(3, tables.constant("markWord::age_shift"))

    def test_of_several_names_the_first_that_exists_counts(self):
        tables = tables_of(fields=[("nmethod::_method", 80), ("CompiledMethod::_method", 112)])
        self.assertEqual(112, tables.offset("CompiledMethod::_method", "nmethod::_method"))
        self.assertEqual(80, tables.offset("Unknown::_method", "nmethod::_method"))

    def test_an_entry_that_is_missing_is_named(self):
        with self.assertRaisesRegex(MissingEntry, "no CodeBlob::_size in libjvm's tables"):
            tables_of().offset("CodeBlob::_size")

    def test_an_offset_or_a_size_that_makes_no_sense_counts_as_missing(self):
        tables = tables_of(fields=[("Method::_constMethod", 0x7fff_ffff_0000)], sizes=[("Method", 0)])
        with self.assertRaises(MissingEntry):
            tables.offset("Method::_constMethod")
        with self.assertRaises(MissingEntry):
            tables.size("Method")

    def test_a_static_field_has_no_offset(self):
        with self.assertRaises(MissingEntry):
            tables_of(statics=[("CodeCache::_heaps", 0x7000)]).offset("CodeCache::_heaps")

    def test_no_exported_symbols_means_not_yet(self):
        image = Image()
        with self.assertRaises(NotYet):
            Tables(image.memory, image.symbol)

    def test_a_library_that_is_not_relocated_means_not_yet(self):
        for pointer in (0, 0x123456):  # on i386 the unrelocated word holds the address within the file
            image = Image(4)
            export_tables(image, fields=[("Method::_constMethod", 8)], sizes=[("Method", 88)])
            image.put_symbol("gHotSpotVMTypes", pointer, 4)
            with self.assertRaises(NotYet):
                Tables(image.memory, image.symbol)

    def test_a_library_that_is_not_relocated_is_asked_for_one_symbol(self):
        for pointer in (0, 0x123456):
            image, asked = Image(4), []
            export_tables(image, fields=[("Method::_constMethod", 8)], sizes=[("Method", 88)])
            image.put_symbol("gHotSpotVMStructs", pointer, 4)

            def symbol(name):
                asked.append(name)
                return image.symbol(name)

            with self.assertRaises(NotYet):
                Tables(image.memory, symbol)
            self.assertEqual(["gHotSpotVMStructs"], asked)

    def test_rows_that_have_no_distance_mean_not_yet(self):
        image = Image()
        export_tables(image, fields=[("Method::_constMethod", 8)], sizes=[("Method", 88)])
        image.put_symbol("gHotSpotVMStructEntryArrayStride", 0)
        with self.assertRaises(NotYet):
            Tables(image.memory, image.symbol)
