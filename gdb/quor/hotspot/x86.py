"""Decodes x86 instructions as far as unwinding needs it: their length, and what they do to sp and fp. Needs no gdb.

`decode` gives a tuple (length, what, value):
    push, pop   the register's number, or None for another operand
    add         to sp, in bytes
    leave, ret  (ret: how many bytes of arguments it removes)
    jump, branch, call   the distance from the instruction's end; None when it is not in the instruction
    save_fp, load_fp     from or to the fp, at this distance from sp
    set_fp      fp = sp
    restore_sp  sp = fp + value
    move_sp     sp = the register of this number
    copy_sp     the register of this number = sp
    lose_sp     sp becomes what cannot be told
    save        (register, distance from fp) a register is stored in the frame
    store, load (register, distance from sp) the whole register is stored there, or read from there
    jump_register  to the address in this register
    other       none of these
or None for bytes that are no instruction known here.
"""

SP = 4
FP = 5

_OPERAND = set()  # one-byte opcodes with a ModRM byte
for _base in range(0, 0x40, 8):
    _OPERAND.update(range(_base, _base + 4))
_OPERAND.update((0x63, 0x69, 0x6b), range(0x80, 0x90), (0xc0, 0xc1, 0xc6, 0xc7), range(0xd0, 0xd4), range(0xd8, 0xe0),
                (0xf6, 0xf7, 0xfe, 0xff))
_BYTE = {0x6a, 0x6b, 0x80, 0x82, 0x83, 0xa8, 0xc0, 0xc1, 0xc6, 0xcd, 0xd4, 0xd5, 0xeb}
_BYTE.update(range(0x04, 0x40, 8), range(0x70, 0x80), range(0xb0, 0xb8), range(0xe0, 0xe8))
_FULL = {0x68, 0x69, 0x81, 0xa9, 0xc7, 0xe8, 0xe9}
_FULL.update(range(0x05, 0x40, 8), range(0xb8, 0xc0))
_BYTE -= {0xe8, 0xe9}

_PLAIN_0F = {0x05, 0x06, 0x07, 0x08, 0x09, 0x0b, 0x0e, 0x77, 0xa0, 0xa1, 0xa2, 0xa8, 0xa9, 0xaa}
_PLAIN_0F.update(range(0x30, 0x38), range(0xc8, 0xd0))
_BYTE_0F = {0x70, 0x71, 0x72, 0x73, 0xa4, 0xac, 0xba, 0xc2, 0xc4, 0xc5, 0xc6}
_PREFIXES = {0x26, 0x2e, 0x36, 0x3e, 0x64, 0x65, 0x66, 0x67, 0xf0, 0xf2, 0xf3}


def _signed(code, position, size):
    return int.from_bytes(code[position:position + size], "little", signed=True)


class _Operand:
    """A ModRM operand: `reg`, and either the register `rm` or memory at `base` + `distance`."""

    def __init__(self, code, position, rex, address_16=False):
        byte = code[position]
        self.mode, self.reg, self.rm = byte >> 6, (byte >> 3) & 7 | (rex & 4) << 1, byte & 7
        self.base, self.distance, self.end = None, 0, position + 1
        if self.mode == 3:
            self.rm |= (rex & 1) << 3
        elif address_16:
            self.end += (2 if self.rm == 6 else 0, 1, 2)[self.mode]
        else:
            self._memory(code, rex)

    def _memory(self, code, rex):
        base = self.rm
        indexed = False
        if base == 4:
            sib = code[self.end]
            self.end += 1
            base = sib & 7
            indexed = (sib >> 3) & 7 != 4 or rex & 2
        size = (4 if base == 5 else 0, 1, 4)[self.mode]
        self.distance = _signed(code, self.end, size)
        self.end += size
        if not indexed and not (self.mode == 0 and base == 5):
            self.base = base | (rex & 1) << 3


def decode(code, position, wide):
    """The instruction at this position of `code`; `wide`: 64-bit code."""
    try:
        found = _decode(code, position, wide)
    except IndexError:
        return None
    return found if found and position + found[0] <= len(code) else None


def _decode(code, start, wide):
    position = start
    narrow = address = False
    rex = 0
    byte = code[position]
    while byte in _PREFIXES:
        narrow |= byte == 0x66
        address |= byte == 0x67
        position += 1
        byte = code[position]
    if wide and 0x40 <= byte <= 0x4f:
        rex = byte
        position += 1
        byte = code[position]
    address_16 = address and not wide
    if byte == 0x0f:
        return _two_bytes(code, start, position, rex, address_16)
    if byte in (0xc4, 0xc5, 0x62) and (wide or code[position + 1] >= 0xc0):
        return _vector(code, start, position, byte, address_16)
    return _one_byte(code, start, position, rex, narrow, wide, address_16)


def _two_bytes(code, start, position, rex, address_16):
    byte = code[position + 1]
    position += 2
    if 0x80 <= byte <= 0x8f:
        return position + 4 - start, "branch", _signed(code, position, 4)
    if byte in _PLAIN_0F:
        return position - start, "other", None
    immediate = 1 if byte in _BYTE_0F or byte == 0x3a else 0
    if byte in (0x38, 0x3a):
        position += 1
    return _Operand(code, position, rex, address_16).end + immediate - start, "other", None


