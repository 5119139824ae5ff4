"""What people type behind `java break`, `catch`, `watch` and `trace`."""
import unittest

from quor.breakspec import BreakSpec, FieldPlace, LinePlace, MethodPlace, break_spec, catch_spec, field_spec, method_spec
from quor.errors import QuorError


class Lines(unittest.TestCase):
    def refuses(self, read, text, message):
        with self.assertRaises(QuorError) as raised:
            read(text)
        self.assertEqual(message, str(raised.exception))
        self.assertNotIn("\n", str(raised.exception))


class BreakSpecTest(Lines):
    def place(self, text):
        return break_spec(text).place

    def test_a_line_of_a_class(self):
        self.assertEqual(BreakSpec(LinePlace("Shop", None, 33), False, None, False, None), break_spec("Shop:33"))
        self.assertEqual(LinePlace("com.shop.Shop$Item", None, 7), self.place("com.shop.Shop$Item:7"))

    def test_slashes_and_dots_are_the_same(self):
        self.assertEqual(LinePlace("com.shop.Shop", None, 33), self.place("com/shop/Shop:33"))
        self.assertEqual(MethodPlace("com.shop.Shop", "serve", None), self.place("com/shop/Shop.serve"))

    def test_a_source_file_stands_for_its_classes(self):
        self.assertEqual(LinePlace("Shop", "Shop.java", 33), self.place("Shop.java:33"))
        self.assertEqual(LinePlace("com.shop.Shop", "Shop.java", 33), self.place("com/shop/Shop.java:33"))
        self.assertEqual(LinePlace("com.shop.Shop", "Shop.java", 33), self.place("./com/shop/Shop.java:33"))
        self.assertEqual(LinePlace("Tool", "Tool.kt", 3), self.place("Tool.kt:3"))

    def test_a_number_is_a_line_of_the_current_class(self):
        self.assertEqual(LinePlace(None, None, 41), self.place("41"))

    def test_a_method_of_a_class(self):
        self.assertEqual(MethodPlace("Shop", "serve", None), self.place("Shop.serve"))
        self.assertEqual(MethodPlace("Shop.Item", "price", None), self.place("Shop.Item.price"))
        self.assertEqual(MethodPlace("Mix", "lambda$main$0", None), self.place("Mix.lambda$main$0"))

    def test_constructors_and_initialisers_have_their_names_in_angle_brackets(self):
        self.assertEqual(MethodPlace("Shop", "<init>", "(int)"), self.place("Shop.<init>(int)"))
        self.assertEqual(MethodPlace("Shop", "<clinit>", None), self.place("Shop.<clinit>"))
        self.assertEqual(MethodPlace("Shop.Shop", "Shop", None), self.place("Shop.Shop.Shop"))

    def test_parameters_are_types_as_in_java_or_a_signature(self):
        self.assertEqual("(Item, int)", self.place("Shop.serve( Item,int )").parameters)
        self.assertEqual("(Item, int)", self.place("Shop.serve (Item, int)").parameters)
        self.assertEqual("()", self.place("Shop.serve()").parameters)
        self.assertEqual("(LItem;I)V", self.place("Shop.serve(LItem;I)V").parameters)
        self.assertEqual("(java.util.List, long[][])", self.place("Shop.serve(java.util.List<Item>, long[][])").parameters)

    def test_options_stand_before_or_behind_the_place(self):
        wanted = BreakSpec(LinePlace("Shop", None, 33), True, 22, False, None)
        self.assertEqual(wanted, break_spec("-t -thread 22 Shop:33"))
        self.assertEqual(wanted, break_spec("Shop:33 -thread 22 -t"))
        self.assertTrue(break_spec("-native Shop.price").native)

    def test_a_thread_has_a_number_or_a_name(self):
        self.assertEqual("main", break_spec("-thread main Shop:33").thread)
        self.assertEqual("pool 1 if any", break_spec('-thread "pool 1 if any" Shop:33').thread)

    def test_the_condition_is_all_behind_if(self):
        self.assertEqual('owner.equals("if x") && id > 3', break_spec('Shop:33 if owner.equals("if x") && id > 3').condition)
        self.assertEqual("(id > 3)", break_spec("Shop.serve(Item, int) if(id > 3)").condition)
        self.assertEqual("id == -1", break_spec("-t 33 if id == -1").condition)

    def test_places_are_shown_as_typed(self):
        self.assertEqual(["Shop:33", "Shop.java:33", "line 33", "Shop.serve(Item, int)", "Shop.serve"],
                         [str(self.place(text)) for text in
                          ("Shop:33", "a/Shop.java:33", "33", "Shop.serve(Item,int)", "Shop.serve")])

    def test_errors_say_what_to_give(self):
        places = "C:LINE, C.METHOD, C.METHOD(TYPE, ...) or LINE"
        for text, message in {
                "": f"no place to break at; give {places}",
                "-t": f"no place to break at; give {places}",
                "Shop:33 Shop:34": 'one place, then "if" and a condition: what is "Shop:34"?',
                "Shop:33 if": 'a condition must follow "if"',
                "Shop:0": f'"0" is no line number; give {places}',
                "Shop:x": f'"x" is no line number; give {places}',
                ":33": "the class's name is missing",
                "serve": f'which class has "serve"? Give {places}',
                "Shop.": f'"" is no name of a method; give {places}',
                "Sh?op:33": '"Sh?op" is no name of a class',
                "Shop.serve(Item": 'the parameters of a method stand in parentheses, as "(Item, int)": (Item',
                "Shop.serve(3)": 'no types of parameters: (3); write "(Item, int)" or "(LItem;I)V"',
                "Shop.serve(void)": 'no types of parameters: (void); write "(Item, int)" or "(LItem;I)V"',
                "-x Shop:33": "no option -x; there are -t, -native, -thread",
                "Shop:33 -thread": "-thread needs a value",
                "-native Shop:33": "-native goes with a native method: C.METHOD"}.items():
            self.refuses(break_spec, text, message)


