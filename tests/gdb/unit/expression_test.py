"""Values of expressions in a small program: names, members, methods, conversions, assignments, errors."""
import unittest

from java_world import FakeWorld, Object, throwing
from quor.errors import QuorError
from quor.expression import strings
from quor.expression.evaluator import assign, evaluate, holds
from quor.expression.parser import parse
from quor.expression.values import BOXES, OBJECT, STRING, Value
from quor.expression.world import BRIDGE, PRIVATE, STATIC, VARARGS, JavaException
from quor.show import Limits, ObjectReader, ObjectText

ITEM, SHOP = "Lcom/shop/Shop$Item;", "Lcom/shop/Shop;"


class ExpressionCase(unittest.TestCase):
    """A frame in a method of com.shop.Shop, with `this`, locals and a few classes."""

    def setUp(self):
        self.world = world = FakeWorld()
        world.define("com/shop/Named", interface=True)
        world.define("com/shop/Base")
        world.define("com/shop/Shop", "com/shop/Base", "com/shop/Named")
        world.define("com/shop/Shop$Item")
        world.define("com/shop/Prices")
        world.define("java/util/List", interface=True)
        world.field("com/shop/Base", "id", "I")
        world.field("com/shop/Base", "tag", STRING)
        world.field("com/shop/Shop", "owner", STRING)
        world.field("com/shop/Shop", "items", "[" + ITEM)
        world.field("com/shop/Shop", "open", "I", STATIC, 8)
        world.field("com/shop/Shop", "tag", "I")
        world.field("com/shop/Shop$Item", "price", "D")
        world.field("com/shop/Shop$Item", "thing", OBJECT)
        world.field("com/shop/Prices", "BASE", "J", STATIC, 100)
        self.item = world.new("com/shop/Shop$Item", price=2.5, thing=None)
        self.shop = world.new("com/shop/Shop", id=7, owner=world.string("Ann"), tag=3)
        self.shop.fields["Lcom/shop/Base;", "tag"] = world.string("base")
        self.shop.fields[SHOP, "items"] = world.array("[" + ITEM, self.item, None)
        world.current, world.this_value = SHOP, Value(SHOP, self.shop)
        self.locals(i=("I", 5), l=("J", 1 << 40), d=("D", 0.5), z=("Z", True), c=("C", "x"), none=(SHOP, None),
                    text=(STRING, world.string("hi")), item=(ITEM, self.item), any=(OBJECT, self.item),
                    numbers=("[I", world.array("[I", 1, 2, 3)), boxed=(BOXES["I"], world.box("I", 12)), empty=(BOXES["I"], None),
                    object=(OBJECT, world.box("J", 9)), word=(OBJECT, world.string("word")))

    def locals(self, **values):
        self.world.locals.update({name: Value(*value) for name, value in values.items()})

    def value(self, text):
        found = evaluate(text, self.world)
        return found.type, found.payload

    def check(self, cases):
        for text, expected in cases.items():
            self.assertEqual(expected, self.value(text), text)

    def refused(self, cases, work=evaluate):
        for text, message in cases.items():
            with self.assertRaises(QuorError, msg=text) as raised:
                work(text, self.world)
            self.assertEqual(message, str(raised.exception), text)
            self.assertNotIn("\n", message)


