"""Where a method returns, found among its bytecodes."""
import unittest

from quor import bytecodes


class ReturnsTest(unittest.TestCase):
    def test_a_method_that_is_nothing_but_its_return(self):
        self.assertEqual([0], bytecodes.returns(bytes([0xb1])))

    def test_each_of_several_returns_is_found(self):
        # iload_0, ifge 7, iconst_m1, ireturn, nop, iload_0, ireturn
        self.assertEqual([5, 8], bytecodes.returns(bytes([0x1a, 0x9c, 0, 6, 0x02, 0xac, 0x00, 0x1a, 0xac])))

    def test_operands_that_look_like_returns_are_none(self):
        # bipush 0xac, sipush 0xacad, ldc_w 0xb1b1, invokevirtual 0xacac, invokeinterface 0xb1b1 0xb1, multianewarray 0xacac 0xac, areturn
        code = [0x10, 0xac, 0x11, 0xac, 0xad, 0x13, 0xb1, 0xb1, 0xb6, 0xac, 0xac, 0xb9, 0xb1, 0xb1, 0xb1, 0, 0xc5, 0xac, 0xac, 0xac, 0xb0]
        self.assertEqual([20], bytecodes.returns(bytes(code)))

    def test_wide_instructions_are_longer(self):
        # wide iload 0x00ac, wide iinc 0x00ac 0x00ac, lreturn
        self.assertEqual([10], bytecodes.returns(bytes([0xc4, 0x15, 0, 0xac, 0xc4, 0x84, 0, 0xac, 0, 0xac, 0xad])))

    def test_switches_are_passed_over_with_their_padding(self):
        word = lambda number: list(number.to_bytes(4, "big", signed=True))
        for before in range(4):
            padding = [0] * (-(before + 1) % 4)
            table = [0xaa, *padding, *word(0xac), *word(-1), *word(1), *word(0xac), *word(0xb1), *word(0xb0)]
            lookup = [0xab, *padding, *word(0xac), *word(2), *word(0xac), *word(0xb1), *word(0xb0), *word(0xad)]
            for switch in (table, lookup):
                self.assertEqual([before + len(switch)], bytecodes.returns(bytes([0] * before + switch + [0xb1])))
