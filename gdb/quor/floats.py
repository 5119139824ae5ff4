"""Java's float and double: rounding to 32 bits, and their texts as Double.toString and Float.toString of JDK 19 and later give
them (before, a few had more digits than they needed). Needs no gdb."""
import math
import struct
from decimal import Decimal
from fractions import Fraction

_LARGEST = Fraction((1 << 24) - 1) * (1 << 104)
_TOO_LARGE = _LARGEST + (1 << 103)  # from here on rounding gives infinity


def to_float(value):
    """A double as float: the nearest that 32 bits can hold."""
    try:
        return struct.unpack("<f", struct.pack("<f", value))[0]
    except OverflowError:
        return math.copysign(math.inf, value)


def nearest_float(exact):
    """The float nearest to an int or Fraction; not by way of a double, which would round twice."""
    if abs(exact) >= _TOO_LARGE:
        return math.inf if exact > 0 else -math.inf
    near = min(max(to_float(float(Fraction(exact))), -float(_LARGEST)), float(_LARGEST))
    bits = struct.unpack("<I", struct.pack("<f", near))[0]
    around = [near, *(struct.unpack("<f", struct.pack("<I", each))[0]
                      for each in (bits - 1, bits + 1) if 0 <= each < 1 << 32)]
    return min((each for each in around if math.isfinite(each)),
               key=lambda each: (abs(Fraction(each) - exact), struct.unpack("<I", struct.pack("<f", each))[0] & 1))


def nearest_double(exact):
    """The double nearest to an int or Fraction."""
    try:
        return float(Fraction(exact))
    except OverflowError:
        return math.inf if exact > 0 else -math.inf


def double_text(value):
    """1.0, 1.0E10, 1.0E-5, Infinity, NaN."""
    return _special(value) or _formed(value, *_digits_of_double(abs(value)))


def float_text(value):
    """The same of a float, which needs fewer digits."""
    return _special(value) or _formed(value, *_shortest(abs(value), nearest_float))


def _special(value):
    if math.isnan(value):
        return "NaN"
    if math.isinf(value):
        return "Infinity" if value > 0 else "-Infinity"
    return "" if value else "-0.0" if math.copysign(1, value) < 0 else "0.0"


def _digits_of_double(value):
    _, digits, exponent = Decimal(repr(value)).normalize().as_tuple()
    if len(digits) == 1:  # Java asks for two digits, which may be nearer: 4.9E-324
        return _shortest(value, nearest_double)
    return "".join(map(str, digits)), exponent + len(digits) - 1


def _shortest(value, nearest):
    """(digits, exponent of the first) of the shortest decimal, of two digits at least, that is read as this value."""
    exact = Fraction(value)
    exponent = Decimal(value).adjusted()
    for count in range(2, 18):
        unit = Fraction(10) ** (exponent - count + 1)
        below = exact // unit
        fitting = [each for each in (below, below + 1) if nearest(each * unit) == value]
        if fitting:
            best = min(fitting, key=lambda each: (abs(each * unit - exact), each & 1))
            digits = str(best)
            return digits.rstrip("0"), exponent + len(digits) - count
    raise ValueError(value)


def _formed(value, digits, exponent):
    sign = "-" if value < 0 else ""
    if -3 <= exponent < 7:
        whole = digits[:exponent + 1].ljust(exponent + 1, "0") if exponent >= 0 else "0"
        rest = digits[exponent + 1:] if exponent >= 0 else "0" * (-exponent - 1) + digits
        return f"{sign}{whole}.{rest or '0'}"
    return f"{sign}{digits[0]}.{digits[1:] or '0'}E{exponent}"
