"""The program as expressions see it through the agent, at a hook: everything can be called and changed. References are handles,
which live until the program goes on."""
import struct
from collections import namedtuple

import gdb

from quor.agent import hooks, invoke, place, questions, session, thread_map
from quor.agent.calls import call, out, out_pointer, out_text, scratch, text_of, with_own_scratch
from quor.agent.questions import ask
from quor.errors import QuorError
from quor.expression import world
from quor.expression.values import OBJECT, STRING, Value
from quor.hotspot import objects
from quor.hotspot import vm as vms
from quor.hotspot.loaders import Loaders
from quor.names import class_signature, descriptors, simple_name

JNI_NAMES = {"Z": "boolean", "B": "byte", "C": "char", "S": "short", "I": "int", "J": "long", "F": "float", "D": "double"}
_TAGS = 3  # bits of a handle that tell its kind
_LOCAL_KINDS = {"J": "long", "F": "float", "D": "double", "L": "object", "[": "object"}  # others are ints


class Handle(namedtuple("Handle", "reference stop")):
    """An object of one stop."""


def handle(reference):
    return Handle(reference, session.stop_number()) if reference else None


def reference_of(held):
    """The JNI reference of a Handle, which must be of this stop; 0 of None."""
    if held is None:
        return 0
    if held.stop != session.stop_number():
        raise QuorError("that object belongs to an earlier stop")
    return held.reference


class Place(namedtuple("Place", "thread depth clazz method location")):
    """A Java frame as the agent knows it: handles and numbers."""


def place_of(thread, depth):
    """The Place of a frame of a gdb thread; `depth` counts its Java frames, 0 is the innermost."""
    held = thread_map.handle_of(thread)
    if not held:
        raise QuorError("this thread is not known to the agent")
    return Place(held, depth, *questions.frame(held, depth))


