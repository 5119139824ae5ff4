"""The frame filter: names and lines of Java frames in `bt`; inlined methods as frames of their own."""
import gdb
from gdb.FrameDecorator import FrameDecorator

from quor.errors import QuorError
from quor.hotspot import vm as vms


class JavaDecorator(FrameDecorator):
    """Shows a physical frame as one of the Java frames that it is."""

    def __init__(self, base, java):
        super().__init__(base)
        self.java = java

    def function(self):
        return self.java.function

    def filename(self):
        return self.java.source

    def line(self):
        return self.java.line if self.java.source else None

    def address(self):
        return None

    def frame_args(self):
        return None

    def frame_locals(self):
        return None


class JavaFilter:
    """Registered with gdb under the name quor-java."""

    def __init__(self):
        self.name = "quor-java"
        self.priority = 100
        self.enabled = True
        gdb.frame_filters[self.name] = self

    def filter(self, frames):
        vm = vms.current()
        if vm is None or vm.code_cache is None:
            return frames
        return decorated(vm, frames)


def decorated(vm, frames):
    for frame in frames:
        try:
            java = vm.java_frames_of(frame.inferior_frame())
        except (gdb.error, QuorError):
            java = []
        if not java:
            yield frame
        for each in java:
            yield JavaDecorator(frame, each)


JavaFilter()
