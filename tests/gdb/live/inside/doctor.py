"""In gdb: makes the attached VM's tables tell something else, to be sourced before quor.py.

QUOR_DOCTOR: "missing TYPE FIELD", "nonsense TYPE FIELD" or "stride". `doctor_undo()` puts it back.
"""
import os
import struct

import gdb

_WORD = gdb.lookup_type("void").pointer().sizeof
_undo = []


def _address(symbol):
    return int(gdb.parse_and_eval(f"(unsigned long)&{symbol}"))


def _read(address, size):
    return int.from_bytes(gdb.selected_inferior().read_memory(address, size).tobytes(), "little")


def _write(address, data):
    inferior = gdb.selected_inferior()
    _undo.append((address, inferior.read_memory(address, len(data)).tobytes()))
    inferior.write_memory(address, data)


def _string(address):
    return gdb.Value(address).cast(gdb.lookup_type("char").pointer()).string() if address else ""


def _row(type_name, field):
    entry = "gHotSpotVMStructEntry"
    column = {name: _read(_address(f"{entry}{name}Offset"), 8) for name in ("TypeName", "FieldName", "Offset")}
    row, stride = _read(_address("gHotSpotVMStructs"), _WORD), _read(_address(f"{entry}ArrayStride"), 8)
    while True:
        owner = _read(row + column["TypeName"], _WORD)
        if not owner:
            raise gdb.GdbError(f"no {type_name}::{field}")
        if _string(owner) == type_name and _string(_read(row + column["FieldName"], _WORD)) == field:
            return row, column
        row += stride


def doctor_undo():
    for address, data in reversed(_undo):
        gdb.selected_inferior().write_memory(address, data)


def _main(kind, *names):
    if kind == "stride":
        _write(_address("gHotSpotVMStructEntryArrayStride"), struct.pack("<Q", 0))
        return
    row, column = _row(*names)
    if kind == "missing":
        _write(_read(row + column["FieldName"], _WORD), b"?")
    else:
        _write(row + column["Offset"], struct.pack("<Q", 1 << 40))


_main(*os.environ["QUOR_DOCTOR"].split())
