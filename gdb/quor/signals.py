"""The JVM's signals in gdb: its own faults pass unseen, a real one stops at the instruction that made it."""
import contextlib

import gdb

from quor.errors import QuorError
from quor.hotspot import vm as vms
from quor.hotspot.faults import Faults
from quor.hotspot.flags import Flags

JUDGED = ("SIGSEGV", "SIGBUS", "SIGFPE")  # each a real fault or the VM's own, as the moment tells
QUIET = ("SIGUSR1", "SIGUSR2", "SIGQUIT", "SIGPIPE", "SIGXFSZ", "SIGHUP")  # the VM, or a program in it, takes them
REPORTER = "VMError::report_and_die"
_PASS = "nostop noprint pass"
_CODE_BYTES = 16


class _Installed:
    """What was changed, to be put back."""
    handling = None  # {signal: gdb's earlier words for it}; None when nothing is installed
    catchpoint = None  # number
    reporter = None  # the gdb.Breakpoint


class _Judge:
    """Verdicts on faults, kept for null checks: there may be thousands a second."""
    faults = {}  # Vm: its Faults, or None when the tables do not tell enough
    null_checks = set()  # (pc, code bytes there) of instructions that may meet a null pointer


def _faults_of(vm):
    if vm not in _Judge.faults:
        try:
            flags = Flags(vm.memory, vm.tables)
            _Judge.faults[vm] = Faults(vm.memory, vm.tables, vm.code_cache, vm.debug, flags)
        except QuorError:
            _Judge.faults[vm] = None
    return _Judge.faults[vm]


def _signal_and_address():
    names = {11: "SIGSEGV", 7: "SIGBUS", 8: "SIGFPE"}
    number = int(gdb.parse_and_eval("$_siginfo.si_signo"))
    address = int(gdb.parse_and_eval("$_siginfo._sifields._sigfault.si_addr"))
    return names.get(number, str(number)), address


def is_the_vms():
    """Whether the fault at which the selected thread stands now is the VM's own business."""
    pc = int(gdb.parse_and_eval("(unsigned long)$pc"))
    signal, address = _signal_and_address()
    code = _code_at(pc)
    if signal == "SIGSEGV" and 0 <= address < 4096 and (pc, code) in _Judge.null_checks:
        return True
    vm = vms.current()
    faults = _faults_of(vm) if vm is not None and vm.code_cache is not None else None
    library = gdb.current_progspace().solib_name(pc)
    if faults is None:  # too early, or not known: what generated code does is the VM's
        return library is None
    vm.forget()  # the process has run: a catchpoint that does not stop tells nobody
    sp = int(gdb.parse_and_eval("(unsigned long)$sp"))
    guard = _guard(vm, faults, address, sp)
    own = faults.is_the_vms(signal, pc, address, guard) or library is not None and "libjvm" in library and _is_probing(faults, pc)
    if own and library is None and guard is None:
        _Judge.null_checks.add((pc, code))
    return own


def _is_probing(faults, pc):
    """Whether the VM makes this load to see whether memory can be read: by its name, or by its code in a stripped libjvm."""
    if not _has_symbol(REPORTER):
        return faults.is_probing_load(pc)
    return "SafeFetch" in gdb.execute(f"info symbol {pc}", to_string=True)


def _has_symbol(name):
    try:
        gdb.parse_and_eval(f"(unsigned long)&'{name}'")
        return True
    except gdb.error:
        return False


def _code_at(pc):
    try:
        return gdb.selected_inferior().read_memory(pc, _CODE_BYTES).tobytes()
    except gdb.error:
        return b""


def _guard(vm, faults, address, sp):
    if not faults.near_stack(address, sp):
        return None
    thread = vm.threads.at_stack(sp) or vm.threads.at_stack(address)
    return faults.guard(thread) if thread else None


