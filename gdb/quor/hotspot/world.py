"""The program as expressions see it, read from memory alone: any stop will do, a core file too. What would run the program's code
or change it is refused. Needs no gdb."""
from quor.errors import QuorError
from quor.expression import world
from quor.expression.values import OBJECT, STRING, Value, boolean, integer
from quor.hotspot.loaders import Loaders
from quor.hotspot.local_values import UNKNOWN
from quor.names import class_signature, simple_name

_STATIC, _PUBLIC = world.STATIC, 0x0001
_OF_STRINGS = {  # name: (signature, what it computes of texts)
    "equals": ("(Ljava/lang/Object;)Z", lambda text, other: text == other),
    "length": ("()I", lambda text: len(text.encode("utf-16-le", "surrogatepass")) // 2),
    "isEmpty": ("()Z", lambda text: not text),
    "startsWith": ("(Ljava/lang/String;)Z", str.startswith),
    "endsWith": ("(Ljava/lang/String;)Z", str.endswith),
    "contains": ("(Ljava/lang/CharSequence;)Z", lambda text, other: other in text),
}
_MAX_INTERFACES = 1 << 16


class NeedsTheAgent(QuorError):
    """The expression calls a method or changes something."""

    def __init__(self, what="a method call"):
        super().__init__(f"{what} needs the agent, at a Java stop")


class MemoryWorld(world.World):
    """`hotspot` is the Vm, `readers` its quor.hotspot.objects.Objects, `frame` a JavaFrame or None, `results` a function from the
    name of an earlier result to its Value or None. References are the addresses of objects."""

    def __init__(self, hotspot, readers, frame, results=lambda name: None):
        self._memory, self._tables = hotspot.memory, hotspot.tables
        self._heap, self._classes, self._locals = readers.heap, readers.classes, readers.locals
        self._frame, self._results = frame, results
        self._klasses = {}  # signature: the class record that was met last under it
        self._holder = frame.method.holder if frame is not None else None
        if self._holder:
            self._known(self._holder)

    # ---- The frame ----

    def local(self, name):
        if self._frame is None:
            return None
        found = self._locals.value_of(self._frame, name)
        if found is UNKNOWN and any(each.name == name for each in self._locals.of(self._frame, depth=0)):
            raise QuorError(f"{name}: the compiler did not note where its value is here")
        return self._value(*found) if found is not UNKNOWN else None

    def set_local(self, name, value):
        raise NeedsTheAgent("a change")

    def this(self):
        return None if self._frame is None or self._frame.method.is_static else self.local("this")

    def current_class(self):
        return class_signature(self._frame.method.klass) if self._frame is not None else None

    def result(self, name):
        return self._results(name)

    def _value(self, signature, value):
        return Value(signature, value or None) if signature[0] in "L[" else Value(signature, value)

    # ---- Classes ----

    def find_class(self, name):
        signature = class_signature(name)
        if signature not in self._klasses:
            klass = self._visible(name)
            return self._known(klass) if klass else None
        return signature

    def _visible(self, name):
        """The class of this name that the frame's class sees, else any; 0 when there is none."""
        found = self._classes.named(name)
        if len(found) < 2 or not self._holder:
            return found[0] if found else 0
        mirrors = [self._classes.mirror(klass) for klass in found]
        return found[Loaders(self._heap).nearest(self._classes.mirror(self._holder), mirrors)]

    def classes_named(self, name):
        return sorted({self._signature(klass) for klass in self._classes.all()
                       if simple_name(self._heap.class_name(klass)) == name})

    def class_of(self, reference):
        return STRING if isinstance(reference, str) else self._known(self._heap.klass(reference))

    def is_assignable(self, source, target):
        return any(self._signature(klass) == target for klass in self._kin(source))

    def _signature(self, klass):
        name = self._heap.class_name(klass)
        return name if name.startswith("[") else f"L{name};"

    def _known(self, klass):
        signature = self._signature(klass)
        self._klasses[signature] = klass
        return signature

    def _klass(self, signature):
        if signature not in self._klasses:
            name = signature[1:-1] if signature[0] == "L" else signature
            klass = self._visible(name)
            if not klass:
                raise QuorError(f"the class {name.replace('/', '.')} is not loaded")
            self._klasses[signature] = klass
        return self._klasses[signature]

    def _kin(self, signature):
        """The class record, those above it, and all interfaces."""
        klass = self._klass(signature)
        yield from self._heap.superclasses(klass)
        yield from self._interfaces(klass)

    def _interfaces(self, klass):
        at, data = self._tables.offset("InstanceKlass::_transitive_interfaces"), self._tables.offset("Array<Klass*>::_data")
        array = self._memory.word(klass + at)
        count = self._memory.i32(array + self._tables.offset("Array<int>::_length")) if array else 0
        for index in range(min(count, _MAX_INTERFACES)):
            yield self._memory.word(array + data + index * self._memory.word_size)

    # ---- Fields ----

    def find_field(self, owner, name):
        for klass in self._kin(owner):
            field = self._heap.declared(klass).get(name)
            if field is not None:
                return world.Field(self._known(klass), name, field.signature, _STATIC if field.static else 0, (klass, field.offset))
        return None

    def get_field(self, field, reference):
        klass, offset = field.id
        holder = self._classes.mirror(klass) if field.static else reference
        return self._value(field.type, self._heap.value(holder + offset, field.type))

    def set_field(self, field, reference, value):
        raise NeedsTheAgent("a change")

    # ---- Arrays ----

    def array_length(self, reference):
        return self._heap.array_length(reference)

    def array_slice(self, reference, start, count):
        element = self._heap.class_name(self._heap.klass(reference))[1:]
        return [self._value(element, value) for value in self._heap.elements(reference, element, count, start)]

    def set_array_element(self, reference, index, value):
        raise NeedsTheAgent("a change")

    # ---- Methods and objects ----

    def methods(self, owner, name):
        """Those of String that conditions are made of, which memory answers; any other is refused. What is declared as an Object
        may be a String."""
        known = _OF_STRINGS.get(name)
        if known is None or owner not in (STRING, OBJECT):
            raise NeedsTheAgent
        if owner == OBJECT and name != "equals":
            return []
        return [world.Method(owner, name, known[0], _PUBLIC, name)]

    def invoke(self, method, reference, arguments):
        text = self._text_or_none(Value(STRING, reference))
        others = [self._text_or_none(value) if value.payload is not None else None for value in arguments]
        if text is None or None in others and method.name != "equals":
            raise NeedsTheAgent
        found = _OF_STRINGS[method.name][1](text, *others)
        return boolean(found) if isinstance(found, bool) else integer("I", found)

    def _text_or_none(self, value):
        """The text of a Value that is a String; None of any other object."""
        if value.is_text:
            return value.payload
        is_string = self._heap.class_name(self._heap.klass(value.payload)) == "java/lang/String"
        return self.string_value(value.payload) if is_string else None

    def new_array(self, element, values):
        raise NeedsTheAgent

    def string_value(self, reference):
        return reference if isinstance(reference, str) else self._heap.string(reference)

    def new_string(self, content):
        return Value(STRING, content)

    def same(self, one, other):
        return one == other
