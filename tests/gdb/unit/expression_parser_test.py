"""What belongs to what in an expression."""
import unittest

from quor.errors import QuorError
from quor.expression import tree
from quor.expression.parser import parse, parse_assignment


def shape(node):
    """A tree as text, all in parentheses."""
    if isinstance(node, tree.Literal):
        return str(node.value.payload)
    if isinstance(node, tree.Name):
        return node.name
    if isinstance(node, tree.Type):
        return tree.text(node)
    if isinstance(node, tree.Field):
        return f"{shape(node.object)}.{node.name}"
    if isinstance(node, tree.Index):
        return f"{shape(node.array)}[{shape(node.index)}]"
    if isinstance(node, tree.Call):
        return f"{shape(node.object) + '.' if node.object else ''}{node.name}({', '.join(map(shape, node.arguments))})"
    if isinstance(node, tree.Unary):
        return f"({node.operator}{shape(node.operand)})"
    if isinstance(node, tree.Binary):
        return f"({shape(node.left)} {node.operator} {shape(node.right)})"
    if isinstance(node, tree.Conditional):
        return f"({shape(node.condition)} ? {shape(node.chosen)} : {shape(node.otherwise)})"
    if isinstance(node, tree.Cast):
        return f"({{{shape(node.type)}}} {shape(node.operand)})"
    if isinstance(node, tree.InstanceOf):
        return f"({shape(node.operand)} is {shape(node.type)})"
    raise AssertionError(node)


class Refusing(unittest.TestCase):
    def refused(self, texts, rule=parse):
        for text, message in texts.items():
            with self.assertRaises(QuorError) as raised:
                rule(text)
            self.assertEqual(message, str(raised.exception), text)


class ParserTest(Refusing):
    def parses(self, shapes):
        for text, expected in shapes.items():
            self.assertEqual(expected, shape(parse(text)), text)

    def test_operators_bind_as_in_java(self):
        self.parses({"a + b * c": "(a + (b * c))", "a - b - c": "((a - b) - c)", "a << b + c": "(a << (b + c))",
                     "a < b == c > d": "((a < b) == (c > d))", "a & b == c": "(a & (b == c))",
                     "a | b ^ c & d": "(a | (b ^ (c & d)))",
                     "a || b && c": "(a || (b && c))", "-a * b": "((-a) * b)", "!a && ~b == c": "((!a) && ((~b) == c))",
                     "(a + b) * c": "((a + b) * c)", "a >>> b >> c": "((a >>> b) >> c)"})

    def test_the_conditional_goes_to_the_right(self):
        self.parses({"a ? b : c ? d : e": "(a ? b : (c ? d : e))", "a ? b ? c : d : e": "(a ? (b ? c : d) : e)",
                     "a == b ? c + d : e": "((a == b) ? (c + d) : e)"})

    def test_members_elements_and_calls_bind_closest(self):
        self.parses({"a.b.c": "a.b.c", "a[i + 1].b": "a[(i + 1)].b", "a.f(x, y + 1)[0].g()": "a.f(x, (y + 1))[0].g()", "f()": "f()",
                     "-a.b": "(-a.b)", '"text".length()': "text.length()", "(a).b": "a.b", "Outer$Inner.f": "Outer$Inner.f"})

    def test_a_cast_needs_an_operand_behind_it(self):
        self.parses({"(int) a": "({int} a)", "(int) -a": "({int} (-a))", "(a) + b": "(a + b)", "(a) - b": "(a - b)",
                     "(A) b": "({A} b)",
                     "(A) !b": "({A} (!b))", "(A) (b)": "({A} b)", "(a.B[]) c": "({a.B[]} c)", "(int[][]) c": "({int[][]} c)",
                     "(int) a.b": "({int} a.b)", "(int) a + b": "(({int} a) + b)", "(long) (int) a": "({long} ({int} a))",
                     "((A) b).c": "({A} b).c", "(A) \"x\"": "({A} x)", "(a)": "a", "(a)[0]": "a[0]"})

    def test_type_arguments_are_passed_over(self):
        self.parses({"(List<String>) a": "({List} a)", "(Map<String, List<A>>) a": "({Map} a)",
                     "(Map<?, int[]>.Entry) a": "({Map.Entry} a)",
                     "(a < b)": "(a < b)", "(a < b) == c": "((a < b) == c)"})

    def test_instanceof_is_as_strong_as_a_comparison(self):
        self.parses({"a instanceof B && c": "((a is B) && c)", "a instanceof b.C[] == true": "((a is b.C[]) == True)",
                     "(a) instanceof B": "(a is B)"})

    def test_the_smallest_numbers_are_one_literal_with_their_minus(self):
        self.parses({"-2147483648": "-2147483648", "- 9223372036854775808L": "-9223372036854775808",
                     "1 - -2147483648": "(1 - -2147483648)",
                     "-1": "(-1)"})

    def test_errors_name_the_column(self):
        self.refused({"": "an expression is missing", "  ": "an expression is missing", "a +": "column 4: a value is missing",
                      "a b": 'column 3: "b" is not expected here', "(a": 'column 3: ")" expected', "a[1": 'column 4: "]" expected',
                      "a[1)": 'column 4: "]" expected, not ")"', "f(a,)": "column 5: an argument is missing",
                      "a ? b": 'column 6: ":" expected', "a.": "column 3: a name must follow the dot",
                      "a.1": 'column 2: ".1" is not expected here', "* a": 'column 1: "*" is not expected here',
                      "a instanceof 3": 'column 14: a type must stand here, not "3"', "2147483648":
                      "column 1: 2147483648 is too large without a minus before it", "f(a b)": 'column 5: "," expected, not "b"'})

    def test_what_java_has_and_a_debugger_has_not_is_said(self):
        self.refused({"a = 3": 'column 3: "=" changes something; here values are only looked at (== compares)',
                      "a++": 'column 2: "++" changes something; here values are only looked at',
                      "new A()": "column 1: objects cannot be made here", "a.class": "column 3: class literals are not known here",
                      "super.f()": "column 1: super is not known here; cast this to the class",
                      "x -> x": "column 3: lambdas are not known here"})

    def test_deep_nesting_is_one_line_too(self):
        self.refused({"(" * 5000 + "a" + ")" * 5000: "the expression is nested too deeply"})


class AssignmentTest(Refusing):
    def test_the_target_is_a_name_a_field_or_an_element(self):
        for text, target, value in (("a = b + 1", "a", "(b + 1)"), ("a.b[2] = c", "a.b[2]", "c"), ("this.a = 3", "this.a", "3")):
            node = parse_assignment(text)
            self.assertEqual((target, value), (shape(node.target), shape(node.value)))

    def test_nothing_else_can_be_changed(self):
        self.refused({"a + b = 3": "column 3: only a local, a field or an array element can be changed",
                      "f() = 3": "column 1: only a local, a field or an array element can be changed",
                      "a": 'column 2: "=" expected', "a == 3": "column 3: only a local, a field or an array element can be changed",
                      "a += 3": 'column 3: "=" expected, not "+="', "a =": "column 4: a value is missing"}, parse_assignment)
