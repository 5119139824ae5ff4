"""java classes, class, methods, fields: what the program's classes are and have."""
import re

import gdb

from quor import names
from quor.agent import questions
from quor.agent.questions import asking
from quor.commands import command
from quor.errors import QuorError

_MODIFIERS = ((0x1, "public"), (0x2, "private"), (0x4, "protected"), (0x400, "abstract"), (0x8, "static"), (0x10, "final"),
              (0x40, "volatile"), (0x80, "transient"), (0x100, "native"), (0x20, "synchronized"))
_OF_METHODS = {"volatile": "", "transient": ""}  # the same bits mean bridge and varargs
_MAX_LISTED = 1000


def _modifiers(bits, of_method):
    words = [word for bit, word in _MODIFIERS if bits & bit and not (of_method and word in _OF_METHODS)]
    if not of_method and "synchronized" in words:
        words.remove("synchronized")
    return "".join(word + " " for word in words)


def find(name):
    """(handle, signature) of the prepared class that a name means; the name alone or Outer.Inner do when they mean one class."""
    known = questions.prepared_classes()
    for candidate in names.class_candidates(name):
        wanted = names.class_signature(candidate)
        exact = next((each for each in known if each[1] == wanted), None)
        if exact is not None:
            return exact
    found = {signature: handle for handle, signature in reversed(known)
             if signature.startswith("L") and names.simple_name(signature[1:-1]) == name}
    if not found:
        raise QuorError(f"no class {name} is prepared; java classes REGEX lists those that are")
    if len(found) > 1:
        raise QuorError(f"{name} may be " + " or ".join(sorted(names.type_name(each) for each in found)[:5]))
    signature, handle = found.popitem()
    return handle, signature


def class_names(_text="", _word=""):
    """Names of the prepared classes, for completion."""
    try:
        return sorted({names.type_name(signature) for _, signature in questions.prepared_classes() if signature.startswith("L")})
    except (QuorError, gdb.error):
        return []


@command("classes", group="Look", states=("stopped",), usage="[REGEX]", examples=("java classes", r"java classes ^com\.shop\."))
def classes_command(arguments, _from_tty):
    """The classes that are prepared, by name; those that match a regular expression. Nothing is loaded and nothing called."""
    try:
        wanted = re.compile(arguments)
    except re.error as error:
        raise QuorError(f"java classes: {arguments} is no regular expression: {error}") from None
    with asking("java classes"):
        known = sorted(names.type_name(signature) for _, signature in questions.prepared_classes())
    found = [name for name in known if wanted.search(name)]
    for name in found[:_MAX_LISTED]:
        gdb.write(name + "\n")
    if len(found) > _MAX_LISTED:
        gdb.write(f"(More: {len(found) - _MAX_LISTED}; a regular expression makes them fewer)\n")
    if not found:
        gdb.write("No class.\n")


@command("class", group="Look", states=("stopped",), usage="CLASS", complete=class_names, examples=("java class Shop$Item",))
def class_command(arguments, _from_tty):
    """A class: its source, what it extends and implements, how many loaders have one of this name."""
    with asking("java class"):
        handle, signature = find(_one_name("java class", arguments))
        info = questions.class_info(handle)
        above = questions.superclass(handle)
        named = [questions.class_info(each).signature for each in questions.interfaces(handle)]
        loaders = len(questions.classes_named(signature))
    gdb.write(f"{names.type_name(signature)}\n")
    gdb.write(f"  source      {info.source or 'not told'}\n")
    if above is not None:
        gdb.write(f"  extends     {names.type_name(above.signature)}\n")
    for each in named:
        gdb.write(f"  implements  {names.type_name(each)}\n")
    if loaders > 1:
        gdb.write(f"  {loaders} loaders have a class of this name; this is the first\n")


def _one_name(what, arguments):
    if not arguments or " " in arguments:
        raise QuorError(f"{what}: which class?")
    return arguments


@command("methods", group="Look", states=("stopped",), usage="CLASS", complete=class_names, examples=("java methods Shop",))
def methods_command(arguments, _from_tty):
    """The methods of a class, with the line at which each begins."""
    with asking("java methods"):
        handle, signature = find(_one_name("java methods", arguments))
        for method in questions.methods(handle):
            lines = questions.lines(handle, method.id)
            place = f"  line {min(line for _, line in lines)}" if lines else ""
            gdb.write(f"{_modifiers(method.modifiers, True)}{method_text(signature, method)}{place}\n")


def method_text(signature, method):
    """int price(int), or the constructor's class."""
    parameters = names.parameter_text(method.signature)
    if method.name == "<init>":
        return f"{names.type_name(signature).rpartition('.')[2]}({parameters})"
    result = names.type_name(names.return_descriptor(method.signature)).rpartition(".")[2]
    return f"{result} {method.name}({parameters})"


@command("fields", group="Look", states=("stopped",), usage="CLASS", complete=class_names, examples=("java fields Shop$Item",))
def fields_command(arguments, _from_tty):
    """The fields that a class declares, with their types."""
    with asking("java fields"):
        handle, _ = find(_one_name("java fields", arguments))
        found = questions.fields(handle)
        for field in found:
            gdb.write(f"{_modifiers(field.modifiers, False)}{names.type_name(field.signature)} {field.name}\n")
    if not found:
        gdb.write("No fields.\n")
