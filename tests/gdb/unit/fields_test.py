"""Fields of classes, in both forms that HotSpot keeps them in."""
import struct
import unittest

from process_image import Image
from quor.hotspot.fields import Field, FieldReader
from quor.hotspot.tables import Tables
from vm_tables import export_tables

_NAMES = {1: "name", 2: "Ljava/lang/String;", 3: "count", 4: "I", 5: "LOG", 6: "size", 7: "J"}


def unsigned5(*values):
    """Numbers in today's compressed form, each small enough for one byte or two."""
    data = b""
    for value in values:
        if value < 191:
            data += bytes([value + 1])
        else:
            low = 191 + (value - 191) % 64
            data += bytes([low + 1, (value - low) // 64 + 1])
    return data


class FieldsTest(unittest.TestCase):
    def reader(self, image, fields, ints):
        export_tables(image, fields=[("InstanceKlass::_constants", 0), ("Array<int>::_length", 0), *fields], sizes=[("X", 1)],
                      ints=ints)
        return FieldReader(image.memory, Tables(image.memory, image.symbol), lambda pool, index: _NAMES[index])

    def test_the_slots_of_older_vms_hold_offsets_in_two_halves_above_a_tag(self):
        image = Image()
        klass, array = image.take(64), image.take(4096)
        image.put_word(klass + 8, array)
        image.put_u16(klass + 16, 2)
        rows = [(2, 1, 2, 0, (12 << 2 | 1) & 0xffff, 0), (8, 5, 2, 0, (0x12345 << 2 | 1) & 0xffff, 0x12345 << 2 >> 16)]
        image.write(array + 4, b"".join(struct.pack("<6H", *row) for row in rows))
        reader = self.reader(image, [("InstanceKlass::_fields", 8), ("InstanceKlass::_java_fields_count", 16),
                                     ("Array<u2>::_data", 4)],
                             [("FieldInfo::field_slots", 6), ("FIELDINFO_TAG_SIZE", 2), ("FieldInfo::access_flags_offset", 0),
                              ("FieldInfo::name_index_offset", 1), ("FieldInfo::signature_index_offset", 2),
                              ("FieldInfo::low_packed_offset", 4), ("FieldInfo::high_packed_offset", 5)])
        self.assertEqual([Field("name", "Ljava/lang/String;", 12, False), Field("LOG", "Ljava/lang/String;", 0x12345, True)],
                         reader.fields(klass))

    def test_the_stream_of_newer_vms_holds_further_numbers_where_flags_say_so(self):
        image = Image()
        klass, array = image.take(64), image.take(4096)
        image.put_word(klass + 8, array)
        data = (unsigned5(3, 1) + unsigned5(1, 2, 12, 2, 0) + unsigned5(5, 2, 300, 8, 0b10101, 77, 88, 99)
                + unsigned5(6, 7, 24, 0, 0))
        data += unsigned5(1, 4, 40, 0, 2)  # injected by the VM: not the class's own
        image.put_int(array, len(data))
        image.write(array + 4, data)
        reader = self.reader(image, [("InstanceKlass::_fieldinfo_stream", 8), ("Array<u1>::_data", 4)],
                             [("FieldInfo::FieldFlags::_ff_initialized", 0), ("FieldInfo::FieldFlags::_ff_generic", 2),
                              ("FieldInfo::FieldFlags::_ff_contended", 4)])
        self.assertEqual([Field("name", "Ljava/lang/String;", 12, False), Field("LOG", "Ljava/lang/String;", 300, True),
                          Field("size", "J", 24, False)], reader.fields(klass))
