"""The way to the agent where the process did not stop at a hook: the Java threads are held, the agent is asked, and all is put
back as it was.

The agent thread waits for events then, and can be called; but a call lets the whole process run. So the Java threads are
suspended by the first call and resumed by the last, and the thread at whose breakpoint, step or fault the process stopped is
parked meanwhile: it runs a jump to itself, and gets its place and its signal back. That must be a thread outside of the VM, for
which nobody waits. Where the process was interrupted anywhere (Ctrl-C, attach), no thread is parked: what runs Java code runs on
until it is suspended.
"""
import contextlib

import gdb

from quor import signals, states
from quor.agent import calls, parking, place
from quor.agent.quiet import Quiet
from quor.errors import QuorError
from quor.hotspot import objects, vm

_SYSTEM_CALLS = (b"\x0f\x05", b"\xcd\x80")  # syscall, int $0x80
_INTERRUPTED = (-512, -513, -514, -516)  # results that only debuggers see: the kernel makes the call again
_LOCAL_REFERENCES = 64
_BACK_WITHIN = 1  # seconds


class _Stop:
    """Where the process stopped last: the thread that gdb told of."""
    thread = None


def _on_stop(_event):
    if not calls.is_calling():
        _Stop.thread = gdb.selected_thread()


def _has_ended(_event):
    _Held.left, _Held.frame = None, False
    suspended_by_user.clear()


gdb.events.stop.connect(_on_stop)
gdb.events.exited.connect(_has_ended)


def stop_thread():
    """gdb's thread for which the process stopped."""
    thread = _Stop.thread
    return thread if thread is not None and thread.is_valid() else gdb.selected_thread()


# ---- May it be asked? ----

def java_state(thread):
    """What a gdb thread does for the VM: "in native", "blocked", "in Java", "in the VM"...; None when it is no Java thread."""
    readers = objects.of(vm.required())
    record = readers.threads.by_lwp(thread.ptid[1] or thread.ptid[2])
    return readers.threads.state(record) if record else None


def _require_agent():
    agent = place.agent_thread()
    if agent is None:
        raise QuorError("the agent is not in this process; see help java run")
    if not _can_be_asked(agent) and not _comes_back(agent):
        raise QuorError("the agent is busy at this moment: continue, and stop again")


def _can_be_asked(agent):
    return place.is_waiting() and java_state(agent) == "in native"


def _comes_back(agent):
    """Whether the agent thread is on its way back from a stop and, alone, comes to where it can be asked. One of the threads that it
    lets go may stop before, at a step into native code say; on a busy machine that is usual."""
    if not place.is_on_its_way_back():
        return False
    with place.Selection():
        agent.switch()
        calls.let_run_alone("continue", to=place.next_event(), seconds=_BACK_WITHIN)
    return agent.is_valid() and _can_be_asked(agent)


def wake_agent():
    """Has the agent thread look at its flags as soon as it runs: it polls them every two seconds. Where it cannot be asked now it
    comes to that by itself."""
    with contextlib.suppress(QuorError), called():
        queue = place.global_value("event_queue_monitor").address
        name = calls.out_text("process_next_event")
        for step in ("monitor_lock", "monitor_signal", "monitor_unlock"):
            calls.call(step, queue, name)


def _require_outside(thread):
    state = java_state(thread)
    if state is None and not _is_of_the_vm(thread) or state in ("in native", "blocked"):
        return
    where = {"in Java": "in Java code"}.get(state, "inside the VM")
    raise QuorError(f"thread {thread.num} stopped {where}, where the agent cannot be asked: java bt, threads and locals work; "
                    "java finish or continue lead on")


def _is_of_the_vm(thread):
    """Whether a thread without Java is at work in the VM's library."""
    with place.Selection():
        thread.switch()
        library = gdb.current_progspace().solib_name(gdb.newest_frame().pc())
    return "libjvm" in (library or "")


# ---- Holding ----

@contextlib.contextmanager
def held():
    """A block in which the agent may be asked, at a stop that is no hook: the Java threads stand still."""
    with called(), _suspended():
        yield


