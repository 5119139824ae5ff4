"""The names of a method's locals: its local variable table, at the end of its ConstMethod. Needs no gdb."""
from collections import namedtuple

from quor.names import descriptors

Local = namedtuple("Local", "slot name signature argument")

_ANNOTATIONS = ("method", "parameter", "type", "default")
_WIDE = ("J", "D")  # types of two slots
_MAX_ENTRIES = 1 << 16


class LocalNames:
    """Raises MissingEntry when the tables do not tell how a ConstMethod ends."""

    def __init__(self, memory, tables):
        self._memory = memory
        self._flags_at = tables.offset("ConstMethod::_flags._flags", "ConstMethod::_flags")
        self._size = tables.offset("ConstMethod::_constMethod_size")
        self._pool = tables.offset("ConstMethod::_constants")
        self._pool_entries = tables.size("ConstantPool")
        self._symbol_length, self._symbol_body = tables.offset("Symbol::_length"), tables.offset("Symbol::_body")
        self._bits = {name: tables.constant(f"ConstMethodFlags::_misc_has_{name}", f"ConstMethod::_has_{name}")
                      for name in ("localvariable_table", "exception_table", "checked_exceptions", "method_parameters",
                                   "generic_signature", *(f"{each}_annotations" for each in _ANNOTATIONS))}
        self._element = {name: tables.size(f"{name}Element")
                         for name in ("MethodParameters", "CheckedException", "ExceptionTable", "LocalVariableTable")}
        self._entry = [tables.offset(f"LocalVariableTableElement::{name}")
                       for name in ("start_bci", "length", "slot", "name_cp_index", "descriptor_cp_index")]

    def arguments(self, method):
        """The arguments' Locals: `this` and the parameters, called arg0, arg1... for want of names."""
        found = [] if method.is_static else [Local(0, "this", f"L{method.klass};", True)]
        slot = len(found)
        for number, signature in enumerate(descriptors(method.signature)):
            found.append(Local(slot, f"arg{number}", signature, True))
            slot += 2 if signature in _WIDE else 1
        return found

    def at(self, method, bci):
        """The Locals that live at this bytecode, by slot. Without a table only the arguments are known."""
        arguments = {local.slot: local for local in self.arguments(method)}
        table = self._table(method)
        if not table:
            return list(arguments.values())
        found = {}
        for start, length, slot, name, descriptor in table:
            if start <= bci < start + length:
                found[slot] = Local(slot, self._symbol(method, name), self._symbol(method, descriptor),
                                    slot in arguments and start == 0)
        return [found[slot] for slot in sorted(found)]

    # ---- The tables at the end of a ConstMethod, from its end on: each has its length behind it ----

    def _table(self, method):
        """The rows of the local variable table, or None."""
        flags = self._memory.u16(method.const_method + self._flags_at)
        if not flags & self._bits["localvariable_table"]:
            return None
        length_at = self._end_of_tables(method, flags)
        for name, element in (("method_parameters", "MethodParameters"), ("checked_exceptions", "CheckedException"),
                              ("exception_table", "ExceptionTable")):
            if flags & self._bits[name]:
                length_at -= self._memory.u16(length_at) * self._element[element] + 2
        size = self._element["LocalVariableTable"]
        count = self._memory.u16(length_at)
        start = length_at - count * size
        if start < method.code + method.code_size:
            return None
        return [[self._memory.u16(start + index * size + offset) for offset in self._entry] for index in range(count)]

    def _end_of_tables(self, method, flags):
        """Where the length of the last table stands."""
        word = self._memory.word_size
        end = method.const_method + self._memory.i32(method.const_method + self._size) * word
        end -= word * sum(bool(flags & self._bits[f"{each}_annotations"]) for each in _ANNOTATIONS)
        return end - (4 if flags & self._bits["generic_signature"] else 2)

    def _symbol(self, method, index):
        pool = self._memory.word(method.const_method + self._pool)
        address = self._memory.word(pool + self._pool_entries + index * self._memory.word_size)
        length = self._memory.u16(address + self._symbol_length)
        return self._memory.bytes(address + self._symbol_body, length).decode("utf-8", "replace")
