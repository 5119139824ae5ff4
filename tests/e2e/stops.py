"""Running to the agent's hook points, and what stands there."""
import gdb

from checks import CaseFailed, check, check_equal
from quor.agent import calls, hooks, place
from waits import LIMIT, limit, show_stacks


class Process:
    """What happened last to the process under gdb."""
    stopped = None  # the last stop event
    exit_status = None  # set when it has ended
    hooks = {}  # gdb breakpoints by hook name


def _on_stop(event):
    Process.stopped = event


def _on_exit(event):
    # gdb knows no exit code of a process that a signal ended
    Process.exit_status = event.exit_code if hasattr(event, "exit_code") else "signal"


gdb.events.stop.connect(_on_stop)
gdb.events.exited.connect(_on_exit)


def forget_process():
    """Another one comes."""
    Process.stopped = Process.exit_status = None


class Stop(hooks.Event):
    """A stop at a hook: its name, and the event record in the process."""

    def __init__(self, hook):
        super().__init__(hook, gdb.selected_frame())

    def check_kind(self, name):
        """`name` without its prefix: BREAKPOINT."""
        check_equal(int(self.record["kind"]), place.constant(f"JVMDI_EVENT_{name}"), f"the record's kind, {name}")

    def outcome(self):
        """What a USER_DEFINED event tells of an invocation."""
        value = self.record["u"].address.cast(gdb.lookup_type("AgentInvokRet").pointer()).dereference()
        value.fetch_lazy()
        return value

    def words(self):
        """The raw record as pointer-sized words, unsigned."""
        word = gdb.lookup_type("void").pointer().sizeof
        memory = gdb.selected_inferior().read_memory(self.address, self.record.type.sizeof).tobytes()
        return [int.from_bytes(memory[at:at + word], "little") for at in range(0, len(memory), word)]


def hook_breakpoint(name):
    """gdb's breakpoint on a hook; made on first use."""
    if name not in Process.hooks:
        Process.hooks[name] = gdb.Breakpoint(name)
        Process.hooks[name].silent = True
    return Process.hooks[name]


def forget_hooks():
    """gdb's breakpoints go."""
    for breakpoint in Process.hooks.values():
        breakpoint.delete()
    Process.hooks.clear()


def run(names, seconds=LIMIT, start_first=False, expected_signal=None, condition=None, may_end=False):
    """Continues to one of the hooks and gives the Stop; None at an expected signal, or end."""
    for name in names:
        hook_breakpoint(name)
    for name, breakpoint in Process.hooks.items():
        breakpoint.enabled = name in names
        breakpoint.condition = condition if name in names else None
    Process.stopped = None
    calls.forget_scratch()
    if start_first:
        gdb.execute("starti", to_string=True)
    with limit(seconds, f"to {', '.join(names) or 'the end'}"):
        _continue()
    return _stopped_at(names, expected_signal, may_end or not names)


def _continue():
    """Lets the process run. Where gdb finds a thread gone whose end it has not been told, it goes on to what it was not told."""
    try:
        gdb.execute("continue", to_string=True)
    except gdb.error as error:
        if "No such process" not in str(error):
            raise
        gdb.execute("continue", to_string=True)


def _stopped_at(names, expected_signal, may_end):
    if Process.exit_status is not None:
        if not may_end:
            raise CaseFailed(f"the program ended with status {Process.exit_status} before {', '.join(names)}")
        return None
    if getattr(Process.stopped, "stop_signal", None) == expected_signal and expected_signal:
        return None
    name = gdb.selected_frame().name()
    if not isinstance(Process.stopped, gdb.BreakpointEvent) or name not in names:
        show_stacks()
        reason = getattr(Process.stopped, "stop_signal", Process.stopped)
        raise CaseFailed(f"stopped in {name} by {reason}, not at {', '.join(names) or 'the end'}")
    return Stop(name)


def run_to(*names, seconds=LIMIT, condition=None):
    """Continues to one of the hooks and gives the Stop. `condition`: a gdb expression that must hold there."""
    return run(names, seconds, condition=condition)


def expect_exit(status, seconds=LIMIT, never=(), perhaps=()):
    """Lets the process run to its end and checks how it ends. It must reach none of the hooks `never` meanwhile; those of
    `perhaps` it may."""
    stop = run((*never, *perhaps), seconds, may_end=True)
    while stop and stop.hook in perhaps:
        stop = run((*never, *perhaps), seconds, may_end=True)
    check(stop is None, f"the program runs to its end without {', '.join(never) or 'a stop'}")
    check_equal(Process.exit_status, status, "the program's exit status")
