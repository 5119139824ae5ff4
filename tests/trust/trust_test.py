#!/usr/bin/env python3
"""Shows with strace that a JVM with the agent asks nothing of the system that it does not ask without it, but what
docs/trust.md says.

usage: trust_test.py JAVA AGENT_FOLDER CLASSES WORK_FOLDER

The program is run without the agent a few times, and with it in each way of docs/trust.md. What the agent adds is the
difference of the two sets of system calls, with process ids, descriptors and results left out. Each addition must be one that
the page tells of; and each that the page tells of must be there, or the test would not see the agent at all.
"""
import contextlib
import os
import re
import shutil
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

# What can reach files, other processes, the network or a terminal, and the process's own standing.
TRACED = ("%file,%network,%process,%signal,%ipc,write,writev,pwrite64,pwritev,sendfile,ioctl,prctl,arch_prctl,fcntl,fcntl64,"
          "memfd_create,pipe,pipe2,eventfd,eventfd2,epoll_create,epoll_create1,inotify_init,inotify_init1,ptrace,"
          "process_vm_readv,process_vm_writev,seccomp,bpf,perf_event_open,setuid,setgid,setresuid,setresgid,capset,mount,"
          "mprotect,chroot,unshare,setns,keyctl,personality,prlimit64,sched_setaffinity,setpriority")
# What differs between any two runs of the same program.
IGNORED = re.compile(r"^(rt_sigprocmask|rt_sigreturn|sigreturn|exit|wait4|clone3?|vfork|set_tid_address|mprotect)\b")
JAVA_OPTIONS = ["-Xmx64m", "-Xint", "-XX:+UseSerialGC", "-XX:-UsePerfData", "-XX:-UseDynamicNumberOfCompilerThreads"]
PLAIN_RUNS = 3
LIBRARY = r"(libquor_agent|libstdc\+\+|libgcc_s|libm)\.so[.\d]*"
# What loading any library takes: it is looked for, opened, mapped with its protections; and the thread that every agent has.
LOADING = [
    (rf"^(open|openat|stat|access|readlink)\(.*{LIBRARY}\"", "the library and the C++ runtime are opened"),
    (r"^(open|openat|stat)\(.*/(tls|sse2|x86_64|i686|glibc-hwcaps)\b", None),
    (r"^openat\(.*\"C\.agent\", O_RDONLY\|O_NONBLOCK", "C.agent is looked for, without blocking"),
    (r"^prctl\(PR_SET_NAME, \"(Thread-0|quor agent)\"", "the agent thread has its name"),
    (r"^stat\(\"\"\)", None),  # of a file that is open
]
WRITING_LOG = [
    (r"^unlink(at)?\(.*\"agent\.log\"", "an old log is removed"),
    (r"^openat\(.*\"agent\.log\", O_WRONLY\|O_CREAT\|O_EXCL\|O_TRUNC\|O_CLOEXEC, 0666\)", "the log is made afresh"),
    (r"^fcntl(64)?\(FD, F_(GETFL|SETFL|GETFD|SETFD|DUPFD_CLOEXEC)", None),
    (r"^(stat|openat)\(.*\"/etc/localtime\"", None),  # TIMESTAMP: the time as the user writes it
    (r"^write\(agent\.log", "the log is written"),
]
SHAKING_HANDS = [
    (r"^kill\(PARENT, SIG(STKFLT|_16)\)", "the debugger that was named gets signal 16"),
    (r"^openat\(.*\"answer\", O_RDONLY\)", "its FIFO is opened to be read"),
]
ASK_ABOUT_A_FILE = ("stat", "lstat", "stat64", "lstat64", "newfstatat", "fstatat64", "statx")
FORBIDDEN_CALLS = ("ptrace", "process_vm", "socket", "connect", "bind", "listen", "execve", "shm")


class Work:
    """One place for all runs, so that paths are the same in all."""

    def __init__(self, java, agent, classes, folder):
        self.java, self.agent, self.classes, self.folder = java, agent, classes, Path(folder)
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)

    def trace(self, agent_option, during=None):
        """Runs the program under strace; the set of its system calls. `during` gets the JVM's process id."""
        trace = self.folder / "trace"
        with contextlib.suppress(FileNotFoundError):
            trace.unlink()
        environment = {"PATH": os.environ["PATH"], "LD_LIBRARY_PATH": self.agent}
        command = ["strace", "-f", "-qq", "-y", "-s", "300", "-o", str(trace), "-e", f"trace={TRACED}", self.java, *JAVA_OPTIONS,
                   *([agent_option] if agent_option else []), "-cp", self.classes, "Idle", "1500" if during else "200"]
        with open(self.folder / "output", "wb") as output:
            ran = subprocess.Popen(command, cwd=self.folder, env=environment, stdout=output, stderr=output)
            if during:
                during(ran.pid)
            if ran.wait(60) != 4:
                raise SystemExit(f"the program ends with status {ran.returncode}:\n" + (self.folder / "output").read_text())
        return {call for call in map(normalised, joined(trace.read_text(errors="replace").splitlines())) if call}


