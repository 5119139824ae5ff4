"""The bytecodes of a method, as a class file has them. Needs no gdb."""

_RETURNS = range(0xac, 0xb2)  # ireturn, lreturn, freturn, dreturn, areturn, return
_TABLESWITCH, _LOOKUPSWITCH, _WIDE, _IINC = 0xaa, 0xab, 0xc4, 0x84
_LENGTHS = {2: (0x10, 0x12, *range(0x15, 0x1a), *range(0x36, 0x3b), 0xa9, 0xbc),
            3: (0x11, 0x13, 0x14, _IINC, *range(0x99, 0xa9), *range(0xb2, 0xb9), 0xbb, 0xbd, 0xc0, 0xc1, 0xc6, 0xc7),
            4: (0xc5,),
            5: (0xb9, 0xba, 0xc8, 0xc9)}
_LENGTH_OF = {code: length for length, codes in _LENGTHS.items() for code in codes}  # all others: 1


def returns(code):
    """Where a method's instructions that return begin."""
    return [at for at in _instructions(code) if code[at] in _RETURNS]


def _instructions(code):
    at = 0
    while at < len(code):
        yield at
        at += _length(code, at)


def _length(code, at):
    if code[at] in (_TABLESWITCH, _LOOKUPSWITCH):
        return _switch_length(code, at)
    if code[at] == _WIDE:
        return 6 if code[at + 1] == _IINC else 4
    return _LENGTH_OF.get(code[at], 1)


def _switch_length(code, at):
    """Behind the opcode up to three bytes are left out, then words follow: the default, and what tells how many more there are."""
    words = at + 4 & ~3
    if code[at] == _LOOKUPSWITCH:
        return words + 8 + 8 * _word(code, words + 4) - at
    return words + 12 + 4 * (_word(code, words + 8) - _word(code, words + 4) + 1) - at


def _word(code, at):
    return int.from_bytes(code[at:at + 4], "big", signed=True)
