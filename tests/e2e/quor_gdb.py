"""Drives a JVM and the agent in it from gdb: start or attach, stop at hook points, call into the stopped process.

Runs inside gdb. A case (cases/<stem>.py) defines case(), which uses these functions and quor_java's. Everything that waits
has a time limit; a limit that passes dumps all stacks and fails the case. Sizes come from the agent's debug information.
"""
import contextlib
import json
import os
import subprocess
import time

import gdb

CONFIG = json.loads(os.environ["QUOR_E2E"])  # written by run_case.py
LIMIT = 25  # seconds for one wait
FIRST_CONTACT = "jquor_jvmdi_sync_hook"

_SETTINGS = (
    "set pagination off", "set confirm off", "set breakpoint pending on", "set debuginfod enabled off",
    "set auto-load off", "set print thread-events off", "set print inferior-events off", "set print address off",
    "set backtrace limit 40",
    # The JVM uses these itself. SIGINT, SIGTRAP and SIGABRT keep stopping the process.
    "handle SIGSEGV SIGBUS SIGFPE SIGILL SIGPIPE SIGUSR1 SIGUSR2 SIGQUIT SIGHUP SIGTERM nostop noprint pass",
)


class CaseFailed(Exception):
    """A check that did not hold, or a wait that did not end."""


class Process:
    """What happened last to the process under gdb."""
    stopped = None  # the last stop event
    exit_status = None  # set when it has ended
    checks = 0
    called = set()  # names of the agent's functions that the case has called
    hooks = {}  # gdb breakpoints by hook name
    scratch = None  # address of memory in the process for out-parameters
    scratch_used = 0
    watchdog = None  # the child process that enforces limits; made on first use


def check(condition, text):
    """Fails the case unless the condition holds; `text` says what holds."""
    Process.checks += 1
    print(("ok      " if condition else "NOT SO  ") + text, flush=True)
    if not condition:
        raise CaseFailed(text)


def check_equal(found, expected, text):
    check(found == expected, f"{text}: {found!r}" if found == expected else f"{text}: {found!r}, not {expected!r}")


def dump_stacks():
    """Prints every thread's stack, as far as gdb can still reach the process."""
    try:
        if gdb.selected_inferior().pid:
            gdb.execute("thread apply all bt")
    except gdb.error as error:
        print(f"no stacks: {error}")


def _on_stop(event):
    Process.stopped = event


def _on_exit(event):
    # gdb knows no exit code of a process that a signal ended
    Process.exit_status = event.exit_code if hasattr(event, "exit_code") else "signal"


def prepare():
    for setting in _SETTINGS:
        gdb.execute(setting)
    gdb.events.stop.connect(_on_stop)
    gdb.events.exited.connect(_on_exit)


def _watchdog():
    """The child process that enforces limits. Not a thread: gdb keeps Python's lock while it calls into the process."""
    if Process.watchdog is None:
        script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "watchdog.py")
        Process.watchdog = subprocess.Popen([CONFIG.get("python", "python3"), script, CONFIG["output"]], stdin=subprocess.PIPE,
                                            start_new_session=True)
    return Process.watchdog.stdin


def _tell_watchdog(line):
    pipe = _watchdog()
    pipe.write(line.encode() + b"\n")
    pipe.flush()


@contextlib.contextmanager
def limit(seconds, what):
    """When the body takes longer, whether the process runs or calls a function: has the JVM show its Java stacks, interrupts
    it, shows the native ones, and fails the case. Limits do not nest."""
    begin = time.monotonic()
    _tell_watchdog(f"{seconds} {gdb.selected_inferior().pid}")
    try:
        yield
    except gdb.error as error:
        _tell_watchdog("off")
        dump_stacks()
        late = f"not within {seconds} seconds; " if time.monotonic() - begin >= seconds else ""
        raise CaseFailed(f"{what}: {late}{error}") from error
    finally:
        _tell_watchdog("off")
    if time.monotonic() - begin >= seconds:
        dump_stacks()
        raise CaseFailed(f"{what}: not within {seconds} seconds")