class NamesTest(ExpressionCase):
    def test_locals_come_before_fields(self):
        self.check({"i": ("I", 5), "id": ("I", 7), "owner": (STRING, self.world.string("Ann"))})
        self.locals(id=("J", 1))
        self.check({"id": ("J", 1), "this.id": ("I", 7)})

    def test_fields_are_found_in_superclasses_and_static_ones_by_class(self):
        self.check({"this.id": ("I", 7), "open": ("I", 8), "Shop.open": ("I", 8), "com.shop.Shop.open": ("I", 8),
                    "Prices.BASE": ("J", 100), "this.open": ("I", 8), "none.open": ("I", 8)})

    def test_a_hidden_field_is_seen_through_its_own_class(self):
        self.check({"tag": ("I", 3), "((Base) this).tag": (STRING, self.world.string("base"))})

    def test_inner_classes_are_named_with_a_dot_or_a_dollar(self):
        self.world.field("com/shop/Shop$Item", "count", "I", STATIC, 4)
        self.check({name + ".count": ("I", 4) for name in ("Item", "Shop.Item", "Shop$Item", "com.shop.Shop.Item",
                                                           "com.shop.Shop$Item")})

    def test_imported_classes_go_by_their_simple_name_when_it_is_the_only_one(self):
        self.check({"any instanceof List": ("Z", False)})
        self.world.define("java/awt/List")
        self.refused({"any instanceof List": '"List" may be java.awt.List or java.util.List; write the whole name'})

    def test_earlier_results_have_names(self):
        self.world.results["$j1"] = Value(SHOP, self.shop)
        self.check({"$j1.id + 1": ("I", 8)})
        self.refused({"$j2": "there is no result $j2"})

    def test_an_inner_class_sees_what_is_around_it(self):
        self.world.field("com/shop/Shop$Item", "this$0", SHOP)
        self.world.field("com/shop/Shop$Item", "val$wanted", "I")
        self.item.fields[ITEM, "this$0"], self.item.fields[ITEM, "val$wanted"] = self.shop, 66
        self.world.method("com/shop/Shop", "serve", "()I", lambda this: this.fields["Lcom/shop/Base;", "id"])
        self.world.current, self.world.this_value = ITEM, Value(ITEM, self.item)
        self.check({"price": ("D", 2.5), "id": ("I", 7), "open": ("I", 8), "wanted": ("I", 66), "serve()": ("I", 7),
                    "Shop.this.id": ("I", 7)})
        self.refused({"wanted = 1": "the captured wanted cannot be changed"}, assign)

    def test_a_static_method_has_no_this(self):
        self.world.this_value = None
        self.check({"open": ("I", 8)})
        self.refused({"this": 'there is no "this" here: the method is static',
                      "id": '"id" is a field of an object, and there is no "this" here'})

    def test_what_is_not_there_is_named(self):
        self.refused({"foo": 'no local, field or class "foo" here', "foo.bar.baz": 'no local, field or class "foo" here',
                      "foo.f()": 'no local, field or class "foo" here', "f(1)": 'no method "f" in com.shop.Shop',
                      "item.foo": 'no field "foo" in com.shop.Shop$Item', "Shop.foo": 'no field or class "foo" in com.shop.Shop',
                      "Shop": "com.shop.Shop is a class, not a value", "i.foo": "int has no fields: i.foo",
                      "Base.id": '"id" is not static: it needs an object', "(Foo) i": 'no class "Foo" is loaded here',
                      "item.f()": 'no method "f" in com.shop.Shop$Item', "i.f()": "int has no methods: i.f()"})

    def test_where_no_java_method_is_selected_classes_are_still_known_by_their_whole_name(self):
        self.world.current = self.world.this_value = None
        self.check({"com.shop.Shop.open": ("I", 8)})
        self.refused({"this": 'there is no "this" here: no Java method is selected'})


class MembersTest(ExpressionCase):
    def test_fields_and_elements_lead_on(self):
        self.check({"items[0].price": ("D", 2.5), "this.items.length": ("I", 2), "numbers[i - 3]": ("I", 3),
                    "numbers['\\1']": ("I", 2)})

    def test_members_of_the_object_s_own_class_are_found_when_the_declared_one_has_none(self):
        self.locals(list=(OBJECT, self.world.array("[I", 4, 5)))
        self.check({"any.price": ("D", 2.5), "list.length": ("I", 2), "list[1]": ("I", 5)})

    def test_null_and_bounds_throw_as_in_java(self):
        self.refused({"none.id": "java.lang.NullPointerException: none is null",
                      "items[1].price": "java.lang.NullPointerException: items[...] is null",
                      "none.items[0]": "java.lang.NullPointerException: none is null",
                      "numbers[3]": "java.lang.ArrayIndexOutOfBoundsException: Index 3 out of bounds for length 3",
                      "numbers[-1]": "java.lang.ArrayIndexOutOfBoundsException: Index -1 out of bounds for length 3",
                      "empty + 1": "java.lang.NullPointerException: java.lang.Integer is null"})

    def test_only_arrays_have_elements_and_only_ints_lead_to_them(self):
        self.refused({"i[0]": "i is no array but int", "item[0]": "item is no array but com.shop.Shop$Item",
                      "numbers[l]": "an index is an int, not long", "numbers[text]": "an index is an int, not java.lang.String"})


