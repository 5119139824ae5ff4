"""Frames of fixed size and stubs: at every instruction of their code the caller is found."""
import unittest

from hotspot_world import World
from quor.hotspot import x86
from quor.hotspot.frames.registers import AX, DX, R13, Registers

FP_OF_CALLER = 0x7777_7770
BANG = "89842400c0feff"  # mov %eax,-0x14000(%rsp)
CALL = "e800010000"


def code(*parts):
    return bytes.fromhex("".join(parts))


class Run:
    """Executes code from its entry, as far as sp and fp go: calls return at once, branches are not taken."""

    def __init__(self, world, start, decoys=True):
        self.world, self.word = world, world.word
        self.pc = world.code_of(start)
        caller = world.compiled(b"\x90" * 5 + code(CALL) + b"\x90" * 20, 4, 5)
        self.return_to = world.code_of(caller) + 10
        self.bottom = world.stack + 0x2000
        if decoys:  # stale return addresses wherever one may look
            self.decoy = world.code_of(world.compiled(b"\x90" * 5 + code(CALL) + b"\x90" * 20, 4, 5)) + 10
            world.push_words(self.bottom - 0x100, *[self.decoy] * (0x200 // self.word))
        self.sp, self.fp = self.bottom, FP_OF_CALLER & ((1 << (8 * self.word)) - 1)
        self.registers = {}
        self.push(self.return_to)
        self.hotspot = world.hotspot()

    def push(self, value):
        self.sp -= self.word
        self.world.image.put_word(self.sp, value)

    def pop(self):
        self.sp += self.word
        return self.world.image.memory.word(self.sp - self.word)

    def step(self):
        """One instruction; False at the return."""
        length, what, value = self.hotspot.code.instruction(self.pc)
        self.pc += length
        if what == "push":
            self.push(self.fp if value == x86.FP else self.registers.get(value, 0xbad))
        elif what == "pop":
            popped = self.pop()
            if value == x86.FP:
                self.fp = popped
            self.registers[value] = popped
        elif what == "add":
            self.sp += value
        elif what == "set_fp":
            self.fp = self.sp
        elif what == "leave":
            self.sp = self.fp
            self.fp = self.pop()
        elif what == "restore_sp":
            self.sp = self.fp + value
        elif what == "save_fp":
            self.world.image.put_word(self.sp + value, self.fp)
        elif what == "store":
            if value[1] >= 0:
                self.world.image.put_word(self.sp + value[1], self.registers.get(value[0], 0xbad))
        elif what == "load_fp":
            self.fp = self.world.image.memory.word(self.sp + value)
        elif what == "move_sp":
            self.sp = self.registers[value]
        elif what in ("ret", "jump", "jump_register"):
            return False
        return True

    def caller(self, top=True):
        self.hotspot.forget()
        return self.hotspot.unwind(Registers(self.pc, self.sp, self.fp, self.registers.get, top))


class FramesTest(unittest.TestCase):
    def check_every_pc(self, make, word_size=8, new=False):
        """`make(world)` adds the blob; each of its instructions up to the return must lead to the caller."""
        world = World(word_size, new)
        run = Run(world, make(world))
        caller_fp = run.fp
        going = True
        count = 0
        while going:
            with self.subTest(offset=run.pc - run.hotspot.code_cache.find(run.pc).code, word_size=word_size, new=new):
                found = run.caller()
                self.assertIsNotNone(found)
                self.assertEqual((run.return_to, run.bottom, caller_fp), (found.pc, found.sp, found.fp))
            count += 1
            going = run.step()
        return count

    def test_a_method_that_pushes_fp_first(self):
        text = code(BANG, "55", "4883ec30", "90" * 4, CALL, "90" * 2, "4883c430", "5d", "493ba728030000", "0f8700020000", "c3")
        for new in (False, True):
            self.assertEqual(15, self.check_every_pc(lambda world: world.compiled(text, 8, 12), new=new))

    def test_a_method_that_makes_room_first_and_stores_fp(self):
        text = code(BANG, "4883ec18", "48896c2410", "90" * 3, CALL, "90", "488b6c2410", "4883c418", "c3")
        self.check_every_pc(lambda world: world.compiled(text, 4, 16))

    def test_a_method_so_long_that_its_end_is_seen_in_part_only(self):
        text = code("55", "4883ec10", "90" * 70, "4883c410", "5d", "c3")
        self.check_every_pc(lambda world: world.compiled(text, 4, 5))

    def test_a_narrow_method(self):
        text = code(BANG, "55", "83ec18", "90" * 3, CALL, "90", "83c418", "5d", "3b40100f8700020000", "c3")
        self.check_every_pc(lambda world: world.compiled(text, 8, 11), word_size=4)

    def test_pushes_around_an_inner_call_of_a_narrow_method(self):
        text = code("55", "83ec18", "90" * 2, "50", "52", "51", CALL, "59", "5a", "58", "90" * 3, "83c418", "5d",
                    "50", "52", "51", CALL, "59", "5a", "58", "3b40100f8700020000", "c3")
        self.check_every_pc(lambda world: world.compiled(text, 8, 4), word_size=4)

    def test_pushes_around_an_inner_call_far_from_the_end_of_a_narrow_method(self):
        text = code("55", "83ec18", "50", "52", "51", CALL, "59", "5a", "58", "90" * 80, "83c418", "5d", "c3")
        self.check_every_pc(lambda world: world.compiled(text, 8, 4), word_size=4)

    def test_code_before_the_verified_entry(self):
        text = code("448b5608", "493bc2", "0f8500020000", BANG, "55", "4883ec10", "90" * 2, "4883c410", "5d", "c3")
        self.check_every_pc(lambda world: world.compiled(text, 4, 25))

    def test_a_method_that_leaves_by_a_jump_to_a_stub(self):
        text = code("55", "4883ec10", "90", "4883c410", "5d", "e900100000")
        self.check_every_pc(lambda world: world.compiled(text, 4, 5))

    def test_the_way_to_a_poll_behind_a_call_that_never_returns(self):
        # push %rbp; sub $0x10,%rsp; add $0x10,%rsp; pop %rbp; ja +6; ret; call; movabs $..,%r10; mov %r10,0x358(%r15); jmp away
        text = code("55", "4883ec10", "4883c410", "5d", "7706", "c3", CALL, "49ba8609590000000000", "4d899758030000", "e900100000")
        behind = 18
        world = World()
        method = world.method("Mix", "f", "()V", lines=[(0, 31)])
        run = Run(world, world.compiled(text, 4, 5, method, descriptions=[(behind, [(1, 4)])], metadata=[method]))
        base = run.pc
        for offset in (behind, behind + 10, behind + 17):
            run.pc = base + offset
            found = run.caller()
            self.assertEqual((run.return_to, run.bottom, FP_OF_CALLER), (found.pc, found.sp, found.fp), offset)
        # one that did not come to that by a jump has the frame standing
        world.push_words(run.bottom - 0x20, run.decoy, 0, FP_OF_CALLER)
        run.pc, run.sp = base + behind, run.bottom - 0x20
        found = run.caller(top=False)
        self.assertEqual((run.return_to, run.bottom, FP_OF_CALLER), (found.pc, found.sp, found.fp))

    def test_a_call_that_never_returns_is_not_followed(self):
        # push %rbp; sub $0x10,%rsp; nop; call; jmp away: what stands behind the call belongs to something else
        for name in ("throw_null_pointer_exception Runtime1 stub", "UncommonTrapBlob"):
            world = World()
            stub = world.blob(name, b"\x90" * 16, 2)
            start = world.compiled(code("55", "4883ec10", "90", "e800000000", "e900100000"), 4, 5)
            run = Run(world, start)
            call = world.code_of(start) + 6
            world.image.write(call + 1, (world.code_of(stub) - call - 5).to_bytes(4, "little", signed=True))
            self.assertEqual(4, self.check_each_step(run, call + 5))

    def check_each_step(self, run, end):
        """Each instruction up to `end` must lead to the caller; gives how many those are."""
        count = 0
        while run.pc < end:
            found = run.caller()
            self.assertIsNotNone(found, hex(run.pc))
            self.assertEqual((run.return_to, run.bottom, FP_OF_CALLER), (found.pc, found.sp, found.fp), hex(run.pc))
            run.step()
            count += 1
        return count

    def test_the_way_to_the_handler_of_exceptions_has_the_frame_standing(self):
        # push %rbp; sub $0x10,%rsp; add $0x10,%rsp; pop %rbp; ret; nop; jmp to the blob
        world = World()
        blob = world.blob("ExceptionBlob", b"\x90" * 16, 2)
        text = code("55", "4883ec10", "4883c410", "5d", "c3", "90")
        start = world.compiled(text + b"\xe9" + bytes(4), 4, 5)
        run = Run(world, start)
        jump = world.code_of(start) + len(text)
        world.image.write(jump + 1, (world.code_of(blob) - jump - 5).to_bytes(4, "little", signed=True))
        run.sp = run.bottom - 0x20
        world.image.put_word(run.bottom - 16, FP_OF_CALLER)
        for run.pc in (jump - 1, jump):
            found = run.caller()
            self.assertEqual((run.return_to, run.bottom, FP_OF_CALLER), (found.pc, found.sp, found.fp))

    def test_a_native_wrapper_that_moves_sp_around_a_call(self):
        text = code("55", "488bec", "4883ec20", "90", "4883ec08", CALL, "4883c408", "90", "c9", "c3")
        self.check_every_pc(lambda world: world.compiled(text, 6, 8, name="native nmethod"))

    def test_a_stub_with_a_frame_of_fixed_size(self):
        text = code("55", "488bec", "4883ec40", "48891c24", "90", CALL, "488b1c24", "c9", "c3")
        self.check_every_pc(lambda world: world.blob("_new_instance_Java", text, 10))

    def test_a_narrow_stub_that_pushes_an_argument_beyond_its_frame(self):
        text = code("55", "8bec", "60", "9c", "83ec20", "57", CALL, "59", "83c420", "9d", "61", "c9", "c3")
        self.check_every_pc(lambda world: world.blob("resolve_static_call", text, 19), word_size=4)

    def test_a_stub_without_a_frame(self):
        self.check_every_pc(lambda world: world.blob("StubRoutines (1)", code("53", "51", "90", "59", "5b", "c3")))

    def test_a_stub_with_fp(self):
        text = code("55", "488bec", "53", "51", "90" * 3, "59", "5b", "c9", "c3")
        self.check_every_pc(lambda world: world.blob("StubRoutines (1)", text))

    def test_a_long_stub_at_its_beginning(self):
        # push fp; mov sp,fp; sub $0x68,sp, and more than is followed to its end
        for word_size, text in ((8, code("55", "488bec", "4883ec68")), (4, code("55", "8bec", "83ec68"))):
            world = World(word_size)
            run = Run(world, world.blob("StubRoutines (1)", text + b"\x90" * 400))
            run.fp = caller_fp = run.bottom + 0x20  # the caller's frame, whose return address lies above it
            for _ in range(4):
                with self.subTest(pc=hex(run.pc)):
                    found = run.caller()
                    self.assertEqual((run.return_to, run.bottom, caller_fp), (found.pc, found.sp, found.fp))
                run.step()

    def test_the_stub_that_looks_for_an_exception_s_handler_and_hands_it_the_return_address(self):
        # mov (%rsp),%rdi; test $15,%esp; je +15; sub $8,%rsp; call; add $8,%rsp; jmp +5; call; mov %rax,%rbx; pop %rdx;
        # mov 8(%r15),%rax; movq $0,8(%r15); jmp *%rbx
        text = code("488b3c24", "f7c40f000000", "740f", "4883ec08", CALL, "4883c408", "eb05", CALL, "488bd8", "5a", "498b4708",
                    "49c7470800000000", "ffe3")
        world = World()
        run = Run(world, world.blob("StubRoutines (1)", text))
        base, entered = run.pc, run.sp
        run.fp = run.bottom + 0x20  # as the caller uses it
        for offset, moved in ((0, 0), (4, 0), (10, 0), (12, 0), (16, -8), (21, -8), (25, 0), (27, 0), (32, 0), (35, 0), (36, 8),
                              (40, 8), (48, 8)):
            with self.subTest(offset=offset):
                run.pc, run.sp = base + offset, entered + moved
                run.registers[DX] = run.return_to if moved > 0 else 0
                found = run.caller()
                self.assertEqual((run.return_to, run.bottom, run.fp), (found.pc, found.sp, found.fp))

    def test_an_operand_that_looks_like_the_hand_over_does_not_mislead(self):
        # mov 0x24(%rdx),%ebx; mov 0x10(%rbx),%rbx; test %rbx,%rbx; je +6; jmp *0x40(%rbx); jmp away
        world = World()
        run = Run(world, world.blob("native nmethod", code("8b5a24", "488b5b10", "4885db", "7403", "ff6340", "e900100000")))
        run.fp = run.bottom + 0x20
        base = run.pc
        for offset in (0, 3, 7, 10, 12):
            run.pc = base + offset
            found = run.caller()
            self.assertEqual((run.return_to, run.bottom), (found.pc, found.sp), offset)

    def test_a_stub_that_keeps_a_word_between_fp_and_the_return_address(self):
        text = code("6aff", "55", "488bec", "57", "4883ec20", CALL, "4883c420", "5f", "83f801", "c9", "4883c408", "c3")
        self.check_every_pc(lambda world: world.blob("StubRoutines (finalstubs)", text))

    def test_an_adapter_that_holds_the_return_address_in_a_register(self):
        text = code("58", "90", "50", "ffe1")
        world = World()
        run = Run(world, world.blob("I2C/C2I adapters", text))
        sender = run.sp + 8
        for _ in range(4):
            run.registers[R13] = sender
            found = run.caller()
            self.assertEqual((run.return_to, sender), (found.pc, found.sp), run.pc)
            run.step()

    def check_adapter(self, text, steps, registers, changes, first=0):
        """At so many instructions from offset `first` on the caller must be found. `registers(run)`: those at the first of them;
        `changes`: what nobody executes here, {offset: function of the run}."""
        world = World()
        run = Run(world, world.blob("I2C/C2I adapters", text))
        base, sender = run.pc, run.sp + 8
        run.registers.update(registers(run))
        run.pc += first
        for _ in range(steps):
            offset = run.pc - base
            with self.subTest(offset=offset):
                if offset in changes:
                    run.registers.update(changes[offset](run))
                found = run.caller()
                self.assertEqual((run.return_to, sender), (found.pc, found.sp))
            run.step()

    def test_an_adapter_that_overwrites_that_register_once_the_return_address_is_stored(self):
        # pop %rax; mov %rsp,%r13; sub $0x20,%rsp; mov %rax,(%rsp); mov 0x30(%rsp),%rax; mov %rax,0x18(%rsp); nop; jmp *%rcx
        self.check_adapter(code("58", "4c8bec", "4883ec20", "48890424", "488b442430", "4889442418", "90", "ffe1"), 8,
                           lambda run: {R13: run.bottom}, {17: lambda run: {AX: run.decoy}})  # an argument that looks like code

    def test_an_adapter_to_compiled_code_that_aligns_sp_and_pushes_the_return_address_again(self):
        # mov (%rsp),%rax; mov %rsp,%r11; sub $0x10,%rsp; and $-16,%rsp; push %rax; mov %r11,%rax; mov 0x18(%rax),%rdx; jmp *%r11
        def align(run):
            run.sp -= 8
            return {}

        self.check_adapter(code("488b0424", "4c8bdc", "4883ec10", "4883e4f0", "50", "498bc3", "488b5018", "41ffe3"), 8,
                           lambda run: {AX: run.return_to, R13: run.bottom}, {15: align, 19: lambda run: {AX: run.bottom}})

    def test_an_adapter_that_need_not_call_the_vm(self):
        # je L; mov %rsp,%r13; mov (%rsp),%rax; and $-16,%rsp; pushf; call; popf; mov %r13,%rsp;
        # L: lea 8(%rsp),%r13; pop %rax; sub $0x20,%rsp; push %rax; nop; jmp *%rcx
        self.check_adapter(code("7415", "4c8bec", "488b0424", "4883e4f0", "9c", CALL, "9d", "498be5",
                                "4c8d6c2408", "58", "4883ec20", "50", "90", "ffe1"), 6,
                           lambda run: {R13: run.sp - 0x20, AX: run.decoy},  # of something else before
                           {28: lambda run: {R13: run.bottom}}, first=23)

    def test_an_adapter_that_calls_the_vm_with_sp_aligned(self):
        # mov %rsp,%r13; mov (%rsp),%rax; and $-16,%rsp; pushf; sub $0x80,%rsp; call; add $0x80,%rsp; popf; mov %r13,%rsp; jmp *%rcx
        world = World()
        start = world.blob("I2C/C2I adapters", code("4c8bec", "488b0424", "4883e4f0", "9c", "4881ec80000000", CALL,
                                                    "4881c480000000", "9d", "498be5", "ffe1"))
        run = Run(world, start)
        before, base = run.sp, world.code_of(start)
        run.registers.update({R13: before, AX: run.decoy})  # the call leaves what it likes in rax
        for offset, sp in ((3, before), (7, before), (11, before - 8), (12, before - 16), (24, before - 0x90),
                           (31, before - 16), (35, before)):
            with self.subTest(offset=offset):
                run.pc, run.sp = base + offset, sp
                found = run.caller(top=offset != 24)
                self.assertIsNotNone(found)
                self.assertEqual((run.return_to, run.bottom, run.fp), (found.pc, found.sp, found.fp))

    def test_a_method_whose_prologue_is_followed_by_a_jump(self):
        # push %rbp; sub $0x10,%rsp; jmp +2; nop; nop; nop; add $0x10,%rsp; pop %rbp; ret
        text = code("55", "4883ec10", "eb02", "9090", "90", "4883c410", "5d", "c3")
        world = World()
        run = Run(world, world.compiled(text, 4, len(text)))
        base = run.pc
        world.push_words(run.bottom - 0x20, run.return_to)  # a stale word at sp
        for offset in (7, 8, 9):  # behind the jump, and at its target
            run.pc, run.sp = base + offset, run.bottom - 0x20
            found = run.caller()
            self.assertEqual((run.return_to, run.bottom), (found.pc, found.sp), offset)

    def test_the_handler_of_exceptions_that_is_jumped_to_with_the_return_address_in_a_register(self):
        # push %edx; sub $8,%esp; mov %ebp,4(%esp); call; mov 4(%esp),%ebp; add $8,%esp; pop %edx; jmp *%eax
        world = World(4)
        run = Run(world, world.blob("ExceptionBlob", code("52", "83ec08", "896c2404", CALL, "8b6c2404", "83c408", "5a", "ffe0"), 3))
        run.sp = run.bottom
        world.push_words(run.bottom, run.return_to, run.return_to)  # stale words in the frame of the method that threw
        run.registers[DX] = run.return_to + 5
        world.image.write(run.return_to, code(CALL))  # another call there, which the exception comes from
        going = True
        while going:
            found = run.caller()
            self.assertIsNotNone(found, hex(run.pc))
            self.assertEqual((run.return_to + 5, run.bottom), (found.pc, found.sp), hex(run.pc))
            going = run.step()

    def test_the_same_handler_where_it_aligns_sp_for_its_call(self):
        # push %rdx; sub $8,%rsp; mov %rbp,(%rsp); and $-16,%rsp; call; mov (%rsp),%rbp; add $8,%rsp; pop %rdx; jmp *%r8
        text = code("52", "4883ec08", "48892c24", "4883e4f0", CALL, "488b2c24", "4883c408", "5a", "41ffe0")
        world = World()
        run = Run(world, world.blob("ExceptionBlob", text, 2))
        run.sp = run.bottom
        run.registers[DX] = run.return_to
        going = True
        while going:
            found = run.caller()
            self.assertIsNotNone(found, hex(run.pc))
            self.assertEqual((run.return_to, run.bottom, FP_OF_CALLER), (found.pc, found.sp, found.fp), hex(run.pc))
            going = run.step()

    def test_the_same_handler_where_it_keeps_the_method_s_on_the_stack(self):
        # push %eax; mov 0x274(%ecx),%edx; movl $0,0x270(%ecx); pop %ecx; jmp *%ecx
        text = code("50", "8b9174020000", "c7817002000000000000", "59", "ffe1")
        world = World(4)
        run = Run(world, world.blob("ExceptionBlob", code("52", "83ec08", "83c408", "5a") + text, 3))
        run.sp = run.bottom
        run.registers[DX] = run.return_to
        world.image.put_word(run.bottom - 4, run.return_to + 3)  # within a method, behind no call
        base = run.pc + 8
        for offset, depth in ((0, 0), (1, 4), (7, 4), (17, 4), (18, 0)):
            run.pc, run.sp = base + offset, run.bottom - depth
            found = run.caller()
            self.assertIsNotNone(found, offset)
            self.assertEqual((run.return_to, run.bottom), (found.pc, found.sp), offset)

    def test_the_handler_of_exceptions_that_a_method_made_without_a_call(self):
        # mov 0x3d0(%r15),%rax; mov 0x3d8(%r15),%rdx; movq $0,0x3d0(%r15); jmp *%r8
        text = code("498b87d0030000", "498b97d8030000", "49c787d003000000000000", "41ffe0")
        world = World()
        run = Run(world, world.blob("ExceptionBlob", code("52", "4883ec10", "4883c410", "5a") + text, 4))
        fault = run.registers[DX] = run.return_to + 3
        run.sp = run.bottom
        base = run.pc + 10
        for offset in (0, 7, 14, 25):
            run.pc = base + offset
            found = run.caller()
            self.assertIsNotNone(found, offset)
            self.assertEqual((fault, run.bottom), (found.pc, found.sp), offset)

    def test_a_method_within_which_the_compiler_s_code_for_strings_lowers_sp(self):
        # push %ebp; sub $0x10,%esp; mov %esp,%ecx; sub $0x10,%esp; push %esi; push %edi; push %ecx; and a loop
        world = World(4)
        run = Run(world, world.compiled(code("55", "83ec10", "8bcc", "83ec10", "56", "57", "51", "ebfe"), 6, 4), decoys=False)
        base, standing = run.pc, run.bottom - 0x18
        world.image.put_word(run.bottom - 8, run.fp)
        for offset, lower in ((9, 0x10), (10, 0x14), (11, 0x18), (12, 0x1c)):
            run.pc, run.sp = base + offset, standing - lower
            found = run.caller()
            self.assertIsNotNone(found, offset)
            self.assertEqual((run.return_to, run.bottom, run.fp), (found.pc, found.sp, found.fp), offset)

    def test_a_stub_that_pops_the_return_address_and_jumps(self):
        # push %ebp; sub $8,%esp; add $8,%esp; pop %ebp; pop %edx; jmp *%ecx
        for name in ("_rethrow_Java", "C2 Runtime rethrow"):
            world = World(4)
            run = Run(world, world.blob(name, code("55", "83ec08", "83c408", "5d", "5a", "ffe1"), 4))
            run.registers[DX] = run.return_to
            run.pc, run.sp = run.pc + 9, run.bottom
            found = run.caller()
            self.assertIsNotNone(found)
            self.assertEqual((run.return_to, run.bottom), (found.pc, found.sp))

    def test_a_stub_that_returns_to_the_handler_of_an_exception(self):
        # push %rbp; mov %rsp,%rbp; sub $0x10,%rsp; nop; add $0x10,%rsp; leave; ret
        text = code("55", "488bec", "4883ec10", "90", "4883c410", "c9", "c3")
        for name, finds in (("handle_exception_nofpu Runtime1 stub", True), ("fast_new_instance Runtime1 stub", False)):
            world = World()
            run = Run(world, world.blob(name, text, 4), decoys=False)
            handler = run.return_to + 3  # within a method, behind no call
            world.push_words(run.sp, handler)
            going = True
            while going:
                found = run.caller()
                if finds:
                    self.assertEqual((handler, run.bottom), (found.pc, found.sp), hex(run.pc))
                else:
                    self.assertIsNone(found, hex(run.pc))
                going = run.step()

    def test_a_leftover_return_address_does_not_mislead_a_standing_frame(self):
        world = World()
        run = Run(world, world.compiled(code("55", "4883ec10", "90" * 80, "4883c410", "5d", "c3"), 4, 5))
        for _ in range(3):
            run.step()
        world.push_words(run.sp, run.return_to, run.return_to)  # stale words within the frame
        found = run.caller()
        self.assertEqual((run.return_to, run.bottom), (found.pc, found.sp))

    def test_a_frame_whose_caller_cannot_be_told_is_left_to_gdb(self):
        world = World()
        run = Run(world, world.compiled(code("55", "4883ec10", "90" * 80), 4, 5), decoys=False)
        world.push_words(run.bottom - 8, 0x1234)
        for _ in range(3):
            run.step()
        self.assertIsNone(run.caller())

    def test_native_code_as_a_stub_s_caller_counts_when_nothing_stronger_fits(self):
        world = World()
        start = world.blob("StubRoutines (1)", code("90", "c3"))
        world.push_words(world.stack + 0x1000, 0x5555_0000)
        registers = Registers(world.code_of(start), world.stack + 0x1000, 0, {AX: 0}.get, True)
        self.assertIsNone(world.hotspot().unwind(registers))
        world.natives.add(0x5555_0000)
        self.assertEqual(0x5555_0000, world.hotspot().unwind(registers).pc)

    def test_native_code_counts_before_stale_return_addresses_where_the_code_leads_to_it(self):
        world = World()
        run = Run(world, world.blob("flush_icache_stub", code("90", "0faee8", "90", "c3")))
        native = 0x5555_0000
        world.natives.add(native)
        world.push_words(run.sp, native)
        run.fp = run.bottom + 0x20
        for _ in range(4):
            self.assertEqual((native, run.bottom), (lambda found: (found.pc, found.sp))(run.caller()), hex(run.pc))
            run.step()


class SafepointTest(unittest.TestCase):
    CODE = code("53", "55", "488bec", "4883ec40", "90", CALL, "48895d08", "90")  # push %rbx; push %rbp; ...

    def test_until_the_return_address_is_filled_in_the_thread_tells_it(self):
        world = World()
        start = world.blob("SafepointBlob", self.CODE, 11)
        method = world.compiled(b"\x90" * 64, 4, 5, descriptions=[(20, [])])
        poll = world.code_of(method) + 20
        world.thread(saved_pc=poll)
        run = Run(world, start)
        run.sp = run.bottom  # it is jumped to, not called
        world.push_words(run.bottom - 8, 0)
        for _ in range(6):
            found = run.caller()
            self.assertEqual((poll, run.bottom, FP_OF_CALLER), (found.pc, found.sp, found.fp), hex(run.pc))
            run.step()

    def test_in_32_bits_registers_and_an_argument_are_pushed_beyond_its_frame(self):
        world = World(4)
        # push %ebx; push %ebp; mov %esp,%ebp; pusha; pushf; sub $0x20,%esp; push %edi; call; pop %ecx; nop
        start = world.blob("SafepointBlob", code("53", "55", "8bec", "60", "9c", "83ec20", "57", CALL, "59", "90"), 20)
        poll = world.code_of(world.compiled(b"\x90" * 64, 4, 5, descriptions=[(20, [])])) + 20
        world.thread(saved_pc=poll)
        run = Run(world, start)
        run.sp = run.bottom
        world.push_words(run.bottom - 4, 0)
        for count in range(9):
            found = run.caller(top=count != 7)
            self.assertEqual((poll, run.bottom, FP_OF_CALLER), (found.pc, found.sp, found.fp), hex(run.pc))
            run.step()

    def test_a_filled_in_return_address_counts(self):
        world = World()
        start = world.blob("SafepointBlob", self.CODE, 11)
        method = world.compiled(b"\x90" * 64, 4, 5, descriptions=[(20, [])])
        world.thread(saved_pc=0)
        run = Run(world, start)
        run.sp = run.bottom
        for _ in range(6):
            run.step()
        world.push_words(run.bottom - 8, world.code_of(method) + 20)
        self.assertEqual(world.code_of(method) + 20, run.caller(top=False).pc)


class CallStubTest(unittest.TestCase):
    # push %rbp; mov %rsp,%rbp; sub $0x60,%rsp; mov %r9,-8(%rbp); mov %rbx,-0x38(%rbp); mov %r15,-0x58(%rbp); call *%rsi;
    # cmp; je far; lea -0x60(%rbp),%rsp; restores; add $0x60,%rsp; pop %rbp; ret; the catching piece: nop; jmp to the return
    BEFORE = code("90c3", "55", "488bec", "4883ec60", "4c894df8", "48895dc8", "4c897da8", "ffd6")
    AFTER = code("83fe0c", "488d65a0", "4c8b7da8", "488b5dc8", "4883c460", "5d", "c3", "90")
    NATIVE = 0x5555_1234

    def setUp(self):
        self.world = world = World()
        back = -(len(self.AFTER) + 5)
        start = world.blob("StubRoutines (1)", self.BEFORE + self.AFTER + b"\xe9" + back.to_bytes(4, "little", signed=True))
        self.begin = world.code_of(start) + 2
        self.return_to = world.code_of(start) + len(self.BEFORE)
        world.image.put_word(world.statics["StubRoutines::_call_stub_return_address"], self.return_to)
        self.run_ = Run(world, start)
        self.run_.pc = self.begin
        world.push_words(self.run_.sp, self.NATIVE)

    def test_at_each_of_its_instructions_native_code_is_the_caller(self):
        going = True
        while going:
            found = self.run_.caller()
            self.assertEqual((self.NATIVE, self.run_.bottom, FP_OF_CALLER), (found.pc, found.sp, found.fp), hex(self.run_.pc))
            self.assertEqual("call stub", found.kind.name)
            going = self.run_.step()

    def test_the_registers_that_native_code_expects_come_from_where_the_code_stored_them(self):
        world, fp = self.world, self.run_.bottom - 16
        world.push_words(fp, FP_OF_CALLER, self.NATIVE)
        world.push_words(fp - 0x38, 0xb0b)
        world.push_words(fp - 0x58, 0xf15)
        found = world.hotspot().unwind(Registers(self.return_to, fp - 0x60, fp))
        self.assertEqual({3: 0xb0b, 15: 0xf15}, found.saved)

    def test_the_piece_that_catches_exceptions_has_the_frame_standing(self):
        world, fp = self.world, self.run_.bottom - 16
        world.push_words(fp, FP_OF_CALLER, self.NATIVE)
        found = world.hotspot().unwind(Registers(self.return_to + len(self.AFTER) - 1, fp - 0x60, fp, top=True))
        self.assertEqual((self.NATIVE, self.run_.bottom), (found.pc, found.sp))
