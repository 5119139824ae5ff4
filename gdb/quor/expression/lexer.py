"""The words of a Java expression."""
import re
from collections import namedtuple
from fractions import Fraction

from quor import floats
from quor.errors import QuorError
from quor.expression import values

NAME, LITERAL, SIGN, END = "name", "literal", "sign", "end"

Token = namedtuple("Token", "kind text value column")
Token.__doc__ = "kind NAME: text; LITERAL: value, a values.Value; SIGN: text. `value` of an int or long literal may be MINUS_ONLY."

_SIGNS = sorted(("+ - * / % ++ -- == != < > <= >= << >> >>> && || ! ~ & | ^ ? : = ( ) [ ] . , "
                 "+= -= *= /= %= &= |= ^= <<= >>= >>>= -> :: ; { } @ ...").split(), key=len, reverse=True)
_WORDS = {"true": values.boolean(True, True), "false": values.boolean(False, True), "null": values.NULL_VALUE}

_DIGITS = r"\d(?:[\d_]*\d)?"
_EXPONENT = rf"[eE][+-]?{_DIGITS}"
_HEX = r"[\da-fA-F](?:[\da-fA-F_]*[\da-fA-F])?"
_PATTERNS = [(kind, re.compile(pattern)) for kind, pattern in (
    ("blank", r"\s+"),
    ("hexfloat", rf"0[xX](?P<whole>{_HEX})?\.?(?P<part>(?<=\.){_HEX})?[pP](?P<power>[+-]?{_DIGITS})(?P<suffix>[fFdD]?)"),
    ("float", rf"(?P<number>(?:{_DIGITS}\.(?:{_DIGITS})?|\.{_DIGITS})(?:{_EXPONENT})?|{_DIGITS}{_EXPONENT}|{_DIGITS}(?=[fFdD]))"
              r"(?P<suffix>[fFdD]?)"),
    ("int", rf"(?P<number>0[xX]{_HEX}|0[bB][01](?:[01_]*[01])?|{_DIGITS})(?P<suffix>[lL]?)"),
    ("name", r"(?:[^\W\d]|\$)[\w$]*"),
    ("string", r'"(?P<content>(?:[^"\\\n]|\\.)*)"'),
    ("char", r"'(?P<content>[^'\\\n]|\\[^\n][^'\n]*)'"),
    ("sign", "|".join(map(re.escape, _SIGNS))))]

_LARGEST_POWER = 1 << 14  # what lies beyond is too large or too small, and takes long to find that out

_ESCAPE = re.compile(r"\\(?:u+(?P<unit>[0-9a-fA-F]{4})|(?P<octal>[0-3][0-7]{0,2}|[4-7][0-7]?)|(?P<sign>[btnfrs\"'\\])|)")
_ESCAPED = {"b": "\b", "t": "\t", "n": "\n", "f": "\f", "r": "\r", "s": " ", '"': '"', "'": "'", "\\": "\\"}


class MinusOnly(namedtuple("MinusOnly", "value")):
    """2147483648 and 9223372036854775808: only behind a minus; `value` is what they are there."""


def at(column, message):
    """The error of one line for a place in the expression."""
    return QuorError(f"column {column}: {message}")


def tokens(expression):
    """The Tokens, the last of kind END."""
    found, position = [], 0
    while position < len(expression):
        kind, match = _next(expression, position)
        if kind != "blank":
            found.append(_token(kind, match, position + 1))
            _refuse_glued(found[-1], expression, match.end())
        position = match.end()
    return found + [Token(END, "the end", None, len(expression) + 1)]


def _next(expression, position):
    for kind, pattern in _PATTERNS:
        match = pattern.match(expression, position)
        if match and match.end() > position:
            return kind, match
    character = expression[position]
    if character in "\"'":
        raise at(position + 1, f"no closing {character}" if expression.count(character, position) < 2 else
                 "a character stands alone between ' and '" if character == "'" else "a string that cannot be read")
    raise at(position + 1, f'"{character}" has no meaning here')