class MethodsTest(ExpressionCase):
    def overloads(self, *signatures, name="f", flags=0):
        """Methods that give their own signature."""
        for signature in signatures:
            self.world.method("com/shop/Shop", name, signature + STRING,
                              lambda _this, *_arguments, signature=signature: self.world.string(signature), flags)

    def calls(self, cases):
        for text, signature in cases.items():
            self.assertEqual(signature, evaluate(text, self.world).payload.text, text)

    def test_a_method_is_called_virtually_with_arguments_of_its_types(self):
        self.world.method("com/shop/Base", "sum", "(JD)D", lambda this, *arguments: sum(each.payload for each in arguments))
        self.world.method("com/shop/Shop", "sum", "(JD)D", lambda this, *arguments: -sum(each.payload for each in arguments))
        self.check({"sum(i, i)": ("D", -10.0), "((Base) this).sum(1, 'a')": ("D", -98.0), "this.sum(boxed, d) + 1": ("D", -11.5)})

    def test_strings_of_the_expression_become_objects_when_they_are_passed(self):
        self.check({'"abc".length()': ("I", 3), "text.charAt(1)": ("C", "i"), '(text + 1).length()': ("I", 3)})
        self.assertEqual("hi1", evaluate('text.concat(1 + "")', self.world).payload.text)

    def test_widening_comes_before_boxing_and_boxing_before_variable_arity(self):
        self.overloads("(J)", f"({BOXES['I']})", f"({OBJECT})")
        self.overloads("([I)", flags=VARARGS)
        self.calls({"f(1)": "(J)", "f(boxed)": f"({BOXES['I']})", "f(1.5)": f"({OBJECT})", "f(1, 2)": "([I)", "f()": "([I)",
                    "f(text)": f"({OBJECT})", "f('x')": "(J)", "f(numbers)": "([I)"})

    def test_the_most_specific_is_taken(self):
        self.overloads("(D)", "(I)", "(J)", f"({OBJECT})", f"({STRING})", "(Lcom/shop/Base;)", name="g")
        self.calls({"g('x')": "(I)", "g((byte) 1)": "(I)", "g(1L)": "(J)", "g(1f)": "(D)", "g(text)": f"({STRING})",
                    "g(this)": "(Lcom/shop/Base;)", "g((Object) text)": f"({OBJECT})"})

    def test_ambiguity_and_absence_are_one_line(self):
        self.overloads("(IJ)", "(JI)", name="h")
        self.overloads(f"({STRING})", "(Lcom/shop/Base;)", name="n")
        self.refused({"h(1, 1)": "h(int, int) is ambiguous: h(int, long) or h(long, int); cast an argument",
                      "n(null)": "n(null) is ambiguous: n(String) or n(Base); cast an argument",
                      "h(1)": "no method h(int); there is h(int, long), h(long, int)",
                      "n(1.5)": "no method n(double); there is n(String), n(Base)"})
        self.calls({"h(1, 1L)": "(IJ)", "n((String) null)": f"({STRING})"})

    def test_where_no_method_takes_the_declared_types_the_objects_own_are_tried(self):
        self.overloads(f"({STRING})", name="s")
        self.calls({"s(word)": f"({STRING})"})
        self.refused({"s(any)": "no method s(Object); there is s(String)"})

    def test_arguments_of_variable_arity_go_into_an_array(self):
        self.world.method("com/shop/Shop", "all", "(I[J)J", lambda this, first, rest: first.payload + sum(rest.payload.elements),
                          VARARGS)
        self.check({"all(1)": ("J", 1), "all(1, 2, i)": ("J", 8), "all('\\1', boxed)": ("J", 13)})

    def test_overridden_methods_and_bridges_do_not_count(self):
        self.world.method("com/shop/Base", "copy", "()Lcom/shop/Base;", throwing("java/lang/Error"))
        self.world.method("com/shop/Shop", "copy", "()Lcom/shop/Base;", throwing("java/lang/Error"), BRIDGE)
        self.world.method("com/shop/Shop", "copy", f"(){SHOP}", lambda this: this)
        self.check({"copy().id": ("I", 7), "copy()": (SHOP, self.shop)})

    def test_a_superclass_s_private_method_is_taken_only_when_there_is_no_other(self):
        self.world.method("com/shop/Base", "hidden", "(I)I", lambda this, value: 1, PRIVATE)
        self.world.method("com/shop/Base", "secret", "(I)I", lambda this, value: 1, PRIVATE)
        self.world.method("com/shop/Shop", "hidden", "(J)I", lambda this, value: 2)
        self.check({"hidden(1)": ("I", 2), "secret(1)": ("I", 1)})

    def test_static_methods_need_no_object_and_others_one(self):
        self.world.method("com/shop/Prices", "twice", "(J)J", lambda _, value: 2 * value.payload, STATIC)
        self.world.method("com/shop/Prices", "own", "()I", lambda this: 1)
        self.check({"Prices.twice(i)": ("J", 10), "com.shop.Prices.twice(4)": ("J", 8)})
        self.refused({"Prices.own()": "com.shop.Prices.own is not static: it needs an object"})
        self.world.method("com/shop/Shop", "serve", "()I", lambda this: 1)
        self.world.this_value = None
        self.refused({"serve()": 'com.shop.Shop.serve is not static, and there is no "this" here'})

    def test_a_call_on_null_and_what_a_method_throws_are_one_line(self):
        self.world.method("com/shop/Shop", "fail", "()V", throwing("java/io/IOException", "disk full"))
        self.refused({"fail()": "java.io.IOException: disk full", "none.fail()": "java.lang.NullPointerException: none is null"})
        with self.assertRaises(JavaException) as raised:
            evaluate("fail()", self.world)
        self.assertEqual("java/io/IOException", raised.exception.class_name)

    def test_a_void_method_has_a_result_without_a_value(self):
        self.world.method("com/shop/Shop", "close", "()V", lambda this: None)
        self.check({"close()": ("V", None)})
        self.refused({"close() + 1": '"+" does not go with void and int',
                      "f(close())": 'an argument of f has no value: its method is void',
                      'close() + "x"': "a method without a result (void) has no text"})