# ---- Starting, attaching, ending ----

def java_options(program, arguments=(), agent_options="", load="-agentlib", options=()):
    named, separator = ("-agentlib:", "=") if load == "-agentlib" else ("-Xrun", ":")
    agent = f"{named}quor_agent" + (separator + agent_options if agent_options else "")
    return ["-Xmx64m", *CONFIG["options"], agent, *options, "-cp", CONFIG["classes"], program, *arguments]


def _shell_quoted(words):
    return " ".join("'" + word.replace("'", "'\\''") + "'" for word in words)


def start(program, *arguments, agent_options="", load="-agentlib", options=(), until=FIRST_CONTACT,
          expected_signal=None):
    """Starts a program under gdb and runs it to a hook (the agent's first contact), whose Stop it gives."""
    _forget_process()
    gdb.execute(f"file {CONFIG['java']}", to_string=True)
    gdb.execute(f"set environment LD_LIBRARY_PATH {CONFIG['agent_dir']}")
    words = _shell_quoted(java_options(program, arguments, agent_options, load, options))
    gdb.execute(f"set args {words} >{CONFIG['output']} 2>{CONFIG['errors']}")
    return _run((until,) if until else (), LIMIT, start_first=True, expected_signal=expected_signal)


def start_alone(program, *arguments, agent_options="", options=(), environment=None):
    """Starts a program without gdb; gives its process id. alone_status() waits for its end."""
    words = _shell_quoted([CONFIG["java"], *java_options(program, arguments, agent_options, options=options)])
    # A shell is the parent, because gdb reaps any child of its own process.
    script = (f"{words} >{CONFIG['output']} 2>{CONFIG['errors']} & echo $! >pid.new; mv pid.new alone.pid; wait $!; "
              "echo $? >status.new; mv status.new alone.status")
    for name in ("alone.pid", "alone.status"):
        with contextlib.suppress(FileNotFoundError):
            os.unlink(name)
    env = dict(os.environ, LD_LIBRARY_PATH=CONFIG["agent_dir"], **(environment or {}))
    subprocess.Popen(["sh", "-c", script], stdin=subprocess.DEVNULL, env=env)
    return int(wait_for(lambda: read_file("alone.pid"), "the program's process id"))


def alone_status(seconds=LIMIT):
    """The exit status of the program that start_alone started, as a shell tells it (134: SIGABRT)."""
    return int(wait_for(lambda: read_file("alone.status"), "the program's end", seconds))


def _forget_process():
    Process.stopped = Process.exit_status = Process.scratch = None


def attach(pid):
    _forget_process()
    gdb.execute(f"attach {pid}", to_string=True)


def detach():
    """gdb leaves the process; its breakpoints go with it."""
    for breakpoint in list(Process.hooks.values()):
        breakpoint.delete()
    Process.hooks.clear()
    gdb.execute("detach", to_string=True)


def select_agent_thread():
    """Selects the agent thread of a process that was stopped anywhere: only there may the debugger call the agent."""
    tid = int(get_global("tid_debug_agent")) % (1 << 8 * word_size())
    for thread in gdb.selected_inferior().threads():
        with contextlib.suppress(RuntimeError):  # a thread that begins or ends has no handle
            if int.from_bytes(thread.handle(), "little") == tid:
                thread.switch()
                return
    raise CaseFailed("the agent thread is not among gdb's threads")


def meet_agent():
    """Takes hold of the Java side of a process that was stopped anywhere: the flag first, and the call at the agent's answer,
    since the agent thread may be at work."""
    set_global("jquor_attached", 1)
    run_to(FIRST_CONTACT)
    check_equal(call("agent_attach_jquor", 0), 0, "agent_attach_jquor")


def attach_java_mode():
    """Takes hold of the Java side at a hook; the agent answers later, at its first contact's hook."""
    check_equal(call("agent_attach_jquor", 0), 0, "agent_attach_jquor")
    set_global("jquor_attached", 1)


