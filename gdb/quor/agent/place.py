"""Where the agent stands: whether it is in the process, its thread, the hook point that it is stopped at. Found out anew at
each question."""
import re

import gdb

from quor.agent import layouts
from quor.errors import QuorError
from quor.selection import Selection

HOOKS = ("hook_step", "hook_bpt", "hook_frame_pop", "hook_exception_thrown", "hook_exception_caught", "hook_thread_start",
         "hook_thread_stop", "hook_class_prepare", "hook_class_unload", "hook_access", "hook_access_write", "hook_method_entry",
         "hook_invoke_method", "hook_controlc")
FIRST_CONTACT = "jquor_jvmdi_sync_hook"
_WAIT = "monitor_wait_timeout"  # the agent's function in which its thread waits for events
_NEXT = "process_next_event"  # the one that it comes to for each event, and holds nothing before
_BACK = {"resume_after_event", "notify_event_processing_done"}  # those by which it lets the others go after a stop
_ANSWER = "process_on_attach"  # the one by which it answers an attach, while it waits for an event
_NAME = "quor agent"
_MAX_DEPTH, _MAX_DEPTH_IN_VM = 12, 40  # frames from a wait in libc, or in the VM, up to the agent's function


def is_loaded():
    """Whether the agent's library is in the selected inferior."""
    if address_or_none("tid_debug_agent") is None:
        return False
    layouts.provide(address_or_none)
    return True


def address_or_none(name):
    """The address of one of the agent's exported names; None when it is not there."""
    try:
        return int(gdb.parse_and_eval(f"(unsigned long)&{name}"))
    except gdb.error:
        return None


def global_value(name):
    """An exported variable of the agent, as it is now."""
    try:
        value = gdb.parse_and_eval(name)
        value.fetch_lazy()
        return value
    except gdb.error as error:
        raise QuorError(f"the agent's {name} cannot be read: {error}") from error


def constant(name):
    """A constant of the agent's headers, by its debug information."""
    return int(global_value(name))


def set_global(name, number):
    """Writes one of the int flags that the agent polls."""
    address = address_or_none(name)
    if address is None:
        raise QuorError("the agent is not in this process; see help java run")
    gdb.selected_inferior().write_memory(address, int(number).to_bytes(4, "little"))


def agent_thread():
    """gdb's thread of the agent; None when it has none yet, or none any more."""
    threads = gdb.selected_inferior().threads()
    if not threads or not is_loaded():
        return None
    try:
        tid = _tid()
    except QuorError:  # the process is ending
        return None
    for thread in threads:
        if tid and native_id(thread) == tid:
            return thread
    named = [thread for thread in threads if thread.name == _NAME]
    return named[0] if named and not any(native_id(thread) for thread in threads) else None


def _tid():
    value = global_value("tid_debug_agent")
    return int(value) % (1 << 8 * value.type.sizeof)


def native_id(thread):
    """What pthread_self() gives in a gdb thread; 0 when that is not known: a thread that begins or ends, no libthread_db."""
    try:
        return int.from_bytes(thread.handle(), "little")
    except (RuntimeError, NotImplementedError):  # RuntimeError: also gdb.error
        return 0


def _functions(thread, limit):
    """Names of the thread's innermost functions."""
    found = []
    with Selection():
        thread.switch()
        try:
            frame = gdb.newest_frame()
            while frame is not None and len(found) < limit:
                found.append(frame.name())
                frame = frame.older()
        except gdb.error:
            pass
    return found


def hook():
    """The name of the hook point that the agent thread is stopped at, or None."""
    thread = agent_thread()
    name = next(iter(_functions(thread, 1)), None) if thread is not None else None
    return name if name in HOOKS or name == FIRST_CONTACT else None


def is_waiting():
    """Whether the agent thread waits for work, or is about to, where it holds nothing and may be called."""
    thread = agent_thread()
    if thread is None or _is_at_work() or is_called():
        return False
    return _WAIT in _functions(thread, _MAX_DEPTH) or _is_at(thread, next_event())


def next_event():
    """The address at which the agent thread begins with the next event."""
    return address_or_none(_NEXT)


def is_on_its_way_back():
    """Whether the agent thread lets the others go after a stop, on its way to next_event(). From the answer to an attach it goes
    back to its wait, and may take an event there."""
    thread = agent_thread()
    if thread is None or is_called():
        return False
    functions = _functions(thread, _MAX_DEPTH_IN_VM)
    return not _BACK.isdisjoint(functions) and _ANSWER not in functions


def _is_at(thread, pc):
    with Selection():
        thread.switch()
        return gdb.newest_frame().pc() == pc


def is_called():
    """Whether a function that was called on the agent thread has not come back: gdb keeps what the thread returns to."""
    thread = agent_thread()
    if thread is None:
        return False
    kept = gdb.execute("maintenance print dummy-frames", to_string=True)
    return str(thread.ptid[1]) in re.findall(r"ptid=\d+\.(\d+)\.", kept)


def _is_at_work():
    symbol = gdb.lookup_static_symbol("at_work")
    return symbol is not None and int(symbol.value()) == 1
