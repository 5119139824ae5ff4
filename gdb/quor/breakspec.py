"""What people type behind `java break`, `catch`, `watch` and `trace`, taken apart. Needs no gdb and asks nothing of the process.

    [-t] [-thread T] [-native] C:LINE | C.METHOD[(SIG)] | LINE [if EXPR]      break_spec
    [caught|uncaught|all] [C] [-exact]                                        catch_spec
    C.FIELD                                                                   field_spec
    C.METHOD[(SIG)]                                                           method_spec

A class is kept as typed, with dots: com.shop.Shop.Item may be an inner class (names.class_candidates). What is wrong raises a
QuorError of one line.
"""
import re
from collections import namedtuple

from quor import names
from quor.errors import QuorError

_SOURCE = re.compile(r"(?:.*/)?([^/]+)\.(?:java|kt|groovy|scala)\Z")
_TOKEN = re.compile(r'"[^"]*"|[^\s"(]*\([^)]*\)\S*|\S+')
_PLACES = "C:LINE, C.METHOD, C.METHOD(TYPE, ...) or LINE"


class BreakSpec(namedtuple("BreakSpec", "place temporary thread native condition")):
    """A wanted breakpoint. `place`: a LinePlace or MethodPlace; `thread`: gdb's number (an int), a name, or None; `native`: stop
    in the native method's C function; `condition`: the text behind `if`, or None."""


class LinePlace(namedtuple("LinePlace", "class_name source line")):
    """A line: of a class, or of the classes of a source file (`source`, its name without folders; `class_name` is then the class
    that should have this file); of the current class when both are None."""

    def __str__(self):
        where = self.source or self.class_name
        return f"{where}:{self.line}" if where else f"line {self.line}"


class MethodPlace(namedtuple("MethodPlace", "class_name method parameters")):
    """A method of a class; `parameters` as names.checked_parameters gives them, or None: all of this name."""

    def __str__(self):
        return f"{self.class_name}.{self.method}{self.parameters or ''}"


class CatchSpec(namedtuple("CatchSpec", "class_name caught uncaught exact")):
    """Exceptions to stop at: of a class (None: of any) and, unless exact, of its subclasses."""


class FieldPlace(namedtuple("FieldPlace", "class_name field")):
    """A field of a class."""

    def __str__(self):
        return f"{self.class_name}.{self.field}"


# ---- break ----

def break_spec(text):
    """The BreakSpec of what stands behind `java break`."""
    head, condition = _split_condition(text)
    place, options = _options(_tokens(head), {"-t": 0, "-native": 0, "-thread": 1})
    if len(place) != 1:
        raise QuorError(f"no place to break at; give {_PLACES}" if not place else
                        f'one place, then "if" and a condition: what is "{" ".join(place[1:])}"?')
    spec = BreakSpec(break_place(place[0]), "-t" in options, _thread(options.get("-thread")), "-native" in options, condition)
    if spec.native and isinstance(spec.place, LinePlace):
        raise QuorError("-native goes with a native method: C.METHOD")
    return spec


def break_place(text):
    """The LinePlace or MethodPlace of C:LINE, C.METHOD[(SIG)] or LINE."""
    if text.isdigit():
        return LinePlace(None, None, _line(text))
    where, colon, line = text.rpartition(":")
    if not colon:
        return method_spec(text)
    source = _SOURCE.match(where)
    class_name = _class(where[:where.rindex(".")].lstrip("./") if source else where)
    return LinePlace(class_name, where.rpartition("/")[2] if source else None, _line(line))


def method_spec(text):
    """The MethodPlace of C.METHOD[(SIG)]."""
    path, parenthesis, rest = re.sub(r"\s+\(", "(", text.strip()).partition("(")
    class_name, dot, method = path.rpartition(".")
    if not text.strip():
        raise QuorError("no method; give C.METHOD or C.METHOD(TYPE, ...)")
    if not dot:
        raise QuorError(f'which class has "{text.strip()}"? Give {_PLACES}')
    if method not in ("<init>", "<clinit>") and not re.fullmatch(names.IDENTIFIER, method):
        raise QuorError(f'"{method}" is no name of a method; give {_PLACES}')
    return MethodPlace(_class(class_name), method, names.checked_parameters(parenthesis + rest) if parenthesis else None)


def _split_condition(text):
    """(what stands before `if`, the condition or None)."""
    for found in _TOKEN.finditer(text):
        if re.match(r"if(?:\(|\Z)", found.group()):
            condition = text[found.start() + 2:].strip()
            if not condition:
                raise QuorError('a condition must follow "if"')
            return text[:found.start()], condition
    return text, None


def _thread(text):
    if text is None:
        return None
    return int(text) if text.isdigit() else text.strip('"')


def _line(text):
    if not text.isdigit() or not int(text):
        raise QuorError(f'"{text}" is no line number; give {_PLACES}')
    return int(text)


# ---- catch, watch ----

def catch_spec(text):
    """The CatchSpec of [caught|uncaught|all] [C] [-exact]."""
    words, options = _options(_tokens(text), {"-exact": 0})
    mode = words.pop(0) if words and words[0] in ("caught", "uncaught", "all") else None
    if len(words) > 1:
        raise QuorError(f'one class: what is "{words[1]}"? Usage: [caught|uncaught|all] CLASS [-exact]')
    if not words and (mode is None or "-exact" in options):
        raise QuorError("no class of exceptions; give [caught|uncaught|all] CLASS [-exact], or all")
    class_name = _class(words[0]) if words else None
    return CatchSpec(class_name, mode != "uncaught", mode != "caught", "-exact" in options)


def field_spec(text):
    """The FieldPlace of C.FIELD."""
    class_name, dot, field = text.strip().rpartition(".")
    if not dot or not re.fullmatch(names.IDENTIFIER, field):
        raise QuorError(f'no field: "{text.strip()}"; give C.FIELD' if text.strip() else "no field; give C.FIELD")
    return FieldPlace(_class(class_name), field)


# ---- What they have in common ----

def _tokens(text):
    """Words; what stands in quotes or parentheses is none apart."""
    return _TOKEN.findall(re.sub(r"\s+\(", "(", text))


def _options(tokens, known):
    """(the other words, {option: its value or True}); `known`: how many values each option has."""
    words, options, rest = [], {}, list(tokens)
    while rest:
        word = rest.pop(0)
        if not word.startswith("-"):
            words.append(word)
        elif word not in known:
            raise QuorError(f"no option {word}; there {'are' if len(known) > 1 else 'is'} {', '.join(known)}")
        elif known[word] and not rest:
            raise QuorError(f"{word} needs a value")
        else:
            options[word] = rest.pop(0) if known[word] else True
    return words, options


def _class(text):
    """The class's name with dots, QuorError when it can be none."""
    if not names.is_class_name(text):
        raise QuorError(f'"{text}" is no name of a class' if text else "the class's name is missing")
    return text.replace("/", ".")