def expect_exit(status, seconds=LIMIT, never=(), perhaps=()):
    """Lets the process run to its end and checks how it ends. It must reach none of the hooks `never` meanwhile; those of
    `perhaps` it may."""
    stop = _run((*never, *perhaps), seconds, may_end=True)
    while stop and stop.hook in perhaps:
        stop = _run((*never, *perhaps), seconds, may_end=True)
    check(stop is None, f"the program runs to its end without {', '.join(never) or 'a stop'}")
    check_equal(Process.exit_status, status, "the program's exit status")


def start_to_abort(program, *arguments, **how):
    """Starts a program whose start-up ends in abort()."""
    start(program, *arguments, until=None, expected_signal="SIGABRT", **how)
    check_equal(getattr(Process.stopped, "stop_signal", None), "SIGABRT", "the process aborts with")
    gdb.execute("kill", to_string=True)


def debugger_process(answer=None):
    """Starts debugger.py, which notes the handshake's signal in debugger.log and answers through ./fifo; its id."""
    for name in ("debugger.log", "debugger.ready"):
        with contextlib.suppress(FileNotFoundError):
            os.unlink(name)
    script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "debugger.py")
    fifo = [] if answer is None else ["fifo", answer.hex()]
    subprocess.Popen([CONFIG["python"], script, "debugger.log", "debugger.ready", *fifo], stdin=subprocess.DEVNULL)
    return int(wait_for(lambda: read_file("debugger.ready").strip(), "the debugger's process"))


# ---- Output ----

def read_file(name):
    with contextlib.suppress(FileNotFoundError), open(name, encoding="utf-8", errors="replace") as file:
        return file.read()
    return ""


def output():
    return read_file(CONFIG["output"])


def errors():
    return read_file(CONFIG["errors"])


def wait_for(condition, what, seconds=LIMIT):
    """Waits, with the process free to run or gone, until condition() gives something true, which is the result."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            dump_stacks()
            raise CaseFailed(f"{what}: not within {seconds} seconds")
        time.sleep(0.02)


def wait_for_output(text, seconds=LIMIT):
    return wait_for(lambda: text in output(), f"the output {text!r}", seconds)


# ---- Stops ----

class Stop:
    """A stop at a hook: its name, the agent thread's env, and the event record in the process."""

    def __init__(self, hook):
        self.hook = hook
        self.event = gdb.selected_frame().read_var("event") if hook.startswith("hook_") else None
        if self.event is not None:
            self.kind = int(self.event["kind"])

    def check_kind(self, name):
        """`name` without its prefix: BREAKPOINT."""
        check_equal(self.kind, constant(f"JVMDI_EVENT_{name}"), f"the record's kind, {name}")

    def part(self, name):
        """The event's data for its kind: a member of the record's union."""
        return fetched(self.event["u"][name])

    def outcome(self):
        """What a USER_DEFINED event tells of an invocation."""
        return fetched(self.event["u"].address.cast(gdb.lookup_type("AgentInvokRet").pointer()).dereference())

    def words(self):
        """The raw record as pointer-sized words, unsigned."""
        size = self.event.dereference().type.sizeof
        memory = gdb.selected_inferior().read_memory(int(self.event), size).tobytes()
        return [int.from_bytes(memory[at:at + word_size()], "little") for at in range(0, size, word_size())]


def hook_breakpoint(name):
    """gdb's breakpoint on a hook; made on first use."""
    if name not in Process.hooks:
        Process.hooks[name] = gdb.Breakpoint(name)
        Process.hooks[name].silent = True
    return Process.hooks[name]


def _run(hooks, seconds, start_first=False, expected_signal=None, condition=None, may_end=False):
    for name in hooks:
        hook_breakpoint(name)
    for name, breakpoint in Process.hooks.items():
        breakpoint.enabled = name in hooks
        breakpoint.condition = condition if name in hooks else None
    Process.stopped = None
    Process.scratch_used = 0
    if start_first:
        gdb.execute("starti", to_string=True)
    with limit(seconds, f"to {', '.join(hooks) or 'the end'}"):
        gdb.execute("continue", to_string=True)
    return _stopped_at(hooks, expected_signal, may_end or not hooks)


