"""The whole: inlined frames, deoptimised ones, virtual threads, and tables that lack entries or tell nonsense."""
import unittest

from frames_test import CALL, Run, code
from hotspot_world import World
from quor.hotspot import javaframes
from quor.hotspot.frames.registers import Registers


class NamesTest(unittest.TestCase):
    TEXT = code("55", "4883ec10", "90" * 3, CALL, "90" * 8, "4883c410", "5d", "c3")
    AFTER_CALL = 13

    def compiled(self, new, **more):
        world = World(new=new)
        methods = [world.method("Mix", "outer", "()V", lines=[(0, 10)], source="Mix.java"),
                   world.method("Mix", "inner", "(J)V", lines=[(0, 20), (4, 22)], source="Mix.java")]
        start = world.compiled(self.TEXT, 4, 5, methods[0], metadata=methods,
                               descriptions=[(self.AFTER_CALL, [(2, 5), (1, 3)])], **more)
        run = Run(world, start)
        for _ in range(6):
            run.step()
        return world, run

    def names(self, run, registers):
        caller = run.hotspot.unwind(registers)
        return [(frame.text, frame.kind) for frame in run.hotspot.java_frames.of(registers, caller)]

    def test_inlined_methods_are_frames_of_their_own(self):
        for new in (False, True):
            _, run = self.compiled(new)
            self.assertEqual([("Mix.inner(long) (Mix.java:22)", javaframes.INLINED),
                              ("Mix.outer() (Mix.java:10)", javaframes.COMPILED)],
                             self.names(run, Registers(run.pc, run.sp, run.fp)))

    def test_a_frame_to_be_deoptimised_is_named_by_the_pc_that_was_replaced(self):
        for new in (False, True):
            world, run = self.compiled(new, deopt=20, orig_pc=8)
            world.push_words(run.sp + 8, run.pc)
            run.hotspot.forget()
            blob = run.hotspot.code_cache.find(run.pc)
            self.assertEqual("Mix.inner(long) (Mix.java:22)", self.names(run, Registers(blob.code + 20, run.sp, run.fp))[0][0])

    def test_a_pc_without_debug_information_still_names_the_method(self):
        _, run = self.compiled(False)
        self.assertEqual([("Mix.outer() (Mix.java)", javaframes.COMPILED)],
                         self.names(run, Registers(run.pc + 9, run.sp, run.fp, top=True)))

    def test_what_compiled_code_is_called_depends_on_the_pc_alone(self):
        for new in (False, True):
            world, run = self.compiled(new)
            self.assertEqual([("Mix.inner(long)", "Mix.java", 22), ("Mix.outer()", "Mix.java", 10)],
                             run.hotspot.java_frames.told_by_pc(run.pc))

    def test_what_is_called_where_depends_on_the_stack_is_not_told_by_the_pc(self):
        world, run = self.compiled(False, deopt=20, orig_pc=8)
        blob = run.hotspot.code_cache.find(run.pc)
        stub = world.blob("StubRoutines (1)", code("90", "c3"))
        for pc in (blob.code + 20, world.code_of(stub), world.stack):
            self.assertIsNone(run.hotspot.java_frames.told_by_pc(pc))

    def test_a_method_whose_code_was_replaced_has_its_new_name_after_the_program_ran(self):
        world, run = self.compiled(False)
        told = run.hotspot.java_frames.told_by_pc(run.pc)
        world.image.put_word(run.hotspot.code_cache.find(run.pc).start + 72, 0)  # the inlined methods' metadata
        world.image.put_word(run.hotspot.code_cache.find(run.pc).start + 32, world.method("Mix", "other", "()V"))
        self.assertEqual(told, run.hotspot.java_frames.told_by_pc(run.pc))
        run.hotspot.forget()
        self.assertEqual("Mix.other()", run.hotspot.java_frames.told_by_pc(run.pc)[-1][0])

    def test_a_stub_has_its_name_in_angle_brackets(self):
        world = World()
        run = Run(world, world.blob("StubRoutines (1)", code("90", "c3")))
        self.assertEqual([("<StubRoutines (1)>", javaframes.STUB)], self.names(run, Registers(run.pc, run.sp, run.fp, top=True)))


