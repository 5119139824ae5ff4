"""Where the program stops: java break, tbreak, catch, watch, rwatch, awatch, trace; and java info, delete, enable, disable,
condition, ignore, commands for what was set."""
import re

import gdb

from quor import breaks, breakspec, catches, completion, current_class, stops, thread_names, watches
from quor.agent import session
from quor.commands import command, start
from quor.commands.classes import class_names
from quor.conditions import Condition
from quor.errors import QuorError

_BREAK_USAGE = "[-t] [-thread T] [-native] CLASS:LINE|CLASS.METHOD[(TYPES)]|LINE [if EXPR]"


_BEHIND_THREAD = re.compile(r'-thread\s+("[^"]*|\S*)\Z')


def _places(text, word):
    """For completion: classes, and behind a class's name its methods; threads behind -thread; expressions behind `if`."""
    thread, condition = _BEHIND_THREAD.search(text), text.rfind(" if ")
    if thread:
        return thread_names.quoted_words(thread.group(1))
    if condition >= 0:
        begun = condition + len(" if ")
        return [text[:begun].lstrip() + each for each in completion.of_expression(text[begun:])]
    typed = text[text.rfind(" ") + 1:]
    found = class_names() + ["-t", "-thread", "-native"] * typed.startswith("-")
    owner = typed.rpartition(".")[0]
    return found + ([f"{owner}.{name}" for name in current_class.method_names(owner)] if owner in found else [])


def numbers(_text="", _word=""):
    """J1, J2..., for completion."""
    return [f"J{stop.number}" for stop in stops.all_stops()]


@command("break", group="Stop", usage=_BREAK_USAGE, complete=_places,
         examples=("java break Shop:33", "java break com.shop.Shop.serve if amount > 3",
                   "java break -thread clerk Shop.serve(Item, int)"))
def break_command(arguments, _from_tty):
    """Stops the program before a line or a method of a class runs.

    A class that is not there yet makes it pending: it is set when a loader prepares the class, before its first line runs. A line
    may belong to inner and anonymous classes and to lambdas: it is set in each. A native method stops in its C function.
    -t: only once. -thread: in one thread, by number or name. With `if` it stops where the Java expression is true.
    The condition's locals are read without stopping the program for you. LINE alone is of the selected frame's class.
    If gdb is killed (SIGKILL) while the program runs, its breakpoint instructions stay behind and the JVM dies at its next
    event; killed at a stop it does not. java detach, detach and quit clear everything."""
    _break(arguments)


@command("tbreak", group="Stop", usage=_BREAK_USAGE.replace("[-t] ", ""), complete=_places,
         examples=("java tbreak Shop.main",))
def tbreak_command(arguments, _from_tty):
    """Like java break, but only once: it is deleted when the program has stopped there."""
    _break("-t " + arguments)


def _break(text):
    spec = breakspec.break_spec(text)
    if isinstance(spec.place, breakspec.LinePlace) and spec.place.class_name is None:
        spec = spec._replace(place=current_class.line(spec.place.line))
    condition = Condition(spec.condition) if spec.condition is not None else None
    told(stops.add(breaks.Breakpoint(spec, condition)))


def told(stop):
    """Says what has become of a new Stop."""
    places = stop.places()
    if len(places) == 1:
        gdb.write(f"J{stop.number}: {stop.kind} at {places[0]}\n")
    elif places:
        gdb.write(f"J{stop.number}: {stop.kind} at {stop.what()}, {len(places)} places\n")
    else:
        gdb.write(f"J{stop.number}: {stop.kind} at {stop.what()}, pending: {_why(stop)}\n")


start.arrivals.append(stops.arrive)
start.releases.append(stops.release)


def _why(stop):
    now = session.state()
    if now == "none" or not session.is_attached():
        return "set when the program has the agent in it and java run or java attach holds it"
    if now != "hook" and stop.reason == stops.NOT_PREPARED:
        return "set when the agent can be asked next"
    return stop.reason


