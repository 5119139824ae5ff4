"""Through gdbserver the stacks are the same, and nothing is read from the local machine's /proc."""
import contextlib
import re
import subprocess
from pathlib import Path

from crash import SHOW_AND_WAIT, plain
from harness import Skipped, check, check_equal, check_whole, end_session, environment, gdb, java_frames, threads, wait_until

# In gdb: what Python code opens from now on.
SPY = ("python import builtins, os; opened = []; true_open = builtins.open; true_list = os.listdir; "
       "builtins.open = lambda file, *a, **k: (opened.append(str(file)), true_open(file, *a, **k))[1]; "
       "os.listdir = lambda path='.': (opened.append(str(path)), true_list(path))[1]; "
       "os.open = (lambda true: lambda file, *a, **k: (opened.append(str(file)), true(file, *a, **k))[1])(os.open); "
       "os.readlink = (lambda true: lambda file, *a, **k: (opened.append(str(file)), true(file, *a, **k))[1])(os.readlink)")


@contextlib.contextmanager
def without_wide_registers(jvm):
    """A block whose programs leave AVX-512 alone. A gdbserver (13.1) writes the registers of each thread that it stopped back, and
    on an AMD EPYC it takes them for elsewhere in the processor's record: zmm16 to zmm31, by which glibc copies memory, become 0."""
    if "avx512f" in Path("/proc/cpuinfo").read_text():
        jvm.options, jvm.variables = ["-XX:UseAVX=2"], {"GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX512VL,-AVX512F"}
    try:
        yield
    finally:
        jvm.options, jvm.variables = [], {}


def start_server(jvm, *arguments):
    """gdbserver and the port that it listens at."""
    log = jvm.folder / "gdbserver.log"
    with open(log, "wb") as output:
        server = subprocess.Popen(["gdbserver", *arguments], stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                  env={**environment(jvm.folder), **jvm.variables}, start_new_session=True)
    try:
        port = wait_until(lambda: re.search(r"Listening on port (\d+)", log.read_text(errors="replace")), "gdbserver listens")
    except Exception:
        end_session(server)
        raise
    return server, int(port.group(1))


def case(jvm):
    try:
        subprocess.run(["gdbserver", "--version"], stdout=subprocess.DEVNULL, check=True)
    except FileNotFoundError:
        raise Skipped("there is no gdbserver (script/bootstrap installs it)") from None
    with without_wide_registers(jvm), jvm.start("descend", 6000, SHOW_AND_WAIT) as program:
        program.ready()
        server, port = start_server(jvm, "--once", "--attach", "127.0.0.1:0", str(program.pid))
        try:
            texts = gdb(jvm, [SPY, "set sysroot /", f"target remote 127.0.0.1:{port}", "thread apply all bt",
                              "java threads", "python print([name for name in opened if name.startswith('/proc')])", "detach"],
                        arguments=[jvm.java])
        finally:
            end_session(server)
        own = plain(program.own_stack())
    stacks = threads(texts[3])
    for heading, stack in stacks.items():
        check_whole(stack, heading)
    check_equal([plain(java_frames(stack)) for stack in stacks.values()].count(own), 1, "the threads with the VM's own frames")
    check('"descender"' in texts[4] or "descender" in texts[4], f"java threads names the thread: {texts[4]}")
    check_equal(texts[5], "[]", "what was read from the local machine's /proc")
