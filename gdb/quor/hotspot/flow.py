"""Where the return address and the caller's fp are at a pc, told from the machine code around it. Needs no gdb.

Two ways: `at` follows the code from an entry point, where the return address lies at sp, up to the pc (prologues, adapters,
stubs); `to_exit` follows it from the pc to the return (epilogues, code without a frame of fixed size).
"""
from quor.hotspot import x86
from quor.hotspot.memory import Unreadable

_LONGEST = 15  # bytes of an instruction
_MAX_CODE = 1 << 14
_EPILOGUE = 12  # instructions, at most
_KEPT = 13  # r13: where the VM's code keeps sp over calls
_HANDED = 2  # dx: where it hands the return address on to the handler of an exception
_LONGEST_HAND_OVER = 40  # bytes
LEAVES_SP = ("other", "load", "store", "save")  # what moves neither sp nor fp, and goes straight on


class Code:
    """The instructions of the process, decoded at need."""

    def __init__(self, memory):
        self._memory = memory
        self.word_size = memory.word_size
        self._wide = memory.word_size == 8
        self._decoded = {}

    def forget(self):
        self._decoded.clear()

    def instruction(self, pc):
        """(length, what, value), see x86.decode; None where there is none."""
        try:
            return self._decoded[pc]
        except KeyError:
            pass
        try:
            code = self._memory.bytes(pc, _LONGEST)
        except Unreadable:
            code = self._up_to_page_end(pc)
        found = self._decoded[pc] = x86.decode(code, 0, self._wide)
        return found

    def _up_to_page_end(self, pc):
        try:
            return self._memory.bytes(pc, 4096 - pc % 4096)
        except Unreadable:
            return b""


class State:
    """What is known at one pc, in bytes relative to sp there.

    `ret`: the return address lies at sp + ret; or `register` holds it. `by_frame`: it lies one word above fp, which is set up.
    `fp_at`: the caller's fp lies at sp + fp_at; None: the register holds it still.
    `apart`: the caller's sp is not behind the return address (arguments were pushed between): the sender's sp tells it.
    `copy`: (register, distance): the return address lies at that distance from what the register holds, which calls preserve.
    Where sp is aligned meanwhile nothing else tells: `ret` is None.
    `loaded`: the register into which the return address was read last.
    """
    __slots__ = ("ret", "register", "by_frame", "fp_at", "apart", "saved", "copy", "loaded")

    def __init__(self):
        self.ret, self.register, self.by_frame, self.fp_at, self.apart = 0, None, False, None, False
        self.saved = {}  # register: where it was stored, relative to fp
        self.copy = self.loaded = None

    def twin(self):
        other = State()
        other.ret, other.register, other.by_frame = self.ret, self.register, self.by_frame
        other.fp_at, other.apart, other.saved, other.copy = self.fp_at, self.apart, dict(self.saved), self.copy
        other.loaded = self.loaded
        return other

    def _move(self, size):
        """sp grows by `size`."""
        if self.ret is not None:
            self.ret -= size
        if self.fp_at is not None:
            self.fp_at -= size

    def push(self, register, word):
        self._move(-word)
        if register == x86.FP and self.fp_at is None and not self.by_frame:
            self.fp_at = 0
        elif register is not None and register == self.register:
            self.ret, self.register, self.apart = 0, None, True

    def pop(self, register, word):
        if register == x86.FP and (self.fp_at == 0 or self.by_frame):
            self.fp_at, self.by_frame = None, False
        elif self.ret == 0 and not self.by_frame:
            self.ret, self.register = None, register
        self._move(word)

    def _by_copy(self, what, value):
        """sp is aligned, or becomes what it was before. False when no register tells what that was, nor has the return address."""
        if what == "lose_sp" and self.copy is None and self.loaded is not None:
            self.ret, self.register, self.apart = None, self.loaded, True
            return True
        if self.copy is None or what == "move_sp" and value != self.copy[0]:
            return False
        self.ret = self.fp_at = None
        if what == "move_sp":
            (_, self.ret), self.copy = self.copy, None
        return True

    def apply(self, what, value, word):
        """One instruction's effect. False when nothing is known behind it."""
        if what == "push" or what == "call" and value == 0:  # a call of the next instruction only pushes its address
            self.push(value if what == "push" else None, word)
        elif what == "pop":
            self.pop(value, word)
        elif what == "add":
            self._move(value)
        elif what == "save_fp":
            if self.fp_at is None and not self.by_frame:
                self.fp_at = value
        elif what == "load_fp":
            if self.fp_at == value:
                self.fp_at = None
        elif what == "set_fp":
            self.by_frame = self.fp_at == 0
        elif what == "leave":
            if not self.by_frame:
                return False
            self.by_frame, self.fp_at, self.ret = False, None, 0
        elif what == "restore_sp":
            if not self.by_frame:
                return False
            self.fp_at, self.ret = -value, word - value
        elif what == "copy_sp":
            if value == _KEPT and self.ret is not None and not self.by_frame:
                self.copy = value, self.ret
        elif what in ("move_sp", "lose_sp"):
            # the frame is found by fp; or the caller's own sp is put back, the return address in a register
            return self.by_frame or self.register is not None or self._by_copy(what, value)
        elif what == "save":
            self.saved.setdefault(*value)
        elif what == "load" and self.ret is not None and value[1] == self.ret:
            self.loaded = value[0]
        elif what == "store" and value[0] == self.register:
            self.ret, self.register, self.apart = value[1], None, True
        return True


_ENDS = ("jump", "jump_register", "ret", "stop")


