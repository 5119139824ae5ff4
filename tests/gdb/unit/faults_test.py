"""Which faults are the VM's own."""
import struct
import unittest

from process_image import Image
from quor.hotspot.faults import Faults, Guard
from quor.hotspot.tables import Tables
from vm_tables import export_tables

LOW, HIGH = 0x7f0000000000, 0x7f0001000000
PC = LOW + 0x1000


class FakeBlob:
    def __init__(self, start, name, compiled):
        self.start, self.code, self.name, self.compiled = start, PC - 0x20, name, compiled


class FakeCodeCache:
    blob = None

    def holds(self, pc):
        return LOW <= pc < HIGH

    def find(self, _pc):
        return self.blob


class FakeDetails:
    described = False

    def description(self, _blob, _pc, _exact):
        return self.described or None


class FakeFlags:
    def boolean(self, name):
        return name == "UseCompressedOops"

    def number(self, name):
        return {"StackRedPages": 1, "StackYellowPages": 2, "StackReservedPages": 1}[name]


class FaultsTest(unittest.TestCase):
    def setUp(self):
        image = Image()
        base = image.take(8)
        image.put_word(base, 0x700000000)
        export_tables(image, fields=[("nmethod::_nul_chk_table_offset", 16), ("JavaThread::_stack_base", 0),
                                     ("JavaThread::_stack_size", 8)],
                      statics=[("CompressedOops::_base", base)], sizes=[("X", 1)])
        self.cache, self.details, self.image = FakeCodeCache(), FakeDetails(), image
        self.faults = Faults(image.memory, Tables(image.memory, image.symbol), self.cache, self.details, FakeFlags())

    def compiled(self, null_checks):
        start = self.image.take(4096)
        self.image.put_int(start + 16, 256)
        entries = [number for offset in null_checks for number in (offset, 0)]
        self.image.write(start + 256, struct.pack(f"<{1 + len(entries)}I", len(null_checks), *entries))
        self.cache.blob = FakeBlob(start, "nmethod", True)

    def own(self, address, signal="SIGSEGV", pc=PC, guard=None):
        return bool(self.faults.is_the_vms(signal, pc, address, guard))

    def test_a_null_check_that_the_compiler_told_is_the_vms(self):
        self.compiled([8, 0x20])
        self.assertTrue(self.own(16))
        self.assertTrue(self.own(0x700000010), "null in a heap that begins elsewhere")

    def test_another_address_at_a_null_check_is_a_real_fault(self):
        self.compiled([0x20])
        self.assertFalse(self.own(0xdead0000))

    def test_a_null_address_at_another_instruction_is_a_real_fault(self):
        self.compiled([8])
        self.assertFalse(self.own(16))

    def test_a_place_that_the_debug_information_describes_is_a_poll(self):
        self.compiled([])
        self.details.described = True
        self.assertTrue(self.own(0x12340000))

    def test_the_interpreter_meets_null_pointers_and_no_others(self):
        self.cache.blob = FakeBlob(LOW, "Interpreter", False)
        self.assertTrue(self.own(8))
        self.assertFalse(self.own(0xdead0000))

    def test_code_without_a_blob_is_none_of_the_vms(self):
        self.assertFalse(self.own(8))

    def test_a_division_by_zero_in_compiled_code_is_the_vms(self):
        self.assertTrue(self.own(PC, "SIGFPE"))

    def test_native_code_makes_real_faults(self):
        self.assertFalse(self.own(0, pc=0x1000))

    def test_the_vm_opens_the_yellow_pages_and_nobody_the_red_one(self):
        guard = Guard(0x10000, 0x1000, 0x3000)
        self.assertFalse(self.own(0x10800, pc=0x1000, guard=guard))
        self.assertTrue(self.own(0x11000, pc=0x1000, guard=guard))
        self.assertFalse(self.own(0x14000, pc=0x1000, guard=guard))

    def test_a_threads_guard_begins_where_its_stack_ends(self):
        thread = self.image.take(64)
        self.image.put_word(thread, 0x50000)
        self.image.put_word(thread + 8, 0x40000)
        guard = self.faults.guard(thread)
        self.assertEqual((0x10000, 0x11000, 0x14000), (guard.low, guard.red_end, guard.end))
