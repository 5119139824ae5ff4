"""Types of what is not evaluated: the other side of ?: has a say in the type of the one that is.

Nothing is called: methods tell what they return, fields what they are declared to be.
"""
from quor.errors import QuorError
from quor.expression import operators, tree, values
from quor.expression.conversions import narrows, cast_primitive, is_numeric, promoted
from quor.expression.scope import ClassName, PackageName, Place
from quor.expression.values import STRING, UNBOXED, Value


class StaticTypes:
    """Types of nodes, each as a Value: that of a constant expression whole, of others the type with nothing in it."""

    def __init__(self, scope, members, conversions):
        self._scope, self._members, self._conversions = scope, members, conversions
        self._rules = {tree.Literal: lambda node: node.value, tree.Name: self._name, tree.Field: self._name,
                       tree.Index: self._index, tree.Call: self._call, tree.Unary: self._unary, tree.Binary: self._binary,
                       tree.Conditional: self._conditional, tree.Cast: self._cast, tree.InstanceOf: self._instance_of}

    def of(self, node):
        """The type of a node; None when declarations do not tell."""
        try:
            return self._rules[type(node)](node)
        except QuorError:
            return None

    def constant(self, node):
        """Whether a node is a constant expression."""
        found = self.of(node)
        return found is not None and found.constant

    def _type(self, node):
        """The same with an error where nothing is told."""
        found = self.of(node)
        if found is None:
            raise QuorError(f"the type of {tree.text(node)} is not known")
        return found

    # ---- Names and methods ----

    def _name(self, node):
        found = self._resolved(node)
        if isinstance(found, (ClassName, PackageName)) or found is None:
            return None
        return Value(found.type, None)

    def _resolved(self, node):
        if isinstance(node, tree.Name):
            return self._scope.find(node.name) or self._scope.class_named(node.name) or PackageName(node.name)
        outer = self._resolved(node.object) if isinstance(node.object, (tree.Name, tree.Field)) else \
            Place(self._type(node.object).type, None, None)
        if isinstance(outer, PackageName):
            return self._scope.class_in_package(outer.name, node.name)
        if isinstance(outer, ClassName):
            return self._members.static_field(outer.type, node.name) or self._scope.inner_class(outer.type, node.name)
        type_ = self._members.field_type(outer.type, node.name) if outer is not None else None
        return Place(type_, None, None) if type_ is not None else None

    def _index(self, node):
        type_ = self._type(node.array).type
        return Value(type_[1:], None) if type_[0] == "[" else None

    def _call(self, node):
        types = [self._type(each).type for each in node.arguments]
        if node.object is None:
            owners = [owner for owner, _ in self._scope.around()]
        else:
            receiver = self._resolved(node.object) if isinstance(node.object, (tree.Name, tree.Field)) else self._type(node.object)
            if receiver is None or isinstance(receiver, PackageName):
                return None
            owners = [receiver.type if receiver.type[0] != "[" else values.OBJECT]
        returned = self._members.method_type(owners, node.name, types)
        return Value(returned, None) if returned is not None else None

    # ---- Operators ----

    def _unary(self, node):
        operand = _unboxed(self._type(node.operand))
        if operand.constant:
            return operators.unary(node.operator, operand)
        return Value(operators.unary_type(node.operator, operand.type), None)

    def _binary(self, node):
        left, right = self._type(node.left), self._type(node.right)
        if node.operator == "+" and STRING in (left.type, right.type):
            return Value(STRING, None, left.constant and right.constant)
        if node.operator in ("==", "!=") and not left.is_primitive and not right.is_primitive:
            return Value(values.BOOLEAN, None)
        left, right = _unboxed(left), _unboxed(right)
        if left.constant and right.constant and not {None} & {left.payload, right.payload}:
            return operators.binary(node.operator, left, right)
        return Value(operators.binary_type(node.operator, left.type, right.type), None)

    def _conditional(self, node):
        rule = Conditional(self._type(node.chosen), self._type(node.otherwise))
        return Value(rule.type, None)

    def _cast(self, node):
        target, operand = self._scope.type_signature(node.type), self._type(node.operand)
        if operand.constant and operand.is_primitive and values.is_primitive(target):
            return cast_primitive(operand, target)
        return Value(target, None)

    @staticmethod
    def _instance_of(_node):
        return Value(values.BOOLEAN, None)


def _unboxed(value):
    """The same for the primitive in a box."""
    return Value(UNBOXED[value.type], None) if value.type in UNBOXED else value


class Conditional:
    """The type that ?: gives the side that was chosen (a Value), beside the type of the other (or None)."""

    def __init__(self, chosen, other):
        self._chosen = chosen
        self.both_constant = chosen.constant and other is not None and other.constant
        self.type = self._found(chosen, other)

    def converted(self, conversions, constant):
        """The chosen side in that type."""
        if values.is_primitive(self.type) and self.type != values.VOID:
            return cast_primitive(conversions.unboxed(self._chosen), self.type)._replace(constant=constant)
        return self._chosen._replace(constant=constant)

    @staticmethod
    def _found(chosen, other):
        if other is None or chosen.type == other.type:
            return chosen.type
        one, two = _unboxed(chosen), _unboxed(other)
        if one.type == two.type:
            return one.type
        if not (is_numeric(one.type) and is_numeric(two.type)):
            return chosen.type
        return _narrow(one, two) or _narrow(two, one) or promoted(one.type, two.type)


def _narrow(one, two):
    """The type below int that both have: short of byte and short; that of one when the other is a constant int that it can hold."""
    if one.type == "B" and two.type == "S":
        return "S"
    if one.type in "BSC" and two.type == "I" and narrows(two, one.type):
        return one.type
    return None
