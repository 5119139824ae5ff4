"""What a name means in the selected frame: a local, a field, an earlier result, a class, the beginning of a package's name."""
import re
from collections import namedtuple

from quor.errors import QuorError
from quor.expression.conversions import shown
from quor.expression.values import PRIMITIVE_TYPES, Value
from quor.names import simple_name

Place = namedtuple("Place", "type get set")
Place.__doc__ = "Something that has a value: its declared type, a function that gives the Value, one that changes it to a Value."

ClassName = namedtuple("ClassName", "type")
ClassName.__doc__ = "A name that means a class."

PackageName = namedtuple("PackageName", "name")
PackageName.__doc__ = "A name that means nothing yet, as com/shop before .Shop follows; with slashes."

_RESULT = re.compile(r"\$j\d+\Z")
_MAX_OUTER = 8  # an inner class's field this$N, N by how deep it lies


class Scope:
    """Looks names up in a World."""

    def __init__(self, world):
        self._world = world

    # ---- Values ----

    def find(self, name):
        """The Place of a name without dots, or None."""
        if name == "this":
            return self._this()
        if _RESULT.match(name):
            return self._result(name)
        local = self._world.local(name)
        if local is not None:
            return Place(local.type, lambda: local, lambda value: self._world.set_local(name, value))
        return self._field_around(name)

    def _this(self):
        this = self._world.this()
        if this is None:
            raise QuorError('there is no "this" here: the method is static' if self._world.current_class() else
                            'there is no "this" here: no Java method is selected')
        return fixed(this, "this")

    def _result(self, name):
        result = self._world.result(name)
        if result is None:
            raise QuorError(f"there is no result {name}")
        return fixed(result, name)

    def _field_around(self, name):
        """A field of the method's class or of those around it; of an object's own class when it is a subclass's."""
        for owner, this in self.around():
            field = self._world.find_field(owner, name)
            if field is not None:
                return self.field(field, this, "this")
            captured = self._world.find_field(owner, f"val${name}")
            if captured is not None and this is not None:
                return fixed(self._world.get_field(captured, this), f"the captured {name}")
        this = self._world.this()
        field = self._world.find_field(self._world.class_of(this.payload), name) if this is not None else None
        return self.field(field, this.payload, "this") if field is not None else None

    def field(self, field, reference, what):
        """The Place of a Field; of an instance's when the object is known, else what asks for it raises."""
        if not field.static and reference is None:
            raise QuorError(f'"{field.name}" is not static: it needs an object' if what is None else
                            f'"{field.name}" is a field of an object, and there is no "{what}" here')
        reference = None if field.static else reference
        return Place(field.type, lambda: self._world.get_field(field, reference),
                     lambda value: self._world.set_field(field, reference, value))

    def around(self):
        """(class, object) of the method's class and of those that it lies in; the object is None where it is not known."""
        owner, this = self._world.current_class(), self._world.this()
        this = this.payload if this is not None else None
        while owner is not None:
            yield owner, this
            this = self._outer_object(owner, this) if this is not None else None
            owner = self._outer_class(owner)

    def outer_this(self, owner):
        """The Place of Class.this."""
        for each, this in self.around():
            if each == owner and this is not None:
                return fixed(Value(owner, this), "this")
        raise QuorError(f'there is no "{shown(owner)}.this" here')

    def _outer_class(self, owner):
        outer, dollar, _ = owner[1:-1].rpartition("$")
        return self._world.find_class(outer) if dollar and outer else None

    def _outer_object(self, owner, this):
        for number in range(_MAX_OUTER):
            field = self._world.find_field(owner, f"this${number}")
            if field is not None and field.owner == owner:
                return self._world.get_field(field, this).payload
        return None

    # ---- Classes ----

    def class_named(self, name):
        """The ClassName of a name without dots, or None: as Java looks, then any loaded class of this name."""
        for internal in self._candidates(name):
            found = self._world.find_class(internal)
            if found is not None:
                return ClassName(found)
        loaded = sorted(set(self._world.classes_named(name)))
        if len(loaded) > 1:
            raise QuorError(f'"{name}" may be {" or ".join(map(shown, loaded[:3]))}; write the whole name')
        return ClassName(loaded[0]) if loaded else None

    def _candidates(self, name):
        current = self._world.current_class()
        if current is not None:
            path = current[1:-1]
            own = path
            while own:
                yield f"{own}${name}"
                if simple_name(own) == name:
                    yield own
                own = own.rpartition("$")[0]
            package, slash, _ = path.rpartition("/")
            if slash:
                yield f"{package}/{name}"
        yield f"java/lang/{name}"
        yield name

    def inner_class(self, owner, name):
        """The ClassName of a class inside a class, or None."""
        found = self._world.find_class(f"{owner[1:-1]}${name}")
        return ClassName(found) if found is not None else None

    def class_in_package(self, package, name):
        """The ClassName of a class, or the PackageName that the longer name may be."""
        found = self._world.find_class(f"{package}/{name}")
        return ClassName(found) if found is not None else PackageName(f"{package}/{name}")

    def type_signature(self, type_):
        """The signature of a tree.Type."""
        return "[" * type_.dimensions + (PRIMITIVE_TYPES.get(type_.name) or self._class_of_path(type_.name))

    def _class_of_path(self, name):
        first, *rest = name.split(".")
        found = self.class_named(first) or PackageName(first)
        for each in rest:
            found = (self.class_in_package(found.name, each) if isinstance(found, PackageName) else
                     self.inner_class(found.type, each))
            if found is None:
                break
        if not isinstance(found, ClassName):
            raise QuorError(f'no class "{name}" is loaded here')
        return found.type


def fixed(value, what):
    """The Place of a value that cannot be changed."""
    def refuse(_value):
        raise QuorError(f"{what} cannot be changed")
    return Place(value.type, lambda: value, refuse)


def refused(type_, error):
    """A Place whose type alone is known: asking for the value raises."""
    def refuse(*_):
        raise error
    return Place(type_, refuse, refuse)
