"""What cases look up about Java before they come to what they test, and the VM's own answers to hold the agent's against."""
import functools

import gdb

from checks import CaseFailed, check_equal
from quor.agent import place, questions, session
from quor.agent.calls import call, out, out_pointer, text_of, with_own_scratch
from stops import run_to

SUSPENDED = 0x100000  # JVMTI thread state


# ---- Classes, methods, fields ----

def is_prepared(name):
    """The gdb condition for hook_class_prepare that the class at hand is the named one."""
    return f'$_streq(prep_list.array[prep_list.count - 1].signature, "L{name};")'


def prepared(name):
    """Continues until the named class is prepared; gives its handle."""
    return run_to("hook_class_prepare", condition=is_prepared(name)).part("class_event")["clazz"]


def signature(clazz):
    """LTour;"""
    return questions.class_info(clazz).signature


def method(clazz, name):
    """The ID of the first method of this name."""
    for found in questions.methods(clazz):
        if found.name == name:
            return found.id
    raise CaseFailed(f"no method {name}")


@functools.lru_cache(maxsize=None)
def _fields(_process, _stop, clazz):
    """{name: ID}, asked once at a stop: each field costs calls, and a handle may name another class at the next."""
    return {field.name: field.id for field in questions.fields(clazz)}


def field(clazz, name):
    """The ID of the field of this name, which the class itself declares."""
    fields = _fields(gdb.selected_inferior().pid, session.stop_number(), int(clazz))
    if name not in fields:
        raise CaseFailed(f"no field {name}")
    return fields[name]


def static_int(clazz, name):
    return call("agent_get_static_field_int", 0, clazz, field(clazz, name))


# ---- Breakpoints and events ----

def set_breakpoint(clazz, name, location=0):
    """Sets a breakpoint in the named method; gives its ID."""
    found = method(clazz, name)
    check_equal(call("agent_set_breakpoint", 0, clazz, found, location), 0, f"agent_set_breakpoint in {name}")
    return found


def enable_event(name, on=1, thread=0):
    """`name` of a kind of events, without its prefix: BREAKPOINT."""
    code = call("agent_set_eventnotification", 0, on, place.constant(f"JVMDI_EVENT_{name}"), thread)
    check_equal(code, 0, f"agent_set_eventnotification({on}, {name})")


# ---- Values and threads ----

@with_own_scratch
def string(reference):
    """The text of a string, whose length must be the one that is told."""
    length, characters = out("jint"), out_pointer("char")
    questions.ask("agent_get_stringvalue", reference, length, characters)
    text = text_of(characters.dereference())
    check_equal(int(length.dereference()), len(text.encode()), "the string's length")
    return text


@with_own_scratch
def method_name(of_method):
    """The method's name as the VM tells it; None for no method."""
    if not int(of_method):
        return None
    name = out_pointer("char")
    questions.jvmti("GetMethodName", of_method, name, 0, 0)
    return text_of(name.dereference())


@with_own_scratch
def thread_name(thread):
    """As the VM tells it."""
    info = out("jvmtiThreadInfo")
    questions.jvmti("GetThreadInfo", thread, info)
    return text_of(info["name"])


@with_own_scratch
def thread_state(thread):
    state = out("jint")
    questions.jvmti("GetThreadState", thread, state)
    return int(state.dereference())