class CatchSpecTest(Lines):
    def test_a_class_means_every_throw_of_it_and_of_its_subclasses(self):
        self.assertEqual(("java.io.IOException", True, True, False), catch_spec("java/io/IOException"))
        self.assertEqual(("IOException", True, True, False), catch_spec("all IOException"))

    def test_caught_uncaught_and_exact_narrow_it(self):
        self.assertEqual(("IOException", True, False, False), catch_spec("caught IOException"))
        self.assertEqual(("IOException", False, True, True), catch_spec("uncaught IOException -exact"))
        self.assertEqual(("IOException", True, True, True), catch_spec("-exact IOException"))

    def test_a_mode_without_a_class_means_every_class(self):
        self.assertEqual((None, False, True, False), catch_spec("uncaught"))
        self.assertEqual((None, True, True, False), catch_spec("all"))

    def test_errors_say_what_to_give(self):
        self.refuses(catch_spec, "", "no class of exceptions; give [caught|uncaught|all] CLASS [-exact], or all")
        self.refuses(catch_spec, "all -exact", "no class of exceptions; give [caught|uncaught|all] CLASS [-exact], or all")
        self.refuses(catch_spec, "A B", 'one class: what is "B"? Usage: [caught|uncaught|all] CLASS [-exact]')
        self.refuses(catch_spec, "A -x", "no option -x; there is -exact")
        self.refuses(catch_spec, "3", '"3" is no name of a class')


class FieldAndMethodSpecTest(Lines):
    def test_a_field_stands_behind_the_last_dot(self):
        self.assertEqual(FieldPlace("com.shop.Shop", "owner"), field_spec("com.shop.Shop.owner"))
        self.assertEqual("Shop.owner", str(field_spec(" Shop.owner ")))

    def test_what_is_no_field_is_refused(self):
        self.refuses(field_spec, "", "no field; give C.FIELD")
        self.refuses(field_spec, "owner", 'no field: "owner"; give C.FIELD')
        self.refuses(field_spec, "Shop.3", 'no field: "Shop.3"; give C.FIELD')

    def test_a_method_to_trace_is_one_as_for_break(self):
        self.assertEqual(MethodPlace("Shop", "serve", "(int)"), method_spec("Shop.serve (int)"))
        self.refuses(method_spec, "", "no method; give C.METHOD or C.METHOD(TYPE, ...)")
