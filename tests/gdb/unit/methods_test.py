import unittest

from hotspot_world import World

_NATIVE, _STATIC = 0x100, 8


class MethodsTest(unittest.TestCase):
    def test_names_source_and_lines_are_read_in_both_layouts(self):
        for word_size, new in ((4, False), (8, False), (8, True)):
            world = World(word_size, new)
            address = world.method("shop/Mix$1", "serve", "(ILjava/lang/String;)V", lines=[(0, 31), (6, 40)], source="Mix.java")
            methods = world.hotspot().methods
            method = methods.plausible(address)
            self.assertEqual("shop.Mix$1.serve(int, String)", method.full_name)
            self.assertEqual("(Mix.java:40)", method.place(methods.line(method, 9)))
            self.assertEqual(31, methods.line(method, 5))

    def test_a_native_method_says_so_instead_of_a_line(self):
        world = World()
        method = world.hotspot().methods.plausible(world.method("Mix", "crash", "()V", flags=_NATIVE | _STATIC))
        self.assertTrue(method.is_native and method.is_static)
        self.assertEqual("<native>", method.place(None))

    def test_a_class_without_source_or_lines_tells_neither(self):
        world = World()
        methods = world.hotspot().methods
        method = methods.plausible(world.method("Mix", "f", "()V"))
        self.assertIsNone(methods.line(method, 0))
        self.assertEqual("", method.place(None))
        self.assertEqual("(Mix.java)", methods.plausible(world.method("Mix", "f", "()V", source="Mix.java")).place(None))

    def test_an_address_that_holds_no_method_is_none(self):
        world = World()
        good = world.method("Mix", "f", "()V")
        methods = world.hotspot().methods
        for address in (0, good + 1, good + 8, 0x12345678, world.stack):
            self.assertIsNone(methods.plausible(address), hex(address))

    def test_only_addresses_of_bytecodes_have_an_index(self):
        world = World()
        address = world.method("Mix", "f", "()V", bytecodes=16)
        methods = world.hotspot().methods
        method = methods.plausible(address)
        first = world.bytecodes_of(address)
        self.assertEqual([None, 0, 15, None], [methods.bci(method, bcp) for bcp in (first - 1, first, first + 15, first + 16)])

    def test_without_the_flag_of_line_tables_methods_have_no_lines(self):
        world = World(leave_out=("ConstMethod::_flags",))
        methods = world.hotspot().methods
        method = methods.plausible(world.method("Mix", "f", "()V", lines=[(0, 31)], source="Mix.java"))
        self.assertIsNone(methods.line(method, 0))
