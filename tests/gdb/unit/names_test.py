import unittest

from quor import names
from quor.errors import QuorError
from quor.names import NativeName, class_name, descriptors, parameter_text, parameter_types, parameters_match


class SignaturesTest(unittest.TestCase):
    def test_parameters_are_named_as_in_java(self):
        self.assertEqual(["int", "java.lang.String", "double[][]", "java.util.Map[]", "boolean"],
                         parameter_types("(ILjava/lang/String;[[D[Ljava/util/Map;Z)V"))
        self.assertEqual([], parameter_types("()J"))

    def test_shown_parameters_have_no_packages(self):
        self.assertEqual("int, String, byte[]", parameter_text("(ILjava/lang/String;[B)V"))

    def test_each_parameter_has_its_own_descriptor_whatever_it_is(self):
        self.assertEqual(["I", "[[J", "Ljava/lang/String;", "[Ljava/util/List;", "Z"],
                         descriptors("(I[[JLjava/lang/String;[Ljava/util/List;Z)Ljava/lang/Object;"))
        self.assertEqual([], descriptors("()V"))

    def test_what_is_no_signature_is_refused_and_shown_as_such(self):
        for text in ("", "I", "(", "(Ljava/lang/String)V", "(Q)V"):
            with self.assertRaises(ValueError):
                parameter_types(text)
            self.assertEqual("?", parameter_text(text))
        for text in ("", "Q", "[", "II", "Ljava/lang/String"):
            with self.assertRaises(ValueError):
                names.type_name(text)

    def test_the_return_type_stands_behind_the_parameters(self):
        self.assertEqual("[J", names.return_descriptor("(LA;)[J"))


class ClassNamesTest(unittest.TestCase):
    def test_class_names_have_dots(self):
        self.assertEqual("java.lang.Thread$State", class_name("java/lang/Thread$State"))

    def test_hidden_classes_keep_their_suffix(self):
        self.assertEqual("Mix$$Lambda/0x00007f5f50000a08", class_name("Mix$$Lambda+0x00007f5f50000a08"))

    def test_each_form_leads_to_the_internal_name_and_the_signature(self):
        for name in ("com.shop.Shop", "com/shop/Shop", "Lcom/shop/Shop;"):
            self.assertEqual("com/shop/Shop", names.internal_name(name))
            self.assertEqual("Lcom/shop/Shop;", names.class_signature(name))
        self.assertEqual("[Lcom/shop/Shop;", names.class_signature("[Lcom.shop.Shop;"))

    def test_types_become_signatures_and_back(self):
        for name, signature in {"int": "I", "long[]": "[J", "com.shop.Item": "Lcom/shop/Item;", "Item[][]": "[[LItem;"}.items():
            self.assertEqual(signature, names.type_signature(name))
            self.assertEqual(name, names.type_name(signature))

    def test_a_dotted_name_may_mean_inner_classes(self):
        self.assertEqual(["a/Shop/Item", "a/Shop$Item", "a$Shop$Item"], names.class_candidates("a.Shop.Item"))
        self.assertEqual(["Shop$Item"], names.class_candidates("Shop$Item"))

    def test_the_simple_name_lacks_packages_and_outer_classes(self):
        self.assertEqual(["Item"] * 4, [names.simple_name(name) for name in ("a/Shop$Item", "a.Shop.Item", "a.Item", "Item")])


class MethodsAsTypedTest(unittest.TestCase):
    SIGNATURE = "(Lcom/shop/Shop$Item;I[Ljava/lang/String;)V"

    def test_types_match_with_and_without_packages_and_outer_classes(self):
        for typed in ("(Item, int, String[])", "(Shop.Item, int, java.lang.String[])", "(com.shop.Shop$Item,int,String...)",
                      "(com/shop/Shop$Item, int, String[])", "(Lcom/shop/Shop$Item;I[Ljava/lang/String;)V",
                      "(Lcom.shop.Shop$Item;I[Ljava.lang.String;)V"):
            self.assertTrue(parameters_match(names.checked_parameters(typed), self.SIGNATURE), typed)

    def test_other_types_do_not_match(self):
        for typed in ("()", "(Item, int)", "(Item, int, String)", "(Item, long, String[])", "(tem, int, String[])",
                      "(Lcom/shop/Shop$Item;I[Ljava/lang/String;)I"):
            self.assertFalse(parameters_match(names.checked_parameters(typed), self.SIGNATURE), typed)

    def test_a_signature_may_lack_its_return_type(self):
        self.assertTrue(parameters_match(names.checked_parameters("(ILItem;)"), "(ILItem;)J"))
        self.assertTrue(parameters_match("()", "()J"))

    def test_type_arguments_count_for_nothing(self):
        self.assertEqual("(Map, int)", names.checked_parameters("(Map<String, List<Item>>, int)"))

    def test_a_constructor_goes_by_its_class_too(self):
        self.assertTrue(names.method_matches("<init>", "com/shop/Shop$Item", "<init>"))
        self.assertTrue(names.method_matches("Item", "com/shop/Shop$Item", "<init>"))
        self.assertFalse(names.method_matches("Shop", "com/shop/Shop$Item", "<init>"))
        self.assertTrue(names.method_matches("serve", "Shop", "serve"))

    def test_what_is_no_list_of_types_is_refused_in_one_line(self):
        for typed in ("(", "int", "(3)", "(int,)", "(void)", "(I)Q", "(int)V x"):
            with self.assertRaises(QuorError) as raised:
                names.checked_parameters(typed)
            self.assertNotIn("\n", str(raised.exception))


class NativeNamesTest(unittest.TestCase):
    """Each C function as javac -h names it."""
    FUNCTIONS = {
        "Java_Mix_call": NativeName("Mix", "call", None),
        "Java_com_shop_Shop_price": NativeName("com/shop/Shop", "price", None),
        "Java_com_shop_Shop_00024Item_price": NativeName("com/shop/Shop$Item", "price", None),
        "Java_a_1b_C_d_1e": NativeName("a_b/C", "d_e", None),
        "Java_A__1f": NativeName("A", "_f", None),
        "Java_nat_000fcrlich_A_f": NativeName("natürlich/A", "f", None),
        "Java_A_f__": NativeName("A", "f", "()"),
        "Java_A_f__ILjava_lang_String_2": NativeName("A", "f", "(ILjava/lang/String;)"),
        "Java_A_f___3_3I_3LItem_2": NativeName("A", "f", "([[I[LItem;)"),
        "Java_A_f_0d83d_0de00": NativeName("A", "f\U0001f600", None),
    }

    def test_the_methods_of_c_functions_are_known(self):
        for symbol, name in self.FUNCTIONS.items():
            self.assertEqual(name, names.of_native_name(symbol), symbol)

    def test_a_method_leads_to_its_c_function(self):
        for symbol, name in self.FUNCTIONS.items():
            signature = name.parameters and name.parameters + "V"
            self.assertEqual(symbol, names.native_name(name.class_name, name.method, signature))

    def test_other_functions_are_none_of_native_methods(self):
        for symbol in ("main", "Java_", "Java_A", "JavaMain", "Java_A_f__Q", "Java_A_f__Lx"):
            self.assertIsNone(names.of_native_name(symbol), symbol)
