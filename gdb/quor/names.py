"""Java's names and signatures as people write them, as the VM has them, and as native code has them. Needs no gdb.

Three forms of one class: com.shop.Shop$Item (a source name; people also write Shop.Item and com/shop/Shop$Item),
com/shop/Shop$Item (the internal name) and Lcom/shop/Shop$Item; (its signature).
"""
import re
from collections import namedtuple

from quor.errors import QuorError

PRIMITIVES = {"B": "byte", "C": "char", "D": "double", "F": "float", "I": "int", "J": "long", "S": "short", "Z": "boolean"}
_TYPES = {**PRIMITIVES, "V": "void"}
_LETTERS = {name: letter for letter, name in _TYPES.items()}

# What the VM's languages put into a name: Kotlin and Clojure have hyphens.
IDENTIFIER = r"(?:[^\W\d]|\$)[\w$-]*"
_CLASS = re.compile(rf"{IDENTIFIER}(?:[./]{IDENTIFIER})*\Z")


# ---- Signatures to source names ----

def class_name(internal):
    """java/lang/Thread as java.lang.Thread; a hidden class keeps what stands behind its name (Mix$$Lambda/0x...)."""
    name, slash, suffix = internal.partition("+")  # hidden classes: name+address
    name = name.replace("/", ".")
    return name + ("/" + suffix if slash else "")


def _one_type(signature, position):
    dimensions = 0
    while signature[position] == "[":
        dimensions += 1
        position += 1
    if signature[position] == "L":
        end = signature.index(";", position)
        name = class_name(signature[position + 1:end])
        position = end + 1
    else:
        name = _TYPES[signature[position]]
        position += 1
    return name + "[]" * dimensions, position


def type_name(signature):
    """A type's signature as people write it: "[Ljava/lang/String;" gives "java.lang.String[]". ValueError when it is none."""
    try:
        name, end = _one_type(signature, 0)
    except (IndexError, KeyError) as error:
        raise ValueError(f"no signature of a type: {signature}") from error
    if end != len(signature):
        raise ValueError(f"no signature of a type: {signature}")
    return name


def _parameters(signature):
    """(name, descriptor) of each parameter of a method's signature."""
    try:
        if signature[0] != "(":
            raise ValueError(signature)
        found = []
        position = 1
        while signature[position] != ")":
            name, end = _one_type(signature, position)
            found.append((name, signature[position:end]))
            position = end
        return found
    except (IndexError, KeyError) as error:
        raise ValueError(f"no signature of a method: {signature}") from error


def parameter_types(signature):
    """The parameters' types of "(ILjava/lang/String;)V": ["int", "java.lang.String"]. ValueError when it is none."""
    return [name for name, _ in _parameters(signature)]


def descriptors(signature):
    """The parameters' descriptors of "(I[Ljava/lang/String;)V": ["I", "[Ljava/lang/String;"]. ValueError when it is none."""
    return [descriptor for _, descriptor in _parameters(signature)]


def return_descriptor(signature):
    """What a method of this signature returns: "V", "I", "Ljava/lang/String;"."""
    return signature.rpartition(")")[2]


def parameter_text(signature):
    """The parameters as shown between parentheses, without packages: "int, String"."""
    try:
        return ", ".join(name.rpartition(".")[2] for name in parameter_types(signature))
    except ValueError:
        return "?"


def simple_name(name):
    """The last part of a class's name in any form but a signature: com/shop/Shop$Item gives Item."""
    return re.split(r"[./$]", name)[-1] or name


# ---- Source names to signatures ----

def is_class_name(text):
    """Whether this can name a class: with dots or slashes, inner ones behind a dot or a dollar."""
    return _CLASS.match(text) is not None


def internal_name(name):
    """com.shop.Shop as com/shop/Shop; a signature or an internal name as well."""
    if name.startswith("L") and name.endswith(";"):
        name = name[1:-1]
    return name.replace(".", "/")


def class_signature(name):
    """com.shop.Shop, or its internal name, as Lcom/shop/Shop;; an array's name is its signature."""
    return name.replace(".", "/") if name.startswith("[") else f"L{internal_name(name)};"


def type_signature(name):
    """A type as people write it as its signature: "long[]" gives "[J", "shop.Item" gives "Lshop/Item;"."""
    element, brackets = _split_array(name)
    return "[" * brackets + (_LETTERS.get(element) or class_signature(element))


def class_candidates(name):
    """The internal names that a name may mean, the most probable first: a.Shop.Item gives a/Shop/Item, a/Shop$Item, a$Shop$Item."""
    parts = internal_name(name).split("/")
    return ["/".join(parts[:packages]) + "".join("$" + inner for inner in parts[packages:])
            for packages in range(len(parts), 0, -1)]