def at(code, entry, pc, entries=True):
    """The State at the pc, when the code is entered at `entry`; None when that cannot be told.

    The code is read in the order of its addresses; a state is carried over forward jumps to their targets. Behind a jump or a
    return that nobody jumps over, another entry begins, if the code has several (`entries`); else nothing is known there.
    """
    word = code.word_size
    state = State()
    waiting = {}  # target: state there
    at_pc = entry
    while at_pc < pc and at_pc - entry < _MAX_CODE:
        found = code.instruction(at_pc)
        if found is None:
            return None
        length, what, value = found
        at_pc += length
        if what in ("branch", "jump") and value is not None and at_pc + value > at_pc and state:
            waiting.setdefault(at_pc + value, state.twin())
        if what in _ENDS:
            state = waiting.get(at_pc) or (State() if entries else None)
            continue
        if state and not state.apply(what, value, word):
            state = None
        state = state or waiting.get(at_pc)
    return state if at_pc == pc else None


class Exit:
    """How the code goes on from a pc: `kind` is "return" (also by a jump out of the blob), "inside" or "unknown".

    `ret`: the return address lies at sp + ret; `fp_at`: the caller's fp lies at sp + fp_at; None: the register holds it. When the
    code leaves `by_frame`, both count from fp instead. `extra`: the most bytes that were popped before the code went on elsewhere.
    `handed`: the return address was popped into a register before a jump, from where `ret` says. `target`: where the jump leads.
    """
    __slots__ = ("kind", "ret", "fp_at", "by_frame", "extra", "handed", "target", "_popped", "_new_fp")

    def __init__(self):
        self.kind, self.ret, self.fp_at, self.by_frame, self.extra = "unknown", 0, None, False, 0
        self.handed, self.target = False, None
        self._popped = None  # sp + this is where the register of return addresses was popped from
        self._new_fp = None  # sp + this is what fp becomes on the way

    def twin(self):
        other = Exit()
        other.ret, other.fp_at, other.by_frame, other.extra = self.ret, self.fp_at, self.by_frame, self.extra
        other._new_fp, other._popped = self._new_fp, self._popped
        return other

    def jumps(self, word):
        """The end is a jump to what a register holds."""
        if self._popped is not None and self.ret == self._popped + word:
            self.ret, self.handed = self._popped, True

    def _restores_fp(self, at):
        """fp is read from sp + at: below sp lies what the code is still to push, fp itself."""
        self.fp_at = at if at >= 0 else None

    def apply(self, what, value, word):
        """One instruction's effect; None while the code goes on, else whether its end is known."""
        if what == "push" or what == "call" and value == 0:
            self.ret -= word
        elif what == "pop":
            if value == x86.FP:
                self._restores_fp(self.ret)
            elif value == _HANDED:
                self._popped = self.ret
            self.ret += word
        elif what == "add":
            self.ret += value
        elif what == "load_fp":
            self._restores_fp(self.ret + value)
        elif what == "set_fp":
            self._new_fp = self.ret
        elif what == "leave" and self._new_fp is not None:
            self._restores_fp(self._new_fp)
            self.ret = self._new_fp + word
        elif what == "leave":
            self.by_frame, self.ret, self.fp_at = True, word, 0
        elif what in ("stop", "restore_sp", "move_sp", "lose_sp"):
            return False
        if not self.by_frame:
            self.extra = max(self.extra, self.ret)
        return None


def to_exit(code, pc, blob, limit, follow=False, ends=lambda target: False):
    """Follows the code from the pc, at most `limit` instructions: straight on, and with `follow` over jumps within the blob; where
    that leads round in a circle, over the branches that were passed too. `ends(target)`: a call of that address never returns."""
    first = Exit()
    seen = set()
    passed = [(pc, first)]  # where to go on, and what is known there
    while passed:
        pc, way = passed.pop()
        way.kind = _follow(code, pc, blob, limit, way, seen, passed if follow else None, ends)
        if way.kind != "unknown":
            return way
    return first


def _follow(code, pc, blob, limit, way, seen, passed, ends):
    """The kind of end that one way through the code has. `passed` gets the branches on it; without it no jump is followed."""
    settled = way.extra
    while len(seen) < limit and pc not in seen:
        seen.add(pc)
        if len(seen) <= limit - _EPILOGUE:
            settled = way.extra
        found = code.instruction(pc)
        if found is None:
            break
        length, what, value = found
        pc += length
        if what in ("jump", "branch") and value is not None and blob.start <= pc + value < blob.end:
            if what == "branch":
                if passed is not None:
                    passed.append((pc + value, way.twin()))
                continue
            if passed is None:
                return "inside"
            pc += value
            continue
        if what == "call" and value and ends(pc + value):
            return "unknown"
        if what == "jump_register":
            way.jumps(code.word_size)
        elif what == "jump" and value is not None:
            way.target = pc + value
        known = True if what in ("ret", "jump", "jump_register") else way.apply(what, value, code.word_size)
        if known is not None:
            return "return" if known else "unknown"
    if len(seen) >= limit:
        way.extra = settled  # what was popped last may be the beginning of an epilogue
    return "unknown"


def straight(code, first, pc):
    """The instructions [(what, value)] from `first` on up to the pc; None when they do not lead there."""
    found = []
    while first < pc:
        length, *effect = code.instruction(first) or (pc, None)
        first += length
        found.append(tuple(effect))
    return found if first == pc else None


def is_handed_over(code, pc):
    """Whether the return address was popped into the register that hands it on, a few instructions before this pc."""
    for first in range(pc - 1, pc - _LONGEST_HAND_OVER, -1):
        if (code.instruction(first) or ())[1:] == ("pop", _HANDED):
            since = straight(code, first, pc)
            if since and all(what in LEAVES_SP for what, _ in since[1:]):
                return True
    return False