class AgentWorld(world.World):
    """`frame` is a Place or None; `results` gives the Value of an earlier result by name, or None."""

    def __init__(self, frame, results=lambda name: None):
        self._frame, self._results = frame, results
        self.has_invoked = False  # whether a method of the program has run
        self._classes = {}  # signature: handle of the class met last under it
        self._signatures = {}  # handle of a class: its signature
        self._fields, self._methods, self._above = {}, {}, {}  # by handle of a class
        if frame is not None:
            self._signature(frame.clazz)

    # ---- The frame ----

    def _locals(self):
        """The Locals that live at the frame's place; arguments called arg0, arg1... where the class tells no names."""
        frame = self._frame
        told = questions.local_variables(frame.clazz, frame.method)
        if told is None:
            return self._arguments()
        return [each for each in told if each.start <= frame.location < each.start + each.length]

    def _method(self):
        return next(each for each in questions.methods(self._frame.clazz) if each.id == self._frame.method)

    def _arguments(self):
        method, found, slot = self._method(), [], 0
        if not method.modifiers & world.STATIC:
            found.append(questions.Local(0, 0, "this", self._signature(self._frame.clazz), 0))
            slot = 1
        for number, descriptor in enumerate(descriptors(method.signature)):
            found.append(questions.Local(0, 0, f"arg{number}", descriptor, slot))
            slot += 2 if descriptor in "JD" else 1
        return found

    def _local(self, name):
        return next((each for each in self._locals() if each.name == name), None) if self._frame is not None else None

    @with_own_scratch
    def local(self, name):
        found = self._local(name)
        if found is None:
            return None
        kind = _LOCAL_KINDS.get(found.signature[0], "int")
        value = out("jobject" if kind == "object" else f"j{kind}")
        ask(f"agent_get_local{kind}", 0, found.slot, value, self._frame.thread, self._frame.depth)
        return self._of_gdb(found.signature, value.dereference())

    @with_own_scratch
    def set_local(self, name, value):
        found = self._local(name)
        if found is None:
            raise QuorError(f"no local {name} here")
        kind = _LOCAL_KINDS.get(found.signature[0], "int")
        ask(f"agent_set_local{kind}", 0, found.slot, self.to_gdb(value, f"j{kind}"), self._frame.thread, self._frame.depth)

    @with_own_scratch
    def this(self):
        if self._frame is None or self._method().modifiers & world.STATIC:
            return None
        value = out("jobject")
        ask("agent_get_localobject", 0, 0, value, self._frame.thread, self._frame.depth)
        return Value(self._signature(self._frame.clazz), handle(int(value.dereference())))

    def current_class(self):
        return self._signature(self._frame.clazz) if self._frame is not None else None

    def result(self, name):
        return self._results(name)

    # ---- Values ----

    @staticmethod
    def _of_gdb(signature, value):
        """A Value from what a function gave."""
        kind = signature[0]
        if kind in "L[":
            return Value(signature, handle(int(value)))
        if kind == "Z":
            return Value(signature, int(value) & 0xff != 0)
        if kind == "C":
            return Value(signature, chr(int(value) & 0xffff))
        if kind in "FD":
            return Value(signature, float(value))
        bits = {"B": 8, "S": 16, "I": 32, "J": 64}[kind]
        return Value(signature, (int(value) + (1 << bits - 1)) % (1 << bits) - (1 << bits - 1))

    def to_gdb(self, value, type_name):
        """The gdb.Value of a Value as an argument of this JNI type."""
        if value.type[0] in "L[" or value.is_null:
            payload = self.new_string(value.payload).payload if isinstance(value.payload, str) else value.payload
            return gdb.Value(reference_of(payload)).cast(gdb.lookup_type("jobject"))
        number = value.payload if value.type in "FD" else int(value.number)
        return gdb.Value(number).cast(gdb.lookup_type(type_name))

    # ---- Classes ----

    def _signature(self, clazz):
        if clazz not in self._signatures:
            self._signatures[clazz] = questions.class_info(clazz).signature
        self._classes[self._signatures[clazz]] = clazz
        return self._signatures[clazz]

    def class_handle(self, signature):
        """The handle of a class."""
        if signature not in self._classes:
            found = questions.classes_named(signature)
            if not found:
                name = signature[1:-1] if signature[0] == "L" else signature
                info = questions.class_by_name(name)
                if info is None:
                    raise QuorError(f"the class {name.replace('/', '.')} is not loaded")
                found = [info.handle]
            clazz = self._visible(found)
            self._classes[signature] = clazz
            self._signatures[clazz] = signature
        return self._classes[signature]

    def _visible(self, found):
        """Of classes of one name that which the frame's class sees, else any."""
        vm = vms.current()
        if len(found) == 1 or self._frame is None or vm is None:
            return found[0]
        heap = objects.of(vm).heap
        user, *mirrors = (heap.load_full(each & ~_TAGS) for each in (self._frame.clazz, *found))
        return found[Loaders(heap).nearest(user, mirrors)]

    def find_class(self, name):
        signature = class_signature(name)
        return signature if signature in self._classes or questions.classes_named(signature) else None

    def classes_named(self, name):
        return sorted({signature for _, signature in questions.prepared_classes()
                       if signature[0] == "L" and simple_name(signature[1:-1]) == name})

    def class_of(self, reference):
        return self._signature(questions.object_class(reference_of(reference)))

    def _superclasses(self, clazz):
        while clazz:
            yield clazz
            if clazz not in self._above:
                above = questions.superclass(clazz)
                self._above[clazz] = above.handle if above is not None else 0
            clazz = self._above[clazz]

    def _interfaces(self, clazz):
        for each in self._superclasses(clazz):
            for named in questions.interfaces(each):
                yield named
                yield from self._interfaces(named)

    def _kin(self, signature):
        clazz = self.class_handle(signature)
        yield from self._superclasses(clazz)
        yield from self._interfaces(clazz)

    def is_assignable(self, source, target):
        return target == OBJECT or any(self._signature(clazz) == target for clazz in self._kin(source))

    # ---- Fields ----

    def find_field(self, owner, name):
        for clazz in self._kin(owner):
            if clazz not in self._fields:
                self._fields[clazz] = {field.name: field for field in questions.fields(clazz)}
            field = self._fields[clazz].get(name)
            if field is not None:
                return world.Field(self._signature(clazz), name, field.signature, field.modifiers, (clazz, field.id))
        return None

    @staticmethod
    def _field_function(verb, field):
        kind = JNI_NAMES.get(field.type[0], "object")
        return f"agent_{verb}_{'static_' if field.static else ''}field_{kind}", f"j{kind}"

    def get_field(self, field, reference):
        clazz, identity = field.id
        function, _ = self._field_function("get", field)
        return self._of_gdb(field.type, call(function, 0, clazz if field.static else reference_of(reference), identity))

    def set_field(self, field, reference, value):
        clazz, identity = field.id
        function, kind = self._field_function("set", field)
        ask(function, clazz if field.static else reference_of(reference), identity, self.to_gdb(value, kind))

    # ---- Arrays ----

    def array_length(self, reference):
        return call("agent_get_arraylength", 0, reference_of(reference))

    @with_own_scratch
    def array_slice(self, reference, start, count):
        element, array = self.class_of(reference)[1:], reference_of(reference)
        if element[0] in "L[":
            return [Value(element, handle(int(call("agent_get_objarray_element", 0, array, index))))
                    for index in range(start, start + count)]
        kind = JNI_NAMES[element]
        cell, found = out(f"j{kind}"), []
        for index in range(start, start + count):
            ask(f"agent_get_{kind}array_element", array, index, cell)
            found.append(self._of_gdb(element, cell.dereference()))
        return found

    def set_array_element(self, reference, index, value):
        element = self.class_of(reference)[1:]
        kind = "obj" if element[0] in "L[" else JNI_NAMES[element]
        ask(f"agent_set_{kind}array_element", reference_of(reference), index,
            self.to_gdb(value, "jobject" if kind == "obj" else f"j{kind}"))

    # ---- Methods and objects ----

    def methods(self, owner, name):
        found = []
        for clazz in [*self._kin(owner), self.class_handle(OBJECT)]:
            if clazz not in self._methods:
                self._methods[clazz] = questions.methods(clazz)
            mine = [world.Method(self._signature(clazz), each.name, each.signature, each.modifiers, (clazz, each.id))
                    for each in self._methods[clazz] if each.name == name]
            found += [each for each in mine if each not in found]
        return found

    def invoke(self, method, reference, arguments):
        if self._frame is None or self._frame.thread != hooks.thread_of_the_stop():
            raise QuorError("a method is called in the thread of the Java stop, which is not the selected one, or there is none")
        words = [self._word(value) for value in arguments]
        self.has_invoked = True
        clazz, identity = method.id
        outcome = invoke.run(self._frame.thread, None if method.static else reference_of(reference), clazz, identity,
                             method.returns[0], words)
        if outcome.exception:
            thrown = handle(outcome.exception)
            raise world.JavaException(self.class_of(thrown)[1:-1], self._message(thrown), thrown)
        if method.returns == "V":
            return Value("V", None)
        if method.returns[0] in "L[":
            return Value(method.returns, handle(outcome.word))
        kind = {"F": "f", "D": "d"}.get(method.returns, "j")
        return self._of_gdb(method.returns, outcome.value[kind])

    def _message(self, thrown):
        """What an exception carries, read from its field."""
        field = self.find_field("Ljava/lang/Throwable;", "detailMessage")
        value = self.get_field(field, thrown) if field is not None else None
        return self.string_value(value.payload) if value is not None and value.payload is not None else None

    def _word(self, value):
        """A Value as the eight bytes of an argument."""
        if value.type in ("F", "D"):
            return struct.pack("<d" if value.type == "D" else "<f", value.payload).ljust(8, b"\0")
        if value.is_primitive:
            number = int(value.number)
        else:
            payload = self.new_string(value.payload).payload if isinstance(value.payload, str) else value.payload
            number = reference_of(payload)
        return (number % (1 << 64)).to_bytes(8, "little")

    @with_own_scratch
    def new_array(self, element, values):
        if element[0] in "L[":
            made = call("agent_new_objectarray", 0, len(values), self.class_handle(element), 0)
        else:
            made = call(f"agent_new_{JNI_NAMES[element]}array", 0, len(values), scratch(8))
        array = Value("[" + element, handle(int(made)))
        for index, value in enumerate(values):
            self.set_array_element(array.payload, index, value)
        return array

    @with_own_scratch
    def string_value(self, reference):
        length, text = out("jint"), out_pointer("char")
        ask("agent_get_stringvalue", reference_of(reference), length, text)
        return text_of(text.dereference()) or ""

    @with_own_scratch
    def new_string(self, content):
        local = invoke.jni("NewStringUTF", out_text(content))
        made = call("keep_alive", place.global_value("quor_env"), local, out_text("java"))
        return Value(STRING, handle(int(made)))

    def same(self, one, other):
        return one == other or bool(int(invoke.jni("IsSameObject", reference_of(one), reference_of(other))))
