"""In gdb: what a single step may do to a stack. Reaching the thread's start is not enough: a stack can leave out frames."""
import gdb

from quor.hotspot import vm as vms


def callers():
    """Where each caller of the innermost frame goes on, the innermost first."""
    found, frame = [], gdb.newest_frame().older()
    while frame is not None:
        found.append(int(frame.pc()))
        frame = frame.older()
    return found


def turned_into(before, now):
    """What no single instruction does to the callers: it leaves them as they are, adds one, takes one away, or lets the first go on
    elsewhere in its method, at an exception's handler. None when it did one of these."""
    if now in (before, before[1:]) or now[1:] == before:
        return None
    if now[1:] == before[1:] and _are_of_one_method(now[0], before[0]):
        return None
    common = 0
    while common < min(len(now), len(before)) and now[-1 - common] == before[-1 - common]:
        common += 1
    gone, new = (" ".join(map(hex, each[:len(each) - common])) for each in (before, now))
    return f"by one step the callers {gone or 'none'} became {new or 'none'}"


def _are_of_one_method(pc, other):
    blobs = [vms.required().code_cache.find(each) for each in (pc, other)]
    return all(blob is not None and blob.compiled for blob in blobs) and blobs[0].start == blobs[1].start
