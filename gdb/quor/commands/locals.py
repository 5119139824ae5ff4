"""java locals: the arguments and locals of the selected Java frame, live and in core files."""
import gdb

from quor.commands import command
from quor.errors import QuorError
from quor.hotspot import objects, vm


def java_frames(frame):
    """The JavaFrames at or above a gdb.Frame: the first physical frame that is one of Java's."""
    target = vm.required()
    while frame is not None:
        found = [each for each in target.java_frames_of(frame) if each.method is not None]
        if found:
            return found
        frame = frame.older()
    raise QuorError("no Java frame in this thread, from the selected frame outwards")


def _heading(frame):
    return f"{frame.text}\n"


@command("locals", group="Look", states=("stopped", "core"), examples=("java locals",))
def locals_command(arguments, _from_tty):
    """Arguments and locals of the selected frame, or of the first Java frame outwards.

    Interpreted frames tell all; compiled ones tell what the compiler noted at this place ("<not told>": nothing).
    Names need classes compiled with -g; without them there are only arguments, called arg0, arg1..."""
    if arguments:
        raise QuorError("java locals takes no arguments; select the frame first (frame N, up, down)")
    frames = java_frames(gdb.selected_frame())
    readers = objects.of(vm.required())
    for frame in frames:
        shown = readers.locals.of(frame, depth=1)
        gdb.write(_heading(frame))
        for local in shown:
            gdb.write(f"  {local.name} = {local.text}\n")
        if not shown:
            gdb.write("  No locals.\n")
