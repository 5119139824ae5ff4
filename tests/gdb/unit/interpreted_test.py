"""Frames of the interpreter: standing, being entered, being left."""
import unittest

from frames_test import code
from hotspot_world import World
from quor.hotspot import javaframes
from quor.hotspot.frames.interpreted import InterpretedFrames
from quor.hotspot.frames.registers import AX, BX, DX, R13, SI, Registers

_NATIVE = 0x100
# pop %rax; nop; push $0; push %rax; push %rbp; mov %rsp,%rbp; push %r13; push $0; nop
ENTRY = code("90", "58", "90", "6a00", "50", "55", "488bec", "4155", "6a00", "90")
# leave; pop %rdi; mov %rbx,%rsp; jmp *%rdi
LEAVING = code("c9", "5f", "488be3", "ffe7")
# leave; pop %rsi; mov %rbx,%rsp; cmp 0x620(%r15),%rsp; jb +11; movq $0,0x620(%r15); jmp *%rsi
LEAVING_25 = code("c9", "5e", "488be3", "493ba720060000", "720b", "49c7872006000000000000", "ffe6")
# leave; pop %rdx; mov %rbx,%rsp; push %rax; push %rdx; mov %rdx,%rsi; call; mov %rax,%rbx; pop %rdx; pop %rax; jmp *%rbx
TO_THE_HANDLER = code("c9", "5a", "488be3", "50", "52", "488bf2", "e800010000", "488bd8", "5a", "58", "ffe3")

# call; add $8,%rsp; sub $8,%rsp; nop; add $8,%rsp; pop %rax; mov %r13,%rsp; jmp *%rax
OF_A_COMPUTATION = code("e800010000", "4883c408", "4883ec08", "90", "4883c408", "58", "498be5", "ffe0")