@contextlib.contextmanager
def called():
    """A block in which the agent may be called, at a stop that is no hook, while the Java threads run."""
    _require_agent()
    with contextlib.ExitStack() as stack:
        stack.enter_context(calls.not_ended())
        stack.enter_context(place.Selection())
        parked = _parked(stop_thread())
        if states.is_remote(gdb.selected_inferior()):
            # a gdbserver (13.1) may tell of one by which it stopped a thread itself, before, and end the call half-way
            stack.enter_context(signals.passed_over("SIGSTOP"))
        stack.enter_context(Quiet(stop_thread() if parked else None))
        if parked:
            stack.enter_context(parked)
        stack.callback(_end_at_breakpoint)
        yield


def _end_at_breakpoint():
    """Through a gdbserver: has the agent thread's last stop be a breakpoint's. A call ends with a SIGSEGV on the stack, which gdb
    takes for its breakpoint there, and which a gdbserver that detaches later would deliver. The system call goes on as before."""
    agent = place.agent_thread()
    if agent is None or not states.is_remote(gdb.selected_inferior()) or not place.is_waiting():
        return
    with place.Selection():
        agent.switch()
        gdb.newest_frame().select()
        saved = [parking.Saved(name) for name in ("$pc", "$eflags", _result_register(), parking.system_call_register())]
        try:
            parking.stand_at(saved[0].number())
        finally:
            for each in saved:
                each.put_back()
            _begin_again(saved[0].number(), *(parking.number(name) for name in (_result_register(), parking.system_call_register())))


def _begin_again(pc, result, system_call):
    """Does what the kernel does when a thread goes on whose system call a debugger interrupted: it is made again. Behind a
    breakpoint's stop the kernel does so for 64-bit threads only (gdbserver 13.1, kernel 6.18)."""
    if result not in _INTERRUPTED or system_call < 0:
        return
    code = gdb.selected_inferior().read_memory(pc - 2, 2).tobytes()
    if code in _SYSTEM_CALLS:
        for name, value in (("$pc", pc - 2), (_result_register(), system_call), (parking.system_call_register(), -1)):
            gdb.execute(f"set var {name} = {value}", to_string=True)


def _result_register():
    return "$rax" if gdb.lookup_type("void").pointer().sizeof == 8 else "$eax"


def _parked(thread):
    """What keeps the thread in its place; None when it did not choose that."""
    with place.Selection():
        thread.switch()
        anywhere = parking.signal_of_stop() in parking.ANYWHERE
    if anywhere or thread == place.agent_thread():
        return None
    _require_outside(thread)
    return parking.Parked(thread)


class _Held:
    """What a question that was interrupted has left to be undone."""
    left = None  # (inferior's number, process id)
    frame = False  # a frame of local references


suspended_by_user = set()  # handles of threads: suspending all and resuming them again would let them go


@contextlib.contextmanager
def _suspended():
    inferior = gdb.selected_inferior()
    _Held.left = inferior.num, inferior.pid
    try:
        for handle in suspended_by_user:
            calls.call("agent_resumethread", 0, handle)
        calls.call("agent_suspend_all", 0)
        env = calls.call("getEnv")
        calls.call(env["functions"]["PushLocalFrame"], env, _LOCAL_REFERENCES)
        _Held.frame = True
        yield
    finally:
        let_go()


def is_left_held():
    """Whether the agent holds the Java threads though it stands at no stop: a gdb was killed in the middle of a question. The
    next stop or question ends with letting them go."""
    if place.hook() is not None or place.is_called():
        return False
    try:
        return int(gdb.parse_and_eval("'agent_self.cpp'::suspended")) == 1
    except gdb.error:  # an agent without its symbols
        return False


def let_go():
    """Lets the Java threads go that a question holds, as soon as the agent can be called again."""
    inferior = gdb.selected_inferior()
    if _Held.left != (inferior.num, inferior.pid) or not place.is_waiting():
        return
    env = calls.call("getEnv")
    if _Held.frame:
        _Held.frame = False
        calls.call(env["functions"]["PopLocalFrame"], env, 0)
    calls.call("resume_after_event", env)
    _Held.left = None
    for handle in suspended_by_user:
        calls.call("agent_suspendthread", 0, handle)