def joined(lines):
    """The calls, with those that strace tells in two parts put together."""
    begun = {}
    for line in lines:
        tid, _, text = line.partition(" ")
        text = text.strip()
        if text.endswith("<unfinished ...>"):
            begun[tid] = text[:-len("<unfinished ...>")]
        elif text.startswith("<... ") and tid in begun:
            yield begun.pop(tid) + text.partition(" resumed>")[2]
        else:
            yield text
    yield from begun.values()


def normalised(call):
    """A call without what differs from run to run; None for one that says nothing."""
    if not re.match(r"^\w+\(", call) or IGNORED.match(call):
        return None
    call = re.sub(r"\)\s*= .*$", ")", call)
    call = re.sub(r"\s+([,)])", r"\1", re.sub(r"([(,])\s*", r"\1 ", call)).replace("( ", "(")  # told in two parts
    call = call.replace(f"kill({os.getpid()},", "kill(PARENT,")
    name = call.partition("(")[0]
    write = re.match(r"^writev?\(\d+<([^>]*)>", call)
    if write:  # where to, not what
        return f"write({os.path.basename(write[1]) if write[1].startswith('/') else write[1].partition(':')[0]}"
    call = re.sub(r"(AT_FDCWD|\d+)<[^>]*>", lambda found: "AT_FDCWD" if found[1] == "AT_FDCWD" else "FD", call)
    call = re.sub(r"0x[0-9a-f]+", "ADDRESS", call)
    call = re.sub(r"(/proc/|/task/|java_pid)\d+", r"\1N", call)
    path = re.search(r'"([^"]*)"', call)
    if path and name in ASK_ABOUT_A_FILE:
        return f'stat("{path[1]}")'
    if path and name in ("readlink", "access", "execve", "getcwd"):
        return f'{name}("{path[1]}")'
    return re.sub(r"\b(tgkill|tkill)\([\d, ]+", r"\1(N, ", call)


def symbol_address(pid, library, name):
    """Where a global of the agent lies in the process."""
    listing = subprocess.run(["nm", "-D", library], capture_output=True, text=True, check=True).stdout
    offset = next(int(line.split()[0], 16) for line in listing.splitlines() if line.split()[-1] == name)
    for line in Path(f"/proc/{pid}/maps").read_text().splitlines():
        if "/libquor_agent.so" in line:
            return int(line.split("-")[0], 16) + offset
    raise SystemExit("the agent is not in the process")


def ask_by_flags(work):
    """A debugger's two requests that need no debugger: they are written to the process's memory."""
    def during(strace):
        deadline = time.monotonic() + 20
        while "ready" not in (work.folder / "output").read_text():
            if time.monotonic() > deadline:
                raise SystemExit("the program does not start")
            time.sleep(0.02)
        pid = int(Path(f"/proc/{strace}/task/{strace}/children").read_text().split()[0])
        for flag in ("jquor_attached", "controlc_hit"):
            address = symbol_address(pid, f"{work.agent}/libquor_agent.so", flag)
            with open(f"/proc/{pid}/mem", "r+b", buffering=0) as memory:
                memory.seek(address)
                memory.write((1).to_bytes(4, "little"))
    return during


def answer(fifo):
    with open(fifo, "wb") as writer:
        writer.write((1).to_bytes(4, "little"))


def shake_hands(work):
    signal.signal(16, signal.SIG_IGN)
    fifo = work.folder / "answer"
    os.mkfifo(fifo)
    thread = threading.Thread(target=answer, args=(fifo,), daemon=True)
    thread.start()
    return work.trace(f"-agentlib:quor_agent=sync={os.getpid()},fifo=answer")


def write_log(work):
    settings = work.folder / "C.agent"
    settings.write_text("options -file agent.log\nLogJVMDI SERIAL SRCLOC\nLogJVMDI_VM_thread TIMESTAMP\n")
    (work.folder / "agent.log").write_text("an old one\n")
    calls = work.trace("-agentlib:quor_agent")
    settings.unlink()
    if "JVM_OnLoad" not in (work.folder / "agent.log").read_text():
        raise SystemExit("no log was written")
    return calls


def judge(title, added, allowed):
    """Prints what the agent added; gives what is wrong with it."""
    wrong = [f"{title}: not told of: {call}" for call in sorted(added)
             if not any(re.search(pattern, call) for pattern, _ in allowed) or call.startswith(FORBIDDEN_CALLS)]
    for pattern, what in allowed:
        if what and not any(re.search(pattern, call) for call in added):
            wrong.append(f"{title}: not seen: {what}")
    print(f"{title}: {len(added)} calls more than without, all told of" if not wrong else f"{title}: see below", flush=True)
    return wrong


def main(java, agent, classes, folder):
    work = Work(java, agent, classes, folder)
    plain = set().union(*(work.trace(None) for _ in range(PLAIN_RUNS)))
    wrong = judge("loaded", work.trace("-agentlib:quor_agent") - plain, LOADING)
    wrong += judge("attached, and stopped by control-C", work.trace("-agentlib:quor_agent", ask_by_flags(work)) - plain, LOADING)
    wrong += judge("with a log", write_log(work) - plain, LOADING + WRITING_LOG)
    wrong += judge("with the handshake", shake_hands(work) - plain, LOADING + SHAKING_HANDS)
    print("\n".join(wrong))
    return 1 if wrong else 0


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
