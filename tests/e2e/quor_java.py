"""What a debugger asks about Java, at a hook of the agent thread: classes, methods, fields, threads, values."""
import gdb

from quor_gdb import (CaseFailed, call, check_equal, constant, fetched, get_global, out, out_bytes, out_text, run_to)

SUSPENDED = 0x100000  # JVMTI thread state


def text_of(text):
    """The text of a character array or pointer; None for a null pointer."""
    if text.type.strip_typedefs().code == gdb.TYPE_CODE_PTR and int(text) == 0:
        return None
    return text.string("utf-8")


def _call_ok(name, *arguments):
    result = call(name, 0, *arguments)
    if result:
        raise CaseFailed(f"{name} gives {result}")


# ---- Classes ----

def is_prepared(name):
    """The gdb condition for hook_class_prepare that the class at hand is the named one."""
    return f'$_streq(prep_list.array[prep_list.count - 1].signature, "L{name};")'


def prepared(name):
    """Continues until the named class is prepared; gives its handle."""
    return run_to("hook_class_prepare", condition=is_prepared(name)).part("class_event")["clazz"]


def class_named(name):
    info = out("class_info")
    _call_ok("agent_get_class", out_text(name), info)
    return fetched(info["clazz"])


def signature(clazz):
    info = out("class_info")
    _call_ok("agent_get_classinfo", clazz, info)
    return text_of(info["signature"])


def class_of(reference):
    """The class of an object."""
    clazz = out("jclass")
    _call_ok("agent_get_objectclass", reference, clazz)
    return fetched(clazz.dereference())


# ---- Methods, lines, fields ----

def methods(clazz):
    """(ID, name, signature) of each method."""
    count, table = out("jint"), out_bytes(gdb.lookup_type("method_entry").pointer())
    _call_ok("agent_get_classmethods", clazz, 0, count, table)
    entries = table.dereference()
    return [(fetched(entries[i]["method"]), text_of(entries[i]["name"]), text_of(entries[i]["signature"]))
            for i in range(int(count.dereference()))]


def method(clazz, name):
    for found, its_name, _ in methods(clazz):
        if its_name == name:
            return found
    raise CaseFailed(f"no method {name}")


def method_name(of_method):
    """The method's name as the VM tells it; None for no method."""
    if not int(of_method):
        return None
    name = out_bytes(gdb.lookup_type("char").pointer())
    jvmti("GetMethodName", of_method, name, 0, 0)
    return text_of(name.dereference())


def lines(clazz, of_method):
    """(location, line) pairs of a method."""
    count, table = out("jint"), out_bytes(gdb.lookup_type("JVMDI_line_number_entry").pointer())
    _call_ok("agent_get_linenumbertable", clazz, of_method, count, table)
    entries = table.dereference()
    return [(int(entries[i]["start_location"]), int(entries[i]["line_number"]))
            for i in range(int(count.dereference()))]


def line_in(table, location):
    """The line of a location by the method's table, which may list its entries in any order."""
    return max((start, line) for start, line in table if start <= int(location))[1]


def set_breakpoint(clazz, name, location=0):
    """Sets a breakpoint in the named method; gives its ID."""
    found = method(clazz, name)
    check_equal(call("agent_set_breakpoint", 0, clazz, found, location), 0, f"agent_set_breakpoint in {name}")
    return found


def field(clazz, name):
    count, table = out("jint"), out_bytes(gdb.lookup_type("jfieldID").pointer())
    _call_ok("agent_get_classfields", clazz, count, table)
    its_name, its_signature = (out_bytes(gdb.lookup_type("char").pointer()) for _ in range(2))
    for i in range(int(count.dereference())):
        candidate = fetched(table.dereference()[i])
        _call_ok("agent_get_fieldname", clazz, candidate, its_name, its_signature, out("jint"))
        if text_of(its_name.dereference()) == name:
            return candidate
    raise CaseFailed(f"no field {name}")


def static_int(clazz, name):
    return call("agent_get_static_field_int", 0, clazz, field(clazz, name))


def enable_event(name, on=1, thread=0):
    """`name` of a kind of events, without its prefix: BREAKPOINT."""
    code = call("agent_set_eventnotification", 0, on, constant(f"JVMDI_EVENT_{name}"), thread)
    check_equal(code, 0, f"agent_set_eventnotification({on}, {name})")


# ---- Values and threads ----

def string(reference):
    length, characters = out("jint"), out_bytes(gdb.lookup_type("char").pointer())
    _call_ok("agent_get_stringvalue", reference, length, characters)
    text = text_of(characters.dereference())
    check_equal(int(length.dereference()), len(text.encode()), "the string's length")
    return text


def jvmti(function, *arguments):
    """Calls the VM's own JVMTI, to check the agent against it."""
    environment = gdb.parse_and_eval("jvmti")
    result = call(environment["functions"][function], environment, *arguments)
    if int(result):
        raise CaseFailed(f"JVMTI {function} gives {int(result)}")


def jni(function, *arguments):
    """Calls a JNI function with the agent thread's environment."""
    environment = gdb.parse_and_eval("quor_env")
    return call(environment["functions"][function], environment, *arguments)


def thread_name(thread):
    info = out("jvmtiThreadInfo")
    jvmti("GetThreadInfo", thread, info)
    return text_of(info["name"])


def thread_state(thread):
    state = out("jint")
    jvmti("GetThreadState", thread, state)
    return int(state.dereference())


def known_threads():
    """(handle, thread id) of every record of the thread map."""
    found = []
    buckets = gdb.parse_and_eval("tmap")
    low, high = buckets.type.range()
    for i in range(low, high + 1):
        record = buckets[i]
        while int(record):
            found.append((fetched(record["handle"]), int(record["tid"])))
            record = record["next"]
    return found


def agent_thread():
    return get_global("agent_thread")
