"""java step, next, finish, until, stepi, skip, pop: the way through a program, line by line."""
import gdb

from quor import breaks, breakspec, current_class, stack, stepping, stops
from quor.agent import questions, session
from quor.commands import command, start
from quor.errors import QuorError
from quor.hotspot.javaframes import NATIVE

start.releases.append(stepping.release)


def _in_native(what):
    """Whether the selected thread stands in native code that Java called."""
    innermost = _innermost(what)
    return session.state() == "native" or _is_native(innermost)


def _innermost(what):
    """The selected thread's innermost JavaFrame."""
    session.require(f"java {what}", "hook", "native")
    frame = stack.innermost_java()
    if frame is None:
        raise QuorError("the selected thread runs no Java method; java threads lists those that do")
    return frame.java


def _is_native(java):
    return java.kind == NATIVE or java.method.is_native


def _step(what, mode, arguments):
    times = _count(what, arguments)
    native = _in_native(what)
    if mode == "stepi" and native:
        raise QuorError("the thread is in native code: gdb's own stepi steps there, java finish goes back to Java")
    for _ in range(times):
        stop = session.stop_number()
        _run(mode, native)
        if times == 1 or session.state() != "hook" or session.stop_number() == stop:
            return
        native = False


def _run(mode, native, depth=0):
    thread = questions.thread_handle(gdb.selected_thread())
    stepping.run(lambda: stepping.Step(thread, mode, native, depth))


def _count(what, arguments):
    if arguments and not arguments.isdigit():
        raise QuorError(f"java {what}: how often? It takes a number or nothing")
    return int(arguments or 1)


@command("step", group="Step", states=("stopped",), usage="[COUNT]", examples=("java step", "java step 3"))
def step_command(arguments, _from_tty):
    """To the next line, into methods that it calls: into native ones too, where gdb stands in the C function then.

    Methods of classes that java skip names are not gone into. From native code: to the next Java line that runs."""
    _step("step", "step", arguments)


@command("next", group="Step", states=("stopped",), usage="[COUNT]", examples=("java next", "java next 5"))
def next_command(arguments, _from_tty):
    """To the next line, over the methods that this one calls; also over native ones that call back."""
    _step("next", "next", arguments)


@command("stepi", group="Step", states=("stopped",), usage="[COUNT]", examples=("java stepi",))
def stepi_command(arguments, _from_tty):
    """One bytecode further."""
    _step("stepi", "stepi", arguments)


@command("finish", group="Step", states=("stopped",), examples=("java finish",))
def finish_command(arguments, _from_tty):
    """Runs until the selected Java frame is left, and tells what it returned. From native code: back into Java."""
    if arguments:
        raise QuorError("java finish takes no arguments; java frame N selects the frame")
    native = _in_native("finish")
    _run("finish", native, 0 if native else _depth())


def _depth():
    """How many Java frames lie further in than the selected one."""
    level = gdb.selected_frame().level()
    return sum(entry.number < level for entry in stack.java_entries())


@command("pop", group="Change", states=("stopped",), examples=("java pop",))
def pop_command(arguments, _from_tty):
    """Takes the innermost Java frame of the selected thread back: it stands at the call again, which java step or continue repeats.

    Nothing that the frame did is undone: fields, what was printed, arguments that it changed. Its finally blocks do not run. A
    synchronized method gives its monitor back; a synchronized block in it does too. Native frames, frames that native code or the
    VM called, and those that wait for a monitor cannot be popped. Other threads run for a moment meanwhile."""
    if arguments:
        raise QuorError("java pop takes no arguments: it pops the innermost frame of the selected thread")
    if _is_native(_innermost("pop")):
        raise QuorError("java pop: the thread is in native code, whose frames cannot be popped; java finish goes back to Java first")
    _run("pop", False)


@command("until", group="Step", states=("stopped",), usage="LINE|CLASS:LINE", examples=("java until 40",))
def until_command(arguments, _from_tty):
    """Runs until the selected thread reaches this line of the current file, or the selected frame is left.

    Other stops of the program end it too."""
    if not arguments:
        raise QuorError("java until: which line?")
    place = breakspec.break_place(arguments)
    if not isinstance(place, breakspec.LinePlace):
        raise QuorError("java until: it takes LINE or CLASS:LINE")
    if place.class_name is None:
        place = current_class.line(place.line)
    spec = breakspec.BreakSpec(place, True, gdb.selected_thread().num, False, None)
    stop = stops.add(breaks.Breakpoint(spec))
    try:
        if not stop.places():
            raise QuorError(f"java until: {stop.reason}")
        native, depth = _in_native("until"), _depth()
        _run("until", native, depth)
    finally:
        if stop in stops.all_stops():
            stops.remove(stop)


@command("skip", group="Step", usage="[PATTERN|-d PATTERN]",
         examples=("java skip com.google.*", "java skip", "java skip -d java.*"))
def skip_command(arguments, _from_tty):
    """java step does not go into methods of these classes (java.*, jdk.* and sun.* from the start); -d takes a pattern away."""
    words = arguments.split()
    if words[:1] == ["-d"] and len(words) == 2:
        pattern = words[1].replace(".", "/")
        if pattern not in stepping.SKIPPED:
            raise QuorError(f"java skip: {words[1]} is not skipped; java skip lists what is")
        stepping.SKIPPED.remove(pattern)
    elif len(words) == 1 and words[0] != "-d":
        pattern = words[0].replace(".", "/")
        stepping.SKIPPED.extend([pattern] * (pattern not in stepping.SKIPPED))
    elif words:
        raise QuorError("java skip: it takes PATTERN or -d PATTERN")
    else:
        gdb.write("".join(f"{pattern.replace('/', '.')}\n" for pattern in stepping.SKIPPED))