def _refuse_glued(token, expression, end):
    """123abc, 0x and 1_ are no numbers."""
    if token.kind == LITERAL and token.text[0] in "0123456789." and re.match(r"[\w$]", expression[end:end + 1]):
        raise at(token.column, f'"{re.match(r"[.$0-9A-Za-z_]+", expression[token.column - 1:]).group()}" is no number')


def _token(kind, match, column):
    word = match.group()
    if kind == "name":
        return Token(LITERAL, word, _WORDS[word], column) if word in _WORDS else Token(NAME, word, None, column)
    if kind == "sign":
        return Token(SIGN, word, None, column)
    return Token(LITERAL, word, _LITERALS[kind](match, column), column)


# ---- Numbers ----

def _int(match, column):
    digits, long = match["number"].replace("_", ""), bool(match["suffix"])
    type_, bits = ("J", 64) if long else ("I", 32)
    prefix = digits[:2].lower()
    if prefix in ("0x", "0b") or digits[0] == "0" and len(digits) > 1:
        number = _based(digits, prefix, column)
        if number >= 1 << bits:
            raise at(column, f"{match.group()} is too large{'' if long else '; write L behind it for a long'}")
        return values.integer(type_, number, True)
    number = int(digits)
    if number == 1 << (bits - 1):
        return MinusOnly(values.integer(type_, -number, True))
    if number > 1 << (bits - 1):
        raise at(column, f"{match.group()} is too large{'' if long else '; write L behind it for a long'}")
    return values.integer(type_, number, True)


def _based(digits, prefix, column):
    try:
        return int(digits[2:], {"0x": 16, "0b": 2}[prefix]) if prefix in ("0x", "0b") else int(digits, 8)
    except ValueError:
        raise at(column, f'"{digits}" is no number: it begins with 0, so it is octal') from None


def _float(match, column):
    number = match["number"].replace("_", "")
    power = int(re.split("[eE]", number)[1]) if re.search("[eE]", number) else 0
    if abs(power) > _LARGEST_POWER:
        raise at(column, f"{match.group()} is too {'large' if power > 0 else 'small'}")
    return _real(Fraction(number), match, column)


def _hexfloat(match, column):
    whole, part = ((match[name] or "").replace("_", "") for name in ("whole", "part"))
    if not whole + part:
        raise at(column, f'"{match.group()}" is no number')
    power = int(match["power"].replace("_", "")) - 4 * len(part)
    if abs(power) > _LARGEST_POWER:
        raise at(column, f"{match.group()} is too {'large' if power > 0 else 'small'}")
    return _real(int(whole + part, 16) * Fraction(2) ** power, match, column)


def _real(exact, match, column):
    type_, nearest = ("F", floats.nearest_float) if match["suffix"] in ("f", "F") else ("D", floats.nearest_double)
    number = nearest(exact)
    if abs(number) == float("inf") or exact and not number:
        raise at(column, f"{match.group()} is too {'small' if not number else 'large'}")
    return values.Value(type_, number, True)


# ---- Characters and strings ----

def _string(match, column):
    return values.text(_unescaped(match["content"], column), True)


def _char(match, column):
    content = _unescaped(match["content"], column)
    if len(content) != 1 or ord(content) > 0xffff:
        raise at(column, f"{match.group()} is not one character; strings stand between \" and \"")
    return values.Value("C", content, True)


def _unescaped(content, column):
    def replaced(match):
        if match["unit"]:
            return chr(int(match["unit"], 16))
        if match["octal"]:
            return chr(int(match["octal"], 8))
        if match["sign"]:
            return _ESCAPED[match["sign"]]
        raise at(column, f'"{content[match.start():match.start() + 2]}" is no escape')
    return _ESCAPE.sub(replaced, content)


_LITERALS = {"int": _int, "float": _float, "hexfloat": _hexfloat, "string": _string, "char": _char}