def _stopped_at(hooks, expected_signal, may_end):
    if Process.exit_status is not None:
        if not may_end:
            raise CaseFailed(f"the program ended with status {Process.exit_status} before {', '.join(hooks)}")
        return None
    if getattr(Process.stopped, "stop_signal", None) == expected_signal and expected_signal:
        return None
    name = gdb.selected_frame().name()
    if not isinstance(Process.stopped, gdb.BreakpointEvent) or name not in hooks:
        dump_stacks()
        reason = getattr(Process.stopped, "stop_signal", Process.stopped)
        raise CaseFailed(f"stopped in {name} by {reason}, not at {', '.join(hooks) or 'the end'}")
    return Stop(name)


def run_to(*hooks, seconds=LIMIT, condition=None):
    """Continues to one of the hooks and gives the Stop. `condition`: a gdb expression that must hold there."""
    return _run(hooks, seconds, condition=condition)


# ---- Calls and memory ----

def word_size():
    return gdb.lookup_type("void").pointer().sizeof


def call(name, *arguments, seconds=LIMIT):
    """Calls a function of the agent, or a function pointer, in the selected thread. Integers are given as int."""
    if isinstance(name, str):
        Process.called.add(name)
    function = gdb.parse_and_eval(name) if isinstance(name, str) else name
    if function.type.strip_typedefs().code == gdb.TYPE_CODE_PTR:
        function = function.dereference()
    with limit(seconds, f"call of {name}"):
        result = function(*arguments)
    return int(result) if result.type.strip_typedefs().code == gdb.TYPE_CODE_INT else result


def constant(name):
    """A constant of the agent's headers; its value comes from the debug information."""
    return int(gdb.parse_and_eval(name))


def error(name):
    """An error code by its name without the prefix: INVALID_THREAD."""
    return constant(f"JVMDI_ERROR_{name}")


def get_global(name):
    return fetched(gdb.parse_and_eval(name))


def fetched(value):
    """The value as it is now: gdb reads memory late, when the process may have gone on."""
    value.fetch_lazy()
    return value


def set_global(name, value):
    gdb.execute(f"set var {name} = {int(value)}")


def address_of(name):
    return int(gdb.parse_and_eval(f"&{name}"))


def poke(pid, address, value):
    """Writes an int of the running process, as a debugger does that does not stop it for that."""
    with open(f"/proc/{pid}/mem", "r+b", buffering=0) as memory:
        memory.seek(address)
        memory.write(int(value).to_bytes(4, "little"))


def out(type_name, count=1):
    """Zeroed memory in the process for an out-parameter: a pointer to the type. Valid until the process continues."""
    return out_bytes(gdb.lookup_type(type_name), count)


def forget_outs():
    """Lets the memory of all out-parameters so far be used again, for a case that asks much at one stop."""
    Process.scratch_used = 0


def out_bytes(gdb_type, count=1):
    capacity = 64 * 1024
    if Process.scratch is None:
        Process.scratch = int(call("(void* (*)(unsigned long)) malloc", capacity))
    size = (gdb_type.sizeof * count + 15) & ~15
    if Process.scratch_used + size > capacity:
        raise CaseFailed("a stop uses too much scratch memory")
    address = Process.scratch + Process.scratch_used
    Process.scratch_used += size
    gdb.selected_inferior().write_memory(address, bytes(size))
    return gdb.Value(address).cast(gdb_type.pointer())


def out_text(text):
    data = text.encode() + b"\0"
    pointer = out_bytes(gdb.lookup_type("char"), len(data))
    gdb.selected_inferior().write_memory(int(pointer), data)
    return pointer


def rest(milliseconds):
    """Lets every thread of the process run for a while, with the agent thread still at its hook."""
    call("(int (*)(unsigned)) usleep", milliseconds * 1000)