class OperatorsTest(ExpressionCase):
    def test_numbers_are_promoted_and_wrap(self):
        self.check({"2147483647 + 1": ("I", -2147483648), "c + 1": ("I", 121), "i * l": ("J", 5 << 40), "i / 2": ("I", 2),
                    "-7 / 2": ("I", -3), "-7 % 2": ("I", -1), "1 / 2f": ("F", 0.5), "i + d": ("D", 5.5), "1 << 33": ("I", 2),
                    "-1 >>> 28": ("I", 15), "-1L >>> 60": ("J", 15), "~i": ("I", -6), "-2147483648 / -1": ("I", -2147483648)})

    def test_boxes_are_opened(self):
        self.check({"boxed + 1": ("I", 13), "object + 1": ("J", 10), "-boxed": ("I", -12), "boxed == 12": ("Z", True),
                    "boxed == boxed": ("Z", True), "(int) boxed": ("I", 12), "(long) object": ("J", 9),
                    "(Object) boxed == boxed": ("Z", True)})

    def test_division_by_zero_throws_for_integers_alone(self):
        self.refused({"i / 0": "java.lang.ArithmeticException: / by zero", "l % 0": "java.lang.ArithmeticException: / by zero"})
        self.check({"d / 0": ("D", float("inf")), "-d / 0": ("D", float("-inf"))})

    def test_logic_stops_early(self):
        self.check({"z || 1 / 0 == 1": ("Z", True), "!z && none.id == 1": ("Z", False), "z & !z": ("Z", False),
                    "z ^ z": ("Z", False)})

    def test_strings_are_made_of_anything(self):
        for text, expected in {'"a" + 1 + 2': "a12", '1 + 2 + "a"': "3a", "text + c + d + z": "hix0.5true", 'text + none': "hinull",
                               '"" + 1e10f + 100.0 + 0.1f': "1.0E10100.00.1", 'word + 1': "word1",
                               '"" + item': "com.shop.Shop$Item@1",
                               "boxed + text": "12hi", 'null + "x"': "nullx"}.items():
            self.assertEqual((STRING, expected), self.value(text), text)

    def test_references_are_compared_by_identity(self):
        self.check({"item == any": ("Z", True), "item == items[0]": ("Z", True), "item != items[1]": ("Z", True),
                    "none == null": ("Z", True),
                    "null == null": ("Z", True), 'text == "hi"': ("Z", True), 'text == "h" + "i"': ("Z", True),
                    'text == "ho"': ("Z", False), 'text + "" == text': ("Z", False), '"a" == "a"': ("Z", True),
                    'item == "hi"': ("Z", False)})

    def test_instanceof_asks_the_object(self):
        self.check({"any instanceof Item": ("Z", True), "this instanceof Named": ("Z", True), "none instanceof Shop": ("Z", False),
                    "numbers instanceof Object": ("Z", True), "numbers instanceof int[]": ("Z", True),
                    "text instanceof Comparable<String>":
                    ("Z", True), '"x" instanceof Comparable': ("Z", True), "items instanceof Object[]": ("Z", True),
                    "any instanceof String": ("Z", False)})

    def test_casts_convert_check_and_open_boxes(self):
        self.check({"(byte) 300": ("B", 44), "(char) 97": ("C", "a"), "(int) 1e10": ("I", 2147483647),
                    "(long) -1e30": ("J", -(1 << 63)),
                    "(int) 'a'": ("I", 97), "(float) 0.1": ("F", 0.10000000149011612), "(byte) 300.7": ("B", 44),
                    "(Item) any": (ITEM, self.item), "(Shop) null": (SHOP, None), "(double) boxed": ("D", 12.0)})
        boxed = evaluate("(Object) 5", self.world)
        self.assertEqual((OBJECT, BOXES["I"]), (boxed.type, boxed.payload.type))
        self.refused({"(Shop) any": "java.lang.ClassCastException: com.shop.Shop$Item cannot be cast to com.shop.Shop",
                      "(int) object": "java.lang.ClassCastException: java.lang.Long cannot be cast to java.lang.Integer",
                      "(boolean) i": "int cannot become boolean", "(Long) 5": "int cannot become java.lang.Long",
                      "(byte) boxed": "java.lang.Integer cannot become byte", "(int) null": "null cannot become int",
                      "(int) text": "java.lang.String cannot become int",
                      "(int) empty": "java.lang.NullPointerException: java.lang.Integer is null"})

    def test_the_conditional_has_one_type_for_both_sides(self):
        self.check({"z ? 1 : 2.0": ("D", 1.0), "z ? c : 1": ("C", "x"), "z ? c : i": ("I", 120), "z ? 65 : c": ("C", "A"),
                    "z ? (byte) 1 : (short) 2": ("S", 1), "z ? boxed : 1": ("I", 12), "z ? 1 : 1 / 0": ("I", 1),
                    "z ? 1 : numbers[7] * 1L":
                    ("J", 1), "none == null ? 0 : none.id + 0.5": ("D", 0.0), "z ? text : 1": (STRING, self.world.string("hi"))})

    def test_what_does_not_go_together_is_said(self):
        self.refused({"z + 1": '"+" does not go with boolean and int', "!i": '"!" does not go with int',
                      "~d": '"~" does not go with double',
                      "i && z": '"&&" does not go with int and boolean',
                      "text - 1": '"-" does not go with java.lang.String and int',
                      "item < 3": '"<" does not go with com.shop.Shop$Item and int',
                      "i == null": '"==" does not go with int and null',
                      "1.5 << 2": '"<<" does not go with double and int',
                      "i ? 1 : 2": 'what stands before "?" must be boolean, not int',
                      "i instanceof Shop": "instanceof needs an object, not int"})