class _IsFault(gdb.Function):
    """$java_fault(): 1 when the signal at which this thread stands is a real fault, 0 when it is the JVM's own business."""

    def __init__(self):
        super().__init__("java_fault")

    def invoke(self):
        try:
            return 0 if is_the_vms() else 1
        except Exception:  # whatever it was: what cannot be judged is shown
            return 1


class _Reporter(gdb.Breakpoint):
    """Stops where the VM begins to report a fatal error, once a thread: for what only the VM itself can tell."""

    def __init__(self):
        super().__init__(REPORTER, internal=True)
        self.silent = True
        self.seen = set()
        self.hit = None

    def stop(self):
        thread = gdb.selected_thread()
        if thread is None or thread.ptid in self.seen:
            return False
        self.seen.add(thread.ptid)
        self.hit = thread.ptid
        return True


def _stopped(_event):
    reporter = _Installed.reporter
    thread = gdb.selected_thread()
    if reporter is None or reporter.hit is None or thread is None or thread.ptid != reporter.hit:
        return
    reporter.hit = None
    frame = _faulting_frame()
    if frame is not None:
        frame.select()
    gdb.write("The VM reports a fatal error in this thread" + (f"; frame {frame.level()} made it." if frame else ".") + "\n")


def _faulting_frame():
    """The frame below the signal's."""
    frame = gdb.newest_frame()
    while frame is not None:
        if frame.type() == gdb.SIGTRAMP_FRAME:
            return frame.older()
        frame = frame.older()
    return None


# ---- Installing and undoing ----

def installed():
    return _Installed.handling is not None


def _handling(signal):
    """How gdb treats a signal, in the words of its command `handle`."""
    row = gdb.execute(f"info signals {signal}", to_string=True).splitlines()[-1].split()
    flags = [column == "Yes" for column in row[1:4]]
    return " ".join(("" if flag else "no") + word for flag, word in zip(flags, ("stop", "print", "pass")))


def _handle(signal, words):
    gdb.execute(f"handle {signal} {words}", to_string=True)


@contextlib.contextmanager
def passed_over(signal):
    """A block in which a signal neither stops the process for the user nor reaches it."""
    before = _handling(signal)
    _handle(signal, "nostop noprint nopass")
    try:
        yield
    finally:
        _handle(signal, before)


def _catch():
    before = {each.number for each in gdb.breakpoints() or ()}
    text = gdb.execute(f"catch signal {' '.join(JUDGED)}", to_string=True)
    numbers = [word for word in text.replace("(", " ").split() if word.isdigit() and int(word) not in before]
    _Installed.catchpoint = int(numbers[0])
    gdb.execute(f"condition {_Installed.catchpoint} $java_fault()", to_string=True)


def install():
    """A second call changes nothing."""
    if installed():
        return
    _Installed.handling = {signal: _handling(signal) for signal in JUDGED + QUIET}
    for signal in JUDGED + QUIET:
        _handle(signal, _PASS)
    _catch()
    _plant_reporter()
    gdb.events.stop.connect(_stopped)
    gdb.events.new_objfile.connect(_plant_reporter)


def _plant_reporter(_event=None):
    """Once there is a libjvm: before, gdb would say a line about a function that it does not know."""
    if _Installed.reporter is not None:
        return
    try:
        gdb.decode_line(REPORTER)
    except gdb.error:
        return
    _Installed.reporter = _Reporter()


def undo():
    """Everything as it was before."""
    if not installed():
        return
    gdb.events.stop.disconnect(_stopped)
    gdb.events.new_objfile.disconnect(_plant_reporter)
    for signal, words in _Installed.handling.items():
        _handle(signal, words)
    try:
        gdb.execute(f"delete {_Installed.catchpoint}", to_string=True)
    except gdb.error:
        pass  # the user deleted it
    if _Installed.reporter is not None and _Installed.reporter.is_valid():
        _Installed.reporter.delete()
    _Installed.handling = _Installed.catchpoint = _Installed.reporter = None
    _Judge.faults.clear()
    _Judge.null_checks.clear()


_IsFault()
