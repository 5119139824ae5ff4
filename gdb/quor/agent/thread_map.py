"""The agent's map of Java threads, read from memory: handles, native threads, and gdb's."""
import gdb

from quor.agent import place


def thread_of(handle):
    """gdb's thread of a Java thread, given by its handle in the thread map; None when there is none."""
    tid = next((tid for known, tid in known_threads() if known == handle), None) if handle else None
    if tid is None:
        return None
    for thread in gdb.selected_inferior().threads():
        if place.native_id(thread) == tid:
            return thread
    return None


def handle_of(thread):
    """The handle in the thread map of a gdb thread; 0 when the map does not hold it."""
    tid = place.native_id(thread)
    return next((handle for handle, known in known_threads() if known == tid), 0)


def known_threads():
    """[(handle, thread id)] of the thread map, read from memory."""
    return [(int(record["handle"]), int(record["tid"]) % (1 << 8 * record["tid"].type.sizeof)) for record in _records()]


def record_of(handle):
    """The record in the thread map of a thread's handle, a gdb.Value; None when there is none."""
    return next((record for record in _records() if int(record["handle"]) == handle), None)


def _records():
    table = place.global_value("tmap")
    word = table.type.target().sizeof
    low, high = table.type.range()
    memory = gdb.selected_inferior().read_memory(int(table.address), word * (high - low + 1)).tobytes()
    for at in range(0, len(memory), word):
        address = int.from_bytes(memory[at:at + word], "little")
        while address:
            record = gdb.Value(address).cast(table.type.target()).dereference()
            yield record
            address = int(record["next"])
