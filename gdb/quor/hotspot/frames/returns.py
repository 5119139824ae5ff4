"""Whether an address can be one that a call returns to. Needs no gdb."""
from quor.hotspot.memory import Unreadable

_HOLDS_BARRIER = "continuation"  # in the name of the blob of stubs


class Returns:
    """Judges addresses by the code before them, and by what the VM says of them."""

    def __init__(self, hotspot):
        self._hotspot = hotspot
        self._known, self._calls = {}, {}

    def forget(self):
        self._known.clear()
        self._calls.clear()

    def follows_call(self, pc):
        """Whether the instruction before this one is a call."""
        known = self._calls.get(pc)  # threads mostly stand at the same places
        if known is None:
            known = self._calls[pc] = self._follows_call(pc)
        return known

    def _follows_call(self, pc):
        try:
            before = self._hotspot.memory.bytes(pc - 7, 7)
        except Unreadable:
            return False
        if before[2] == 0xe8:
            return True
        # call through a register or memory: ff /2 with one of its lengths
        return any(before[7 - size] == 0xff and before[8 - size] & 0x38 == 0x10 and _length(before[8 - size:]) == size - 1
                   for size in (2, 3, 4, 6, 7))

    def plausible(self, pc):
        """Whether a call out of the code cache's code may return here."""
        known = self._known.get(pc)
        if known is None:
            known = self._known[pc] = self._judge(pc)
        return known

    def _judge(self, pc):
        hotspot = self._hotspot
        blob = hotspot.code_cache.find(pc)
        if blob is None or pc < blob.code:
            return False
        if blob.interpreter or pc == hotspot.call_stub_return:
            return True
        if blob.compiled and hotspot.debug is not None:
            if pc in hotspot.debug.details(blob).deopt_handlers or hotspot.debug.description(blob, pc, exact=True):
                return True
        if _HOLDS_BARRIER in blob.name:  # the return barrier of virtual threads, which follows no call
            return True
        return self.follows_call(pc)


def _length(operand):
    """The length of a ModRM operand in 32- or 64-bit addressing, its own byte included."""
    mode, rm = operand[0] >> 6, operand[0] & 7
    if mode == 3:
        return 1
    length = 1
    if rm == 4:
        if len(operand) < 2:
            return 0
        length += 1
        if mode == 0 and operand[1] & 7 == 5:
            return length + 4
    elif mode == 0 and rm == 5:
        return length + 4
    return length + (0, 1, 4)[mode]