def _vector(code, start, position, byte, address_16):
    """VEX and EVEX instructions: none touches sp or fp."""
    if byte == 0xc5:
        table, rex, position = 1, 0, position + 2
    elif byte == 0xc4:
        table, rex, position = code[position + 1] & 0x1f, (~code[position + 1] >> 5) & 7, position + 3
    else:
        table, rex, position = code[position + 1] & 7, (~code[position + 1] >> 5) & 7, position + 4
    opcode = code[position]
    position += 1
    if table == 1 and opcode == 0x77:
        return position - start, "other", None
    immediate = 1 if table == 3 or table == 1 and opcode in _BYTE_0F else 0
    end = _Operand(code, position, rex, address_16).end
    if byte == 0x62 and code[position] >> 6 == 1:
        pass  # the distance is scaled, its length is not
    return end + immediate - start, "other", None


def _one_byte(code, start, position, rex, narrow, wide, address_16):
    byte = code[position]
    position += 1
    operand = None
    if byte in _OPERAND:
        operand = _Operand(code, position, rex, address_16)
        position = operand.end
    size = 0
    if byte in _BYTE:
        size = 1
    elif byte in _FULL:
        size = 2 if narrow and byte not in (0xe8, 0xe9) else 4
        if 0xb8 <= byte <= 0xbf and rex & 8:
            size = 8
    elif 0xa0 <= byte <= 0xa3:
        size = 8 if wide else 4
    elif byte in (0xc2, 0xca):
        size = 2
    elif byte == 0xc8:
        size = 3
    elif byte in (0xf6, 0xf7) and operand.reg & 7 < 2:
        size = 1 if byte == 0xf6 else 2 if narrow else 4
    elif byte in (0x9a, 0xea) and not wide:
        size = 6
    value = _signed(code, position, size)
    what, value = _effect(byte, operand, value, rex, wide)
    if what in ("store", "load") and (narrow or wide and not rex & 8):  # not the whole register
        what, value = "other", None
    return position + size - start, what, value


def _effect(byte, operand, value, rex, wide):
    if 0x50 <= byte <= 0x57:
        return "push", byte - 0x50 | (rex & 1) << 3
    if 0x58 <= byte <= 0x5f:
        register = byte - 0x58 | (rex & 1) << 3
        return ("lose_sp", None) if register == SP else ("pop", register)
    simple = _SIMPLE.get(byte)
    if simple:
        return simple
    if byte in (0xe8, 0xe9, 0xeb):
        return "call" if byte == 0xe8 else "jump", value
    if 0x70 <= byte <= 0x7f or 0xe0 <= byte <= 0xe3:
        return "branch", value
    if byte == 0xc2:
        return "ret", value
    if byte == 0xff:
        if operand.mode == 3 and operand.reg & 7 == 4:
            return "jump_register", operand.rm
        return {2: ("call", None), 4: ("jump", None), 6: ("push", None)}.get(operand.reg & 7, ("other", None))
    if operand is None:
        if not wide and byte in (0x60, 0x61):  # pusha, popa: eight registers
            return "add", -32 if byte == 0x60 else 32
        if not wide and 0x40 <= byte <= 0x4f and byte & 7 == SP or byte in (0x94, 0xbc) and not rex & 1:
            return "lose_sp", None
        return "other", None
    return _effect_on_operand(byte, operand, value)


def _effect_on_operand(byte, operand, value):
    if operand.mode == 3:
        if byte in (0x81, 0x83) and operand.rm == SP and operand.reg & 7 != 7:
            return {0: ("add", value), 5: ("add", -value)}.get(operand.reg & 7, ("lose_sp", None))
        if byte in (0x89, 0x8b):
            to, source = (operand.rm, operand.reg) if byte == 0x89 else (operand.reg, operand.rm)
            if to == FP and source == SP:
                return "set_fp", None
            if to == SP:
                return ("restore_sp", 0) if source == FP else ("move_sp", source)
            if source == SP:
                return "copy_sp", to
        elif _writes_rm(byte, operand) and operand.rm == SP or _writes_reg(byte) and operand.reg == SP:
            return "lose_sp", None
        return "other", None
    if byte == 0x8f and operand.reg & 7 == 0:
        return "pop", None
    if byte == 0x8d and operand.reg == SP:
        if operand.base == SP:
            return "add", operand.distance
        return ("restore_sp", operand.distance) if operand.base == FP else ("lose_sp", None)
    if operand.base == SP and operand.reg == FP and byte in (0x89, 0x8b):
        return "save_fp" if byte == 0x89 else "load_fp", operand.distance
    if byte == 0x89 and operand.base in (FP, SP):
        return "save" if operand.base == FP else "store", (operand.reg, operand.distance)
    if _writes_reg(byte) and operand.reg == SP:
        return "lose_sp", None
    if byte == 0x8b and operand.base == SP:
        return "load", (operand.reg, operand.distance)
    return "other", None


def _writes_rm(byte, operand):
    """Whether the instruction changes its ModRM operand's register."""
    return byte < 0x38 and byte & 7 == 1 or byte in (0xc1, 0xd1, 0xd3, 0xc7, 0x87) or byte == 0xf7 and operand.reg & 7 in (2, 3)


def _writes_reg(byte):
    return byte < 0x38 and byte & 7 == 3 or byte in (0x8b, 0x8d, 0x87, 0x63, 0x69, 0x6b)


_SIMPLE = {0xc3: ("ret", 0), 0xcb: ("ret", 0), 0xc9: ("leave", None), 0x68: ("push", None), 0x6a: ("push", None),
           0x9c: ("push", None), 0x9d: ("pop", None), 0xcc: ("stop", None), 0xf4: ("stop", None), 0xcf: ("stop", None)}
