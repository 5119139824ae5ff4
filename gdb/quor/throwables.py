"""Exceptions for a thread to throw: made by their constructor in the thread of a Java stop, elsewhere without one."""
from collections import namedtuple

from quor import evaluation
from quor.agent import calls, hooks, invoke, place, questions, thread_map
from quor.agent.world import handle, place_of
from quor.errors import QuorError
from quor.expression import world as worlds
from quor.expression.values import STRING, Value

Made = namedtuple("Made", "reference lacks")
Made.__doc__ = "A JNI reference, valid until the program goes on; why the constructor did not run, or None."

_THREAD, _THROWABLE = "Ljava/lang/Thread;", "Ljava/lang/Throwable;"
_MESSAGE = "thrown by the debugger"
_CONSTRUCTORS = (("()V", []), ("(Ljava/lang/String;)V", [Value(STRING, _MESSAGE)]))


def new(clazz, name, thrower):
    """An exception of the class of a handle, for the thread of a handle to throw. Where the agent may be asked."""
    if not _is_throwable(clazz):
        raise QuorError(f"java stop: {name} is no Throwable")
    reference = _bare(clazz, name)
    stopped = hooks.thread_of_the_stop()
    if not stopped:
        return Made(reference, "a method can be called only at a Java stop")
    world = evaluation.world_of(place_of(thread_map.thread_of(stopped), 0))
    with evaluation.classes_kept(world):
        lacks = _construct(world, clazz, reference)
        if lacks is None and thrower != stopped:
            _take_stack_trace(world, reference, thrower)
    return Made(reference, lacks)


def _is_throwable(clazz):
    known = questions.class_info(clazz)
    while known is not None and known.signature != _THROWABLE:
        known = questions.superclass(known.handle)
    return known is not None


def _bare(clazz, name):
    """An object without anything in it."""
    local = int(invoke.jni("AllocObject", clazz))
    if not local:
        invoke.jni("ExceptionClear")
        raise QuorError(f"java stop: no object of class {name} can be made")
    return int(calls.call("keep_alive", place.global_value("quor_env"), local, calls.out_text("java")))


def _construct(world, clazz, reference):
    """Runs a constructor that takes nothing or a String; why not, or None."""
    found = {each.signature: each for each in questions.methods(clazz) if each.name == "<init>"}
    for signature, arguments in _CONSTRUCTORS:
        if signature in found:
            each = found[signature]
            owner = questions.class_info(clazz).signature
            try:
                world.invoke(worlds.Method(owner, each.name, signature, each.modifiers, (clazz, each.id)), handle(reference), arguments)
            except worlds.JavaException as error:
                return f"its constructor threw {error}"
            return None
    return "no constructor of it takes nothing or a String"


def _take_stack_trace(world, reference, thrower):
    """Gives the exception the stack of the thread that is to throw it; it has that of the thread in which it was made."""
    trace = world.invoke(_method(world, _THREAD, "getStackTrace"), handle(thrower), [])
    world.invoke(_method(world, _THROWABLE, "setStackTrace"), handle(reference), [trace])


def _method(world, owner, name):
    return next(each for each in world.methods(owner, name) if each.owner == owner)
