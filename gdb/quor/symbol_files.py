"""Files that are made for gdb to load: symbols, or debug information, of what has none of its own."""
import atexit
import os

import gdb


class _Folder:
    path = None  # made on first use, gone with gdb


def load(name, content):
    """Has gdb load this file; gives its path."""
    if _Folder.path is None:
        import shutil  # here, like its companion: few sessions need them, and each would load them
        import tempfile
        _Folder.path = tempfile.mkdtemp(prefix="quor-symbols-")
        atexit.register(shutil.rmtree, _Folder.path, ignore_errors=True)
    path = os.path.join(_Folder.path, name)
    with open(path, "wb") as file:
        file.write(content)
    _without_questions(f"add-symbol-file {path}")
    return path


def unload(path):
    """Has gdb forget a file; None is none."""
    if path is not None:
        try:
            _without_questions(f"remove-symbol-file {path}")
        except gdb.error:
            pass  # gdb has dropped it with the process


def _without_questions(line):
    asks = gdb.parameter("confirm")
    gdb.execute("set confirm off", to_string=True)
    try:
        gdb.execute(line, to_string=True)
    finally:
        gdb.execute(f"set confirm {'on' if asks else 'off'}", to_string=True)
