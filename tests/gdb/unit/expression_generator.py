"""Makes Java expressions by chance, all of them such that javac takes them, over the names of the program Truth.

An Expression has as few parentheses as it needs, so what belongs to what is tried too.
"""
from collections import namedtuple

Expression = namedtuple("Expression", "text strength kind")
"""strength: how strongly its outermost operator binds. kind: SMALL (what becomes an int), LONG, REAL, BOOLEAN, TEXT."""

SMALL, LONG, REAL, BOOLEAN, TEXT = "small", "long", "real", "boolean", "text"
_INTEGRAL = (SMALL, LONG)

_CONDITIONAL, _UNARY, _ATOM = 1, 14, 16
_STRENGTH = {"||": 2, "&&": 3, "|": 4, "^": 5, "&": 6, "==": 7, "!=": 7, "<": 8, ">": 8, "<=": 8, ">=": 8, "<<": 9, ">>": 9,
             ">>>": 9, "+": 10, "-": 10, "*": 11, "/": 11, "%": 11}

_LEAVES = {
    SMALL: ["b", "s", "c", "i", "count", "this.count", "other.count", "Truth.small", "Inner.depth", "ia[1]", "ia[i & 3]",
            "ia.length", "grid[0][1]", "grid[1][0]", "tag", "text.length()", "0", "1", "7", "-3", "2147483647", "-2147483648",
            "0x80000000", "0b1011", "0_17", "'x'", "'\\uffff'", "'\\n'"],
    LONG: ["l", "total", "la[0]", "Truth.total", "5L", "-1L", "0x7fffffffffffffffL", "-9223372036854775808L", "1L"],
    REAL: ["f", "d", "rate", "other.rate", "0.0", "0.1f", "0.1", "1e10", "-2.5", "1e-40f", "3e38f", "1e308", "0x1.8p3",
           "16777217f"],
    BOOLEAN: ["z", "true", "false", "any == null", "any instanceof String", "any instanceof Number", "text instanceof Comparable",
              "text == \"hello\"", "text == null", "boxed == null", "other.open"],
    TEXT: ["text", "\"\"", "\"a\\tb\\u00e9\"", "((Base) this).tag", "pick(i)", "other.name", "(String) any"]}
_BOXED = {SMALL: ["boxed", "mark"], LONG: ["far"], REAL: ["share"], BOOLEAN: ["flag"]}
_SHORT_NUMBERS = ["f", "d", "0.25", "1e10", "1.0E-5f", "100.0", "0.001", "-0.0"]  # every JDK writes these alike
_CASTS = {"byte": SMALL, "short": SMALL, "char": SMALL, "int": SMALL, "long": LONG, "float": REAL, "double": REAL}