def _exceptions(text, word):
    """For completion: classes, without their packages too, and what stands before and behind one."""
    found = class_names()
    return [*found, *{name.rpartition(".")[2] for name in found}, "caught", "uncaught", "all", "-exact"]


@command("catch", group="Stop", usage="[caught|uncaught|all] [CLASS] [-exact]", complete=_exceptions,
         examples=("java catch IllegalStateException", "java catch uncaught java.lang.Throwable", "java catch all"))
def catch_command(arguments, _from_tty):
    """Stops where an exception of a class is thrown: the thread stands there still, with all its frames.

    Subclasses count, unless -exact. caught: only those that some Java method of the thread catches; uncaught: only those that
    none does. A name without a package is of any. Each throw of the program costs some milliseconds meanwhile; with -exact, or
    when the class is final, each throw of this class."""
    told(stops.add(catches.Catch(breakspec.catch_spec(arguments))))


def _fields(text, word):
    """For completion: classes, and behind a class's name its fields."""
    typed = text[text.rfind(" ") + 1:]
    found = class_names()
    owner = typed.rpartition(".")[0]
    return found + ([f"{owner}.{name}" for name in current_class.field_names(owner)] if owner in found else [])


def _watch(text, modes):
    place, _, condition = text.partition(" if ")
    stop = watches.Watch(breakspec.field_spec(place), modes, Condition(condition) if condition.strip() else None)
    told(stops.add(stop))


@command("watch", group="Stop", usage="CLASS.FIELD [if EXPR]", complete=_fields, examples=("java watch Shop.served",))
def watch_command(arguments, _from_tty):
    """Stops where a field is about to be written, of any object, and tells the old value and the new one.

    A native method that writes through JNI counts; one that writes to memory does not."""
    _watch(arguments, ("write",))


@command("rwatch", group="Stop", usage="CLASS.FIELD [if EXPR]", complete=_fields, examples=("java rwatch Shop.served",))
def rwatch_command(arguments, _from_tty):
    """Stops where a field is about to be read, of any object."""
    _watch(arguments, ("read",))


@command("awatch", group="Stop", usage="CLASS.FIELD [if EXPR]", complete=_fields, examples=("java awatch Shop$Item.amount",))
def awatch_command(arguments, _from_tty):
    """Stops where a field is about to be read or written, of any object."""
    _watch(arguments, ("read", "write"))


@command("trace", group="Stop", usage="CLASS.METHOD[(TYPES)] [if EXPR]", complete=_places, examples=("java trace Shop.serve",))
def trace_command(arguments, _from_tty):
    """Tells of each call of a method, with its arguments, and of what it returns, without a stop.

    An exception that leaves the method is no return. With `if` the condition is judged at the call and again at the return."""
    spec = breakspec.break_spec(arguments)
    if spec.native or not isinstance(spec.place, breakspec.MethodPlace):
        raise QuorError("java trace: it takes CLASS.METHOD or CLASS.METHOD(TYPES)")
    told(stops.add(breaks.Trace(spec, Condition(spec.condition) if spec.condition is not None else None)))


@command("info", group="Stop", complete=numbers, usage="[Jn]", examples=("java info", "java info J3"))
def info_command(arguments, _from_tty):
    """What the program stops at: number, state, hits, where it is set or why it is pending."""
    wanted = [stops.named(word) for word in arguments.split()] or stops.all_stops()
    if not wanted:
        gdb.write("Nothing is set; java break, catch, watch and trace set something.\n")
    for stop in wanted:
        _print(stop)


