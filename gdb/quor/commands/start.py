"""java run, attach, detach, status, continue: from a program to a debugger that holds its Java side, and back."""
import os
import shlex

import gdb

from quor import signals
from quor.agent import access, calls, hooks, parking, place, session, settling
from quor.commands import command
from quor.errors import QuorError

_FIRST_STOP_SECONDS = 30
_HERE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
_AGENT = "libquor_agent.so"


def _agent_folders():
    """Where the agent's library may be: beside an installation, or in a build of the sources."""
    top = os.path.dirname(os.path.dirname(_HERE))
    named = os.environ.get("QUOR_AGENT_DIR")
    return ([named] if named else []) + [os.path.join(top, "build", "x86-64"), os.path.join(top, "build", "i386")]


def _word_size_of(java):
    """4 or 8, as the ELF file says; 8 when it is no ELF file."""
    try:
        with open(java, "rb") as file:
            return 4 if file.read(5)[4:5] == b"\1" else 8
    except OSError:
        return 8


def _agent_for(java):
    """The path of the agent's library of the JVM's width; None when it is found by the loader alone."""
    for folder in _agent_folders():
        path = os.path.join(folder, _AGENT)
        if os.path.exists(path) and _word_size_of(path) == _word_size_of(java):
            return path
    return None


def _which(name):
    for folder in [""] if "/" in name else os.environ.get("PATH", "").split(":"):
        path = os.path.join(folder, name)
        if os.access(path, os.X_OK) and not os.path.isdir(path):
            return os.path.realpath(path)
    raise QuorError(f"java run: there is no program {name}; java run -java /path/to/java ... names one")


class _FirstContact(settling.Reason):
    def announce(self):
        return None


class _Wanted:
    """What is to be done at the agent's next first contact."""
    stop_there = False


def _at_first_contact(_event):
    return _FirstContact() if _Wanted.stop_there else None


def _to_first_contact(start):
    """Lets the process go to the agent's first contact, and attaches there."""
    if not signals.installed():
        signals.install()
        gdb.write("The JVM's own faults pass from now on; java settings off undoes that.\n")
    _Wanted.stop_there = True
    hooks.listen(place.FIRST_CONTACT, _at_first_contact)
    try:
        start()
    finally:
        _Wanted.stop_there = False
    now = session.state()
    if now != "hook":
        if now in ("loaded", "native"):
            place.set_global("jquor_attached", 0)
        raise QuorError("the program stopped elsewhere before the agent answered; java attach tries again" if now != "none" else
                        "the program has ended before the agent answered")
    code = session.attach()
    if code:
        raise QuorError(f"the agent refuses to attach: code {code}")
    _attached()


def _attached():
    for arrive in arrivals:
        arrive()


@command("run", group="Start", usage="[-java PROGRAM] [OPTION...] CLASS|-jar FILE [ARGUMENT...]",
         examples=("java run -cp classes Main", "java run -jar service.jar --port 8080"))
def run_command(arguments, _from_tty):
    """Starts a Java program with the agent in it, and stops before its main.

    The agent's library is that of this folder's build or of QUOR_AGENT_DIR, of the width of the JVM; else the loader looks for it."""
    words = shlex.split(arguments)
    java = "java"
    if words[:1] == ["-java"] and len(words) > 1:
        java, words = words[1], words[2:]
    if not words:
        raise QuorError("java run: which class or -jar file?")
    java = _which(java)
    agent = _agent_for(java)
    option = f"-agentpath:{agent}" if agent else "-agentlib:quor_agent"
    gdb.execute(f"file {java}", to_string=True)
    gdb.execute(f"set remote exec-file {java}", to_string=True)  # for a gdbserver, which starts it on its own machine
    gdb.execute("set args " + " ".join(shlex.quote(word) for word in [option, *words]))
    _to_first_contact(lambda: gdb.execute("run", to_string=True))
    gdb.write("The program stands before its main; java continue lets it run.\n")


@command("attach", group="Start", usage="[PID]", examples=("java attach 4711", "java attach"))
def attach_command(arguments, _from_tty):
    """Attaches to the Java side of a process, and stops it there.

    With a process id gdb attaches to it first. The process must have been started with the agent (-agentlib:quor_agent)."""
    if arguments:
        gdb.execute(f"attach {arguments}", to_string=True)
    now = session.require("java attach", "loaded", "native", "hook")
    left_held = access.is_left_held()
    left_parked = parking.release_left() if left_held else []
    if now == "hook":
        code = session.attach()
        if code:
            raise QuorError(f"the agent refuses to attach: code {code}")
        _attached()
    else:
        place.set_global("jquor_attached", 1)
        access.wake_agent()
        _to_first_contact(lambda: gdb.execute("continue", to_string=True))
    gdb.write("Attached to the Java side; all Java threads stand still.\n")
    if left_held:
        gdb.write("They did before: a gdb was killed while it held them. java continue and java detach let them go.\n")
    for thread in left_parked:
        gdb.write(f"Thread {thread.num}, which it kept in a loop, goes on where it stood.\n")


@command("detach", group="Start", states=("stopped", "no process"), examples=("java detach",))
def detach_command(arguments, _from_tty):
    """Lets go of the Java side: clears all that was set, and lets gdb detach.

    Where the agent cannot be asked now, the program runs to where it can."""
    if arguments:
        raise QuorError("java detach takes no arguments")
    if session.state() == "native":
        stop_at_controlc()
    if session.state() == "hook":
        for release in releases:
            release()
        session.detach()
        calls.free_scratch()
        calls.forget_last_signal()
    hooks.ignore_all()
    if gdb.selected_inferior().pid:
        gdb.execute("detach", to_string=True)
    gdb.write("Detached.\n")


arrivals = []  # functions that set what was asked for before; called at a hook, when the debugger has attached
releases = []  # functions that clear what they set in the VM; called at a hook, before the agent lets go


class _ControlC(settling.Reason):
    def announce(self):
        return None


def _at_controlc(_event):
    return _ControlC()


def stop_at_controlc():
    """Leads a process that stopped anywhere to a hook: the program runs on until the agent has stopped the Java threads, which
    lasts up to two seconds."""
    hooks.listen("hook_controlc", _at_controlc)
    place.set_global("controlc_hit", 1)
    gdb.execute("continue", to_string=True)


@command("status", group="Start", examples=("java status",))
def status_command(arguments, _from_tty):
    """Where the process stands, and what the java commands can do there."""
    if arguments:
        raise QuorError("java status takes no arguments")
    now = session.state()
    text = {"hook": f"stopped by the agent at {place.hook()}: everything can be asked" if now == "hook" else ""}
    gdb.write((text.get(now) or session.advice(now)) + "\n")
    if now in ("loaded", "native") and access.is_left_held():
        gdb.write("A gdb was killed while it held the Java threads, which stand still: java attach, then java detach lets them go.\n")


@command("continue", group="Step", states=("stopped", "no process"), examples=("java continue",))
def continue_command(arguments, _from_tty):
    """Lets the program run, as gdb's continue does."""
    if arguments:
        gdb.execute(f"continue {arguments}")
    else:
        settling.resume()
