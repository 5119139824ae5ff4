import unittest

from quor.hotspot.signatures import class_name, parameter_text, parameter_types


class SignaturesTest(unittest.TestCase):
    def test_parameters_are_named_as_in_java(self):
        self.assertEqual(["int", "java.lang.String", "double[][]", "java.util.Map[]", "boolean"],
                         parameter_types("(ILjava/lang/String;[[D[Ljava/util/Map;Z)V"))
        self.assertEqual([], parameter_types("()J"))

    def test_shown_parameters_have_no_packages(self):
        self.assertEqual("int, String, byte[]", parameter_text("(ILjava/lang/String;[B)V"))

    def test_what_is_no_signature_is_refused_and_shown_as_such(self):
        for text in ("", "I", "(", "(Ljava/lang/String)V", "(Q)V"):
            with self.assertRaises(ValueError):
                parameter_types(text)
            self.assertEqual("?", parameter_text(text))

    def test_class_names_have_dots(self):
        self.assertEqual("java.lang.Thread$State", class_name("java/lang/Thread$State"))

    def test_hidden_classes_keep_their_suffix(self):
        self.assertEqual("Mix$$Lambda/0x00007f5f50000a08", class_name("Mix$$Lambda+0x00007f5f50000a08"))