def _print(stop):
    words = [f"J{stop.number}", stop.kind, stop.what()] + ["disabled"] * (not stop.enabled) + ["once"] * stop.temporary
    gdb.write(f"{'  '.join(words)}  {stop.hits} hit{'s' * (stop.hits != 1)}\n")
    if stop.thread is not None:
        gdb.write(f"      only thread {stop.thread}\n")
    if stop.condition is not None:
        gdb.write(f"      if {stop.condition.text}\n")
    if stop.ignored:
        gdb.write(f"      ignores the next {stop.ignored} hits\n")
    for line in stop.commands:
        gdb.write(f"      runs: {line}\n")
    places = stop.places()
    for place in sorted(set(places)):
        times = places.count(place)
        gdb.write(f"      at {place}{f', in {times} loaders' * (times > 1)}\n")
    if not places:
        gdb.write(f"      pending: {_why(stop)}\n")


def _chosen(what, arguments):
    if not arguments:
        raise QuorError(f"java {what}: which? Give J1, J2... or all; java info lists them")
    return stops.all_stops() if arguments == "all" else [stops.named(word) for word in arguments.split()]


@command("delete", group="Stop", usage="Jn...|all", complete=numbers, examples=("java delete J1 J2", "java delete all"))
def delete_command(arguments, _from_tty):
    """Deletes what the program stops at."""
    for stop in _chosen("delete", arguments):
        stops.remove(stop)


@command("enable", group="Stop", usage="Jn...|all", complete=numbers, examples=("java enable J1",))
def enable_command(arguments, _from_tty):
    """Lets them stop the program again."""
    for stop in _chosen("enable", arguments):
        stop.enabled = True


@command("disable", group="Stop", usage="Jn...|all", complete=numbers, examples=("java disable J1", "java disable all"))
def disable_command(arguments, _from_tty):
    """Keeps them, but they stop nobody."""
    for stop in _chosen("disable", arguments):
        stop.enabled = False


def _one(what, arguments, usage):
    word, _, rest = arguments.partition(" ")
    if not word:
        raise QuorError(f"java {what}: which? Usage: java {what} {usage}")
    return stops.named(word), rest.strip()


@command("condition", group="Stop", usage="Jn [EXPR]", complete=numbers,
         examples=("java condition J1 amount > 3", "java condition J1"))
def condition_command(arguments, _from_tty):
    """Stops only where the Java expression is true; without one, always again."""
    stop, text = _one("condition", arguments, "Jn [EXPR]")
    stop.condition = Condition(text) if text else None


@command("ignore", group="Stop", usage="Jn COUNT", complete=numbers, examples=("java ignore J1 100",))
def ignore_command(arguments, _from_tty):
    """The next so many hits do not stop the program."""
    stop, count = _one("ignore", arguments, "Jn COUNT")
    if not count.isdigit():
        raise QuorError("java ignore: how many hits? Usage: java ignore Jn COUNT")
    stop.ignored = int(count)
    gdb.write(f"J{stop.number} ignores the next {count} hits.\n")


@command("commands", group="Stop", usage="Jn [COMMAND; COMMAND...]", complete=numbers,
         examples=("java commands J1", "java commands J1 java bt 3; java continue", "java commands J1 none"))
def commands_command(arguments, _from_tty):
    """gdb commands that run at each stop of it: behind the number, separated by semicolons; else the lines up to `end`.

    `none` takes them away. `continue` or `java continue` as the last one lets the program run on."""
    stop, text = _one("commands", arguments, "Jn [COMMAND; COMMAND...]")
    if text == "none":
        stop.commands = []
    elif text:
        stop.commands = [each.strip() for each in text.split(";") if each.strip()]
    else:
        stop.commands = _typed()


def _typed():
    """The lines up to `end`; commands that have an `end` of their own keep it."""
    gdb.write("Type the commands for this stop, one a line; end with a line saying just \"end\".\n")
    lines, depth = [], 0
    while True:
        try:
            line = input(">").strip()
        except EOFError:
            return lines
        if line == "end" and depth == 0:
            return lines
        depth += (line.split(" ", 1)[0] in ("if", "while", "python")) - (line == "end")
        lines.append(line)
