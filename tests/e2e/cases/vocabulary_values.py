"""Fields and arrays of each type, read, changed and made."""
import gdb

import java
from checks import check, check_equal
from quor.agent import questions
from quor.agent.calls import call, forget_scratch, out
from quor.codes import code_named

TYPES = {"z": "boolean", "b": "byte", "c": "char", "s": "short", "i": "int", "j": "long", "f": "float", "d": "double"}
INSTANCE = {"z": 1, "b": -2, "c": ord("c"), "s": -300, "i": 70_000, "j": 1 << 40, "f": 1.5, "d": -2.25}
STATIC = {"z": 0, "b": 3, "c": ord("x"), "s": 301, "i": -70_000, "j": -(1 << 41), "f": -0.75, "d": 1e100}
ELEMENT_0 = {"z": 1, "b": 1, "c": ord("p"), "s": -5, "i": 100_000, "j": 1 << 50, "f": 0.25, "d": 3.141592653589793}
ELEMENT_1 = {"z": 0, "b": -1, "c": ord("q"), "s": 500, "i": -100_000, "j": -2, "f": -8.0, "d": -1e-300}
CHANGED = {"z": 1, "b": 127, "c": ord("Z"), "s": -32_768, "i": 1 << 30, "j": -(1 << 62), "f": 100.125, "d": 6.25e-200}

# What the program prints at its end.
OUTPUT = ("fields false 127 Z -32768 1073741824 -4611686018427387904 100.125 6.25E-200 static text\n"
          "static true 127 Z -32768 1073741824 -4611686018427387904 100.125 6.25E-200 text\n"
          "arrays [true, true][1, 127][p, Z][-5, -32768][100000, 1073741824]"
          "[1125899906842624, -4611686018427387904][0.25, 100.125][3.141592653589793, 6.25E-200][zero, text]\n")


def number(value):
    return float(value) if value.type.strip_typedefs().code == gdb.TYPE_CODE_FLT else int(value)


def got(name, *arguments):
    """What a getter gives, as a Python number."""
    result = call(name, 0, *arguments)
    return result if isinstance(result, int) else number(result)


def fields(clazz, everything):
    for letter, name in TYPES.items():
        instance, static = java.field(clazz, letter), java.field(clazz, "static_" + letter)
        check_equal(got(f"agent_get_field_{name}", everything, instance), INSTANCE[letter], f"the {name} field")
        check_equal(got(f"agent_get_static_field_{name}", clazz, static), STATIC[letter], f"the static {name} field")
        changed = CHANGED[letter] if letter != "z" else 1 - INSTANCE[letter]
        check_equal(call(f"agent_set_field_{name}", 0, everything, instance, changed), 0, f"setting the {name} field")
        check_equal(got(f"agent_get_field_{name}", everything, instance), changed, f"the {name} field then")
        changed = CHANGED[letter] if letter != "z" else 1 - STATIC[letter]
        check_equal(call(f"agent_set_static_field_{name}", 0, clazz, static, changed), 0, f"setting the static {name} field")
        check_equal(got(f"agent_get_static_field_{name}", clazz, static), changed, f"the static {name} field then")
        forget_scratch()


def object_fields(clazz, everything):
    instance, static = java.field(clazz, "l"), java.field(clazz, "static_l")
    text = call("agent_get_field_object", 0, everything, instance)
    static_text = call("agent_get_static_field_object", 0, clazz, static)
    check_equal(java.string(text), "text", "the object field")
    check_equal(java.string(static_text), "static text", "the static object field")
    check_equal(int(call("agent_get_field_object", 0, everything, instance)), int(text), "read again it is the same handle")
    check_equal(call("agent_set_field_object", 0, everything, instance, static_text), 0, "setting the object field")
    check_equal(call("agent_set_static_field_object", 0, clazz, static, text), 0, "setting the static object field")
    check_equal(int(call("agent_get_field_object", 0, everything, instance)), int(static_text), "the object field then")
    check_equal(int(call("agent_get_field_object", 0, everything, java.field(clazz, "generic"))), 0, "a null field")
    forget_scratch()


def array_of(clazz, letter):
    return call("agent_get_static_field_object", 0, clazz, java.field(clazz, "array_" + letter))


def element(name, array, index):
    value = out("j" + name)
    check_equal(call(f"agent_get_{name}array_element", 0, array, index, value), 0, f"reading the {name} array")
    return number(value.dereference())


def arrays(clazz):
    for letter, name in TYPES.items():
        array = array_of(clazz, letter)
        check_equal(call("agent_get_arraylength", 0, array), 2, f"the length of the {name} array")
        check_equal(element(name, array, 0), ELEMENT_0[letter], f"element 0 of the {name} array")
        check_equal(element(name, array, 1), ELEMENT_1[letter], f"element 1 of the {name} array")
        setter = f"agent_set_{name}array_element"
        check_equal(call(setter, 0, array, 1, CHANGED[letter]), 0, f"setting the {name} array's")
        check_equal(element(name, array, 1), CHANGED[letter], f"element 1 of the {name} array then")
        check_equal(call(setter, 0, array, 2, CHANGED[letter]), code_named("INTERNAL"), f"setting beyond the {name} array")
        forget_scratch()


def new_arrays(clazz):
    for letter, name in TYPES.items():
        made = out(f"j{name}Array")
        result = call(f"agent_new_{name}array", 0, 3, made)
        array = made.dereference()
        if name == "boolean":
            same = call("agent_is_instanceof", 0, result, questions.object_class(array))
            check(same, "the boolean array is given as JNI made it")
        else:
            check_equal(int(result), int(array), f"the new {name} array is given twice")
        check_equal(call("agent_get_arraylength", 0, array), 3, f"the new {name} array's length")
        check_equal(element(name, array, 2), 0, f"an element of the new {name} array")
        check_equal(questions.object_class(array), questions.object_class(array_of(clazz, letter)), "its class")
        forget_scratch()
    made = out("jintArray")
    check_equal(int(call("agent_new_intarray", 0, -1, made)), 0, "no array has a negative length")
    check_equal(int(made.dereference()), 0, "the address then")


def object_arrays(clazz):
    array = array_of(clazz, "l")
    zero = call("agent_get_objarray_element", 0, array, 0)
    check_equal(java.string(zero), "zero", "element 0 of the object array")
    check_equal(int(call("agent_get_objarray_element", 0, array, 1)), 0, "element 1 of the object array")
    check_equal(int(call("agent_get_objarray_element", 0, array, 2)), 0, "an element beyond the object array")
    text = call("agent_get_static_field_object", 0, clazz, java.field(clazz, "static_l"))
    check_equal(call("agent_set_objarray_element", 0, array, 1, text), 0, "setting the object array's")
    check_equal(call("agent_set_objarray_element", 0, array, 2, text), code_named("INTERNAL"), "setting beyond the object array")
    check_equal(int(call("agent_get_objarray_element", 0, array, 1)), int(text), "element 1 of the object array then")
    made = call("agent_new_objectarray", 0, 2, questions.object_class(text), text)
    check_equal(java.signature(questions.object_class(made)), "[Ljava/lang/String;", "the new object array's class")
    check_equal(int(call("agent_get_objarray_element", 0, made, 1)), int(text), "its initial element")
    forget_scratch()


def ask(clazz, everything):
    fields(clazz, everything)
    object_fields(clazz, everything)
    arrays(clazz)
    new_arrays(clazz)
    object_arrays(clazz)
