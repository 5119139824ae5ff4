"""Expressions at the selected frame. What memory tells is read there, in every stopped state and in core files; method calls and
changes go through the agent, at a hook."""
import contextlib
from collections import namedtuple

import gdb

from quor import show, stack, stops
from quor.agent import calls, questions, session
from quor.agent.world import AgentWorld, Handle, place_of
from quor.errors import QuorError
from quor.expression import evaluator
from quor.expression.values import Value
from quor.hotspot import objects, object_text
from quor.hotspot import vm as vms
from quor.hotspot.world import MemoryWorld, NeedsTheAgent

Result = namedtuple("Result", "value text stop")  # `text`: the expression
_TAGS = 3  # bits of a handle that tell its kind


class _State:
    results = []  # $j1, $j2, ...


def java_frame():
    """(JavaFrame, its depth among the thread's Java frames): the selected one, or the next Java frame outwards; None without."""
    level = gdb.selected_frame().level()
    found = [entry for entry in stack.entries() if stack.is_java(entry)]
    for depth, entry in enumerate(found):
        if entry.number >= level:
            return entry.java, depth
    return None


def locals_of(frame):
    """What a JavaFrame's locals are called, and their texts."""
    return objects.of(vms.required()).locals.of(frame, depth=0)


def evaluate(text):
    """The Value of an expression."""
    return _in_a_world(evaluator.evaluate, text)


def holds(condition):
    """Whether a condition, or what the parser made of it, is true here."""
    return _in_a_world(evaluator.holds, condition)


def _in_a_world(how, expression):
    try:
        return how(expression, memory_world())
    except NeedsTheAgent as error:
        return _through_the_agent(expression, how, error)


def evaluate_by_calls(text):
    """The Value of an expression, asked of the agent alone."""
    return _asked("java call", evaluator.evaluate, text)


def assign(text):
    """Does TARGET = VALUE; gives the new Value."""
    return _asked("java set", evaluator.assign, text)


def _through_the_agent(expression, how, error):
    if session.state() != "hook":
        raise QuorError(f"{error}; {session.ADVICE.get(session.state(), '')}".rstrip("; "))
    return _asked("java print", how, expression)


def _asked(what, how, expression):
    with questions.asking(what):
        world = _agent_world()
        with calls.on_agent_thread(), classes_kept(world):
            return how(expression, world)


@contextlib.contextmanager
def classes_kept(world):
    """A block in which an AgentWorld may call methods: what was prepared meanwhile is not lost."""
    try:
        yield
    finally:
        if world.has_invoked:
            questions.list_classes_anew()
            stops.classes_listed_anew()


def memory_world():
    """The MemoryWorld of the selected frame."""
    vm = vms.required()
    found = java_frame() if gdb.selected_thread() is not None else None
    return MemoryWorld(vm, objects.of(vm), found[0] if found else None, _result_in_memory)


def _agent_world():
    found = java_frame()
    return world_of(place_of(gdb.selected_thread(), found[1]) if found else None)


def world_of(place):
    """The AgentWorld of a Place, or of none."""
    world = AgentWorld(place, lambda name: _result_for(world, name))
    return world


# ---- Results ----

def keep(value, text):
    """Keeps a value as the next $jN, whose name is given."""
    _State.results.append(Result(value, text, session.stop_number()))
    return f"$j{len(_State.results)}"


def _result(name):
    number = name[2:]
    if not name.startswith("$j") or not number.isdigit() or not 0 < int(number) <= len(_State.results):
        return None
    found = _State.results[int(number) - 1]
    if found.value.payload is not None and not found.value.is_primitive and not found.value.is_text \
            and found.stop != session.stop_number():
        raise QuorError(f"{name}: that object belongs to an earlier stop")
    return found


def _result_in_memory(name):
    found = _result(name)
    return in_memory(found.value) if found is not None else None


def _result_for(world, name):
    """A result for the agent: an object that was read from memory is asked for again."""
    found = _result(name)
    if found is None:
        return None
    return evaluator.evaluate(found.text, world) if isinstance(found.value.payload, int) and not found.value.is_primitive \
        else found.value


def in_memory(value):
    """The Value with the address of the object in the place of the agent's handle."""
    if not isinstance(value.payload, Handle):
        return value
    return Value(value.type, objects.of(vms.required()).heap.load_full(value.payload.reference & ~_TAGS))


# ---- Texts ----

def string_of(value):
    """The text of a Value that is a String; None of others."""
    if value.is_text:
        return value.payload
    found = in_memory(value)
    if found.is_primitive or found.is_null:
        return None
    heap = objects.of(vms.required()).heap
    return heap.string(found.payload) if heap.class_name(heap.klass(found.payload)) == "java/lang/String" else None


def text_of(value, depth=1, limits=None):
    """The text of a Value: objects with so many levels of fields."""
    if value.is_text:
        return show.quoted(value.payload)
    found = in_memory(value)
    if found.is_null:
        return "null"
    heap = objects.of(vms.required()).heap
    texts = object_text.of(heap) if limits is None else object_text.of(heap, limits)
    return texts.value(found.type, found.payload, depth)
