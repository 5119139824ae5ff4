"""Java locals in `bt -full`: gdb prints values, so a text goes there as a value that a pretty-printer shows as it is."""
import gdb

from quor.errors import QuorError
from quor.hotspot import objects
from quor.hotspot import vm as vms
from quor.hotspot.complaint import complain

_MARK = "\1java\1"


class _Local:
    """What gdb asks a frame decorator's locals for."""
    __slots__ = ("_name", "_text")

    def __init__(self, name, text):
        self._name, self._text = name, text

    def symbol(self):
        return self._name

    def value(self):
        return gdb.Value(_MARK + self._text)


class _TextPrinter:
    def __init__(self, text):
        self._text = text

    def to_string(self):
        return self._text


def of(java):
    """The locals of a JavaFrame, or None."""
    vm = vms.current()
    try:
        shown = objects.of(vm).locals.of(java) if vm is not None else None
    except QuorError:
        return None
    except Exception as error:  # gdb calls this: nothing may come out of it
        complain(error)
        return None
    return [_Local(local.name, local.text) for local in shown] if shown else None


def _printer(value):
    """gdb asks this for each value that it prints; ours are arrays of characters with a mark. Nothing may be asked that makes gdb
    give the array a place in the process, as its address would."""
    if value.type.code != gdb.TYPE_CODE_ARRAY or value.type.target().sizeof != 1 or value.type.sizeof < len(_MARK):
        return None
    try:
        if value.string("latin-1", "replace", len(_MARK)) != _MARK:
            return None
        return _TextPrinter(value.string("utf-8", "replace")[len(_MARK):])
    except gdb.error:
        return None


gdb.pretty_printers.append(_printer)
