"""An agent whose library was stripped: gdb gets the types of its records, variables and functions from a table, as a file of debug
information. The tables, layouts-32.json and layouts-64.json, are made from the built libraries, and a test compares them."""
import json
import os

import gdb

from quor import dwarf, symbol_files

_HERE = os.path.dirname(os.path.abspath(__file__))
_LOWEST, _APART = 0x1000, 16  # where nothing is ever mapped: what gdb takes for the file's code


class _Files:
    """What gdb has loaded from us."""
    seen = set()  # (inferior's number, process id) of processes that were looked at
    loaded = {}  # inferior's number: path


def provide(address):
    """Looks at the agent's library once a process: what it does not tell of itself, gdb is told. `address(name)` gives the address
    of one of its symbols, or None."""
    inferior = gdb.selected_inferior()
    key = inferior.num, inferior.pid
    if key in _Files.seen or not inferior.pid:
        return
    _Files.seen.add(key)
    symbol_files.unload(_Files.loaded.pop(inferior.num, None))
    if gdb.lookup_global_symbol("tid_debug_agent") is None:
        _load(inferior.num, address)


def _load(number, address):
    word_size = gdb.lookup_type("void").pointer().sizeof
    with open(os.path.join(_HERE, f"layouts-{8 * word_size}.json"), encoding="utf-8") as file:
        table = json.load(file)
    content = dwarf.debug_file(table, word_size, _of_the_agent(address), _LOWEST + number * _APART)
    _Files.loaded[number] = symbol_files.load(f"records-{number}.so", content)


def _of_the_agent(address):
    """The function `address` for names that other libraries may have too: only what lies in the agent's counts."""
    library = gdb.solib_name(address("tid_debug_agent"))

    def found(name):
        at = address(name)
        return at if at is not None and gdb.solib_name(at) == library else None
    return found


def _has_ended(_event):
    _Files.seen.clear()


gdb.events.exited.connect(_has_ended)
