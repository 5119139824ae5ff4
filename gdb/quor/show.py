"""Texts as people know them from Java: values, objects, frames, threads, breakpoints, deadlocks. One text for one thing, wherever
it is shown. Needs no gdb and asks the process nothing: objects are read through an ObjectReader."""
from collections import namedtuple

from quor import floats, names
from quor.errors import QuorError

_ESCAPES = {"\\": "\\\\", "\n": "\\n", "\t": "\\t", "\r": "\\r"}


# ---- Values ----

def quoted(text, quote='"'):
    """A string or character between quotes, what cannot be seen escaped."""
    return f"{quote}{''.join(_escaped(each, quote) for each in text)}{quote}"


def _escaped(character, quote):
    if character in _ESCAPES:
        return _ESCAPES[character]
    if character == quote:
        return "\\" + quote
    return character if character.isprintable() else f"\\u{ord(character):04x}"


def cut(text, limit):
    """A string in quotes; of one that is longer than the limit its beginning and three dots."""
    return quoted(text) if len(text) <= limit else quoted(text[:limit]) + "..."


def primitive(kind, value):
    """A Java primitive (its type by letter): true, 'x', 2.5, -3."""
    if kind == "Z":
        return "true" if value else "false"
    if kind == "C":
        return quoted(value, "'")
    if kind == "F":
        return floats.float_text(value)
    return floats.double_text(value) if kind == "D" else str(value)


# ---- Objects ----

Limits = namedtuple("Limits", "text elements fields")
Limits.__doc__ = "How much of an object is shown: characters of a string, elements of an array, fields."
USUAL = Limits(text=200, elements=10, fields=20)


class ObjectReader:
    """What ObjectText asks about objects; an object is whatever the reader takes for one, null is false. Any question may raise
    a QuorError, ValueError, KeyError or IndexError when the object cannot be read."""

    def class_name(self, obj):
        """The internal name of its class: com/shop/Shop, [I."""
        raise NotImplementedError

    def label(self, obj):
        """What tells it from others of its class, shown behind "@"; the same text for the same object."""
        raise NotImplementedError

    def string(self, obj, limit):
        """The text of a java.lang.String, or at least `limit` characters of it."""
        raise NotImplementedError

    def array_length(self, obj):
        raise NotImplementedError

    def elements(self, obj, descriptor, limit):
        """The values of an array's first elements, which are of this type."""
        raise NotImplementedError

    def fields(self, obj, limit):
        """(name, descriptor, value) of its first instance fields, and how many it has; those of the uppermost class come first."""
        raise NotImplementedError

    def unreadable(self, obj):
        """The text of an object that cannot be read."""
        raise NotImplementedError


class ObjectText:
    """Texts of values and objects: "text", int[3] {1, 2, 3}, Shop@1 {owner="Ann", id=7}. Collections are objects as others are.
    What cannot be read is shown as such: nothing raises."""

    def __init__(self, reader, limits=USUAL):
        self._reader, self.limits = reader, limits

    def value(self, descriptor, value, depth=1):
        """A value of this type; of an object its fields or elements, so many levels of them. An object within itself is its name
        alone."""
        return self._value(descriptor, value, depth, ())

    def type_name(self, obj):
        """The name of the object's class."""
        return names.class_name(self._reader.class_name(obj))

    def _value(self, descriptor, value, depth, around):
        if descriptor[0] not in "L[":
            return primitive(descriptor[0], value)
        if not value:
            return "null"
        try:
            return self._object(value, depth, around)
        except (QuorError, ValueError, KeyError, IndexError):
            return self._reader.unreadable(value)

    def _object(self, obj, depth, around):
        name = self._reader.class_name(obj)
        if name == "java/lang/String":
            return cut(self._reader.string(obj, self.limits.text + 1), self.limits.text)
        label = self._reader.label(obj)
        if label in around:
            depth = 0
        show = self._array if name.startswith("[") else self._instance
        return show(obj, name, label, depth, (*around, label))

    def _instance(self, obj, name, label, depth, around):
        shown = object_name(name, label)
        if depth <= 0:
            return shown
        fields, count = self._reader.fields(obj, self.limits.fields)
        texts = [f"{field}={self._value(descriptor, value, depth - 1, around)}" for field, descriptor, value in fields]
        return f"{shown} {_braced(texts, count)}" if texts else shown

    def _array(self, array, name, _label, depth, around):
        length = self._reader.array_length(array)
        shown = array_name(name, length)
        if depth <= 0:
            return shown
        values = self._reader.elements(array, name[1:], self.limits.elements)
        return f"{shown} {_braced([self._value(name[1:], each, depth - 1, around) for each in values], length)}"


