"""Java's conversions: between primitives, to and from boxes, between classes."""
import math

from quor import floats
from quor.errors import QuorError
from quor.expression import values
from quor.expression.values import BOXES, INTEGRAL, NUMERIC, OBJECT, STRING, UNBOXED, Value, is_primitive
from quor.expression.world import JavaException
from quor.names import type_name

_WIDER = {"B": "SIJFD", "S": "IJFD", "C": "IJFD", "I": "JFD", "J": "FD", "F": "D"}
_OF_ALL_ARRAYS = (OBJECT, "Ljava/lang/Cloneable;", "Ljava/io/Serializable;")


def shown(type_):
    """A type as people write it."""
    return "null" if type_ == values.NULL else type_name(type_)


# ---- Primitives ----

def promoted(*types):
    """The type in which numbers of these types are calculated with."""
    return next((wide for wide in "DFJ" if wide in types), "I")


def of_number(type_, number, constant=False):
    """A value of a numeric type from a Python number: rounded, cut off, or brought to the nearest that the type has."""
    if type_ in "FD":
        exact = isinstance(number, int)
        round_ = floats.nearest_float if exact and type_ == "F" else floats.nearest_double if exact else \
            floats.to_float if type_ == "F" else float
        return Value(type_, round_(number), constant)
    if isinstance(number, float):
        number = _truncated(number, "J" if type_ == "J" else "I")
    return values.integer(type_, number, constant)


def _truncated(number, type_):
    if math.isnan(number):
        return 0
    limit = 1 << (values.BITS[type_] - 1)
    return int(min(max(number, -limit), limit - 1)) if math.isinf(number) else min(max(int(number), -limit), limit - 1)


def cast_primitive(value, type_):
    """A primitive as another one, as a cast does it."""
    if value.type == type_:
        return value
    if values.BOOLEAN in (value.type, type_) or values.VOID in (value.type, type_):
        raise cannot(value.type, type_)
    return of_number(type_, value.number, value.constant)


def widens(source, target):
    """Whether a primitive goes into another one by itself."""
    return source == target or target in _WIDER.get(source, "")


def cannot(source, target):
    return QuorError(f"{shown(source)} cannot become {shown(target)}")


# ---- References ----

class Conversions:
    """What needs to know the program's classes."""

    def __init__(self, world):
        self._world = world

    def is_subtype(self, source, target):
        """Whether each value of a type is one of the other as it is: classes, arrays, null; primitives by widening."""
        if source == target:
            return True
        if is_primitive(source) or is_primitive(target):
            return is_primitive(source) and is_primitive(target) and widens(source, target)
        if source == values.NULL or target == OBJECT:
            return True
        if values.NULL in (source, target):
            return False
        if source[0] == "[":
            return target in _OF_ALL_ARRAYS or target[0] == "[" and not is_primitive(source[1:]) \
                and self.is_subtype(source[1:], target[1:])
        return target[0] != "[" and self._world.is_assignable(source, target)

    def own_class(self, value):
        """The class of the object itself; of null its declared type."""
        if value.payload is None:
            return value.type
        return STRING if value.is_text else self._world.class_of(value.payload)

    def unboxed(self, value):
        """The primitive in a box; other values as they are. Null throws."""
        if value.is_primitive:
            return value
        box = value.type if value.type in UNBOXED else self.own_class(value)
        if box not in UNBOXED:
            return value
        if value.is_null:
            raise JavaException("java/lang/NullPointerException", f"{shown(box)} is null")
        field = self._world.find_field(box, "value")
        if field is None:
            raise QuorError(f"{shown(box)} keeps its value elsewhere in this JDK")
        return self._world.get_field(field, value.payload)

    def boxed(self, value):
        """A primitive in its box, which the program makes."""
        box = BOXES[value.type]
        wanted = f"({value.type}){box}"
        method = next((each for each in self._world.methods(box, "valueOf") if each.signature == wanted), None)
        if method is None:
            raise QuorError(f"{shown(box)} cannot be made here")
        return self._world.invoke(method, None, [value])

    def in_process(self, value):
        """A value whose String, if it is one, is an object of the process."""
        return self._world.new_string(value.payload) if value.is_text else value

    # ---- Contexts ----

    def fits(self, source, target, boxing):
        """Whether a value of a type goes into a parameter of another one; with boxing or without."""
        if self.is_subtype(source, target):
            return True
        if not boxing:
            return False
        if is_primitive(source):
            return source in BOXES and self.is_subtype(BOXES[source], target)
        return source in UNBOXED and is_primitive(target) and widens(UNBOXED[source], target)

    def passed(self, value, target):
        """A value as an argument of this type, which it fits."""
        if is_primitive(target):
            return cast_primitive(self.unboxed(value), target)
        value = self.boxed(value) if value.is_primitive else self.in_process(value)
        return Value(target, value.payload)

    def assigned(self, value, target):
        """A value as one of this type, as an assignment does it; what only the object itself fits is let in too."""
        if is_primitive(target):
            primitive = self.unboxed(value)
            if primitive.is_primitive and (widens(primitive.type, target) or narrows(primitive, target)):
                return cast_primitive(primitive, target)
        elif value.is_primitive:
            if target in UNBOXED and narrows(value, UNBOXED[target]):
                value = cast_primitive(value, UNBOXED[target])
            if value.type in BOXES and self.is_subtype(BOXES[value.type], target):
                return self.passed(value, target)
        elif self.is_subtype(value.type, target) or self.is_subtype(self.own_class(value), target):
            return self.passed(value, target)
        raise cannot(value.type, target)

    def cast(self, value, target):
        """A value as one of this type, as (TYPE) value does it."""
        if is_primitive(target):
            return self._cast_to_primitive(value, target)
        if value.is_primitive:
            if value.type not in BOXES or not self.is_subtype(BOXES[value.type], target):
                raise cannot(value.type, target)
            value = self.boxed(value)
        elif not value.is_null and not self.is_subtype(self.own_class(value), target):
            raise JavaException("java/lang/ClassCastException",
                                f"{shown(self.own_class(value))} cannot be cast to {shown(target)}")
        return Value(target, value.payload, value.constant and target == STRING)

    def _cast_to_primitive(self, value, target):
        if value.is_primitive:
            return cast_primitive(value, target)
        if value.type not in (*UNBOXED, values.NULL):  # an Object or Number goes by way of the type's own box
            if not self.is_subtype(BOXES.get(target), value.type):
                raise cannot(value.type, target)
            if value.is_null:
                raise JavaException("java/lang/NullPointerException", f"null cannot become {shown(target)}")
            own = self.own_class(value)
            if own != BOXES[target]:
                raise JavaException("java/lang/ClassCastException", f"{shown(own)} cannot be cast to {shown(BOXES[target])}")
        primitive = self.unboxed(value)
        if not primitive.is_primitive or not widens(primitive.type, target):
            raise cannot(value.type, target)
        return cast_primitive(primitive, target)


def narrows(value, target):
    """Whether a constant int goes into a narrower type that can hold it."""
    return value.constant and value.type in "BSCI" and target in "BSC" and \
        of_number(target, value.number).number == value.number


def is_numeric(type_):
    return type_ in NUMERIC


def is_integral(type_):
    return type_ in INTEGRAL
