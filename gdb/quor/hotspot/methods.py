"""Methods: their names, signatures, sources, lines. Needs no gdb.

A Method is known by its address while the process stands; classes unload, so nothing is kept over a `continue`.
"""
from quor import show
from quor.hotspot import lines
from quor.hotspot.memory import Unreadable
from quor.hotspot.tables import MissingEntry

_ACC_STATIC, _ACC_NATIVE = 0x0008, 0x0100  # of the class file format
_MAX_POOL = 1 << 16


class Method:
    """One Java method. `name` and `signature` as in the class file, `klass` the internal name of its class."""

    def __init__(self, address, const_method, klass, name, signature, flags, code, code_size):
        self.address, self.const_method = address, const_method
        self.klass, self.name, self.signature = klass, name, signature
        self.flags = flags  # access flags of the class file
        self.code, self.code_size = code, code_size  # where its bytecodes begin, and how many bytes they are
        self.holder = None  # the address of its class record
        self.source = None  # the source file's name, when the class tells it
        self.line_table = None  # where the compressed table begins, when there is one
        self.lines = {}  # bci: line, of those asked for
        self.full_name = show.method(klass, name, signature)  # Mix.f(int)

    @property
    def is_native(self):
        return bool(self.flags & _ACC_NATIVE)

    @property
    def is_static(self):
        return bool(self.flags & _ACC_STATIC)

    def place(self, line):
        """(Mix.java:31), (Mix.java) without a line, or <native>; empty when the class does not tell."""
        return show.place(self.source, line, self.is_native)


class Methods:
    """Reads methods. Raises MissingEntry when the tables do not tell where names are."""

    def __init__(self, memory, tables, unsigned5):
        self._memory = memory
        self._form = unsigned5
        self._const_method = tables.offset("Method::_constMethod")
        self._pool = tables.offset("ConstMethod::_constants")
        self._name_index = tables.offset("ConstMethod::_name_index")
        self._signature_index = tables.offset("ConstMethod::_signature_index")
        self._code_size = tables.offset("ConstMethod::_code_size")
        self._code = tables.size("ConstMethod")
        self._holder = tables.offset("ConstantPool::_pool_holder")
        self._entries = tables.size("ConstantPool")
        self._length = tables.offset("ConstantPool::_length")
        self._class_name = tables.offset("Klass::_name")
        self._symbol_length = tables.offset("Symbol::_length")
        self._symbol_body = tables.offset("Symbol::_body")
        self._flags = tables.offset("Method::_access_flags")
        self._source_index = tables.offset_or_none("ConstantPool::_source_file_name_index")
        self._line_flag = self._find_line_flag(tables)
        self._strings = {}
        self.forget()

    def forget(self):
        self._methods = {}
        self._strings.clear()

    @staticmethod
    def _find_line_flag(tables):
        """(offset of the flags, bit) of "has a line number table"; None when the tables do not tell: then no lines."""
        try:
            return (tables.offset("ConstMethod::_flags._flags", "ConstMethod::_flags"),
                    tables.constant("ConstMethodFlags::_misc_has_linenumber_table", "ConstMethod::_has_linenumber_table"))
        except MissingEntry:
            return None

    @property
    def knows_lines(self):
        return self._line_flag is not None

    def _symbol(self, address):
        if address not in self._strings:
            length = self._memory.u16(address + self._symbol_length)
            self._strings[address] = self._memory.bytes(address + self._symbol_body, length).decode("utf-8", "replace")
        return self._strings[address]

    def _pool_symbol(self, pool, index):
        return self._symbol(self._memory.word(pool + self._entries + index * self._memory.word_size))

    def plausible(self, address):
        """The method at this address, or None when there is none."""
        if address not in self._methods:
            try:
                self._methods[address] = self._read(address)
            except Unreadable:
                self._methods[address] = None
        return self._methods[address]

    def _read(self, address):
        memory = self._memory
        if not address or address % memory.word_size:
            return None
        const_method = memory.word(address + self._const_method)
        if not const_method or const_method % memory.word_size:
            return None
        pool = memory.word(const_method + self._pool)
        if not pool or pool % memory.word_size:
            return None
        length = memory.i32(pool + self._length)
        name, signature = memory.u16(const_method + self._name_index), memory.u16(const_method + self._signature_index)
        if not 0 < length <= _MAX_POOL or not 0 < name < length or not 0 < signature < length:
            return None
        signature = self._pool_symbol(pool, signature)
        if not signature.startswith("("):
            return None
        holder = memory.word(pool + self._holder)
        klass = self._symbol(memory.word(holder + self._class_name))
        method = Method(address, const_method, klass, self._pool_symbol(pool, name), signature,
                        memory.u16(address + self._flags), const_method + self._code,
                        memory.u16(const_method + self._code_size))
        method.holder = holder
        self._add_source(method, pool, length)
        return method

    def _add_source(self, method, pool, length):
        if self._source_index is not None:
            index = self._memory.u16(pool + self._source_index)
            if 0 < index < length:
                method.source = self._pool_symbol(pool, index)
        if self._line_flag is not None:
            offset, bit = self._line_flag
            if self._memory.u16(method.const_method + offset) & bit:
                method.line_table = method.code + method.code_size

    def bci(self, method, bcp):
        """The index of the bytecode at this address, or None when it lies outside of the method's bytecodes."""
        bci = bcp - method.code
        return bci if 0 <= bci < method.code_size else None

    def line(self, method, bci):
        """The line of this bytecode, or None."""
        if method.line_table is None or bci is None or bci < 0:
            return None
        if bci not in method.lines:
            try:
                method.lines[bci] = lines.line_at(_Lazy(self._memory, method.line_table), self._form, bci)
            except Unreadable:
                method.lines[bci] = None
        return method.lines[bci]


class _Lazy:
    """The process's bytes from an address on, for a reader that finds the end by itself."""

    def __init__(self, memory, start):
        self._memory, self._start = memory, start

    def __getitem__(self, index):
        return self._memory.u8(self._start + index)
