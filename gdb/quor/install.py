"""Adds everything to gdb, once."""
import importlib

_PARTS = (
    "quor.commands",
    "quor.hotspot.unwinder",
    "quor.hotspot.framefilter",
    "quor.hotspot.posthooks",
    "quor.commands.symbols",
    "quor.commands.settings",
    "quor.commands.threads",
    "quor.commands.monitors",
    "quor.commands.groups",
    "quor.commands.threadwork",
    "quor.commands.abort",
    "quor.commands.locals",
    "quor.commands.start",
    "quor.commands.stack",
    "quor.commands.sources",
    "quor.commands.classes",
    "quor.commands.stop",
    "quor.commands.values",
    "quor.commands.step",
)
_done = False


def once():
    """Loads every part; a second call does nothing."""
    global _done
    if not _done:
        for part in _PARTS:
            importlib.import_module(part)
        _done = True
