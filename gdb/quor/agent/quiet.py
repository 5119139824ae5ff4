"""The user's breakpoints while the process runs for calls: one that stopped the process would end the call half-way. A thread that
reaches one goes on, and the user is told afterwards."""
from collections import Counter

import gdb

from quor.agent import place

_PLAIN, _OTHERS = ("BREAKPOINT", "HARDWARE_BREAKPOINT"), ("WATCHPOINT", "HARDWARE_WATCHPOINT", "READ_WATCHPOINT", "ACCESS_WATCHPOINT")


def _types(kinds):
    return tuple(getattr(gdb, "BP_" + kind) for kind in kinds if hasattr(gdb, "BP_" + kind))


class _Passed(gdb.Function):
    """$java_passed(N): counts that a thread has come to breakpoint N, and is false."""

    def __init__(self):
        super().__init__("java_passed")
        self.times = Counter()  # (breakpoint's number, gdb's number of the thread)
        self.standing = None  # the thread that stands at one, and is kept there

    def invoke(self, number):
        thread = gdb.selected_thread()
        if thread not in (self.standing, place.agent_thread()):
            self.times[int(number), thread.num] += 1
        return 0


_PASSED = _Passed()


class Quiet:
    """A block in which none of them stops the process. `standing`: the thread that is kept where it stopped."""

    def __init__(self, standing=None):
        self._standing = standing

    def __enter__(self):
        _PASSED.standing = self._standing
        self._off, self._conditions = [], {}
        for each in gdb.breakpoints() or ():
            if each.enabled and each.type in _types(_PLAIN + _OTHERS):
                self._silence(each)
        return self

    def _silence(self, each):
        """Has it count; what cannot have a condition, or would make the process run step by step, is switched off."""
        if each.number > 0 and each.type in _types(_PLAIN):
            condition = each.condition
            try:
                _set_condition(each, (f"({condition}) && " if condition else "") + f"$java_passed({each.number})")
                self._conditions[each] = condition
                return
            except gdb.error:
                pass
        each.enabled = False
        self._off.append(each)

    def __exit__(self, *_):
        for each in self._off:
            if each.is_valid():
                each.enabled = True
        for each, condition in self._conditions.items():
            if each.is_valid():
                _set_condition(each, condition or "")
        _tell()


def _set_condition(each, text):
    gdb.execute(f"condition {each.number} {text}", to_string=True)


def _tell():
    counted = sorted(_PASSED.times.items())
    _PASSED.times.clear()
    for (number, thread), times in counted:
        gdb.write(f"Breakpoint {number} did not stop thread {thread}, which came there while the agent was asked"
                  f"{f', {times} times' if times > 1 else ''}.\n")
