"""Result codes of agent_* functions in words: one table. Needs no gdb.

The numbers and names are those of the agent's err_str; a test holds them together. Where the agent gives a code for a reason of
its own, the words say that reason.
"""
from collections import namedtuple

Code = namedtuple("Code", "name words")

SUCCESS = 0
CODES = {
    0: Code("NONE", "done"),
    10: Code("INVALID_THREAD", "the thread is gone, or is none that the VM knows"),
    11: Code("INVALID_THREAD_GROUP", "no such thread group"),
    12: Code("INVALID_PRIORITY", "no such priority"),
    13: Code("THREAD_NOT_SUSPENDED", "the thread is not suspended"),
    14: Code("THREAD_SUSPENDED", "the thread is suspended already"),
    15: Code("THREAD_NOT_ALIVE", "the thread is gone, or has not started"),
    20: Code("INVALID_OBJECT", "no such object: null, or of an earlier stop"),
    21: Code("INVALID_CLASS", "no such class, or not of this kind"),
    22: Code("CLASS_NOT_PREPARED", "the class is not prepared yet"),
    23: Code("INVALID_METHODID", "no such method: its class was unloaded"),
    24: Code("INVALID_LOCATION", "no code begins there"),
    25: Code("INVALID_FIELDID", "no such field: its class was unloaded"),
    30: Code("INVALID_FRAMEID", "no such frame"),
    31: Code("NO_MORE_FRAMES", "the stack is not that deep"),
    32: Code("OPAQUE_FRAME", "the frame tells nothing and cannot be left: a native method's, or the stack's last"),
    33: Code("NOT_CURRENT_FRAME", "that is not the current frame"),
    34: Code("TYPE_MISMATCH", "the local is of another type"),
    35: Code("INVALID_SLOT", "there is no such local, or not at this place"),
    40: Code("DUPLICATE", "it is set already"),
    41: Code("NOT_FOUND", "it is not set"),
    50: Code("INVALID_MONITOR", "no such monitor"),
    51: Code("NOT_MONITOR_OWNER", "the thread does not hold the monitor"),
    52: Code("INTERRUPT", "the wait was interrupted"),
    60: Code("INVALID_CLASS_FORMAT", "the new class file is malformed"),
    61: Code("CIRCULAR_CLASS_DEFINITION", "the new class would be its own superclass"),
    62: Code("FAILS_VERIFICATION", "the new class does not pass verification"),
    63: Code("UNSUPPORTED_REDEFINITION_METHOD_ADDED", "a class cannot get new methods while it runs"),
    64: Code("UNSUPPORTED_REDEFINITION_SCHEMA_CHANGED", "a class cannot get other fields while it runs"),
    65: Code("INVALID_TYPESTATE", "the thread's stack cannot be kept for the new class"),
    66: Code("UNSUPPORTED_REDEFINITION_HIERARCHY_CHANGED", "a class cannot get another superclass while it runs"),
    67: Code("UNSUPPORTED_REDEFINITION_METHOD_DELETED", "a class cannot lose methods while it runs"),
    68: Code("UNSUPPORTED_VERSION", "the class file's version is not supported"),
    69: Code("NAMES_DONT_MATCH", "the new class has another name"),
    70: Code("UNSUPPORTED_REDEFINITION_CLASS_MODIFIERS_CHANGED", "a class cannot get other modifiers while it runs"),
    71: Code("UNSUPPORTED_REDEFINITION_METHOD_MODIFIERS_CHANGED", "methods cannot get other modifiers while the class runs"),
    79: Code("UNMODIFIABLE_CLASS", "this class cannot be changed"),
    98: Code("NOT_AVAILABLE", "that is not available now"),
    99: Code("MUST_POSSESS_CAPABILITY", "that cannot be had here: not of this VM, or not at this place"),
    100: Code("NULL_POINTER", "the thread is not in the agent's thread map"),
    101: Code("ABSENT_INFORMATION", "the class was compiled without -g"),
    102: Code("INVALID_EVENT_TYPE", "this VM has no events of this kind"),
    103: Code("ILLEGAL_ARGUMENT", "the VM refuses an argument"),
    104: Code("NATIVE_METHOD", "the method is native"),
    110: Code("OUT_OF_MEMORY", "the VM is out of memory"),
    111: Code("ACCESS_DENIED", "events of this kind are switched off in the VM"),
    112: Code("WRONG_PHASE", "the VM has ended, or has not begun"),
    113: Code("INTERNAL", "a Java exception was thrown on the way; the program's standard error has it"),
    115: Code("UNATTACHED_THREAD", "asked on a wrong thread: the VM does not know it"),
    116: Code("INVALID_ENVIRONMENT", "the agent is not connected to this VM"),
}


def words(code):
    """What a result code means, in words."""
    known = CODES.get(code)
    return known.words if known is not None else f"the VM gave code {code}, which has no name"


def code_named(name):
    """The number of a code by the interface's name for it. KeyError when there is none."""
    for number, code in CODES.items():
        if code.name == name:
            return number
    raise KeyError(name)
