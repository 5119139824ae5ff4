import unittest

from process_image import Image
from quor.hotspot import flow
from quor.hotspot.codecache import Blob


class FlowTest(unittest.TestCase):
    def code(self, text, word_size=8):
        image = Image(word_size)
        image.map(0x1000, 0x1000)
        data = bytes.fromhex(text)
        image.write(0x1000, data)
        self.blob = Blob(0x1000, 0x1000 + len(data), 0x1000, "blob", 0, 0x1000, False)
        return flow.Code(image.memory)

    def test_pushes_move_the_return_address_away(self):
        state = flow.at(self.code("5350"), 0x1000, 0x1002)  # push %rbx; push %rax
        self.assertEqual((16, None, False), (state.ret, state.fp_at, state.by_frame))

    def test_a_state_is_carried_over_a_forward_jump_to_its_target(self):
        # push %rbx; jmp +1; ret; pop %rbx
        state = flow.at(self.code("53" "eb01" "c3" "5b"), 0x1000, 0x1004)
        self.assertEqual(8, state.ret)

    def test_behind_a_return_another_entry_begins(self):
        self.assertEqual(0, flow.at(self.code("53" "c3" "90"), 0x1000, 0x1002).ret)

    def test_code_with_one_entry_is_not_known_behind_a_jump_before_the_jump_s_target(self):
        code = self.code("53" "eb02" "9090" "5b")  # push %rbx; jmp +2; nop; nop; pop %rbx
        self.assertIsNone(flow.at(code, 0x1000, 0x1004, entries=False))
        self.assertEqual(8, flow.at(code, 0x1000, 0x1005, entries=False).ret)

    def test_where_sp_is_aligned_its_copy_tells(self):
        # push %rbx; mov %rsp,%r13; and $-16,%rsp; pushf; popf; mov %r13,%rsp; pop %rbx
        code = self.code("53" "4c8bec" "4883e4f0" "9c" "9d" "498be5" "5b")
        for pc in (0x1008, 0x1009, 0x100a):
            self.assertEqual((None, (13, 8)), (lambda state: (state.ret, state.copy))(flow.at(code, 0x1000, pc)))
        self.assertEqual(8, flow.at(code, 0x1000, 0x100d).ret)

    def test_a_copy_of_sp_that_calls_do_not_preserve_tells_nothing(self):
        self.assertIsNone(flow.at(self.code("4c8bdc" "4883e4f0" "90"), 0x1000, 0x1007))  # mov %rsp,%r11; and $-16,%rsp

    def test_a_pc_within_an_instruction_cannot_be_told(self):
        self.assertIsNone(flow.at(self.code("4883ec10"), 0x1000, 0x1002))

    def test_sp_from_an_unknown_source_cannot_be_told(self):
        self.assertIsNone(flow.at(self.code("498be3" "90"), 0x1000, 0x1003))  # mov %r11,%rsp

    def test_the_exit_adds_up_what_is_popped(self):
        way = flow.to_exit(self.code("4883c418" "5d" "c3"), 0x1000, self.blob, 10)
        self.assertEqual(("return", 32, 24), (way.kind, way.ret, way.fp_at))

    def test_a_jump_within_the_blob_ends_it_unless_followed(self):
        code = self.code("4883c408" "eb01" "cc" "c3")
        self.assertEqual(("inside", 8), (lambda way: (way.kind, way.extra))(flow.to_exit(code, 0x1000, self.blob, 10)))
        self.assertEqual(("return", 8), (lambda way: (way.kind, way.ret))(flow.to_exit(code, 0x1000, self.blob, 10, follow=True)))

    def test_a_loop_ends(self):
        self.assertEqual("unknown", flow.to_exit(self.code("ebfe"), 0x1000, self.blob, 1000, follow=True).kind)

    def test_out_of_a_loop_leads_the_branch_that_was_passed(self):
        code = self.code("90" "7403" "ebfb" "f4" "5b" "c3")  # nop; je +3; jmp -5; hlt; pop %rbx; ret
        self.assertEqual(("return", 8), (lambda way: (way.kind, way.ret))(flow.to_exit(code, 0x1000, self.blob, 10, follow=True)))

    def test_a_leave_leads_through_fp(self):
        way = flow.to_exit(self.code("90" "c9" "4883c408" "c3"), 0x1000, self.blob, 10)
        self.assertEqual((True, 16, 0), (way.by_frame, way.ret, way.fp_at))

    def test_code_that_never_returns_is_unknown(self):
        self.assertEqual("unknown", flow.to_exit(self.code("90f4"), 0x1000, self.blob, 10).kind)

    def test_memory_that_is_not_there_is_unknown(self):
        code = self.code("90")
        self.assertEqual("unknown", flow.to_exit(code, 0x5000, self.blob, 10).kind)
        self.assertIsNone(flow.at(code, 0x5000, 0x5004))