class VirtualThreadTest(unittest.TestCase):
    def test_where_its_frames_go_on_in_the_heap_the_stack_goes_on_with_the_frame_that_mounted_it(self):
        world = World(new=True)
        start = world.blob("StubRoutines (continuationstubs)", code("90" * 8, "ffe0"))
        entry = world.stack + 0x1008
        world.thread(continuation=entry)
        mounting = world.code_of(world.compiled(b"\x90" * 64, 4, 5)) + 20
        world.image.put_word(world.statics["ContinuationEntry::_return_pc"], mounting)
        barrier = world.code_of(start)
        world.push_words(world.stack + 0x1000 - 8, barrier)
        caller = world.hotspot().unwind(Registers(barrier, world.stack + 0x1000, 0, top=True))
        self.assertEqual((mounting, entry, entry + 64, "frames in the heap"), (caller.pc, caller.sp, caller.fp, caller.kind.name))

    def test_a_pc_that_no_return_led_to_is_no_barrier(self):
        world = World(new=True)
        start = world.blob("StubRoutines (continuationstubs)", code("90" * 8, "ffe0"))
        world.thread(continuation=world.stack + 0x1008)
        caller = world.hotspot().unwind(Registers(world.code_of(start), world.stack + 0x1000, 0))
        self.assertTrue(caller is None or caller.kind.name != "frames in the heap")

    def test_a_compiled_frame_may_return_to_the_barrier(self):
        world = World(new=True)
        barrier = world.code_of(world.blob("StubRoutines (continuationstubs)", code("90" * 8, "ffe0")))
        self.assertTrue(world.hotspot().returns.plausible(barrier))


class ForeignTablesTest(unittest.TestCase):
    def complaints(self, *leave_out, change=None):
        world = World(leave_out=leave_out, change=change)
        return world, world.hotspot()

    def test_whole_tables_leave_nothing_to_complain_about(self):
        for word_size, new in ((4, False), (8, False), (8, True)):
            self.assertEqual([], World(word_size, new).hotspot().complaints)

    def test_without_the_code_cache_all_java_frames_are_off_with_one_line(self):
        world, hotspot = self.complaints("CodeCache::_heaps")
        self.assertEqual(["Java frames are off: no CodeCache::_heaps in libjvm's tables"], hotspot.complaints)
        self.assertIsNone(hotspot.unwind(Registers(world.low + 100, world.stack, 0)))

    def test_a_missing_entry_switches_off_its_kind_alone(self):
        _, hotspot = self.complaints("StubRoutines::_call_stub_return_address")
        self.assertEqual(["frames of the call stub are off: no StubRoutines::_call_stub_return_address in libjvm's tables"],
                         hotspot.complaints)
        self.assertIn("interpreted", [kind.name for kind in hotspot.kinds])

    def test_without_names_compiled_frames_are_passed_all_the_same(self):
        world = World(leave_out=("ConstMethod::_name_index",))
        run = Run(world, world.compiled(NamesTest.TEXT, 4, 5))
        self.assertEqual(["names of methods are off: no ConstMethod::_name_index in libjvm's tables"], run.hotspot.complaints)
        self.assertEqual(run.return_to, run.caller().pc)

    def test_without_debug_information_compiled_frames_are_passed_all_the_same(self):
        world = World(leave_out=("PcDesc::_pc_offset",))
        run = Run(world, world.compiled(NamesTest.TEXT, 4, 5))
        self.assertEqual(1, len(run.hotspot.complaints))
        self.assertEqual(run.return_to, run.caller().pc)

    def test_offsets_that_make_no_sense_count_as_missing(self):
        _, hotspot = self.complaints(change={"CodeBlob::_size": 0x7fff_ffff_f000})
        self.assertRegex(hotspot.complaints[0], "^Java frames are off: CodeBlob::_size has offset ")

    def test_offsets_that_are_merely_wrong_give_no_frames_and_no_error(self):
        for name in ("CodeHeap::_segmap", "CodeBlob::_size", "CodeBlob::_frame_size", "GrowableArray<int>::_data",
                     "CodeBlob::_name", "Method::_constMethod", "nmethod::_scopes_pcs_offset", "CompiledMethod::_method",
                     "CodeBlob::_code_begin"):
            with self.subTest(name=name):
                world = World(change={name: 0x2c8})
                method = world.method("Mix", "f", "()V")
                start = world.compiled(NamesTest.TEXT, 4, 5, method)
                run = Run(world, start)
                registers = Registers(run.pc, run.sp, run.fp, top=True)
                caller = run.hotspot.unwind(registers)
                run.hotspot.java_frames.of(registers, caller)
                self.assertIn(caller and caller.pc, (None, run.return_to))
