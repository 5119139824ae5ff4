"""gdb attaches to a program with thousands of classes that prepares more all the time: each is listed, and once."""
import gdb
from quor_gdb import (alone_status, attach, call, check, check_equal, detach, meet_agent, out, out_bytes, select_agent_thread,
                      start_alone, wait_for_output)

CLASSES = 3000


def listed():
    """The numbers of the program's own classes in the list of prepared classes, in its order. All is read at once: each is 2 KB."""
    found = gdb.parse_and_eval("prep_list")
    count, size = int(found["count"]), gdb.lookup_type("class_info").sizeof
    text = gdb.selected_inferior().read_memory(int(found["array"]), count * size).tobytes()
    at = [field.bitpos // 8 for field in gdb.lookup_type("class_info").fields() if field.name == "signature"][0]
    names = [text[i * size + at:(i + 1) * size].split(b"\0", 1)[0] for i in range(count)]
    check_equal(sum(name == b"Ljava/lang/Object;" for name in names), 1, "times that java.lang.Object is listed")
    return [int(name[len("Lmade/Class"):-1]) for name in names if name.startswith(b"Lmade/Class")]


def case():
    pid = start_alone("Classes", str(CLASSES))
    wait_for_output("ready")
    attach(pid)
    select_agent_thread()
    meet_agent()
    numbers = sorted(listed())
    check(numbers[:CLASSES] == list(range(CLASSES)), "all classes are listed, each once")
    check(numbers == list(range(len(numbers))), "and so are those that were prepared since")
    count, classes = out("jint"), out_bytes(gdb.lookup_type("class_info").pointer())
    check_equal(call("agent_get_classes", 0, count, classes), 0, "agent_get_classes")
    check(int(count.dereference()) > len(numbers), "the debugger is given them, and the platform's")
    check_equal(call("agent_attach_jquor", 0), 0, "agent_attach_jquor again")
    check_equal(sorted(listed()), numbers, "and lists them again for who asks again")
    check_equal(call("agent_detach_jquor", 0), 0, "agent_detach_jquor")
    detach()
    with open("done", "w", encoding="ascii"):
        pass
    check_equal(alone_status(), 9, "the program's own exit status")
