"""The parts of a parsed expression. `column` (from 1) is where the part's own sign or name stands."""
from collections import namedtuple

Literal = namedtuple("Literal", "value column")  # value: a values.Value
Name = namedtuple("Name", "name column")  # a local, a field, a class, a package; also this and $j1
Field = namedtuple("Field", "object name column")  # object.name: also package.Class, Class.Inner, array.length
Index = namedtuple("Index", "array index column")
Call = namedtuple("Call", "object name arguments column")  # object: None for m(...)
Unary = namedtuple("Unary", "operator operand column")
Binary = namedtuple("Binary", "operator left right column")
Conditional = namedtuple("Conditional", "condition chosen otherwise column")
Cast = namedtuple("Cast", "type operand column")
InstanceOf = namedtuple("InstanceOf", "operand type column")
Type = namedtuple("Type", "name dimensions column")  # name: int, Shop, com.shop.Shop.Item
Assignment = namedtuple("Assignment", "target value column")


def text(node):
    """A short text of a part, for messages: shop.items[...].price(...)"""
    if isinstance(node, Name):
        return node.name
    if isinstance(node, Field):
        return f"{text(node.object)}.{node.name}"
    if isinstance(node, Index):
        return f"{text(node.array)}[...]"
    if isinstance(node, Call):
        return (f"{text(node.object)}." if node.object is not None else "") + f"{node.name}({'...' if node.arguments else ''})"
    if isinstance(node, Type):
        return node.name + "[]" * node.dimensions
    return "(...)"


def path(node):
    """The names of a dotted name, ["com", "shop", "Shop"]; None of anything else."""
    if isinstance(node, Name):
        return [node.name]
    outer = path(node.object) if isinstance(node, Field) else None
    return outer + [node.name] if outer is not None else None
