"""The value of a Java expression in a World, and assignments.

    evaluate("items[0].price * 1.19", world)         a Value
    holds("id > 3", world)                           a condition: True or False
    assign("items[0].price = 7", world)              changes it; the Value that it has then

Each takes the text, or what the parser made of it, so that a condition is parsed once. Errors are QuorErrors of one line; a
JavaException is what the expression throws.

One thing is not as in Java: of a call all arguments are evaluated before the first box among them is opened, so when two of them
throw it may be the other one that is told.
"""
from quor.errors import QuorError
from quor.expression import operators, parser, strings, tree, values
from quor.expression.conversions import Conversions, shown
from quor.expression.members import Members
from quor.expression.result_types import Conditional, StaticTypes
from quor.expression.scope import ClassName, PackageName, Scope
from quor.expression.values import BOOLEAN, UNBOXED


def evaluate(expression, world):
    """The Value of an expression. A String that only the debugger has keeps its text as payload."""
    return _guarded(lambda: Evaluator(world).value(_parsed(expression, parser.parse)))


def holds(expression, world):
    """Whether a condition is true; a QuorError when it is none."""
    return _guarded(lambda: Evaluator(world).truth(_parsed(expression, parser.parse), "a condition"))


def assign(expression, world):
    """Does TARGET = VALUE and gives the new Value."""
    return _guarded(lambda: Evaluator(world).assign(_parsed(expression, parser.parse_assignment)))


def _parsed(expression, parse):
    return parse(expression) if isinstance(expression, str) else expression


def _guarded(work):
    try:
        return work()
    except RecursionError:
        raise QuorError("the expression is nested too deeply") from None


