"""gdb attaches to a program with thousands of classes that prepares more all the time: each is listed, and once."""
from checks import check, check_equal
from program import alone_status, attach, detach, meet_agent, select_agent_thread, start_alone
from quor.agent import class_list
from quor.agent.calls import call, out, out_pointer
from waits import wait_for_output

CLASSES = 3000


def listed():
    """The numbers of the program's own classes in the list of prepared classes, in its order."""
    class_list.forget()
    names = [each.signature for each in class_list.prepared()]
    check_equal(names.count("Ljava/lang/Object;"), 1, "times that java.lang.Object is listed")
    return [int(name[len("Lmade/Class"):-1]) for name in names if name.startswith("Lmade/Class")]


def case():
    pid = start_alone("Classes", str(CLASSES))
    wait_for_output("ready")
    attach(pid)
    select_agent_thread()
    meet_agent()
    numbers = sorted(listed())
    check(numbers[:CLASSES] == list(range(CLASSES)), "all classes are listed, each once")
    check(numbers == list(range(len(numbers))), "and so are those that were prepared since")
    count, classes = out("jint"), out_pointer("class_info")
    check_equal(call("agent_get_classes", 0, count, classes), 0, "agent_get_classes")
    check(int(count.dereference()) > len(numbers), "the debugger is given them, and the platform's")
    check_equal(call("agent_attach_jquor", 0), 0, "agent_attach_jquor again")
    check_equal(sorted(listed()), numbers, "and lists them again for who asks again")
    check_equal(call("agent_detach_jquor", 0), 0, "agent_detach_jquor")
    detach()
    with open("done", "w", encoding="ascii"):
        pass
    check_equal(alone_status(), 9, "the program's own exit status")
