"""What the agent is asked, in Python's types. At a hook, or while the Java threads are held: see `asking`."""
import contextlib
from collections import namedtuple

import gdb

from quor.agent import access, calls, class_list, place, session, thread_map
from quor.agent.calls import call, out, out_pointer, out_text, text_of, with_own_scratch
from quor.errors import QuorError

Class = namedtuple("Class", "handle signature source")  # source: the source file's name, or None
Method = namedtuple("Method", "id name signature modifiers")
Field = namedtuple("Field", "id name signature modifiers")
Local = namedtuple("Local", "start length name signature slot")  # start and length: bytecodes where it is told

ABSENT_INFORMATION, NATIVE_METHOD = 101, 104
# Of classes and frames; the VM asks a thread itself for its locals, and stops all for some switches of events.
_NEEDS_NO_OTHERS = frozenset("agent_get_" + name for name in (
    "objectclass", "classinfo", "superclass", "implementedinterfaces", "classmethods", "classfields", "fieldname", "linenumbertable",
    "localvariabletable", "framecount", "currentframe", "callerframe"))
_NO_LINES, _NO_LOCALS = (ABSENT_INFORMATION, NATIVE_METHOD, 23, 32), (ABSENT_INFORMATION, NATIVE_METHOD, 32)



class Refused(QuorError):
    """The agent gave a code."""

    def __init__(self, function, code):
        super().__init__(f"{function} gives {code}")
        self.function, self.code = function, code


@contextlib.contextmanager
def asking(what):
    """A block in which the agent may be asked: at a hook, and wherever the Java threads can be held."""
    now = session.require(what, "hook", "native", "loaded")
    calls.forget_scratch()
    try:
        with contextlib.nullcontext() if now == "hook" else access.held():
            if now == "loaded":
                list_classes_anew()
            yield
    finally:
        calls.forget_last_signal()


def list_classes_anew():
    """Brings the list of prepared classes up to date, for what was prepared while the agent was not told of classes."""
    listed, env = place.global_value("prep_list").address, place.global_value("quor_env")
    if place.address_or_none("PrepList_refresh") is not None:
        call("PrepList_refresh", listed, env)
        return
    class_list.forget()
    call("PrepList_reset", listed)
    call("PrepList_seed", listed, env)


def thread_handle(thread):
    """The agent's handle of a gdb thread; a QuorError when it is no Java thread."""
    handle = thread_map.handle_of(thread)
    if not handle:
        raise QuorError(f"thread {thread.num} is no Java thread that the agent knows; java threads lists them")
    return handle


def ask(function, *arguments):
    """Calls one of the agent's functions that give a code; raises Refused unless it is 0."""
    code = (calls.call_alone if function in _NEEDS_NO_OTHERS else call)(function, 0, *arguments)
    if code:
        raise Refused(function, code)


# ---- Classes ----

def prepared_classes():
    """[(handle, signature)] of the classes prepared so far, read from memory without a call."""
    return [(each.handle, each.signature) for each in class_list.prepared()]


def classes_named(signature):
    """Handles of every prepared class of this signature: one a loader."""
    return [handle for handle, its in prepared_classes() if its == signature]


@with_own_scratch
def class_info(handle):
    """The Class of a handle."""
    info = out("class_info")
    ask("agent_get_classinfo", handle, info)
    return _class_of(info)


def _class_of(info):
    source = text_of(info["source_file"]) if int(info["has_source"]) else None
    return Class(int(info["clazz"]), text_of(info["signature"]), source)


@with_own_scratch
def class_by_name(name):
    """The Class of this name (with slashes) as JNI finds it; None when there is none. It may load it."""
    info = out("class_info")
    code = call("agent_get_class", 0, out_text(name), info)
    return _class_of(info) if code == 0 and int(info["clazz"]) else None


@with_own_scratch
def superclass(handle):
    """The Class above, or None."""
    info = out("class_info")
    ask("agent_get_superclass", handle, info)
    return _class_of(info) if int(info["clazz"]) else None


@with_own_scratch
def class_modifiers(handle):
    """The access flags of a class."""
    modifiers = out("jint")
    jvmti("GetClassModifiers", handle, modifiers)
    return int(modifiers.dereference())


@with_own_scratch
def object_class(reference):
    """The handle of an object's class."""
    clazz = out("jclass")
    ask("agent_get_objectclass", reference, clazz)
    return int(clazz.dereference())


