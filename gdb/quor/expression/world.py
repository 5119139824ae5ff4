"""What the evaluator asks of the program: an interface, which the process's side implements and tests fake.

A class is its signature everywhere: "Lcom/shop/Shop$Item;", "[I". Declared types may name classes that are not loaded: those have
no fields and methods, and nothing is assignable to them. Every method may raise a QuorError, which ends the evaluation. What runs
the program's code is `invoke` alone.
"""
from collections import namedtuple

from quor.errors import QuorError
from quor.expression.values import VOID
from quor.names import class_name, descriptors, return_descriptor

PRIVATE, STATIC, BRIDGE, VARARGS = 0x0002, 0x0008, 0x0040, 0x0080  # access flags of the class file format


class JavaException(QuorError):
    """The expression throws: java.lang.ArithmeticException: / by zero. `class_name` is the internal name of the exception's
    class; `exception` is the World's reference to it, when there is an object."""

    def __init__(self, class_internal, message=None, exception=None):
        super().__init__(class_name(class_internal) + (f": {message}" if message else ""))
        self.class_name, self.message, self.exception = class_internal, message, exception


class Field(namedtuple("Field", "owner name type flags id", defaults=(None,))):
    """A field of the class `owner`; `type` is its signature, `id` whatever the World needs to read it."""

    @property
    def static(self):
        return bool(self.flags & STATIC)


class Method(namedtuple("Method", "owner name signature flags id", defaults=(None,))):
    """A method of the class `owner`; `id` is whatever the World needs to invoke it."""

    @property
    def static(self):
        return bool(self.flags & STATIC)

    @property
    def varargs(self):
        return bool(self.flags & VARARGS)

    @property
    def bridge(self):
        return bool(self.flags & BRIDGE)

    @property
    def private(self):
        return bool(self.flags & PRIVATE)

    @property
    def parameters(self):
        return descriptors(self.signature)

    @property
    def returns(self):
        return return_descriptor(self.signature) or VOID


class World:
    """The selected frame and its process."""

    # ---- The frame ----

    def local(self, name):
        """The Value of a local or argument that lives here, with its declared type; None when there is none of this name."""
        raise NotImplementedError

    def set_local(self, name, value):
        """Changes a local that `local` gave; the value has its type."""
        raise NotImplementedError

    def this(self):
        """The Value of `this`, of the type of the method's class; None in a static method."""
        raise NotImplementedError

    def current_class(self):
        """The class that declares the frame's method; None where no Java method is selected."""
        raise NotImplementedError

    def result(self, name):
        """The Value of an earlier result ("$j1"); None when there is none of this name."""
        raise NotImplementedError

    # ---- Classes ----

    def find_class(self, name):
        """The class of exactly this internal name (com/shop/Shop$Item), or None. Asked for many that do not exist."""
        raise NotImplementedError

    def classes_named(self, simple_name):
        """The loaded classes of this simple name in any package: for names that the source imports. May be empty."""
        raise NotImplementedError

    def class_of(self, reference):
        """The class of an object (a payload that is not None)."""
        raise NotImplementedError

    def is_assignable(self, source, target):
        """Whether the class or interface `source` is `target`, extends or implements it. Never asked about arrays."""
        raise NotImplementedError

    # ---- Fields ----

    def find_field(self, owner, name):
        """The Field of this name that the class declares or inherits, the nearest one; or None."""
        raise NotImplementedError

    def get_field(self, field, reference):
        """A field's Value, of the field's type; `reference` is None for a static one."""
        raise NotImplementedError

    def set_field(self, field, reference, value):
        """Changes a field; the value has the field's type."""
        raise NotImplementedError

    # ---- Arrays ----

    def array_length(self, reference):
        raise NotImplementedError

    def array_slice(self, reference, start, count):
        """The Values of so many elements from `start` on, which exist, with the array's element type."""
        raise NotImplementedError

    def set_array_element(self, reference, index, value):
        """Changes an element, which exists; the value has the array's element type."""
        raise NotImplementedError

    # ---- Methods and objects ----

    def methods(self, owner, name):
        """The Methods of this name that the class declares or inherits: its own first, then those of its superclasses, then
        those of interfaces; of an interface also those of java.lang.Object. Overridden ones may be among them."""
        raise NotImplementedError

    def invoke(self, method, reference, arguments):
        """Calls a method: virtually on an object, or static with None. The arguments have the parameters' types; those of a
        method of variable arity stand in an array that `new_array` made. A throw raises a JavaException.

        Types are compared by name: where two loaders have classes of one name, an argument may be an object of the other's, so
        the World has to look at the objects."""
        raise NotImplementedError

    def new_array(self, element, values):
        """The Value of a new array of these values, all of the element's type."""
        raise NotImplementedError

    def string_value(self, reference):
        """The text of a java.lang.String."""
        raise NotImplementedError

    def new_string(self, content):
        """The Value of a new java.lang.String of this text."""
        raise NotImplementedError

    def same(self, one, other):
        """Whether two objects are one."""
        raise NotImplementedError
