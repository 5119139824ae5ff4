"""java threadgroups: the groups of the Java threads, as a tree."""
import gdb

from quor import show, thread_names
from quor.commands import command
from quor.errors import QuorError
from quor.hotspot import objects
from quor.hotspot import vm as vms

_MAX_DEPTH = 100


class _Groups:
    """The groups that have threads, and those around them."""

    def __init__(self):
        readers = objects.of(vms.required())
        self._heap, self._threads = readers.heap, readers.threads
        self.members, self.children = {}, {}  # group: [JavaThread], [group]
        for java in readers.threads.all():
            group = self._group(readers.threads.object(java.address))
            if group:
                self.members.setdefault(group, []).append(java)
                self._note(group)

    def _group(self, thread):
        """The java.lang.ThreadGroup of a java.lang.Thread; 0 when it has none."""
        if not thread:
            return 0
        return self._heap.get(self._heap.get(thread, "holder") or thread, "group") or 0

    def _note(self, group):
        """Enters the group below its parent, 0 for the uppermost."""
        for _ in range(_MAX_DEPTH):
            parent = self._heap.get(group, "parent") or 0
            siblings = self.children.setdefault(parent, [])
            if group not in siblings:
                siblings.append(group)
            if not parent:
                return
            group = parent

    def title(self, group):
        priority = self._heap.get(group, "maxPriority")
        return f"{show.quoted(self._heap.string(self._heap.get(group, 'name')) or '')}  highest priority {priority}"


def _print(groups, group, numbers, depth):
    gdb.write("  " * depth + groups.title(group) + "\n")
    for java in groups.members.get(group, ()):
        thread = numbers.get(java.lwp)
        gdb.write("  " * depth + show.thread_line(thread.num if thread else None, [java.name, java.status], width=4) + "\n")
    for child in groups.children.get(group, ()):
        _print(groups, child, numbers, depth + 1)


@command("threadgroups", group="Look", states=("stopped", "core"), examples=("java threadgroups",))
def threadgroups_command(arguments, _from_tty):
    """The thread groups that have threads, each with its threads and the groups in it.

    Nothing is called in the process, so it works in core files too."""
    if arguments:
        raise QuorError("java threadgroups takes no arguments")
    groups = _Groups()
    for group in groups.children.get(0, ()):
        _print(groups, group, thread_names.by_lwp(), 0)
