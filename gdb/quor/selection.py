"""The selected thread and frame, put back."""
import gdb


class Selection:
    """Puts the selected thread and frame back at the end of a block, as far as they are still there."""

    def __enter__(self):
        self._thread, self._frame, self._level = gdb.selected_thread(), None, 0
        try:
            if self._thread is not None:
                self._frame = gdb.selected_frame()
                self._level = self._frame.level()
        except gdb.error:
            pass
        return self

    def __exit__(self, *_):
        if self._thread is None or not self._thread.is_valid():
            return
        if gdb.selected_thread() != self._thread:
            self._thread.switch()
        try:
            self._select_frame()
        except gdb.error:
            pass

    def _select_frame(self):
        """The same frame, under whatever number: a thread that a method was called in comes back to another place further in."""
        if self._frame is not None and self._frame.is_valid():
            if gdb.selected_frame() != self._frame:
                self._frame.select()
        elif gdb.selected_frame().level() != self._level:
            select_frame(self._level)


def select_frame(level):
    """Selects a frame of the selected thread by its number, without a word; a gdb.error when there is none."""
    frame = gdb.newest_frame()
    for _ in range(level):
        frame = frame.older()
        if frame is None:
            raise gdb.error(f"No frame at level {level}.")
    frame.select()
