"""Texts of values: what + puts into a string, and how a result is shown."""
from quor import show
from quor.errors import QuorError
from quor.expression import values
from quor.expression.values import OBJECT, STRING, Value


def is_string(value, conversions):
    """Whether + with this value is a concatenation: it is a String, declared so or not."""
    return value.type == STRING or not value.is_primitive and not value.is_null and conversions.own_class(value) == STRING


def concatenated(left, right, world, conversions):
    """Both as one text."""
    return values.text(text_of(left, world, conversions) + text_of(right, world, conversions), left.constant and right.constant)


def text_of(value, world, conversions):
    """A value as Java puts it into a string; of an object what its toString() gives."""
    if value.type == values.VOID:
        raise QuorError("a method without a result (void) has no text")
    if value.is_primitive:
        return value.payload if value.type == "C" else show.primitive(value.type, value.payload)
    if value.is_null:
        return "null"
    if value.is_text:
        return value.payload
    if conversions.own_class(value) == STRING:
        return world.string_value(value.payload)
    return text_of(_to_string(value, world), world, conversions)


def _to_string(value, world):
    method = next(each for each in world.methods(OBJECT, "toString") if each.signature == f"(){STRING}")
    return Value(STRING, world.invoke(method, value.payload, []).payload)


def shown(value, objects, depth=1):
    """A value as `java print` shows it; objects by a show.ObjectText, so many levels of them."""
    if value.type == values.VOID:
        return "void"
    if value.is_text:
        return show.cut(value.payload, objects.limits.text)
    return "null" if value.type == values.NULL else objects.value(value.type, value.payload, depth)
