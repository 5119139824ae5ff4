"""The frame filter: names and lines of Java frames in `bt`; inlined methods as frames of their own.

gdb prints every frame through a decorator as soon as there is one filter, and its own decorator looks each symbol up several
times. So frames of libraries without debug information, whose text depends on the pc alone, are decorated here too, from a
cache: threads mostly stand at the same places.
"""
import gdb

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
    """Shows a physical frame as one of the Java frames that it is."""
    __slots__ = ("java",)

    def __init__(self, frame, java):
        super().__init__(frame)
        self.java = java

    def function(self):
        return self.java.function

    def address(self):
        return None

    def filename(self):
        return self.java.source

    def line(self):
        return self.java.line if self.java.source else None

    def frame_locals(self):
        return locals_text.of(self.java)


class PlainDecorator(_Decorator):
    """A frame of a library without debug information: its name and the library's."""
    __slots__ = ("_pc", "_function", "_library")

    def __init__(self, frame, pc, function, library):
        super().__init__(frame)
        self._pc, self._function, self._library = pc, function, library

    def function(self):
        return self._function

    def address(self):
        return self._pc

    def filename(self):
        return self._library

    def line(self):
        return None


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
    top = True
    for given in frames:
        frame = given.inferior_frame()
        try:
            pc = frame.pc()
            if vm.code_cache.holds(pc):
                for java in vm.java_frames_at(frame, pc):
                    yield JavaDecorator(frame, java)
                    if java.name == IN_THE_HEAP:
                        for left in objects.frames_left_in_heap(vm, java.registers.sp):
                            yield JavaDecorator(frame, left)
                    given = None
            elif not top:
                plain = _plain(vm, frame, pc)
                if plain:
                    given = PlainDecorator(frame, pc, *plain)
        except (gdb.error, QuorError):
            pass
        except Exception as error:
            complain(error)
        if given is not None:
            yield given
        top = False


def _plain(vm, frame, pc):
    """(name, library) of a caller's frame without debug information; None of others."""
    try:
        return vm.plain_frames[pc]
    except KeyError:
        pass
    plain = None
    if frame.type() == gdb.NORMAL_FRAME and frame.function() is None and frame.find_sal().symtab is None:
        plain = frame.name() or "??", gdb.current_progspace().solib_name(pc)
    vm.plain_frames[pc] = plain
    return plain


JavaFilter()
