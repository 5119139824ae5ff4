import unittest

from quor.hotspot import x86

# (bytes, width of code or None for both, length, effect), each checked against a disassembler
_CASES = (
    ("55", None, "push", 5), ("4154", 64, "push", 12), ("68fe000000", None, "push", None), ("6a00", None, "push", None),
    ("ff7308", None, "push", None), ("9c", None, "push", None),
    ("5d", None, "pop", 5), ("415d", 64, "pop", 13), ("8f4008", None, "pop", None), ("9d", None, "pop", None),
    ("4883ec30", 64, "add", -0x30), ("4881ec00010000", 64, "add", -0x100), ("4883c410", 64, "add", 0x10),
    ("83ec1c", 32, "add", -0x1c), ("81c480000000", 32, "add", 0x80), ("488d642408", 64, "add", 8), ("8d6424f8", 32, "add", -8),
    ("c9", None, "leave", None), ("c3", None, "ret", 0), ("f3c3", None, "ret", 0), ("c20800", None, "ret", 8),
    ("e900010000", None, "jump", 0x100), ("ebfe", None, "jump", -2), ("ff23", None, "jump", None),
    ("ffe3", None, "jump_register", 3), ("41ffe5", 64, "jump_register", 13),
    ("7710", None, "branch", 0x10), ("0f8710000000", None, "branch", 0x10),
    ("e8fbffffff", None, "call", -5), ("ffd0", None, "call", None), ("41ff92f8000000", 64, "call", None),
    ("48896c2410", 64, "save_fp", 0x10), ("896c2418", 32, "save_fp", 0x18),
    ("488b6c2410", 64, "load_fp", 0x10), ("8b2c24", 32, "load_fp", 0),
    ("488bec", 64, "set_fp", None), ("4889e5", 64, "set_fp", None), ("8bec", 32, "set_fp", None),
    ("488be5", 64, "restore_sp", 0), ("488d65a0", 64, "restore_sp", -0x60), ("8d65f0", 32, "restore_sp", -0x10),
    ("498be5", 64, "move_sp", 13), ("8be3", 32, "move_sp", 3),
    ("4c8bec", 64, "copy_sp", 13), ("4989e5", 64, "copy_sp", 13), ("8bf4", 32, "copy_sp", 6),
    ("4883e4f0", 64, "lose_sp", None), ("5c", None, "lose_sp", None), ("488b6310", 64, "lose_sp", None),
    ("48895dc8", 64, "save", (3, -0x38)), ("4c897da8", 64, "save", (15, -0x58)), ("897dfc", 32, "save", (7, -4)),
    ("48890424", 64, "store", (0, 0)), ("4c894c2408", 64, "store", (9, 8)), ("89442408", 32, "store", (0, 8)),
    ("488b0424", 64, "load", (0, 0)), ("8b442408", 32, "load", (0, 8)), ("8b442408", 64, "other", None),
    ("89842400c0feff", 32, "store", (0, -0x14000)), ("89842400c0feff", 64, "other", None),
    ("493ba728030000", 64, "other", None), ("c5f877", None, "other", None), ("81782000000001", None, "other", None),
    ("6644894c2408", 64, "other", None), ("66894c2408", 32, "other", None), ("0f1f440000", None, "other", None),
    ("48b8efcdab9078563412", 64, "other", None), ("a1c0d0e0f0", 32, "other", None), ("40", 32, "other", None),
    ("62f17e4828c1", 64, "other", None), ("c4e37d19c101", None, "other", None), ("660f3a0fc108", None, "other", None),
    ("66c7450c3412", None, "other", None), ("f6450801", None, "other", None), ("f7d8", None, "other", None),
    ("60", 32, "add", -32), ("61", 32, "add", 32),
    ("f4", None, "stop", None), ("cc", None, "stop", None),
)


class DecodeTest(unittest.TestCase):
    def test_instructions_have_their_length_and_effect(self):
        for text, width, what, value in _CASES:
            code = bytes.fromhex(text)
            for wide in ((True, False) if width is None else (width == 64,)):
                with self.subTest(code=text, wide=wide):
                    self.assertEqual((len(code), what, value), x86.decode(code + bytes(16), 0, wide))

    def test_an_instruction_cut_off_is_none(self):
        for text in ("e9000000", "48", "0f", "4881ec0001", "c5f8"):
            with self.subTest(code=text):
                self.assertIsNone(x86.decode(bytes.fromhex(text), 0, True))
