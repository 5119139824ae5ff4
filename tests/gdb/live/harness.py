"""Runs gdb in batch on real JVMs. Outside of gdb: a case starts programs, has gdb run commands, and looks at the text.

Every process has a time limit and is ended by its id; what gdb itself started is found by gdb's session.
"""
import json
import os
import re
import resource
import shlex
import signal
import subprocess
import time
from collections import namedtuple
from pathlib import Path

HERE = Path(__file__).resolve().parent
FRONT = os.environ.get("QUOR_GDB") or HERE.parents[2] / "gdb" / "quor.py"
GDB = ["gdb", "--batch", "-nx", "-q", "-iex", "set debuginfod enabled off", "-iex", "set auto-load off",
       "-iex", "set style enabled off",
       "-iex", f"python import sys; sys.path[:0] = [{str(HERE)!r}, {str(HERE / 'inside')!r}]"]  # for the scripts in inside/
SETTINGS = ("set pagination off", "set confirm off", "set width 0", "set height 0", "set backtrace limit 2000",
            "set breakpoint pending on", "set print thread-events off", "set print inferior-events off",
            "handle SIGSEGV SIGUSR1 SIGUSR2 SIGQUIT SIGPIPE nostop noprint pass")
COMPLAINT = "quor: a Java frame is not shown"
LIMIT = 60  # seconds for one run of gdb, or one wait


class CaseFailed(Exception):
    """What was to hold did not."""


class Skipped(Exception):
    """The case cannot be run here; the text says why."""


class Checks:
    count = 0


def check(condition, text):
    Checks.count += 1
    if not condition:
        raise CaseFailed(text)


def check_equal(found, expected, text):
    check(found == expected, f"{text}:\n{found!r}\nis not\n{expected!r}")


def note(text):
    print(text, flush=True)


