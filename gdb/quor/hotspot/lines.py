"""A method's compressed table of line numbers: pairs (bci, line) behind its bytecodes. Needs no gdb."""
from quor.hotspot.unsigned5 import Reader

_ESCAPE = 0xff  # two numbers follow, for deltas that a byte cannot hold


def line_at(data, form, bci):
    """The line of the bytecode at `bci`: that of the greatest entry not above it; None when there is none."""
    best_bci = -1
    best_line = None
    for start, line in pairs(data, form):
        if best_bci < start <= bci or start == bci:
            best_bci, best_line = start, line
    return best_line


def pairs(data, form):
    """(bci, line) in the order of the table; stops at its end or where it makes no sense."""
    reader = Reader(data, form)
    bci = line = 0
    try:
        while True:
            byte = reader.byte()
            if byte == 0:
                return
            if byte == _ESCAPE:
                bci += reader.signed()
                line += reader.signed()
            else:
                bci += byte >> 3
                line += byte & 7
            yield bci, line
    except IndexError:
        return
