"""Java values as people read them: "text", 'x', int[3] {1, 2, 3}, Shop {owner="Ann", id=7}. Needs no gdb."""
from quor.hotspot import signatures
from quor.hotspot.memory import Unreadable

_MAX_TEXT, _MAX_ELEMENTS, _MAX_FIELDS = 200, 10, 20
_MAX_NAME = 1 << 10

_CONTROL = {'"': '\\"', "\\": "\\\\", "\n": "\\n", "\t": "\\t", "\r": "\\r"}


def quoted(text, quote='"'):
    """A string or character between quotes, what cannot be seen escaped."""
    shown = "".join(_CONTROL.get(each, each) if each.isprintable() or each in _CONTROL else f"\\u{ord(each):04x}"
                    for each in text)
    return f"{quote}{shown}{quote}"


def primitive(kind, value):
    """A Java primitive: true, 'x', 2.5, -3."""
    if kind == "Z":
        return "true" if value else "false"
    if kind == "C":
        return quoted(value, "'")
    return str(value)


class ObjectText:
    """Texts of objects of one Heap. What cannot be read is shown as such: nothing raises."""

    def __init__(self, heap):
        self._heap = heap

    def value(self, signature, value, depth=1):
        """A value of this type; of an object its fields or elements, so many levels of them."""
        if signature[0] not in "L[":
            return primitive(signature[0], value)
        if not value:
            return "null"
        try:
            return self._object(value, depth)
        except (Unreadable, ValueError, KeyError, IndexError):
            return f"<not readable at {value:#x}>"

    def type_name(self, obj):
        return signatures.class_name(self._heap.class_name(self._heap.klass(obj)))

    def _object(self, obj, depth):
        name = self._heap.class_name(self._heap.klass(obj))
        if not 0 < len(name) < _MAX_NAME or not name.isprintable():
            raise Unreadable(obj)
        if name == "java/lang/String":
            return self._string(obj)
        if name.startswith("["):
            return self._array(obj, name[1:], depth)
        fields = self._fields(obj, depth - 1) if depth > 0 else ""
        return f"{signatures.class_name(name)}@{obj:x}{fields}"

    def _string(self, obj):
        text = self._heap.string(obj, _MAX_TEXT + 1)
        return quoted(text) if len(text) <= _MAX_TEXT else quoted(text[:_MAX_TEXT]) + "..."

    def _array(self, array, element, depth):
        length = self._heap.array_length(array)
        name = _type_text(element)
        opened, brackets = name.partition("[]")[0], name[len(name.partition("[]")[0]):]
        shown = f"{opened}[{length}]{brackets}"
        if depth <= 0:
            return shown
        values = [self.value(element, value, depth - 1) for value in self._heap.elements(array, element, _MAX_ELEMENTS)]
        return f"{shown} {{{', '.join(values + ['...'] * (length > _MAX_ELEMENTS))}}}"

    def _fields(self, obj, depth):
        fields = self._heap.instance_fields(obj)
        if not fields:
            return ""
        texts = [f"{field.name}={self.value(field.signature, self._heap.value(obj + field.offset, field.signature), depth)}"
                 for field in fields[:_MAX_FIELDS]]
        return f" {{{', '.join(texts + ['...'] * (len(fields) > _MAX_FIELDS))}}}"


def _type_text(descriptor):
    """A type's descriptor as people write it: [Ljava/lang/String; gives java.lang.String[]."""
    return signatures.parameter_types(f"({descriptor})V")[0]