def object_name(class_internal, label):
    """com.shop.Shop@1"""
    return f"{names.class_name(class_internal)}@{label}"


def array_name(class_internal, length):
    """int[3], java.lang.String[2][]"""
    element, _, further = names.type_name(class_internal).partition("[]")
    return f"{element}[{length}]{further}"


def _braced(texts, count):
    return f"{{{', '.join(texts + ['...'] * (count > len(texts)))}}}"


# ---- Frames, threads, breakpoints ----

def method(class_internal, name, signature):
    """Shop.serve(Item, int)"""
    return f"{names.class_name(class_internal)}.{name}({names.parameter_text(signature)})"


def place(source, line, native=False):
    """(Shop.java:33), (Shop.java) without a line, or <native>; empty when the class does not tell."""
    if native:
        return "<native>"
    if not source:
        return ""
    return f"({source}:{line})" if line is not None else f"({source})"


def located(what, where):
    """Shop.serve(Item, int) (Shop.java:33)"""
    return f"{what} {where}".rstrip()


def frame(number, text):
    """#3  Shop.serve(Item, int) (Shop.java:33), as gdb numbers its own."""
    return f"#{number:<2} {text}"


def thread_line(number, parts, selected=False, width=2):
    """* 22 pool-1-thread-4  RUNNABLE  in native  Shop.price; `number`: gdb's, or None; of the parts those that are known."""
    return f"{'*' if selected else ' '} {'-' if number is None else number:>{width}} {'  '.join(part for part in parts if part)}"


def thread_name(number, name):
    """thread 22 "pool-1-thread-4\""""
    return f"thread {number} {quoted(name)}" if number is not None else f"thread {quoted(name)}"


def breakpoint_line(number, where, thread):
    """Java breakpoint J3, Shop.serve (Shop.java:33), thread 22 "pool-1-thread-4": its number, and what `located` and
    `thread_name` give."""
    return f"Java breakpoint J{number}, {where}, {thread}"


# ---- Deadlocks ----

Lock = namedtuple("Lock", "kind name")
Lock.__doc__ = 'Something to wait for: ("", "Object@2a") is a monitor, ("mutex", "ledger") a native lock.'

Waiter = namedtuple("Waiter", "thread holds waits_for")
Waiter.__doc__ = "One thread of a circle: its name, the Lock that it holds, and the one that it waits for, which the next holds."


def deadlock(circle):
    """DEADLOCK: a holds Object@2a, waits for mutex ledger (held by b) / b holds ledger, waits for Object@2a

    The kind of a lock is told once; the last one waits for what the first is said to hold."""
    seen = set()
    parts = [f"{each.thread} holds {_lock(each.holds, seen)}, waits for {_lock(each.waits_for, seen)}" for each in circle]
    holders = [f" (held by {each.thread})" for each in circle[1:]] + [""]
    return "DEADLOCK: " + " / ".join(part + holder for part, holder in zip(parts, holders))


def _lock(lock, seen):
    new = lock not in seen
    seen.add(lock)
    return f"{lock.kind} {lock.name}" if lock.kind and new else lock.name