class Generator:
    """Draws from a random.Random."""

    def __init__(self, random):
        self._random = random

    def expression(self, depth):
        """One of any kind."""
        return self._random.choice([self.number, self.number, self.boolean, self.text, self.call])(depth).text

    def _chosen(self, *choices):
        return self._random.choice(choices)

    def _leaf(self, kind):
        text = self._random.choice(_LEAVES[kind])
        return Expression(text, _strength_of_leaf(text), kind)

    # ---- Numbers ----

    def number(self, depth, kinds=(SMALL, LONG, REAL)):
        if depth <= 0:
            return self._leaf(self._chosen(*kinds))
        made = self._chosen(self._arithmetic, self._arithmetic, self._bits, self._shift, self._sign, self._cast,
                            self._chosen_number, lambda _depth: self._leaf(self._chosen(*kinds)))(depth - 1)
        if made.kind in kinds:
            return made
        return self._cast_to(self._chosen(*(each for each in _CASTS if _CASTS[each] in kinds)), made)

    def _operand(self, depth, kinds):
        if self._random.random() < 0.1:
            kind = self._chosen(*kinds)
            return Expression(self._random.choice(_BOXED[kind]), _ATOM, kind)
        return self.number(depth, kinds)

    def _arithmetic(self, depth):
        return self._binary(self._chosen(*"+-*/%"), depth, (SMALL, LONG, REAL))

    def _bits(self, depth):
        return self._binary(self._chosen(*"&|^"), depth, _INTEGRAL)

    def _binary(self, sign, depth, kinds):
        left, right = self._operand(depth, kinds), self._operand(depth, kinds)
        kind = next(each for each in (REAL, LONG, SMALL) if each in (left.kind, right.kind))
        return _joined(sign, left, right, kind)

    def _shift(self, depth):
        left, right = self._operand(depth, _INTEGRAL), self._operand(depth, _INTEGRAL)
        return _joined(self._chosen("<<", ">>", ">>>"), left, right, left.kind)

    def _sign(self, depth):
        sign = self._chosen("-", "+", "~")
        operand = self.number(depth, _INTEGRAL if sign == "~" else (SMALL, LONG, REAL))
        inner = _in_parentheses(operand, _UNARY)
        return Expression(sign + (" " if inner[0] in "+-" else "") + inner, _UNARY, operand.kind)

    def _cast(self, depth):
        return self._cast_to(self._chosen(*_CASTS), self.number(depth))

    @staticmethod
    def _cast_to(type_, operand):
        return Expression(f"({type_}) {_in_parentheses(operand, _UNARY)}", _UNARY, _CASTS[type_])

    def _chosen_number(self, depth):
        chosen, other = self.number(depth), self.number(depth)
        kind = next(each for each in (REAL, LONG, SMALL) if each in (chosen.kind, other.kind))
        return self._conditional(depth, chosen, other, kind)

    def _conditional(self, depth, chosen, other, kind):
        condition = _in_parentheses(self.boolean(depth), _CONDITIONAL + 1)
        return Expression(f"{condition} ? {chosen.text} : {other.text}", _CONDITIONAL, kind)

    # ---- Booleans ----

    def boolean(self, depth):
        if depth <= 0:
            return self._leaf(BOOLEAN)
        return self._chosen(self._comparison, self._comparison, self._logical, self._negation, self._leaf_boolean)(depth - 1)

    def _leaf_boolean(self, _depth):
        return self._leaf(BOOLEAN)

    def _comparison(self, depth):
        return _joined(self._chosen("<", ">", "<=", ">=", "==", "!="), self._operand(depth, (SMALL, LONG, REAL)),
                       self.number(depth, (SMALL, LONG, REAL)), BOOLEAN)

    def _logical(self, depth):
        left = self.boolean(depth)
        right = Expression("flag", _ATOM, BOOLEAN) if self._random.random() < 0.1 else self.boolean(depth)
        return _joined(self._chosen("&&", "||", "&", "|", "^", "==", "!="), left, right, BOOLEAN)

    def _negation(self, depth):
        return Expression("!" + _in_parentheses(self.boolean(depth), _UNARY), _UNARY, BOOLEAN)

    # ---- Texts and calls ----

    def text(self, depth):
        if depth <= 0:
            return self._leaf(TEXT)
        left = self.text(depth - 1)
        if self._random.random() < 0.2:
            return self._conditional(depth - 1, left, self.text(depth - 1), TEXT)
        return _joined("+", left, self._chosen(self.text, self._number_in_text, self.boolean)(depth - 1), TEXT)

    def _number_in_text(self, depth):
        if self._random.random() < 0.4:
            text = self._random.choice(_SHORT_NUMBERS)
            return Expression(text, _UNARY if text[0] == "-" else _ATOM, REAL)
        return self._operand(depth, _INTEGRAL)

    def call(self, depth):
        """One of the overloaded methods, which tell which one they are."""
        any_ = self._chosen(lambda: self._operand(depth - 1, (SMALL, LONG, REAL)), lambda: self.boolean(depth - 1),
                            lambda: self.text(depth - 1), lambda: Expression(self._chosen("any", "ia", "other"), _ATOM, None))
        form = self._chosen("pick", "pair", "pair text", "many")
        if form == "pick":
            arguments = [any_()]
        elif form == "pair":
            # no box first: Java opens it before it evaluates the second, we do behind that
            arguments = [self.number(depth - 1, _INTEGRAL), self._operand(depth - 1, (SMALL, LONG, REAL))]
        elif form == "pair text":
            arguments = [self.text(depth - 1), any_()]
        else:
            arguments = [self.number(depth - 1) for _ in range(self._random.randrange(4))]
            if self._random.random() < 0.5:
                arguments.insert(0, self.text(depth - 1))
        return Expression(f"{form.split()[0]}({', '.join(each.text for each in arguments)})", _ATOM, TEXT)


def _strength_of_leaf(text):
    for sign in ("instanceof", "=="):
        if f" {sign} " in text:
            return _STRENGTH.get(sign, _STRENGTH["<"])
    return _UNARY if text[0] == "-" or text.startswith("(String)") else _ATOM


def _in_parentheses(expression, strength):
    return expression.text if expression.strength >= strength else f"({expression.text})"


def _joined(sign, left, right, kind):
    strength = _STRENGTH[sign]
    return Expression(f"{_in_parentheses(left, strength)} {sign} {_in_parentheses(right, strength + 1)}", strength, kind)