class InterpretedTest(unittest.TestCase):
    def make(self, word_size=8, flags=1, new=False):
        self.world = world = World(word_size, new)
        self.word = word_size
        self.start = world.blob("Interpreter", ENTRY + LEAVING + b"\x90" * 64)
        self.pc = world.code_of(self.start) + 60
        self.method = world.method("Mix", "f", "(I)V", lines=[(0, 31), (6, 40)], source="Mix.java", flags=flags,
                                   entry=world.code_of(self.start))
        self.fp = world.stack + 0x1000
        self.bcp = world.bytecodes_of(self.method) + 7
        world.push_words(self.fp - 8 * word_size, self.bcp, 0, 0, 0, 0, self.method, 0, self.fp + 6 * word_size,
                         self.fp + 0x100, self.pc)
        self.hotspot = world.hotspot()
        return world

    def registers(self, read=None, top=False, sp=None, pc=None):
        return Registers(pc or self.pc, self.fp - 10 * self.word if sp is None else sp, self.fp, (read or {}).get, top)

    def frame(self, registers):
        caller = self.hotspot.unwind(registers)
        return caller, self.hotspot.java_frames.of(registers, caller)[0]

    def test_the_caller_comes_from_the_slots_in_both_widths(self):
        for word_size in (4, 8):
            self.make(word_size)
            caller, java = self.frame(self.registers())
            self.assertEqual((self.pc, self.fp + 6 * word_size, self.fp + 0x100), (caller.pc, caller.sp, caller.fp))
            self.assertEqual(("Mix.f(int) (Mix.java:40)", 7, javaframes.INTERPRETED), (java.text, java.bci, java.kind))

    def test_at_the_top_the_register_tells_the_bytecode(self):
        for word_size, register in ((8, R13), (4, SI)):
            self.make(word_size)
            _, java = self.frame(self.registers({register: self.bcp - 5}, top=True))
            self.assertEqual((2, 31), (java.bci, java.line))

    def test_a_register_that_points_elsewhere_does_not(self):
        self.make()
        _, java = self.frame(self.registers({R13: self.bcp + 1000}, top=True))
        self.assertEqual(7, java.bci)

    def test_a_native_method_has_no_bytecode(self):
        self.make(flags=1 | _NATIVE)
        _, java = self.frame(self.registers())
        self.assertEqual(("Mix.f(int) <native>", None), (java.text, java.bci))

    def test_stale_memory_is_no_standing_frame(self):
        self.make()
        self.assertIsNone(self.hotspot.kind(InterpretedFrames).method_of(self.registers(sp=self.fp - self.word)))

    def test_a_method_without_a_bytecode_is_no_standing_frame(self):
        self.make()
        self.world.push_words(self.fp - 8 * self.word, 0x1234)
        self.assertIsNone(self.hotspot.kind(InterpretedFrames).method_of(self.registers()))

    def test_a_frame_that_deoptimisation_has_not_filled_in_yet_is_passed_by_fp(self):
        self.make()
        self.world.push_words(self.fp - 3 * self.word, 0)
        caller = self.hotspot.unwind(self.registers())
        self.assertEqual((self.pc, self.fp + 0x100), (caller.pc, caller.fp))

    # pc offset in ENTRY: where the return address is, and what lies on the stack from sp on
    def test_while_it_is_entered_the_code_tells_where_the_return_address_is(self):
        caller_fp = 0x7777
        for offset, in_register, stack in ((0, False, ["ret"]), (1, False, ["ret"]), (2, True, []), (5, True, [0]),
                                           (6, False, ["ret", 0]), (7, False, ["fp", "ret", 0])):
            with self.subTest(offset=offset):
                self.make()
                sp = self.world.stack + 0x2000
                sender = sp + 0x40
                self.world.push_words(sp, *({"ret": self.pc, "fp": caller_fp}.get(each, each) for each in stack), 0, 0)
                read = {BX: self.method, R13: sender, AX: self.pc if in_register else 0}
                registers = Registers(self.world.code_of(self.start) + offset, sp, caller_fp, read.get, True)
                caller, java = self.frame(registers)
                self.assertEqual((self.pc, sender, caller_fp), (caller.pc, caller.sp, caller.fp))
                self.assertEqual(("Mix.f(int) (Mix.java:31)", 0), (java.text, java.bci))

    def test_behind_the_new_fp_the_method_is_known_before_its_slot_is_filled(self):
        self.make()
        fp = self.world.stack + 0x2000
        self.world.push_words(fp - 8, fp + 0x40, 0x7777, self.pc)
        read = {BX: self.method, R13: fp + 0x40}
        caller, java = self.frame(Registers(self.world.code_of(self.start) + 12, fp - 8, fp, read.get, True))
        self.assertEqual((self.pc, fp + 0x40, 0x7777), (caller.pc, caller.sp, caller.fp))
        self.assertEqual("Mix.f(int) (Mix.java:31)", java.text)

    def test_behind_the_new_fp_the_sender_s_sp_comes_from_its_slot(self):
        self.make(4)
        fp = self.world.stack + 0x2000
        self.world.push_words(fp - 4, fp + 0x40, 0x7777, self.pc)
        read = {BX: self.method, SI: fp + 0x9000}  # the bytecodes may lie just above the stack
        entry = code("90", "58", "90", "6a00", "50", "55", "8bec", "56", "6a00", "90")
        self.world.image.write(self.world.code_of(self.start), entry)
        self.hotspot.forget()
        caller, _ = self.frame(Registers(self.world.code_of(self.start) + 10, fp - 4, fp, read.get, True))
        self.assertEqual((self.pc, fp + 0x40, 0x7777), (caller.pc, caller.sp, caller.fp))

    def test_when_it_was_left_the_caller_s_own_sp_counts(self):
        caller_fp = 0x7777
        for offset, stack, read in ((1, ["ret"], {}), (2, [], {7: "ret"}), (5, [], {7: "ret"})):
            with self.subTest(offset=offset):
                self.make()
                sp = self.world.stack + 0x2000
                self.world.push_words(sp, *(self.pc for _ in stack), 0)
                sender = sp if offset == 5 else sp + 0x40
                values = {BX: sender, **{number: self.pc for number in read}}
                pc = self.world.code_of(self.start) + len(ENTRY) + offset
                caller = self.hotspot.unwind(Registers(pc, sp, caller_fp, values.get, True))
                self.assertEqual((self.pc, sender, caller_fp), (caller.pc, caller.sp, caller.fp))

    def check_leaving(self, text, steps):
        """`steps`: (offset, what lies on the stack from sp on, how far sp is from the caller's, registers) behind `leave`."""
        for offset, stack, distance, holds in steps:
            with self.subTest(offset=offset):
                self.make()
                base = self.world.code_of(self.start) + len(ENTRY)
                self.world.image.write(base, text)
                sp = self.world.stack + 0x2000
                self.world.push_words(sp, *(self.pc if each == "ret" else each for each in stack), 0, 0)
                values = {number: self.pc if value == "ret" else value for number, value in holds.items()}
                values.setdefault(BX, sp + distance)
                caller = self.hotspot.unwind(Registers(base + offset, sp, 0x7777, values.get, offset != 15))
                self.assertEqual((self.pc, sp + distance, 0x7777), (caller.pc, caller.sp, caller.fp))

    def test_what_is_done_between_the_caller_s_sp_and_the_jump_back(self):
        self.check_leaving(LEAVING_25, ((1, ["ret"], 0x40, {}), (2, [], 0x40, {SI: "ret"}), (5, [], 0, {SI: "ret"}),
                                        (12, [], 0, {SI: "ret"}), (14, [], 0, {SI: "ret"}), (25, [], 0, {SI: "ret"})))

    def test_where_the_handler_of_an_exception_is_looked_for_behind_the_frame_that_was_left(self):
        self.check_leaving(TO_THE_HANDLER, ((5, [], 0, {DX: "ret"}), (6, [1], 8, {DX: "ret"}), (7, ["ret", 1], 16, {DX: "ret"}),
                                            (10, ["ret", 1], 16, {DX: 0}), (15, ["ret", 1], 16, {}),
                                            (18, ["ret", 1], 16, {BX: 0x10}), (19, [1], 8, {DX: "ret", BX: 0x10}),
                                            (20, [], 0, {DX: "ret", BX: self.a_handler()})))

    def test_a_method_that_the_interpreter_computes_without_a_frame(self):
        self.make()
        base = self.world.code_of(self.start) + len(ENTRY)
        self.world.image.write(base, OF_A_COMPUTATION)
        sp = self.world.stack + 0x2000
        self.world.push_words(sp, 1, self.pc, 0, 0)
        for offset, at, top in ((5, 0, False), (9, 8, True), (13, 0, True), (14, 0, True), (18, 8, True)):
            for sender in (sp + 0x40, None):  # who calls does not keep the register
                with self.subTest(offset=offset, sender=sender):
                    # the caller's frame, which fp belongs to
                    read = {R13: sender}.get
                    caller = self.hotspot.unwind(Registers(base + offset, sp + at, self.fp + 0x4000, read, top))
                    self.assertEqual((self.pc, sender or sp + 16, self.fp + 0x4000), (caller.pc, caller.sp, caller.fp))

    def a_handler(self):
        self.make()
        return self.pc + 4
