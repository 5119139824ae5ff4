"""The frames of a recursion, and local variables of each type, read and changed."""
import java
from checks import check, check_equal
from quor.agent import questions
from quor.agent.calls import call, fetched, forget_scratch, out, out_pointer, out_text
from quor.agent.invoke import jni
from quor.codes import code_named
from vocabulary_classes import variables
from vocabulary_values import number

DEPTH = 10
OUTPUT = "locals 77 -9 2.5 -0.125 changed false\n"


def frame_at(thread, depth):
    """(class, method, location) of a frame as the debugger walks: the top by one function, its callers by another."""
    frame, clazz, method, location = out("jframeID"), out("jclass"), out("jmethodID"), out("jlocation")
    if depth == 0:
        code = call("agent_get_currentframe", 0, thread, frame, clazz, method, location)
    else:
        code = call("agent_get_callerframe", 0, 0, frame, clazz, method, location, thread, depth)
    return code, fetched(clazz.dereference()), fetched(method.dereference()), int(location.dereference())


def walk(clazz, thread):
    count = out("jint")
    check_equal(call("agent_get_framecount", 0, thread, count), 0, "agent_get_framecount")
    frames = int(count.dereference())
    expected = ["bottom"] + DEPTH * ["deep"] + ["main"]
    check_equal(frames, len(expected), "the number of frames")
    for depth, name in enumerate(expected):
        code, its_class, method, location = frame_at(thread, depth)
        check_equal((code, int(its_class), java.method_name(method)), (0, int(clazz), name), f"frame {depth}")
        check(depth == 0 or location > 0, "and where it stands")
        if name == "deep":
            line = questions.line_at(questions.lines(clazz, method), location)
            check(line > 0, f"its line is {line}")
        forget_scratch()
    check_equal(frame_at(thread, frames)[0], code_named("NO_MORE_FRAMES"), "beyond the last frame")


def local(type_name, thread, depth, slot):
    value = out({"object": "jobject"}.get(type_name, "j" + type_name))
    check_equal(call(f"agent_get_local{type_name}", 0, 0, slot, value, thread, depth), 0, f"agent_get_local{type_name}")
    return fetched(value.dereference())


def read(slots, thread):
    for depth in range(1, DEPTH + 1):
        level = DEPTH + 1 - depth
        check_equal(number(local("int", thread, depth, slots["depth"])), level, f"the depth in frame {depth}")
        check_equal(number(local("int", thread, depth, slots["i"])), 10 * level, "an int")
        check_equal(number(local("long", thread, depth, slots["j"])), (1 << 33) + level - 1, "a long")
        check_equal(number(local("float", thread, depth, slots["f"])), 0.5 * 2 ** (level - 1), "a float")
        check_equal(number(local("double", thread, depth, slots["d"])), 1024.0 / 2 ** (level - 1), "a double")
        check_equal(number(local("int", thread, depth, slots["z"])), (level - 1) % 2, "a boolean")
        check_equal(java.string(local("object", thread, depth, slots["l"])), "text", "an object")
        forget_scratch()
    first = local("object", thread, 1, slots["l"])
    check_equal(int(local("object", thread, 1, slots["l"])), int(first), "an object read twice is one handle")


def change(slots, thread, clazz):
    changes = {"int": ("i", 77), "long": ("j", -9), "float": ("f", 2.5), "double": ("d", -0.125)}
    for type_name, (name, value) in changes.items():
        check_equal(call(f"agent_set_local{type_name}", 0, 0, slots[name], value, thread, 1), 0, f"setting the {type_name}")
        check_equal(number(local(type_name, thread, 1, slots[name])), value, f"the {type_name} then")
    check_equal(call("agent_set_localint", 0, 0, slots["z"], 0, thread, 1), 0, "setting the boolean")
    text = jni("NewStringUTF", out_text("changed"))
    check_equal(call("agent_set_localobject", 0, 0, slots["l"], text, thread, 1), 0, "setting the object")
    check_equal(java.string(local("object", thread, 1, slots["l"])), "changed", "the object then")
    forget_scratch()


def all_locals(thread):
    count, values = out("jint"), out_pointer("jint")
    check_equal(call("agent_get_locals", 0, 0, count, values, thread, 0), 0, "agent_get_locals of a method without any")
    check_equal(int(count.dereference()), 0, "how many")
    code = call("agent_get_locals", 0, 0, count, values, thread, 1)
    check_equal(code, code_named("TYPE_MISMATCH"), "a frame with others than ints")
    check_equal((int(count.dereference()), int(values.dereference())), (0, 0), "nothing of it is told")
    check_equal(call("agent_get_localint", 0, 0, 99, count, thread, 1), code_named("INVALID_SLOT"), "a slot that is none")
    forget_scratch()


def int_locals(thread, expected):
    """agent_get_locals of a frame that has only ints."""
    count, values = out("jint"), out_pointer("jint")
    check_equal(call("agent_get_locals", 0, 0, count, values, thread, 0), 0, "agent_get_locals")
    found = [int(fetched(values.dereference()[i])) for i in range(int(count.dereference()))]
    check_equal(found, expected, "all locals of a frame of ints")
    forget_scratch()


def ask(clazz, thread):
    walk(clazz, thread)
    slots = {name: slot for name, (_, slot) in variables(clazz, java.method(clazz, "deep")).items()}
    check_equal(sorted(slots), ["d", "depth", "f", "i", "j", "l", "z"], "the variables of the recursion")
    read(slots, thread)
    change(slots, thread, clazz)
    all_locals(thread)
