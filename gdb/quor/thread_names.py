"""gdb's threads by the names that Java gives them."""
import gdb

from quor.errors import QuorError
from quor.hotspot import objects
from quor.hotspot import vm as vms


def by_lwp():
    """{native thread id: gdb's thread}."""
    return {thread.ptid[1] or thread.ptid[2]: thread for thread in gdb.selected_inferior().threads()}


def names():
    """{gdb's number: Java's name}, read from memory; empty when there is no HotSpot whose threads can be listed."""
    vm = vms.current()
    try:
        listed = objects.of(vm).threads.all() if vm is not None else []
    except QuorError:
        return {}
    threads = by_lwp()
    return {threads[java.lwp].num: java.name for java in listed if java.lwp in threads and java.name}


def name_of(thread):
    """What a thread is called: by Java, else by the system."""
    return names().get(thread.num) or thread.name or "?"


def find(text):
    """gdb's thread of this number, or of this Java or native name."""
    known = names()
    for thread in sorted(gdb.selected_inferior().threads(), key=lambda each: each.num):
        if text in (str(thread.num), known.get(thread.num), thread.name):
            return thread
    raise QuorError(f"there is no thread {text}; java threads lists them")


def words(text="", _word=""):
    """Names of the Java threads, for completion; gdb's numbers where one is begun."""
    try:
        known = names()
    except (QuorError, gdb.error):
        return []
    return [str(number) for number in sorted(known)] if text.strip().isdigit() else sorted(set(known.values()))


def quoted_words(text):
    """The same behind an option, where a name with blanks stands in quotes."""
    return [f'"{name}"' if " " in name else name for name in words(text)]