def wait_until(condition, text, seconds=LIMIT):
    """Waits for condition() to be true and gives its value."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise CaseFailed(f"{text}: not within {seconds} seconds")
        time.sleep(0.01)


def environment(folder):
    """What a program under test sees: nothing of the user's own settings. All cases share what Python compiles, of gdb's too."""
    return {"PATH": os.environ["PATH"], "HOME": str(folder), "LANG": "C.UTF-8",
            "PYTHONPYCACHEPREFIX": str(folder.parent / "bytecode")}


# ---- The program ----

class Program:
    """A test program in a JVM, in the case's folder. A context manager: it is gone at the end of the block."""

    def __init__(self, jvm, arguments, options=(), java=None, cores=False, main="Mix"):
        self.jvm = jvm
        self.folder = jvm.folder
        self.output = self.folder / f"program-{len(jvm.programs)}.out"
        jvm.programs.append(self)

        def allow_cores():
            resource.setrlimit(resource.RLIMIT_CORE, (resource.RLIM_INFINITY,) * 2 if cores else (0, 0))

        with open(self.output, "wb") as output:
            self.process = subprocess.Popen(jvm.command(arguments, options, java, main), cwd=self.folder,
                                            env={**environment(self.folder), **jvm.variables}, stdin=subprocess.DEVNULL,
                                            stdout=output, stderr=subprocess.STDOUT, preexec_fn=allow_cores)
        self.pid = self.process.pid

    def text(self):
        return self.output.read_text(errors="replace")

    def ready(self):
        """Waits for the line by which the program says that it has come where it was sent."""
        wait_until(lambda: "READY\n" in self.text() or self.process.poll() is not None, "the program is ready")
        check(self.process.poll() is None, f"the program goes on to its end:\n{self.text()}")
        return self

    def own_stack(self):
        """The stack as the VM itself told it: [(class, method, "File:line" or "native")], innermost first."""
        return [tuple(line.split(" ", 3)[1:]) for line in self.text().splitlines() if line.startswith("FRAME ")]

    def thread_dump(self):
        """The VM's own dump of all threads, as text."""
        before = len(self.text())
        os.kill(self.pid, signal.SIGQUIT)
        wait_until(lambda: "JNI global ref" in self.text()[before:], "the VM dumps its threads")
        return self.text()[before:]

    def end(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()


class Jvm:
    """The JVM that a case runs on, from the file that the build wrote."""

    def __init__(self, config, folder):
        self.name, self.java, self.version = config["name"], config["java"], int(config["version"])
        self.word_size, self.classes, self.native = config["word_size"], config["classes"], config["native"]
        self.agent_dir = Path(config["agent_dir"])
        self.folder, self.programs = folder, []
        self.options, self.variables = [], {}  # of every program that is started
        self.long = os.environ.get("QUOR_SOAK", "") not in ("", "0")

    def command(self, arguments, options=(), java=None, main="Mix"):
        return [java or self.java, "-Xmx128m", "-XX:ReservedCodeCacheSize=48m", "-XX:-UsePerfData", "-Xshare:auto",
                "-XX:+UnlockDiagnosticVMOptions", "-XX:+ShowHiddenFrames",
                *(["--enable-native-access=ALL-UNNAMED"] if self.version >= 24 else []), *self.options, *options,
                "-cp", self.classes, f"-Djava.library.path={self.native}", main, *map(str, arguments)]

    def start(self, *arguments, options=(), java=None, cores=False, main="Mix"):
        return Program(self, arguments, options, java, cores, main)

    def start_with_agent(self, main, *arguments, options=()):
        """A program of its own with the agent in it."""
        return self.start(*arguments, options=[*self.agent_option(), *options], main=main)

    def agent_option(self):
        return [f"-agentpath:{self.agent_dir}/libquor_agent.so"]

    def java_run(self, main, *arguments, options=()):
        """The gdb command that starts a program with the agent in it."""
        command = self.command(arguments, options, main=main)
        return "java run -java " + " ".join(shlex.quote(str(word)) for word in command)

    def collectors(self):
        """Options that choose a collector that this JVM has."""
        return ["-XX:+UseSerialGC"] + (["-XX:+UseZGC"] if self.word_size == 8 else [])

    def end_all(self):
        for program in self.programs:
            program.end()


# ---- gdb ----

def processes_of_session(session):
    found = []
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                if int((entry / "stat").read_text().rsplit(")", 1)[1].split()[3]) == session:
                    found.append(int(entry.name))
            except (OSError, IndexError):
                pass
    return found


def end_session(process):
    """Ends gdb and what it started."""
    for pid in processes_of_session(process.pid):
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    process.wait()


def gdb(jvm, commands, pid=None, core=None, arguments=(), front=True, seconds=LIMIT, variables=(), fails_inside=False):
    """Runs commands in a gdb of its own; gives what each printed, in a list. With `front` quor.py is sourced first.

    A command that fails prints its error and does not end the run. gdb kills what it still holds when it was started by it.
    `fails_inside`: a command plants an error in quor's own code, which is to be told in one line.
    """
    command = list(GDB)
    for setting in SETTINGS:
        command += ["-ex", setting]
    if front:
        command += ["-ex", f"source {FRONT}"]
    if pid is not None:
        command += ["-ex", f"attach {pid}"]
    if core is not None:
        command += ["-ex", f"core-file {core}"]
    for number, each in enumerate(commands):
        command += ["-ex", f"echo \\n<<{number}\\n", "-ex", each]
    command += ["-ex", "echo \\n<<end\\n"]
    if arguments:
        command += ["--args", *map(str, arguments)]
    process = subprocess.Popen(command, cwd=jvm.folder, env={**environment(jvm.folder), "QUOR_AGENT_DIR": str(jvm.agent_dir), **dict(variables)},
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
    try:
        output, _ = process.communicate(timeout=seconds)
        ended = True
    except subprocess.TimeoutExpired:
        ended = False
    if not ended:
        end_session(process)
        output = process.stdout.read()
    text = output.decode(errors="replace")
    number = len(list(jvm.folder.glob("gdb-*.log")))
    (jvm.folder / f"gdb-{number}.log").write_text(f"{command}\n{text}")
    check(ended, f"gdb ends within {seconds} seconds (what it printed is in gdb-{number}.log)")
    check("\n<<end\n" in text, f"gdb comes to its end (what it printed is in gdb-{number}.log)")
    check("Traceback (most recent call last)" not in text and "Python Exception" not in text,
          f"no error of Python's is printed (see gdb-{number}.log)")
    complaints = text.count(COMPLAINT)
    check(complaints == fails_inside, f"{complaints} lines tell of an error inside, not {int(fails_inside)} (see gdb-{number}.log)")
    body = text[text.index("\n<<0\n"):text.index("\n<<end\n")] if commands else ""
    return [part.strip("\n") for part in re.split(r"\n<<\d+\n", body)[1:]]


def chosen(modes):
    """The modes to run: all, or those that QUOR_MODES names, separated by commas."""
    wanted = os.environ.get("QUOR_MODES")
    return {name: options for name, options in modes.items() if not wanted or name in wanted.split(",")}


# ---- What a script inside gdb tells a case ----

_RESULT = "RESULT "


def tell(result):
    """In gdb: what was found, as a line of JSON."""
    print(_RESULT + json.dumps(result))


def results(text):
    """What was told in this text."""
    return [json.loads(line[len(_RESULT):]) for line in text.splitlines() if line.startswith(_RESULT)]


# ---- Stacks ----

Frame = namedtuple("Frame", "number function rest text")
_FRAME = re.compile(r"#(\d+)\s+(?:0x[0-9a-f]+ in )?(.*)$")
_INLINED = re.compile(r"()\s*([\w.$/+]+\.(?:<init>|<clinit>|[\w$]+)\([^)]*\).*)$")
_JAVA = re.compile(r"(?P<type>[\w.$/+]+)\.(?P<method><init>|<clinit>|[\w$]+)\((?P<parameters>[^)]*)\)")
_IN_LIBRARY = re.compile(r" (?:at|from) \S*\.so[.\d]*$")  # a C library without symbols does not name its own functions
_NOWHERE = re.compile(r"#\d+\s+0x0+ in \?\? \(\)$")
CLONES = ("clone", "clone3", "__clone", "__clone3")
STARTS = (*CLONES, "start_thread", "_start", "main", "__libc_start_main", "__libc_start_call_main")


def frames(text):
    """The frames of one `bt`. Those of inlined methods have the number of the frame that they are part of."""
    found = []
    for line in text.splitlines():
        match = _FRAME.match(line) or found and _INLINED.match(line)
        if match:
            function, _, rest = match.group(2).partition(" (")
            found.append(Frame(int(match.group(1) or found[-1].number), function, rest, line))
    return found


def threads(text):
    """{gdb's heading of the thread: its frames} of one `thread apply all bt`."""
    parts = re.split(r"^(Thread \d+ .*):$", text, flags=re.MULTILINE)
    return {parts[i]: frames(parts[i + 1]) for i in range(1, len(parts), 2)}


def java_frames(stack):
    """[(class, method, "File:line", "native" or "")] of a stack."""
    found = []
    for frame in stack:
        text = re.sub(r"^#\d+\s+(0x[0-9a-f]+ in )?", "", frame.text.strip())
        match = _JAVA.match(text)
        if match:
            line = re.search(r"([\w$]+\.java):(\d+)", text)
            where = f"{line.group(1)}:{line.group(2)}" if line else "native" if "<native>" in text else ""
            found.append((match.group("type"), match.group("method"), where))
    return found


def _of_launcher(frame, outer, stack):
    """Whether this is main or _start of the command java, which has no symbols."""
    inner = stack[stack.index(frame) - 1].function if frame is not stack[0] else ""
    if outer is None:
        return inner.startswith("__libc_start")
    return outer.function.startswith("__libc_start") or _in_bare_libc(outer)


def _is_just_made(stack):
    """Whether the thread stands in the call that made it: below it there is nothing yet."""
    return len(stack) == 2 and stack[0].function in CLONES and _NOWHERE.search(stack[1].text)


def ends_in_vdso(stack):
    """Whether a stack is lost behind a function of the kernel's vDSO. The one for i386 has no call frame information for them, and
    gdb alone knows as little where they return to."""
    return len(stack) > 1 and stack[0].function.startswith("__vdso_") and stack[1].function == "??"


def _in_bare_libc(frame):
    return frame.function in ("", "??") and "/libc.so" in frame.text


def why_not_whole(stack):
    """What is wrong with a stack that is to reach its thread's start; None when nothing is."""
    if not stack:
        return "it is empty"
    if _is_just_made(stack):
        return None
    for frame, outer in zip(stack, [*stack[1:], None]):
        if frame.function in ("", "??") and not _IN_LIBRARY.search(frame.text) and not _of_launcher(frame, outer, stack):
            return f"frame {frame.number} is unknown: {frame.text}"
    last = stack[-1]
    if last.function not in STARTS and not _of_launcher(last, None, stack) and not _in_bare_libc(last):
        return f"it ends at {last.text}"
    return None


def check_whole(stack, text):
    why = why_not_whole(stack)
    check(why is None, f"{text}: {why}\n" + "\n".join(frame.text for frame in stack))
