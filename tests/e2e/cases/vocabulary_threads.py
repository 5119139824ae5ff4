"""Threads in every state, their groups, and monitors: owned, contended and waited for."""
import java
from checks import check, check_equal
from quor.agent import place, questions
from quor.agent.calls import call, fetched, forget_scratch, out, out_pointer, text_of
from quor.agent.invoke import jni
from quor.codes import code_named

ALIVE, RUNNABLE, SLEEPING, IN_WAIT, PARKED, BLOCKED = 0x1, 0x4, 0x40, 0x100, 0x200, 0x400
STATES = {"running": RUNNABLE, "sleeping": SLEEPING, "waiting": IN_WAIT, "owning": SLEEPING, "blocked": BLOCKED,
          "parked": PARKED, "endless": RUNNABLE}


def same(first, second):
    return jni("IsSameObject", first, second)


def list_threads():
    count, found = out("jint"), out_pointer("jthread")
    check_equal(call("agent_get_threads", 0, count, found), 0, "agent_get_threads")
    threads = [fetched(found.dereference()[i]) for i in range(int(count.dereference()))]
    check(int(place.global_value("agent_thread")) not in map(int, threads), "the agent thread is not listed")
    return threads


def describe(thread):
    info, tid, status, suspend_status = out("JVMDI_thread_info"), out("agent_tid_t"), out("jint"), out("jint")
    check_equal(call("agent_get_threadinfo", 0, thread, info, tid, status, suspend_status), 0, "agent_get_threadinfo")
    check_equal(int(suspend_status.dereference()), -1, "the suspend status under JVMTI")
    return fetched(info.dereference()), int(tid.dereference()), int(status.dereference())


def threads():
    found, main_group = {}, None
    for thread in list_threads():
        info, tid, status = describe(thread)
        name = text_of(info["name"])
        found[name] = thread
        check_equal(tid, call("TMap_handle2tid", thread), f"the id of {name}")
        check(status & java.SUSPENDED and status & ALIVE, f"{name} is alive and suspended")
        if name in STATES:
            check(status & STATES[name], f"{name} is {name}")
            check_equal(int(info["priority"]), 7 if name == "sleeping" else 5, "its priority")
            check_equal(int(info["is_daemon"]), 1, "whether it is a daemon")
        if name == "main":
            check_equal(int(info["is_daemon"]), 0, "main is no daemon")
            check(java.signature(questions.object_class(info["context_class_loader"])).endswith("AppClassLoader;"), "its loader")
            main_group = fetched(info["thread_group"])
        forget_scratch()
    check(STATES.keys() | {"main"} <= found.keys(), "every thread of the program is listed")
    return found, main_group


def group_name(group):
    info = out("JVMDI_thread_group_info")
    check_equal(call("agent_get_threadgroupinfo", 0, group, info), 0, "agent_get_threadgroupinfo")
    return text_of(info["name"]), fetched(info["parent"]), int(info["max_priority"])


def groups(main_group):
    name, parent, priority = group_name(main_group)
    check_equal((name, priority), ("main", 10), "the group of the main thread")
    count, tops = out("jint"), out_pointer("jthreadGroup")
    check_equal(call("agent_get_topthreadgroups", 0, count, tops), 0, "agent_get_topthreadgroups")
    check_equal(int(count.dereference()), 1, "how many top groups")
    top = fetched(tops.dereference()[0])
    check_equal(group_name(top)[0], "system", "the top group")
    check(same(parent, top), "it is the parent of the main thread's")
    thread_count, children, group_count, subgroups = out("jint"), out_pointer("jthread"), out("jint"), out_pointer("jthreadGroup")
    check_equal(call("agent_get_threadgroupchildren", 0, main_group, thread_count, children, group_count, subgroups), 0,
                "agent_get_threadgroupchildren")
    names = {java.thread_name(children.dereference()[i]) for i in range(int(thread_count.dereference()))}
    check(STATES.keys() | {"main"} <= names, "the group's threads")
    forget_scratch()


def owned(thread):
    info = out("JVMDI_owned_monitor_info")
    check_equal(call("agent_get_owned_monitorinfo", 0, thread, info), 0, "agent_get_owned_monitorinfo")
    return [fetched(info["owned_monitors"][i]) for i in range(int(info["owned_monitor_count"]))]


