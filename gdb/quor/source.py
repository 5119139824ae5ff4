"""Java source files: where they are looked for, and their lines. Needs no gdb."""
import os

_TAB = 8


class SourcePath:
    """The folders in which sources are looked for, the nearest first. A file may stand in its package's folders or not."""

    def __init__(self, folders=()):
        self.folders = list(folders)
        self._files = {}  # path: (time of change, lines)

    def add(self, folder):
        """Puts a folder in front."""
        folder = os.path.abspath(os.path.expanduser(folder))
        if folder in self.folders:
            self.folders.remove(folder)
        self.folders.insert(0, folder)

    def find(self, klass, source, more=()):
        """The path of the source file of a class (its internal name), or None. `more`: folders that are looked into last."""
        if not source:
            return None
        package = klass.rpartition("/")[0]
        for folder in [*self.folders, *more]:
            for path in (os.path.join(folder, package, source), os.path.join(folder, source)):
                if os.path.isfile(path):
                    return path
        return None

    def lines(self, path):
        """The file's lines, without ends; empty when it cannot be read."""
        try:
            changed = os.stat(path).st_mtime_ns
            known = self._files.get(path)
            if known is None or known[0] != changed:
                with open(path, encoding="utf-8", errors="replace") as file:
                    known = self._files[path] = (changed, file.read().split("\n"))
            return known[1]
        except OSError:
            return []

    def text(self, path, first, last):
        """[(number, text)] of these lines, as far as the file has them."""
        lines = self.lines(path)
        return [(number, lines[number - 1].expandtabs(_TAB)) for number in range(max(1, first), min(last, len(lines)) + 1)]