class ShownTest(ExpressionCase):
    def test_results_are_shown_as_everywhere(self):
        objects = ObjectText(ObjectReader(), Limits(4, 3, 2))
        for text, expected in {"i": "5", "c": "'x'", "d": "0.5", "null": "null", "none": "null", '"abc" + 1': '"abc1"',
                               '"abc" + 12': '"abc1"...', "1 < 2": "true"}.items():
            self.assertEqual(expected, strings.shown(evaluate(text, self.world), objects))
        self.assertEqual("void", strings.shown(Value("V", None), objects))


class ConditionTest(ExpressionCase):
    def test_a_condition_is_boolean(self):
        self.assertIs(True, holds("i == 5 && z", self.world))
        self.assertIs(False, holds("i > 5", self.world))
        self.refused({"i": "a condition must be boolean, not int"}, holds)

    def test_a_condition_may_be_parsed_once(self):
        node = parse("i < 7")
        self.assertTrue(holds(node, self.world))
        self.locals(i=("I", 8))
        self.assertFalse(holds(node, self.world))


class AssignmentTest(ExpressionCase):
    def assigned(self, text):
        found = assign(text, self.world)
        return found.type, found.payload

    def test_locals_fields_and_elements_change(self):
        self.assertEqual(("I", 12), self.assigned("i = boxed"))
        self.assertEqual(("D", 7.0), self.assigned("items[0].price = 7"))
        self.assertEqual(("I", 44), self.assigned("numbers[1] = i + 32"))
        self.assertEqual(("I", 9), self.assigned("Shop.open = 9"))
        self.check({"i": ("I", 12), "item.price": ("D", 7.0), "numbers[1]": ("I", 44), "open": ("I", 9)})

    def test_a_string_becomes_an_object(self):
        self.assertEqual("Bob", assign('owner = "B" + "ob"', self.world).payload.text)
        self.assertIsInstance(self.shop.fields[SHOP, "owner"], Object)

    def test_a_constant_goes_into_a_narrower_type_that_can_hold_it(self):
        self.locals(b=("B", 1), s=("S", 1))
        self.assertEqual(("B", -128), self.assigned("b = -128"))
        self.assertEqual(("C", "A"), self.assigned("c = 60 + 5"))
        self.assertEqual(("S", 97), self.assigned("s = 'a'"))
        self.refused({"b = 128": "int cannot become byte", "b = i": "int cannot become byte", "i = 1L": "long cannot become int",
                      "i = 1.5": "double cannot become int", "z = 1": "int cannot become boolean",
                      "c = -1": "int cannot become char"}, assign)

    def test_primitives_go_into_boxes_and_objects(self):
        self.assertEqual(5, assign("empty = 5", self.world).payload.fields[BOXES["I"], "value"])
        self.assertEqual(BOXES["D"], assign("any = 1.5", self.world).payload.type)
        self.refused({"empty = 5L": "long cannot become java.lang.Integer", "item = 1": "int cannot become com.shop.Shop$Item"},
                      assign)

    def test_an_object_must_fit_by_its_type_or_by_its_own_class(self):
        self.assertEqual((ITEM, self.item), self.assigned("item = any"))
        self.assertEqual((SHOP, None), self.assigned("none = null"))
        self.refused({"item = this": "com.shop.Shop cannot become com.shop.Shop$Item", "i = null": "null cannot become int",
                      "text = object": "java.lang.Object cannot become java.lang.String"}, assign)

    def test_an_array_takes_only_what_its_own_type_allows(self):
        self.locals(things=("[" + OBJECT, self.shop.fields[SHOP, "items"]))
        self.refused({"things[0] = text": "java.lang.ArrayStoreException: java.lang.String"}, assign)
        self.assertEqual((OBJECT, None), self.assigned("things[0] = null"))

    def test_what_cannot_be_changed_is_said(self):
        self.world.results["$j1"] = Value("I", 1)
        self.refused({"this = null": "this cannot be changed", "$j1 = 3": "$j1 cannot be changed",
                      "numbers.length = 3": "the length of an array cannot be changed",
                      "Shop = 3": "com.shop.Shop is a class, not a value",
                      "none.id = 1": "java.lang.NullPointerException: none is null",
                      "foo = 3": 'no local, field or class "foo" here',
                      "numbers[9] = 3": "java.lang.ArrayIndexOutOfBoundsException: Index 9 out of bounds for length 3"}, assign)
