"""Fields, array elements and methods: which one is meant, by declared types first, then by the objects' own classes."""
from quor.errors import QuorError
from quor.expression import tree, values
from quor.expression.conversions import cast_primitive, shown
from quor.expression.overloads import NotApplicable, Overloads, element_type
from quor.expression.scope import Place, fixed, refused
from quor.expression.values import OBJECT, Value, is_primitive
from quor.expression.world import JavaException


def null_pointer(node):
    """What the use of null throws."""
    return JavaException("java/lang/NullPointerException", f"{tree.text(node)} is null")


class Members:
    """Finds them in a World."""

    def __init__(self, world, scope, conversions):
        self._world, self._scope, self._conversions = world, scope, conversions
        self._overloads = Overloads(conversions)

    def _classes(self, value):
        """Where to look for a value's members: its declared type, then its own class."""
        declared = value.type if value.type[0] != "[" else OBJECT
        own = self._conversions.own_class(value)
        return [declared] if own in (value.type, values.NULL) or own[0] == "[" else [declared, own]

    # ---- Fields ----

    def static_field(self, owner, name):
        """The Place of a class's field, or None."""
        field = self._world.find_field(owner, name)
        return self._scope.field(field, None, None) if field is not None else None

    def field(self, value, node):
        """The Place of value.name, where `node` is the tree.Field."""
        if value.is_primitive:
            raise QuorError(f"{shown(value.type)} has no fields: {tree.text(node)}")
        array = value.type if value.type[0] == "[" else self._conversions.own_class(value)
        if array[0] == "[" and node.name == "length":
            return self._length(value, node)
        field = next(filter(None, (self._world.find_field(each, node.name) for each in self._classes(value)
                                   if value.type != values.NULL)), None)
        if field is None:
            if value.is_null:
                raise null_pointer(node.object)
            raise QuorError(f'no field "{node.name}" in {shown(self._classes(value)[-1])}')
        if value.is_null and not field.static:
            return refused(field.type, null_pointer(node.object))
        return self._scope.field(field, self._conversions.in_process(value).payload, None)

    def _length(self, value, node):
        if value.is_null:
            return refused("I", null_pointer(node.object))
        return fixed(Value("I", self._world.array_length(value.payload)), "the length of an array")

    def field_type(self, type_, name):
        """The type of a field of something of this type; None when the type does not tell."""
        if type_[0] == "[":
            return "I" if name == "length" else None
        field = self._world.find_field(type_, name) if not is_primitive(type_) and type_ != values.NULL else None
        return field.type if field is not None else None

    # ---- Array elements ----

    def element(self, value, index, node):
        """The Place of value[index], where `node` is the tree.Index."""
        type_ = value.type if value.type[0] == "[" else "" if value.is_primitive else self._conversions.own_class(value)
        if type_[:1] != "[":
            if value.type != values.NULL and value.is_null:
                raise null_pointer(node.array)
            raise QuorError(f"{tree.text(node.array)} is no array but {shown(value.type)}")
        number = self._index(index)
        if value.is_null:
            return refused(type_[1:], null_pointer(node.array))
        return self._existing_element(value.payload, number, type_[1:])

    def _index(self, index):
        number = self._conversions.unboxed(index)
        if number.type not in ("B", "S", "C", "I"):
            raise QuorError(f"an index is an int, not {shown(index.type)}")
        return cast_primitive(number, "I").payload

    def _existing_element(self, array, index, type_):
        length = self._world.array_length(array)
        if not 0 <= index < length:
            return refused(type_, JavaException("java/lang/ArrayIndexOutOfBoundsException",
                                                f"Index {index} out of bounds for length {length}"))
        own = self._world.class_of(array)[1:]

        def change(value):
            if not is_primitive(own) and not value.is_null and \
                    not self._conversions.is_subtype(self._conversions.own_class(value), own):
                raise JavaException("java/lang/ArrayStoreException", shown(self._conversions.own_class(value)))
            self._world.set_array_element(array, index, value)
        return Place(type_, lambda: self._world.array_slice(array, index, 1)[0], change)

    # ---- Methods ----

    def invoke_on(self, value, name, arguments, node):
        """value.name(arguments), where `node` is the tree.Call."""
        if value.is_primitive:
            raise QuorError(f"{shown(value.type)} has no methods: {tree.text(node)}")
        if value.type == values.NULL:
            raise null_pointer(node.object)
        value = self._conversions.in_process(value)
        chosen = self._chosen(self._classes(value), name, arguments)
        if value.is_null and not chosen.method.static:
            raise null_pointer(node.object)
        return self._invoke(chosen, value.payload, arguments)

    def invoke_static(self, owner, name, arguments):
        """Class.name(arguments)"""
        chosen = self._chosen([owner], name, arguments)
        if not chosen.method.static:
            raise QuorError(f"{shown(owner)}.{name} is not static: it needs an object")
        return self._invoke(chosen, None, arguments)

    def invoke_around(self, name, arguments):
        """name(arguments): of the method's class or of the nearest around it that has such methods."""
        for owner, this in self._scope.around():
            if self._world.methods(owner, name):
                chosen = self._chosen([owner], name, arguments)
                if this is None and not chosen.method.static:
                    raise QuorError(f'{shown(owner)}.{name} is not static, and there is no "this" here')
                return self._invoke(chosen, this, arguments)
        this = self._world.this()
        if this is not None:
            return self._invoke(self._chosen([self._conversions.own_class(this)], name, arguments), this.payload, arguments)
        raise QuorError(f'no method "{name}" here')

    def method_type(self, owners, name, types):
        """What a method of the first class that has one for arguments of these types gives; None when there is none."""
        for owner in owners:
            methods = self._world.methods(owner, name)
            if methods:
                try:
                    return self._overloads.choose(methods, types, owner).method.returns
                except QuorError:
                    return None
        return None

    def _chosen(self, owners, name, arguments):
        """By the declared types; for want of a method that takes those, by the objects' own."""
        declared = [each.type for each in arguments]
        refusal = None
        for types in (declared, [self._conversions.own_class(each) if not each.is_primitive else each.type for each in arguments]):
            for owner in owners:
                methods = self._world.methods(owner, name)
                try:
                    if methods:
                        return self._overloads.choose(methods, types, owner)
                except NotApplicable as error:
                    refusal = refusal or error
        raise refusal or QuorError(f'no method "{name}" in {shown(owners[-1])}')

    def _invoke(self, chosen, reference, arguments):
        method, parameters = chosen.method, chosen.method.parameters
        if chosen.spread:
            fixed_count = len(parameters) - 1
            rest = [self._conversions.passed(each, element_type(method)) for each in arguments[fixed_count:]]
            arguments = [*arguments[:fixed_count], self._world.new_array(element_type(method), rest)]
        passed = [self._conversions.passed(each, parameter) for each, parameter in zip(arguments, parameters)]
        return self._world.invoke(method, None if method.static else reference, passed)
