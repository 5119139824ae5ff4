"""From the text of a Java expression to its parts (tree.py). What is wrong raises a QuorError of one line that names the column."""
from quor.errors import QuorError
from quor.expression import lexer, tree
from quor.expression.lexer import END, LITERAL, NAME, SIGN, at

_BINARY = [("||",), ("&&",), ("|",), ("^",), ("&",), ("==", "!="), ("<", ">", "<=", ">="), ("<<", ">>", ">>>"),
           ("+", "-"), ("*", "/", "%")]
_RELATIONAL = 6  # the level where instanceof stands
_UNARY = ("+", "-", "!", "~")
_PRIMITIVES = ("boolean", "byte", "char", "short", "int", "long", "float", "double")
_CHANGES = ("=", "++", "--", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>=", ">>>=")
_UNKNOWN = {"new": "objects cannot be made here", "super": "super is not known here; cast this to the class",
            "switch": "switch is not known here", "->": "lambdas are not known here", "::": "method references are not known here",
            "class": "class literals are not known here"}
_RESERVED = {"instanceof", *_PRIMITIVES, "void", "if", "else", "for", "while", "do", "return", "throw", "try", "catch", "import",
             "package", "static", "final", "public", "private", "protected", "synchronized", "assert", "break", "case",
             "continue", "default", "enum", "extends", "implements", "interface", "native", "strictfp", "throws", "transient",
             "volatile", "abstract", "const", "goto", "finally", *(word for word in _UNKNOWN if word.isalpha())}


def parse(text):
    """The tree of an expression."""
    return _whole(text, _Parser.expression)


def parse_assignment(text):
    """The tree.Assignment of TARGET = VALUE."""
    return _whole(text, _Parser.assignment)


def _whole(text, rule):
    try:
        parser = _Parser(lexer.tokens(text))
        if parser.token.kind == END:
            raise QuorError("an expression is missing")
        node = rule(parser)
        parser.end()
        return node
    except RecursionError:
        raise QuorError("the expression is nested too deeply") from None


class _Parser:
    """By recursive descent, a method a rule."""

    def __init__(self, found):
        self._tokens, self._position = found, 0

    # ---- Tokens ----

    @property
    def token(self):
        return self._tokens[self._position]

    def _advance(self):
        token = self.token
        self._position += token.kind != END
        return token

    def _at_sign(self, *signs):
        return self.token.kind == SIGN and self.token.text in signs

    def _at_name(self, name):
        return self.token.kind == NAME and self.token.text == name

    def _accept(self, *signs):
        return self._advance() if self._at_sign(*signs) else None

    def _expect(self, sign):
        if not self._at_sign(sign):
            raise at(self.token.column, f'"{sign}" expected{self._but()}')
        return self._advance()

    def _but(self):
        return "" if self.token.kind == END else f', not "{self.token.text}"'

    def end(self):
        if self.token.kind != END:
            raise at(self.token.column, self._unexpected())

    def _unexpected(self):
        word = self.token.text
        if word in _CHANGES:
            return f'"{word}" changes something; here values are only looked at{" (== compares)" if word == "=" else ""}'
        return _UNKNOWN.get(word) or f'"{word}" is not expected here'

    # ---- Rules ----

    def assignment(self):
        target = self.expression()
        if not isinstance(target, (tree.Name, tree.Field, tree.Index)):
            raise at(target.column, "only a local, a field or an array element can be changed")
        sign = self._expect("=")
        return tree.Assignment(target, self.expression(), sign.column)

    def expression(self):
        condition = self._binary(0)
        sign = self._accept("?")
        if sign is None:
            return condition
        chosen = self.expression()
        self._expect(":")
        return tree.Conditional(condition, chosen, self.expression(), sign.column)

    def _binary(self, level):
        if level == len(_BINARY):
            return self._unary()
        left = self._binary(level + 1)
        while True:
            sign = self._accept(*_BINARY[level])
            if sign is not None:
                left = tree.Binary(sign.text, left, self._binary(level + 1), sign.column)
            elif level == _RELATIONAL and self._at_name("instanceof"):
                column = self._advance().column
                left = tree.InstanceOf(left, self._type(), column)
            else:
                return left

    def _unary(self):
        sign = self._accept(*_UNARY)
        if sign is None:
            return self._cast() or self._postfix()
        token = self.token
        if sign.text == "-" and isinstance(token.value, lexer.MinusOnly):
            self._advance()
            return self._selectors(tree.Literal(token.value.value, sign.column))
        return tree.Unary(sign.text, self._unary(), sign.column)

    def _cast(self):
        """The Cast that begins here, or None: a name in parentheses is a type only if an operand follows."""
        start = self._position
        opening = self._accept("(")
        type_ = self._try_type() if opening else None
        if type_ is None or not self._accept(")") or not (self._is_primitive(type_) or self._at_operand()):
            self._position = start
            return None
        return tree.Cast(type_, self._unary(), opening.column)

    @staticmethod
    def _is_primitive(type_):
        return type_.name in _PRIMITIVES and not type_.dimensions

    def _at_operand(self):
        """Whether an operand follows that no binary operator begins."""
        token = self.token
        return token.kind in (NAME, LITERAL) and token.text != "instanceof" or self._at_sign("(", "!", "~")

    def _postfix(self):
        return self._selectors(self._primary())

    def _selectors(self, node):
        while True:
            if self._accept("."):
                node = self._member(node)
            elif self._at_sign("["):
                column = self._advance().column
                node = tree.Index(node, self.expression(), column)
                self._expect("]")
            else:
                return node

    def _member(self, node):
        token = self.token
        if token.kind != NAME or token.text in _RESERVED:
            raise at(token.column, _UNKNOWN.get(token.text) or f"a name must follow the dot{self._but()}")
        self._advance()
        if self._at_sign("("):
            return tree.Call(node, token.text, self._arguments(), token.column)
        return tree.Field(node, token.text, token.column)

    def _arguments(self):
        self._expect("(")
        found = []
        while not self._at_sign(")"):
            found.append(self.expression())
            if not self._at_sign(")"):
                self._expect(",")
                if self._at_sign(")"):
                    raise at(self.token.column, "an argument is missing")
        self._expect(")")
        return tuple(found)

    def _primary(self):
        token = self.token
        if token.kind == LITERAL:
            if isinstance(token.value, lexer.MinusOnly):
                raise at(token.column, f"{token.text} is too large without a minus before it")
            self._advance()
            return tree.Literal(token.value, token.column)
        if token.kind == NAME and token.text not in _RESERVED:
            self._advance()
            if self._at_sign("("):
                return tree.Call(None, token.text, self._arguments(), token.column)
            return tree.Name(token.text, token.column)
        if self._accept("("):
            node = self.expression()
            self._expect(")")
            return node
        raise at(token.column, "a value is missing" if token.kind == END else self._unexpected())

    # ---- Types ----

    def _type(self):
        column = self.token.column
        found = self._try_type()
        if found is None:
            raise at(column, f"a type must stand here{self._but()}")
        return found

    def _try_type(self):
        """The Type that begins here, or None, and then somewhere behind."""
        token = self.token
        if token.kind != NAME or token.text in _RESERVED and token.text not in _PRIMITIVES:
            return None
        self._advance()
        name = token.text
        if name not in _PRIMITIVES:
            if not self._type_arguments():
                return None
            while self._accept("."):
                part = self._advance()
                if part.kind != NAME or part.text in _RESERVED:
                    return None
                name += "." + part.text
                if not self._type_arguments():
                    return None
        dimensions = 0
        while self._accept("["):
            if not self._accept("]"):
                return None
            dimensions += 1
        return tree.Type(name, dimensions, token.column)

    def _type_arguments(self):
        """Passes <...>, which says nothing at run time. False when it is none."""
        if not self._at_sign("<"):
            return True
        depth = 0
        while True:
            token = self._advance()
            if token.kind == END or token.kind == LITERAL:
                return False
            if token.kind == SIGN:
                if token.text not in ("<", ">", ">>", ">>>", ",", "?", ".", "[", "]", "&"):
                    return False
                depth += (token.text == "<") - (token.text.count(">") if token.text[0] == ">" else 0)
            if depth <= 0:
                return depth == 0
