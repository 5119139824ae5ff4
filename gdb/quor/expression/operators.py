"""Java's operators on primitives: promotion, overflow, rounding, shifts. Types alone (result_type) and values."""
import math
import operator

from quor.errors import QuorError
from quor.expression import values
from quor.expression.conversions import is_integral, is_numeric, of_number, promoted, shown
from quor.expression.values import BITS, BOOLEAN
from quor.expression.world import JavaException

_COMPARISONS = {"<": operator.lt, ">": operator.gt, "<=": operator.le, ">=": operator.ge}
_EQUALITIES = {"==": operator.eq, "!=": operator.ne}
_BITWISE = {"&": operator.and_, "|": operator.or_, "^": operator.xor}
_SHIFTS = ("<<", ">>", ">>>")
_LOGICAL = ("&&", "||")


# ---- Types ----

def unary_type(sign, type_):
    """The type of an operator on a value of this (unboxed) type; QuorError when there is none."""
    if sign == "!" and type_ == BOOLEAN:
        return BOOLEAN
    if sign != "!" and (is_integral(type_) if sign == "~" else is_numeric(type_)):
        return promoted(type_)
    raise QuorError(f'"{sign}" does not go with {shown(type_)}')


def binary_type(sign, left, right):
    """The type of an operator between values of these (unboxed) types; QuorError when there is none."""
    found = _binary_type(sign, left, right)
    if found is None:
        raise QuorError(f'"{sign}" does not go with {shown(left)} and {shown(right)}')
    return found


def _binary_type(sign, left, right):
    booleans, numbers = left == right == BOOLEAN, is_numeric(left) and is_numeric(right)
    integers = is_integral(left) and is_integral(right)
    if sign in _SHIFTS:
        return promoted(left) if integers else None
    if sign in _BITWISE:
        return BOOLEAN if booleans else promoted(left, right) if integers else None
    if sign in _LOGICAL:
        return BOOLEAN if booleans else None
    if sign in _EQUALITIES:
        return BOOLEAN if booleans or numbers else None
    if sign in _COMPARISONS:
        return BOOLEAN if numbers else None
    return promoted(left, right) if numbers else None


# ---- Values ----

def unary(sign, value):
    """The value of an operator on a primitive."""
    type_ = unary_type(sign, value.type)
    if sign == "!":
        return values.boolean(not value.payload, value.constant)
    number = of_number(type_, value.number).payload
    return of_number(type_, {"+": operator.pos, "-": operator.neg, "~": operator.invert}[sign](number), value.constant)


def binary(sign, left, right):
    """The value of an operator between primitives; of && and || when both are known."""
    type_ = binary_type(sign, left.type, right.type)
    constant = left.constant and right.constant
    if sign in _SHIFTS:
        return _shifted(sign, type_, left.number, right.number, constant)
    if left.type == BOOLEAN:
        return values.boolean(_on_booleans(sign, left.payload, right.payload), constant)
    common = promoted(left.type, right.type)
    one, other = (of_number(common, each.number).payload for each in (left, right))
    if sign in _COMPARISONS or sign in _EQUALITIES:
        return values.boolean({**_COMPARISONS, **_EQUALITIES}[sign](one, other), constant)
    if sign in _BITWISE:
        return of_number(type_, _BITWISE[sign](one, other), constant)
    return of_number(type_, (_on_floats if type_ in "FD" else _on_integers)[sign](one, other), constant)


def _on_booleans(sign, one, other):
    return {**_BITWISE, **_EQUALITIES, "&&": operator.and_, "||": operator.or_}[sign](one, other)


def _shifted(sign, type_, number, distance, constant):
    bits = BITS[type_]
    distance &= bits - 1
    if sign == ">>>":
        number &= (1 << bits) - 1
    return values.integer(type_, number << distance if sign == "<<" else number >> distance, constant)


def _quotient(one, other):
    if not other:
        raise JavaException("java/lang/ArithmeticException", "/ by zero")
    whole = abs(one) // abs(other)
    return whole if (one < 0) == (other < 0) else -whole


def _remainder(one, other):
    return one - _quotient(one, other) * other


def _float_quotient(one, other):
    if other:
        return one / other
    if not one or math.isnan(one):
        return math.nan
    return math.copysign(math.inf, one) * math.copysign(1, other)


def _float_remainder(one, other):
    return math.nan if math.isinf(one) or not other else math.fmod(one, other)


_on_integers = {"+": operator.add, "-": operator.sub, "*": operator.mul, "/": _quotient, "%": _remainder}
_on_floats = {"+": operator.add, "-": operator.sub, "*": operator.mul, "/": _float_quotient, "%": _float_remainder}
