"""The frame filter: names and lines of Java frames in `bt`; inlined methods as frames of their own.

gdb prints every frame through a decorator as soon as there is one filter, and its own decorator looks each symbol up several
times. So native frames, of which all but the values depends on the pc alone, are decorated here too, from a cache: threads mostly
stand at the same places.
"""
import gdb
from gdb.FrameDecorator import FrameDecorator, FrameVars

from quor.errors import QuorError
from quor.hotspot import locals_text, objects
from quor.hotspot import vm as vms
from quor.hotspot.complaint import complain
from quor.hotspot.javaframes import IN_THE_HEAP


class _Decorator:
    """What all have in common; gdb's own base class costs too much for every frame of a thousand threads."""
    __slots__ = ("_frame",)

    def __init__(self, frame):
        self._frame = frame

    def inferior_frame(self):
        return self._frame

    def elided(self):
        return None

    def frame_args(self):
        return None

    def frame_locals(self):
        return None


class JavaDecorator(_Decorator):
    """Shows a physical frame as one of the Java frames that it is: the one of this number, or a frame in the heap, `java`."""
    __slots__ = ("_shown", "_number", "_java")

    def __init__(self, frame, shown, number, java=None):
        self._frame, self._shown, self._number, self._java = frame, shown, number, java

    def function(self):
        return self._shown[0]

    def address(self):
        return None

    def filename(self):
        return self._shown[1]

    def line(self):
        return self._shown[2]

    def frame_locals(self):
        return locals_text.of(self._java or vms.required().java_frames_of(self._frame)[self._number])


class NativeDecorator(_Decorator):
    """A native frame: its function, file or library, line and arguments."""
    __slots__ = ("_pc", "_native")

    def __init__(self, frame, pc, native):
        self._frame, self._pc, self._native = frame, pc, native

    def function(self):
        return self._native.function

    def address(self):
        return self._pc

    def filename(self):
        return self._native.file

    def line(self):
        return self._native.line

    def frame_args(self):
        return self._native.arguments

    def frame_locals(self):
        return FrameDecorator(self._frame).frame_locals()


class _Native:
    """What is the same in every native frame that stands at one pc. `inlined`: it shares its pc with the function around it."""
    __slots__ = ("function", "file", "line", "arguments", "inlined")

    def __init__(self, frame, pc):
        self.inlined = frame.type() == gdb.INLINE_FRAME
        self.arguments = None
        function, sal = frame.function(), frame.find_sal()
        if sal.symtab is not None and sal.symtab.filename:
            self.file, self.line = sal.symtab.filename, sal.line
            self.arguments = FrameVars(frame).fetch_frame_args()
        else:
            self.file, self.line = gdb.current_progspace().solib_name(pc), None
        self.function = str(function) if function is not None else frame.name() or "??"


class JavaFilter:
    """Registered with gdb under the name quor-java."""

    def __init__(self):
        self.name = "quor-java"
        self.priority = 100
        self._wanted = True
        gdb.frame_filters[self.name] = self

    @property
    def enabled(self):
        """Off where there is no HotSpot: gdb prints frames in another form as soon as one filter is enabled."""
        return self._wanted and vms.current() is not None

    @enabled.setter
    def enabled(self, wanted):
        self._wanted = wanted

    def filter(self, frames):
        vm = vms.current()
        if vm is None or vm.code_cache is None:
            return frames
        return _decorated(vm, frames)


def _decorated(vm, frames):
    """Every frame decorated; those with debug information stay as they came."""
    exact, depth = True, 0  # whether a frame stands at its pc, not behind a call; how many functions were inlined at the pc so far
    for given in frames:
        frame = given.inferior_frame()
        try:
            pc = frame.pc()
            if vm.code_cache.holds(pc):
                told = vm.java_frames.told_by_pc(pc)
                for shown, number, java in _numbered(told) if told else _told_by_stack(vm, frame, pc):
                    yield JavaDecorator(frame, shown, number, java)
                    given = None
                exact = False
            else:
                native = _native_at(vm, frame, pc, exact, depth)
                if native is not None:
                    given = NativeDecorator(frame, pc, native)
                    depth = depth + 1 if native.inlined else 0
                    exact = exact and native.inlined
                else:
                    exact, depth = True, 0  # a signal's frame, or what gdb has called
        except (gdb.error, QuorError):
            pass
        except Exception as error:
            complain(error)
        if given is not None:
            yield given


def _numbered(told):
    return [(shown, number, None) for number, shown in enumerate(told)]


def _told_by_stack(vm, frame, pc):
    """(what is shown, number, the JavaFrame of those in the heap) of each Java frame that a physical frame is."""
    for number, java in enumerate(vm.java_frames_at(frame, pc)):
        yield java.shown, number, None
        if java.name == IN_THE_HEAP:
            for left in objects.frames_left_in_heap(vm, java.registers.sp):
                yield left.shown, None, left


def _native_at(vm, frame, pc, exact, depth):
    """The _Native of a native frame; None of those that gdb itself makes up."""
    key = pc, exact, depth
    try:
        return vm.native_frames[key]
    except KeyError:
        pass
    native = _Native(frame, pc) if frame.type() in (gdb.NORMAL_FRAME, gdb.INLINE_FRAME) else None
    vm.native_frames[key] = native
    return native


JavaFilter()