@with_own_scratch
def interfaces(handle):
    """Handles of the interfaces that a class names."""
    count, table = out("jint"), out_pointer("jclass")
    ask("agent_get_implementedinterfaces", handle, count, table)
    return _taken(table, [int(table.dereference()[i]) for i in range(int(count.dereference()))])


def is_instance(reference, clazz):
    return bool(call("agent_is_instanceof", 0, reference, clazz))


def jvmti(function, *arguments):
    """Calls a function of the agent's JVMTI environment; raises Refused unless it gives 0."""
    environment = place.global_value("jvmti")
    if not int(environment):
        raise QuorError("this VM has no JVMTI")
    code = int(call(environment["functions"][function], environment, *arguments))
    if code:
        raise Refused(function, code)


def _taken(table, values):
    """The values, once the VM's array is given back."""
    if int(table.dereference()):
        jvmti("Deallocate", table.dereference().cast(gdb.lookup_type("unsigned char").pointer()))
    return values


# ---- Methods and fields ----

@with_own_scratch
def methods(handle):
    """The Methods of a class, in the VM's order."""
    count, table = out("jint"), out_pointer("method_entry")
    ask("agent_get_classmethods", handle, 0, count, table)
    entries = table.dereference()
    return [Method(int(entries[i]["method"]), text_of(entries[i]["name"]), text_of(entries[i]["signature"]),
                   int(entries[i]["modifiers"])) for i in range(int(count.dereference()))]


@with_own_scratch
def lines(handle, method):
    """[(location, line)] of a method, in the order of the locations; empty without line numbers."""
    count, table = out("jint"), out_pointer("JVMDI_line_number_entry")
    try:
        ask("agent_get_linenumbertable", handle, method, count, table)
    except Refused as error:
        if error.code in _NO_LINES:
            return []
        raise
    entries = table.dereference()
    return sorted((int(entries[i]["start_location"]), int(entries[i]["line_number"]))
                  for i in range(int(count.dereference())))


def line_at(table, location):
    """The line of a location by its method's `lines`; None before the first."""
    return next((line for start, line in reversed(table) if start <= location), None)


@with_own_scratch
def bytecodes(handle, method):
    """The bytecodes of a method that is neither native nor abstract, as its class file has them."""
    count, table = out("jint"), out_pointer("unsigned char")
    ask("agent_get_bytecodes", handle, method, count, table)
    return gdb.selected_inferior().read_memory(int(table.dereference()), int(count.dereference())).tobytes()


@with_own_scratch
def local_variables(handle, method):
    """The Locals of a method; None when it was compiled without -g."""
    count, table = out("jint"), out_pointer("JVMDI_local_variable_entry")
    try:
        ask("agent_get_localvariabletable", handle, method, count, table)
    except Refused as error:
        if error.code in _NO_LOCALS:
            return None
        raise
    entries = table.dereference()
    return [Local(int(entries[i]["start_location"]), int(entries[i]["length"]), text_of(entries[i]["name"]),
                  text_of(entries[i]["signature"]), int(entries[i]["slot"])) for i in range(int(count.dereference()))]


@with_own_scratch
def fields(handle):
    """The Fields that a class itself declares."""
    count, table = out("jint"), out_pointer("jfieldID")
    ask("agent_get_classfields", handle, count, table)
    ids = _taken(table, [int(table.dereference()[i]) for i in range(int(count.dereference()))])
    return [_field(handle, each) for each in ids]


@with_own_scratch
def _field(handle, identity):
    name, signature = (out_pointer("char") for _ in range(2))
    modifiers = out("jint")
    ask("agent_get_fieldname", handle, identity, name, signature, modifiers)
    texts = [text_of(each.dereference()) for each in (name, signature)]
    for each in (name, signature):
        _taken(each, None)
    return Field(identity, *texts, int(modifiers.dereference()))


# ---- Frames ----

@with_own_scratch
def frame_count(thread):
    count = out("jint")
    ask("agent_get_framecount", thread, count)
    return int(count.dereference())


@with_own_scratch
def frame(thread, depth):
    """(class handle, method, location) of a frame; depth 0 is the innermost."""
    clazz, method, location = out("jclass"), out("jmethodID"), out("jlocation")
    if depth == 0:
        ask("agent_get_currentframe", thread, 0, clazz, method, location)
    else:
        ask("agent_get_callerframe", 0, out("jframeID"), clazz, method, location, thread, depth)
    return int(clazz.dereference()), int(method.dereference()), int(location.dereference())
