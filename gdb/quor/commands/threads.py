"""java threads: the Java threads by name, live and in core files."""
import gdb

from quor import show, thread_names
from quor.commands import command
from quor.errors import QuorError
from quor.hotspot import objects, vm
from quor.selection import Selection

_OF_THE_JDK = ("java.", "jdk.", "sun.")
_MAX_FRAMES = 500  # of a thread, until its first Java frame


def _where(target, thread):
    """The innermost Java method of a gdb thread."""
    try:
        thread.switch()
        frame = gdb.newest_frame()
        for _ in range(_MAX_FRAMES):
            if frame is None:
                return ""
            found = [each for each in target.java_frames_of(frame) if each.method is not None]
            if found:
                return _method_name(found[0])
            frame = frame.older()
    except (gdb.error, QuorError):
        pass
    return ""


def _method_name(frame):
    return frame.method.full_name.partition("(")[0]


def _print(number, parts, selected=False):
    gdb.write(show.thread_line(number, parts, selected) + "\n")


def _platform_threads(verbose):
    target = vm.required()
    readers, numbers, selected = objects.of(target), thread_names.by_lwp(), gdb.selected_thread()
    with Selection():
        for java in sorted(readers.threads.all(), key=lambda each: numbers[each.lwp].num if each.lwp in numbers else 1 << 30):
            thread = numbers.get(java.lwp)
            parts = [java.name if java.name is not None else "<no name yet>", java.status or "?", java.state,
                     _where(target, thread) if thread else ""]
            if java.virtual_name is not None:
                parts.append(f'(carries virtual thread "{java.virtual_name}")')
            if verbose:
                parts.append(f"daemon={java.daemon} tid={java.number} lwp={java.lwp} JavaThread={java.address:#x}")
            _print(thread and thread.num, parts, thread is not None and selected is not None and thread.num == selected.num)


def _frames(readers, virtual):
    """The frames that an unmounted thread keeps, and whether all could be read."""
    found = []
    try:
        for frame in readers.heap_frames.java_frames(virtual.continuation):
            found.append(frame)
    except QuorError:
        return found, False
    return found, True


def _own_method(frames):
    """The innermost method that is not the JDK's own, or the innermost of all."""
    named = [_method_name(frame) for frame in frames if frame.method is not None]
    return next((name for name in named if not name.startswith(_OF_THE_JDK)), named[0] if named else "")


def _virtual_threads(verbose):
    target = vm.required()
    readers, numbers = objects.of(target), thread_names.by_lwp()
    threads, whole_list = readers.virtual.all()
    for virtual in sorted(threads, key=lambda each: each.number):
        name = virtual.name or f"#{virtual.number}"
        if virtual.carrier:
            record = readers.threads.by_object(virtual.carrier)
            carrier = numbers.get(readers.threads.lwp(record)) if record else None
            _print(carrier and carrier.num, [name, virtual.state, "mounted"])
            continue
        frames, whole = _frames(readers, virtual)
        _print(None, [name, virtual.state, "unmounted", _own_method(frames)])
        if verbose:
            for level, frame in enumerate(frames):
                gdb.write(f"      {show.frame(level, frame.text)}\n")
        if not whole:
            gdb.write("      (the frames further out could not be read)\n")
    gdb.write(f"{len(threads)} virtual threads.\n" if threads else
              "No virtual threads are listed; with -Djdk.trackAllThreads=false the JDK keeps no list of those started directly.\n")
    if not whole_list:
        gdb.write("Some could not be read: a collection is moving objects; continue for a moment and ask again.\n")


_FORMS = {"": lambda: _platform_threads(False), "-v": lambda: _platform_threads(True),
          "-virtual": lambda: _virtual_threads(False), "-virtual -v": lambda: _virtual_threads(True)}


@command("threads", group="Look", states=("stopped", "core"), usage="[-virtual] [-v]", complete=("-v", "-virtual"),
         examples=("java threads", "java threads -virtual -v"))
def threads_command(arguments, _from_tty):
    """Java threads by name: gdb's number, name, state, where the VM has it, innermost Java method.

    Nothing is called in the process, so it works in core files too. -v: also daemon flag, Java's thread number, native id.
    -virtual: the virtual threads, mounted (with the number of the thread that carries them: its `bt` shows their frames) or
    not; with -v the frames of those that are not."""
    form = _FORMS.get(" ".join(arguments.split()))
    if form is None:
        raise QuorError(f"java threads: no such option: {arguments}; it takes -virtual and -v")
    form()
