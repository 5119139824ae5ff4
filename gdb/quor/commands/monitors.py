"""java monitors, locks, deadlock: who holds what and waits for whom, Java's locks and native mutexes together."""
import gdb

from quor import show, thread_names
from quor.commands import command
from quor.errors import QuorError
from quor.waits import World


def _thread(world, number):
    return show.thread_name(number, world.name(number))


def _lock(lock):
    return f"{lock.kind} {lock.name}".strip()


@command("deadlock", group="Look", states=("stopped", "core"), examples=("java deadlock",))
def deadlock_command(arguments, _from_tty):
    """Threads that wait for each other in a circle: over monitors, java.util.concurrent locks and native mutexes.

    Nothing is called in the process, so it works in core files too. A mutex is named by its symbol. Read locks, conditions and
    semaphores have no owner, so a circle over them is not seen."""
    if arguments:
        raise QuorError("java deadlock takes no arguments")
    found = World().deadlocks()
    for circle in found:
        gdb.write(show.deadlock(circle) + "\n")
    if not found:
        gdb.write("No deadlock.\n")


@command("monitors", group="Look", states=("stopped", "core"), examples=("java monitors",))
def monitors_command(arguments, _from_tty):
    """The monitors that are held or waited for: by whom.

    Nothing is called in the process, so it works in core files too."""
    if arguments:
        raise QuorError("java monitors takes no arguments")
    world = World()
    lines = _Lines()
    for number, locks in sorted(world.held().items()):
        for lock in locks:
            lines.add(lock, f"held by {_thread(world, number)}")
    for java, number in world.java_threads():
        for record, words in ((world.monitors.wanted(java), "wanted by"), (world.monitors.waited(java), "in wait():")):
            if record:
                lines.add(world.object_lock(world.monitors.object(record)), f"{words} {_thread(world, number)}")
    gdb.write(lines.text() or "No monitor is held.\n")


class _Lines:
    """A line for each lock, in the order in which they come."""

    def __init__(self):
        self._parts = {}

    def add(self, lock, part):
        self._parts.setdefault(lock, []).append(part)

    def text(self):
        return "".join(f"{_lock(lock)}  {'; '.join(parts)}\n" for lock, parts in self._parts.items())


@command("locks", group="Look", states=("stopped", "core"), usage="[THREAD]", complete=thread_names.words,
         examples=("java locks", "java locks pool-1-thread-4", "java locks 22"))
def locks_command(arguments, _from_tty):
    """What each thread, or one, holds and waits for: monitors, java.util.concurrent locks, native mutexes.

    Of java.util.concurrent locks and mutexes those are shown that somebody waits for. Nothing is called in the process."""
    wanted = thread_names.find(arguments).num if arguments else None
    world = World()
    held, waits = world.held(), world.waits()
    for wait in waits.values():
        if wait.owner is not None and wait.lock not in held.setdefault(wait.owner, []):
            held[wait.owner].append(wait.lock)
    numbers = [wanted] if wanted else sorted({number for number, locks in held.items() if locks} | set(waits))
    for number in numbers:
        _print_locks(world, number, held.get(number, []), waits.get(number))
    if not numbers:
        gdb.write("No thread holds or waits for a lock.\n")


def _print_locks(world, number, held, wait):
    gdb.write(_thread(world, number) + "\n")
    for lock in held:
        gdb.write(f"  holds {_lock(lock)}\n")
    if wait is not None:
        holder = f", held by {_thread(world, wait.owner)}" if wait.owner is not None else ""
        gdb.write(f"  waits for {_lock(wait.lock)}{holder}\n")
    if not held and wait is None:
        gdb.write("  No locks.\n")