def contended(function, thread):
    monitor = out("jobject")
    check_equal(call(function, 0, thread, monitor), 0, function)
    return fetched(monitor.dereference())


def waited_for(waiting, signal):
    """What the VM tells of a thread that waits: the monitor, or nothing on JDKs from 23 on, where only entering counts."""
    own = out("jobject")
    questions.jvmti("GetCurrentContendedMonitor", waiting, own)
    return signal if int(own.dereference()) else 0


def monitors(found, outer, inner, signal):
    held = owned(found["owning"])
    check_equal(len(held), 2, "how many monitors the owning thread has")
    check(all(any(same(monitor, wanted) for monitor in held) for wanted in (outer, inner)), "they are the known ones")
    check_equal(owned(found["running"]), [], "the running thread has none")
    for function in ("agent_get_current_contendedmonitor", "agent_get_contended_monitor"):
        check(same(contended(function, found["blocked"]), outer), "what the blocked thread wants")
        check(same(contended(function, found["waiting"]), waited_for(found["waiting"], signal)),
              "what the waiting thread waits for")
        check_equal(int(contended(function, found["running"])), 0, "the running thread wants nothing")
    check_equal(int(contended("agent_get_contended_monitor", place.global_value("agent_thread"))), 0, "nor does the agent thread")
    forget_scratch()

    info = out("JVMDI_monitor_info")
    check_equal(call("agent_get_monitorinfo", 0, outer, info), 0, "agent_get_monitorinfo")
    check_equal(int(info["owner"]), int(found["owning"]), "the owner")
    check_equal((int(info["entry_count"]), int(info["waiter_count"])), (1, 1), "entries and waiters")
    check_equal(int(info["waiters"][0]), int(found["blocked"]), "the waiter")
    forget_scratch()

    count, entries = out("jint"), out_pointer("monitor_entry")
    check_equal(call("agent_get_monitorlist", 0, count, entries), 0, "agent_get_monitorlist")
    listed = [fetched(entries.dereference()[i]) for i in range(int(count.dereference()))]
    for wanted, waiters in ((outer, [int(found["blocked"])]), (inner, [])):
        entry = next(entry for entry in listed if same(entry["monitor"], wanted))
        check_equal(int(entry["owner"]), int(found["owning"]), "the owner of a listed monitor")
        known = [int(fetched(entry["waiters"][i])) for i in range(int(entry["waiter_count"]))]
        check_equal(known, waiters, "its waiters")
    forget_scratch()


def control(found):
    """One thread by itself: resumed and suspended again, interrupted, stopped with an exception."""
    running = found["running"]
    check_equal(call("agent_suspendthread", 0, running), code_named("THREAD_SUSPENDED"), "a thread that is suspended already")
    check_equal(call("agent_resumethread", 0, running), 0, "agent_resumethread")
    check(not java.thread_state(running) & java.SUSPENDED, "the thread runs")
    check_equal(call("agent_resumethread", 0, running), code_named("THREAD_NOT_SUSPENDED"), "a thread that runs already")
    check_equal(call("agent_suspendthread", 0, running), 0, "agent_suspendthread")
    check(java.thread_state(running) & java.SUSPENDED, "the thread is suspended again")
    check_equal(call("agent_suspend_all", 0), 0, "suspending all again changes nothing")
    check_equal(call("agent_resume_all", 0), 0, "agent_resume_all")
    check(not java.thread_state(running) & java.SUSPENDED, "everything runs")
    check_equal(call("agent_suspend_all", 0), 0, "agent_suspend_all")
    check(java.thread_state(running) & java.SUSPENDED, "everything is suspended")
    check_equal(call("agent_interruptthread", 0, found["sleeping"]), 0, "agent_interruptthread")
    prepared = call("agent_get_static_field_object", 0, get_class(), java.field(get_class(), "prepared"))
    check_equal(call("agent_stopthread", 0, found["endless"], prepared), 0, "agent_stopthread")
    forget_scratch()


def get_class():
    return questions.class_by_name("Vocabulary").handle


def ask(outer, inner, signal):
    agent = place.global_value("agent_thread")
    check_equal(int(place.global_value("tid_debug_agent")), call("TMap_handle2tid", agent), "the agent thread's id")
    found, main_group = threads()
    groups(main_group)
    monitors(found, outer, inner, signal)
    control(found)
