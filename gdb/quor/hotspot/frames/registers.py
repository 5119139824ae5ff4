"""What a frame starts from, and what its unwinding gives. Needs no gdb."""

NAMES_64 = ("rax", "rcx", "rdx", "rbx", "rsp", "rbp", "rsi", "rdi", "r8", "r9", "r10", "r11", "r12", "r13", "r14", "r15")
NAMES_32 = ("eax", "ecx", "edx", "ebx", "esp", "ebp", "esi", "edi")
AX, DX, BX, SI, DI, R12, R13, R14, R15 = 0, 2, 3, 6, 7, 12, 13, 14, 15


class Registers:
    """The registers of one frame. `read(number)` gives the value of a general register in the processor's numbering, None when
    nobody saved it; `top`: the frame may stand at any instruction; else a call brought it there."""
    __slots__ = ("pc", "sp", "fp", "read", "top")

    def __init__(self, pc, sp, fp, read=lambda number: None, top=False):
        self.pc, self.sp, self.fp, self.read, self.top = pc, sp, fp, read, top


class Caller:
    """Where the caller goes on: its pc, sp and fp, and further registers that the frame saved ({number: value}).

    `kind` and `start` name the frame itself: the kind that answered, and the beginning of its code; `base` is an address that
    stays the same as long as the frame lives. `detail` is the kind's own.
    """
    __slots__ = ("pc", "sp", "fp", "saved", "kind", "start", "base", "detail")

    def __init__(self, pc, sp, fp, start, base=None, saved=None, detail=None):
        self.pc, self.sp, self.fp, self.start = pc, sp, fp, start
        self.base = sp if base is None else base
        self.saved = saved or {}
        self.kind = None
        self.detail = detail
