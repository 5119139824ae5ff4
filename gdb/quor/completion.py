"""What may follow in a Java expression, for Tab: locals and fields read from memory, methods where the agent can simply be asked."""
import re

import gdb

from quor import evaluation, names
from quor.agent import questions, session
from quor.errors import QuorError
from quor.expression import evaluator
from quor.expression.scope import Scope
from quor.expression.world import STATIC
from quor.hotspot import objects
from quor.hotspot import vm as vms

_PATH = re.compile(r"[\w$.\[\]]*\Z")


def of_expression(text, _word=""):
    """The text so far with each name that may stand at its end."""
    path = _PATH.search(text).group()
    head, (owner, dot, _) = text.lstrip()[:len(text.lstrip()) - len(path)], path.rpartition(".")
    try:
        found = _members(owner) if dot else _in_scope()
    except (QuorError, gdb.error):
        return []
    return sorted({head + owner + dot + each for each in found})


def _in_scope():
    """Locals, and fields of the frame's class and of its object."""
    world, found = evaluation.memory_world(), evaluation.java_frame()
    if found is None:
        return []
    this = world.this()
    fields = _of_object(this.payload) if this is not None else _statics(_klass(world.current_class()))
    return [local.name for local in evaluation.locals_of(found[0])] + fields


def _members(owner):
    """Of an object that the owner's text means, or static ones of a class."""
    world = evaluation.memory_world()
    try:
        value = evaluator.evaluate(owner, world)
    except QuorError:
        signature = _class_named(world, owner)
        return _statics(_klass(signature)) + _methods(signature, only=STATIC)
    if value.is_primitive or value.payload is None:
        return []
    if value.type[0] == "[":
        return ["length"]
    if isinstance(value.payload, str):
        return _methods(value.type)
    return _of_object(value.payload) + _methods(world.class_of(value.payload))


def _class_named(world, text):
    scoped = Scope(world).class_named(text) if "." not in text else None
    found = scoped.type if scoped is not None else next(filter(None, map(world.find_class, names.class_candidates(text))), None)
    if found is None:
        raise QuorError(f"no class {text}")
    return found


def _heap():
    return objects.of(vms.required()).heap


def _klass(signature):
    return objects.of(vms.required()).classes.find(signature[1:-1])


def _of_object(reference):
    heap = _heap()
    return [name for klass in heap.superclasses(heap.klass(reference)) for name in heap.declared(klass)]


def _statics(klass):
    return [field.name for each in _heap().superclasses(klass) for field in _heap().declared(each).values() if field.static]


def _methods(signature, only=0):
    """The methods of a class and of those above it, those with the flags of `only`; none where the program would have to run for the question."""
    if session.state() != "hook":
        return []
    found, handle = [], next(iter(questions.classes_named(signature)), None)
    with questions.asking("completion"):
        while handle is not None:
            found += [each.name + "(" for each in questions.methods(handle)
                      if each.modifiers & only == only and not each.name.startswith("<")]
            above = questions.superclass(handle)
            handle = above.handle if above is not None else None
    return found