def _split_array(name):
    """("int", 2) of "int[][]"; a parameter's "String..." is an array as well."""
    name = re.sub(r"\s+", "", name).replace("...", "[]")
    element = name.rstrip("[]")
    if name[len(element):] != "[]" * ((len(name) - len(element)) // 2):
        raise ValueError(f"no type: {name}")
    return element, (len(name) - len(element)) // 2


# ---- Methods by what people type ----

def method_matches(typed, class_internal, method):
    """Whether a typed method name means this method of the class: constructors go by the class's simple name too."""
    return typed == method or method == "<init>" and typed == simple_name(class_internal)


def checked_parameters(text):
    """The text of a method's parameters, "(Item, int)" or "(LItem;I)V", without blanks too many. QuorError when it is neither."""
    if not text.startswith("(") or ")" not in text:
        raise QuorError(f'the parameters of a method stand in parentheses, as "(Item, int)": {text}')
    within, _, behind = _without_generics(text)[1:].partition(")")
    if not behind:
        types = [each.strip() for each in within.split(",")] if within.strip() else []
        if all(_is_type(each) for each in types) or _as_descriptors(f"({within})") is not None:
            return f"({', '.join(types)})"
    elif _as_descriptors(text) is not None and _is_descriptor(behind):
        return text
    raise QuorError(f'no types of parameters: {text}; write "(Item, int)" or "(LItem;I)V"')


def parameters_match(typed, signature):
    """Whether parameters as checked_parameters gives them are those of this signature. Classes may lack their packages."""
    if not typed.endswith(")"):
        return typed.replace(".", "/") == signature
    wanted = [each.strip() for each in typed[1:-1].split(",")] if typed != "()" else []
    own = parameter_types(signature)
    if len(wanted) == len(own) and all(_type_matches(one, other) for one, other in zip(wanted, own)):
        return True
    return _as_descriptors(typed) == descriptors(signature)


def _type_matches(typed, name):
    """`typed` may lack packages and outer classes, and have dots before inner classes."""
    element, brackets = _split_array(typed)
    typed, name = (each.replace("/", ".").replace("$", ".") for each in (element + "[]" * brackets, name))
    return name == typed or name.endswith("." + typed)


def _is_type(text):
    try:
        element, _ = _split_array(text)
    except ValueError:
        return False
    return is_class_name(element) and element != "void"


def _is_descriptor(text):
    try:
        return bool(type_name(text))
    except ValueError:
        return False


def _as_descriptors(text):
    try:
        return descriptors(text.replace(".", "/"))
    except ValueError:
        return None


def _without_generics(text):
    shorter = re.sub(r"<[^<>]*>", "", text)
    return text if shorter == text else _without_generics(shorter)


# ---- Native methods by the names of their C functions ----

NativeName = namedtuple("NativeName", "class_name method parameters")
"""A Java_... function taken apart: the class's internal name, the method, and "(ILItem;)" when the name tells it, else None."""

_PREFIX = "Java_"
_ESCAPES = {"_": "_1", ";": "_2", "[": "_3", "/": "_", ".": "_"}
_ESCAPED = {"1": "_", "2": ";", "3": "["}


def native_name(class_internal, method, signature=None):
    """The C function of a native method: Java_com_shop_Shop_price; with the signature, as overloaded methods have it, also
    its parameters."""
    name = f"{_PREFIX}{_mangled(internal_name(class_internal))}_{_mangled(method)}"
    return name if signature is None else f"{name}__{_mangled(''.join(descriptors(signature)))}"


def _mangled(text):
    return "".join(_mangled_character(each) for each in text)


def _mangled_character(character):
    if character in _ESCAPES:
        return _ESCAPES[character]
    if character.isascii() and character.isalnum():
        return character
    units = character.encode("utf-16-be")
    return "".join(f"_0{units[at]:02x}{units[at + 1]:02x}" for at in range(0, len(units), 2))


def of_native_name(symbol):
    """The NativeName of a C function; None when it is none of a native method."""
    if not symbol.startswith(_PREFIX):
        return None
    mangled = symbol[len(_PREFIX):]
    split = _signature_at(mangled)
    path = _demangled(mangled if split is None else mangled[:split])
    class_internal, _, method = (path or "").rpartition("/")
    if not class_internal or not method:
        return None
    if split is None:
        return NativeName(class_internal, method, None)
    parameters = _demangled(mangled[split + 2:])
    if parameters is None or _as_descriptors(f"({parameters})") is None:
        return None
    return NativeName(class_internal, method, f"({parameters})")


def _signature_at(mangled):
    """Where "__" stands before the parameters, or None. "__0" and "__1" are a slash and the escape of a name's first letter."""
    found = re.search(r"(?<!_)__(?![01])", mangled)
    return found.start() if found else None


def _demangled(mangled):
    units = re.sub(r"_(?:0([0-9a-f]{4})|([123])|)",
                   lambda found: chr(int(found.group(1), 16)) if found.group(1) else _ESCAPED.get(found.group(2), "/"), mangled)
    try:
        return units.encode("utf-16", "surrogatepass").decode("utf-16")  # two escapes may be one character
    except UnicodeDecodeError:
        return None
