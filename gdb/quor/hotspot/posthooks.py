"""What gdb's own commands do not show by a frame filter: after `frame`, `up`, `down`, `finish` and `thread` the Java name and line
of the selected frame."""
import gdb

from quor.errors import QuorError
from quor.hotspot.complaint import complain
from quor.hotspot import vm as vms

_COMMANDS = ("frame", "up", "down", "finish", "thread")


def describe(frames):
    """The lines for a physical frame's JavaFrames."""
    first, *outer = frames
    return [f"    {first.text}"] + [f"    inlined into {frame.text}" for frame in outer]


def show():
    """Prints the selected frame's Java names, if it has any."""
    try:
        vm = vms.current()
        frames = vm.java_frames_of(gdb.selected_frame()) if vm is not None and vm.code_cache is not None else []
    except (gdb.error, QuorError):
        return
    except Exception as error:
        complain(error)
        return
    if frames:
        gdb.write("\n".join(describe(frames)) + "\n")


def _is_defined(hook):
    try:
        gdb.execute(f"show user {hook}", to_string=True)
        return True
    except gdb.error:
        return False


def install():
    """A hook that the user has defined is left alone."""
    for command in _COMMANDS:
        hook = f"hookpost-{command}"
        if not _is_defined(hook):
            gdb.execute(f"define {hook}\npython import quor.hotspot.posthooks; quor.hotspot.posthooks.show()\nend")


install()
