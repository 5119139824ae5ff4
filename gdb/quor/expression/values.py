"""Values of Java expressions: a type and what it holds.

Types are signatures (I, Lcom/shop/Shop;, [J), NULL for that of the word null, VOID for what a method of none gives.
"""
from collections import namedtuple

from quor.names import PRIMITIVES

BITS = {"B": 8, "S": 16, "I": 32, "J": 64}
NUMERIC = "BSCIJFD"
INTEGRAL = "BSCIJ"
BOOLEAN, VOID, NULL = "Z", "V", "null"
OBJECT, STRING = "Ljava/lang/Object;", "Ljava/lang/String;"

BOXES = {"Z": "Ljava/lang/Boolean;", "B": "Ljava/lang/Byte;", "C": "Ljava/lang/Character;", "S": "Ljava/lang/Short;",
         "I": "Ljava/lang/Integer;", "J": "Ljava/lang/Long;", "F": "Ljava/lang/Float;", "D": "Ljava/lang/Double;"}
PRIMITIVE_TYPES = {name: letter for letter, name in PRIMITIVES.items()}
UNBOXED = {box: primitive for primitive, box in BOXES.items()}


class Value(namedtuple("Value", "type payload constant", defaults=(False,))):
    """A value of this (declared) type.

    payload: an int, a float (a float's is one that 32 bits hold), a bool, a char's one character; of a reference whatever the World
    takes for an object, None for null. A String that is not in the process yet is its text, a str.
    constant: whether it comes from a constant expression, which Java lets into narrower types.
    """
    __slots__ = ()

    @property
    def is_primitive(self):
        return is_primitive(self.type)

    @property
    def is_null(self):
        return self.payload is None and not self.is_primitive

    @property
    def is_text(self):
        return isinstance(self.payload, str) and not self.is_primitive

    @property
    def number(self):
        """The payload of a numeric primitive as Python counts."""
        return ord(self.payload) if self.type == "C" else self.payload


NULL_VALUE = Value(NULL, None)


def is_primitive(type_):
    return type_ in BITS or type_ in "CFDZV"


def boolean(truth, constant=False):
    return Value(BOOLEAN, bool(truth), constant)


def text(content, constant=False):
    """A String that is not in the process; two escaped surrogates side by side are one character."""
    return Value(STRING, content.encode("utf-16", "surrogatepass").decode("utf-16", "surrogatepass"), constant)


def integer(type_, number, constant=False):
    """A value of an integral type from any int: what does not fit is cut off, as in Java."""
    if type_ == "C":
        return Value(type_, chr(number & 0xffff), constant)
    half = 1 << (BITS[type_] - 1)
    return Value(type_, (number + half) % (2 * half) - half, constant)
