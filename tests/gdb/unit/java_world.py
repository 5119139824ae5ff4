"""A small program in Python's memory for the evaluator of expressions: classes, objects, a selected frame."""
from quor import names
from quor.expression.values import BOXES, OBJECT, STRING, Value
from quor.expression.world import STATIC, Field, JavaException, Method, World


class Object:
    """An object: its class, its fields by (declaring class, name), a string's text, an array's payloads."""

    def __init__(self, type_, text=None, elements=None):
        self.type, self.text, self.elements, self.fields = type_, text, elements, {}


class Class:
    def __init__(self, type_, supers, interface):
        self.type, self.supers, self.interface = type_, supers, interface
        self.fields, self.methods, self.statics, self.bodies = {}, [], {}, {}


class FakeWorld(World):
    """Strings that the program has are interned, those that `new_string` makes are not."""

    def __init__(self):
        self.classes, self.interned, self.locals, self.results = {}, {}, {}, {}
        self.this_value = self.current = None
        self._define_jdk()

    # ---- Building the program ----

    def define(self, name, *supers, interface=False):
        """A class by its internal name; its superclass is the first of `supers`."""
        if not supers and name != "java/lang/Object":
            supers = ("java/lang/Object",)
        found = Class(f"L{name};", [f"L{each};" for each in supers], interface)
        self.classes[name] = found
        return found

    def field(self, class_name, name, type_, flags=0, payload=None):
        """A field; of a static one its payload."""
        owner = self.classes[class_name]
        owner.fields[name] = Field(owner.type, name, type_, flags)
        if flags & STATIC:
            owner.statics[name] = payload

    def method(self, class_name, name, signature, body, flags=0):
        """A method; `body` is called with the receiver (None of a static one) and the arguments' Values and gives a payload."""
        owner = self.classes[class_name]
        owner.methods.append(Method(owner.type, name, signature, flags, len(owner.methods)))
        owner.bodies[len(owner.methods) - 1] = body

    def new(self, class_name, **fields):
        made = Object(f"L{class_name};")
        for name, payload in fields.items():
            made.fields[self.find_field(made.type, name).owner, name] = payload
        return made

    def array(self, type_, *payloads):
        return Object(type_, elements=list(payloads))

    def string(self, content):
        """An interned string, as those in class files are."""
        return self.interned.setdefault(content, Object(STRING, text=content))

    def box(self, type_, payload):
        made = Object(BOXES[type_])
        made.fields[BOXES[type_], "value"] = payload
        return made

    def _define_jdk(self):
        self.define("java/lang/Object")
        self.define("java/lang/Comparable", interface=True)
        self.define("java/lang/Number")
        for type_, box in BOXES.items():
            name = names.internal_name(box)
            self.define(name, "java/lang/Number" if type_ not in "ZC" else "java/lang/Object", "java/lang/Comparable")
            self.field(name, "value", type_)
            self.method(name, "valueOf", f"({type_}){box}", lambda _, value, type_=type_: self.box(type_, value.payload), STATIC)
        self.define("java/lang/String", "java/lang/Object", "java/lang/Comparable")
        self.method("java/lang/String", "length", "()I", lambda this: len(this.text))
        self.method("java/lang/String", "charAt", "(I)C", lambda this, index: this.text[index.payload])
        self.method("java/lang/String", "concat", f"({STRING}){STRING}", lambda this, other: Object(
            STRING, text=this.text + other.payload.text))
        self.method("java/lang/String", "intern", f"(){STRING}", lambda this: self.string(this.text))
        self.method("java/lang/Object", "toString", f"(){STRING}", self._to_string)

    def _to_string(self, this):
        if (this.type, "value") in this.fields:
            payload = this.fields[this.type, "value"]
            return Object(STRING, text=str(payload).lower() if isinstance(payload, bool) else str(payload))
        return Object(STRING, text=f"{names.type_name(this.type)}@1")

    # ---- World ----

    def local(self, name):
        return self.locals.get(name)

    def set_local(self, name, value):
        assert value.type == self.locals[name].type
        self.locals[name] = value

    def this(self):
        return self.this_value

    def current_class(self):
        return self.current

    def result(self, name):
        return self.results.get(name)

    def find_class(self, name):
        return f"L{name};" if name in self.classes else None

    def classes_named(self, simple_name):
        return [each.type for name, each in self.classes.items() if names.simple_name(name) == simple_name and "/" in name]

    def class_of(self, reference):
        return reference.type

    def _ancestors(self, type_):
        """The class, its superclasses, then interfaces, each once."""
        classes, interfaces, found = [type_], [], []
        while classes or interfaces:
            each = (classes or interfaces).pop(0)
            if each not in found:
                found.append(each)
                for above in self.classes[each[1:-1]].supers:
                    (interfaces if self.classes[above[1:-1]].interface else classes).append(above)
        return found

    def is_assignable(self, source, target):
        assert source[0] == "L" and target[0] == "L"
        return target in self._ancestors(source)

    def find_field(self, owner, name):
        return next((self.classes[each[1:-1]].fields[name] for each in self._ancestors(owner)
                     if name in self.classes[each[1:-1]].fields), None)

    def get_field(self, field, reference):
        if field.static:
            return Value(field.type, self.classes[field.owner[1:-1]].statics[field.name])
        return Value(field.type, reference.fields[field.owner, field.name])

    def set_field(self, field, reference, value):
        assert value.type == field.type
        if field.static:
            self.classes[field.owner[1:-1]].statics[field.name] = value.payload
        else:
            reference.fields[field.owner, field.name] = value.payload

    def array_length(self, reference):
        return len(reference.elements)

    def array_slice(self, reference, start, count):
        assert 0 <= start <= start + count <= len(reference.elements)
        return [Value(reference.type[1:], each) for each in reference.elements[start:start + count]]

    def set_array_element(self, reference, index, value):
        reference.elements[index] = value.payload

    def methods(self, owner, name):
        found = self._ancestors(owner)
        if self.classes[owner[1:-1]].interface and OBJECT not in found:
            found.append(OBJECT)
        return [each for type_ in found for each in self.classes[type_[1:-1]].methods if each.name == name]

    def invoke(self, method, reference, arguments):
        assert [each.type for each in arguments] == method.parameters
        assert not any(each.is_text for each in arguments), "strings are objects by now"
        if reference is not None:  # virtually
            own = reference.type if reference.type[0] == "L" else OBJECT
            method = next(each for each in self.methods(own, method.name) if each.signature == method.signature)
        return Value(method.returns, self.classes[method.owner[1:-1]].bodies[method.id](reference, *arguments))

    def new_array(self, element, values_):
        assert all(each.type == element for each in values_)
        return Value("[" + element, Object("[" + element, elements=[each.payload for each in values_]))

    def string_value(self, reference):
        return reference.text

    def new_string(self, content):
        return Value(STRING, Object(STRING, text=content))

    def same(self, one, other):
        return one is other


def throwing(class_internal, message=None):
    """The body of a method that throws."""
    def body(*_):
        raise JavaException(class_internal, message)
    return body
