"""The interpreter's code between a frame that is gone and the jump to where the method returns; some methods, of Math for instance,
never had a frame. Needs no gdb."""
from quor.hotspot import flow, x86

_LONGEST = 64  # bytes from the first instruction to the jump, at most
_MOST_BEFORE = 16  # instructions before the first
_ENDS = (None, "jump", "jump_register", "ret", "stop", "leave", "set_fp", "restore_sp", "lose_sp")  # nothing is known behind them


class Left:
    """What is known at a pc of that code: the return address lies at sp + `ret`, or `register` holds it. The caller's sp is in
    the register `sender`, or, where that is None, `distance` above sp."""
    __slots__ = ("ret", "register", "sender", "distance")

    def __init__(self, sender):
        self.ret, self.register, self.sender, self.distance = 0, None, sender, 0

    def apply(self, what, value, word):
        """One instruction's effect; False when nothing is known behind it."""
        if what == "push":
            self._move(-word)
            if value is not None and value == self.register:
                self.ret, self.register = 0, None
        elif what == "pop":
            if self.register is None and self.ret == 0:
                self.register = value
            self._move(word)
        elif what == "add":
            self._move(value)
        elif what == "move_sp":
            if value != self.sender:
                return False
            self.sender, self.distance = None, 0
        return what not in _ENDS

    def _move(self, size):
        self.ret -= size
        self.distance -= size


def at(code, pc):
    """The Left at this pc; None where it is not in code of that kind."""
    for first in range(pc, pc - _LONGEST, -1):
        left = _begins(code, first)
        if left is not None and _reaches(code, first, pc, left):
            return left
    return _before(code, pc)


def _before(code, pc):
    """The Left at a pc from where the code leads there, with no frame to leave on the way."""
    moved = 0
    for _ in range(_MOST_BEFORE):
        left = _begins(code, pc)
        if left is not None:
            left.ret = moved
            return left
        length, what, value = code.instruction(pc) or (0, None, None)
        if what == "add":
            moved += value
        elif what not in flow.LEAVES_SP:
            return None
        pc += length
    return None


def _begins(code, pc):
    """The Left at the first of these instructions: pop the return address, set sp to what the caller's was."""
    popped = code.instruction(pc)
    if popped is None or popped[1] != "pop" or popped[2] in (None, x86.FP):
        return None
    moved = code.instruction(pc + popped[0])
    return Left(moved[2]) if moved is not None and moved[1] == "move_sp" else None


def _reaches(code, first, pc, left):
    """Whether the instructions from `first` on lead to the pc; `left` follows them."""
    effects = flow.straight(code, first, pc)
    return effects is not None and all(left.apply(what, value, code.word_size) for what, value in effects)