class Evaluator:
    """Walks a tree, a method a kind of node."""

    def __init__(self, world):
        self._world = world
        self._conversions, self._scope = Conversions(world), Scope(world)
        self._members = Members(world, self._scope, self._conversions)
        self._types = StaticTypes(self._scope, self._members, self._conversions)
        self._rules = {tree.Literal: lambda node: node.value, tree.Name: self._name, tree.Field: self._name,
                       tree.Index: self._index, tree.Call: self._call, tree.Unary: self._unary, tree.Binary: self._binary,
                       tree.Conditional: self._conditional, tree.Cast: self._cast, tree.InstanceOf: self._instance_of}

    def value(self, node):
        """The Value of a node."""
        return self._rules[type(node)](node)

    def truth(self, node, what):
        """The value of a node that must be boolean."""
        found = self._conversions.unboxed(self.value(node))
        if found.type != BOOLEAN:
            raise QuorError(f"{what} must be boolean, not {shown(found.type)}")
        return found.payload

    def assign(self, node):
        place = self._place(node.target)
        value = self._conversions.assigned(self.value(node.value), place.type)
        place.set(value)
        return value

    # ---- Names ----

    def _name(self, node):
        return self._place(node).get()

    def _index(self, node):
        return self._place(node).get()

    def _place(self, node):
        """The Place of a name, a field or an element."""
        if isinstance(node, tree.Index):
            array = self.value(node.array)
            return self._members.element(array, self.value(node.index), node)
        found = self._resolved(node)
        if isinstance(found, PackageName):
            raise QuorError(f'no local, field or class "{tree.path(node)[0]}" here')
        if isinstance(found, ClassName):
            raise QuorError(f"{shown(found.type)} is a class, not a value")
        return found

    def _resolved(self, node):
        """The Place, ClassName or PackageName of a name or of NODE.name."""
        if isinstance(node, tree.Name):
            return self._scope.find(node.name) or self._scope.class_named(node.name) or PackageName(node.name)
        outer = self._resolved(node.object) if isinstance(node.object, (tree.Name, tree.Field)) else None
        if isinstance(outer, PackageName):
            return self._scope.class_in_package(outer.name, node.name)
        if isinstance(outer, ClassName):
            return self._in_class(outer.type, node)
        return self._members.field(outer.get() if outer is not None else self.value(node.object), node)

    def _in_class(self, owner, node):
        if node.name == "this":
            return self._scope.outer_this(owner)
        found = self._members.static_field(owner, node.name) or self._scope.inner_class(owner, node.name)
        if found is None:
            raise QuorError(f'no field or class "{node.name}" in {shown(owner)}')
        return found

    # ---- Methods ----

    def _call(self, node):
        if node.object is None:
            return self._members.invoke_around(node.name, self._arguments(node))
        receiver = self._resolved(node.object) if isinstance(node.object, (tree.Name, tree.Field)) else None
        if isinstance(receiver, PackageName):
            raise QuorError(f'no local, field or class "{tree.path(node.object)[0]}" here')
        if isinstance(receiver, ClassName):
            return self._members.invoke_static(receiver.type, node.name, self._arguments(node))
        value = receiver.get() if receiver is not None else self.value(node.object)
        return self._members.invoke_on(value, node.name, self._arguments(node), node)

    def _arguments(self, node):
        found = [self.value(each) for each in node.arguments]
        if any(each.type == values.VOID for each in found):
            raise QuorError(f"an argument of {node.name} has no value: its method is void")
        return found

    # ---- Operators ----

    def _unary(self, node):
        return operators.unary(node.operator, self._conversions.unboxed(self.value(node.operand)))

    def _binary(self, node):
        if node.operator in ("&&", "||"):
            return self._logical(node)
        left = self.value(node.left)
        if left.type in UNBOXED and self._opens_left(node):
            left = self._conversions.unboxed(left)
        right = self.value(node.right)
        if node.operator == "+" and any(strings.is_string(each, self._conversions) for each in (left, right)):
            return strings.concatenated(left, right, self._world, self._conversions)
        if node.operator in ("==", "!=") and not left.is_primitive and not right.is_primitive:
            return values.boolean(self._same(left, right) == (node.operator == "=="), left.constant and right.constant)
        return operators.binary(node.operator, self._conversions.unboxed(left), self._conversions.unboxed(right))

    def _opens_left(self, node):
        """Whether the left side's box is opened before the right side is evaluated: an empty one throws first."""
        if node.operator not in ("+", "==", "!="):
            return True
        right = self._types.of(node.right)
        return right is not None and (right.is_primitive or node.operator == "+" and right.type in UNBOXED)

    def _logical(self, node):
        left = self._conversions.unboxed(self.value(node.left))
        if left.type == BOOLEAN and left.payload == (node.operator == "||"):
            return values.boolean(left.payload, left.constant and self._types.constant(node.right))
        return operators.binary(node.operator, left, self._conversions.unboxed(self.value(node.right)))

    def _same(self, left, right):
        """Whether two references are one; the same constant string is one object."""
        if left.is_null or right.is_null:
            return left.is_null and right.is_null
        if left.is_text and right.is_text:
            return left.constant and right.constant and left.payload == right.payload
        if left.is_text or right.is_text:
            return self._same_as_text(*((left, right) if left.is_text else (right, left)))
        return self._world.same(left.payload, right.payload)

    def _same_as_text(self, constant, other):
        if not constant.constant or self._conversions.own_class(other) != values.STRING or \
                self._world.string_value(other.payload) != constant.payload:
            return False
        interned = self._members.invoke_on(constant, "intern", [], None)
        return self._world.same(interned.payload, other.payload)

    def _conditional(self, node):
        condition = self.truth(node.condition, 'what stands before "?"')
        chosen, other = (node.chosen, node.otherwise) if condition else (node.otherwise, node.chosen)
        value = self.value(chosen)
        rule = Conditional(value, self._types.of(other))
        return rule.converted(self._conversions, rule.both_constant and self._types.constant(node.condition))

    # ---- Types ----

    def _cast(self, node):
        target = self._scope.type_signature(node.type)
        return self._conversions.cast(self.value(node.operand), target)

    def _instance_of(self, node):
        target, value = self._scope.type_signature(node.type), self.value(node.operand)
        if value.is_primitive:
            raise QuorError(f"instanceof needs an object, not {shown(value.type)}")
        return values.boolean(not value.is_null and self._conversions.is_subtype(self._conversions.own_class(value), target))
