"""The selected thread and frame, put back."""
import gdb


class Selection:
    """Puts the selected thread and frame back at the end of a block, as far as they are still there."""

    def __enter__(self):
        self._thread, self._level = gdb.selected_thread(), 0
        try:
            self._level = gdb.selected_frame().level() if self._thread is not None else 0
        except gdb.error:
            pass
        return self

    def __exit__(self, *_):
        if self._thread is None or not self._thread.is_valid():
            return
        if gdb.selected_thread() != self._thread:
            self._thread.switch()
        try:
            if gdb.selected_frame().level() != self._level:
                select_frame(self._level)
        except gdb.error:
            pass


def select_frame(level):
    """Selects a frame of the selected thread by its number, without a word; a gdb.error when there is none."""
    frame = gdb.newest_frame()
    for _ in range(level):
        frame = frame.older()
        if frame is None:
            raise gdb.error(f"No frame at level {level}.")
    frame.select()
