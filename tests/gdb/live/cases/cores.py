"""In core files no frame of any thread is unknown: gcore's and the kernel's, the latter equal to the VM's own crash report."""
import re
from pathlib import Path

from harness import check, check_equal, check_whole, gdb, java_frames, note, threads
from crash import SHOW_AND_WAIT, plain

SHOW_AND_CRASH = 1


def whole_threads(jvm, core, what):
    stacks = threads(gdb(jvm, ["thread apply all bt"], core=core, arguments=[jvm.java])[0])
    check(len(stacks) > 8, f"{what} has threads")
    for heading, stack in stacks.items():
        check_whole(stack, f"{what}: {heading}")
    note(f"cores: {what}: {len(stacks)} stacks whole")
    return stacks


def gcores(jvm):
    with jvm.start("descend", 6000, SHOW_AND_WAIT) as program:
        program.ready()
        gdb(jvm, ["gcore gcore.core"], pid=program.pid, front=False)
        own = plain(program.own_stack())
    stacks = whole_threads(jvm, jvm.folder / "gcore.core", "gcore's core")
    found = [plain(java_frames(stack)) for stack in stacks.values()]
    check(own in found, f"one thread's frames are those that the VM told: {own}")
    (jvm.folder / "gcore.core").unlink()


def reported_frames(report):
    """The Java frames below the crash in the VM's report: [(class, method)], without what was inlined."""
    part = re.search(r"^Native frames:.*?\n(.*?)\n(?:\n|Java frames)", report, re.MULTILINE | re.DOTALL).group(1)
    found = []
    for line in part.splitlines():
        interpreted = re.match(r"j\s+([\w.$/+]+)\.([\w$<>]+)\(", line)
        compiled = re.match(r"J\s+\d+%?\s*[!sbn]*\s*(?:c[12])?\s*(?:jvmci)?\s*([\w.$/+]+)\.([\w$<>]+)\(", line)
        if interpreted or compiled:
            found.append((interpreted or compiled).groups())
    return [(re.sub(r"[+/]0x.*", "", name), method) for name, method in found]


def is_subsequence(short, long):
    rest = iter(long)
    return all(each in rest for each in short)


def kernels_core(jvm):
    pattern = Path("/proc/sys/kernel/core_pattern").read_text().strip()
    if pattern.startswith("|") or "/" in pattern:
        return None, pattern
    with jvm.start("descend", 6000, SHOW_AND_CRASH, cores=True) as program:
        program.process.wait(120)
        cores = [path for path in jvm.folder.glob("*core*") if path.is_file()]
    return (program, cores[0]) if cores else (None, pattern)


def kernels(jvm):
    program, core = kernels_core(jvm)
    if program is None:
        note(f"cores: the kernel's core: not tried, it goes elsewhere on this machine (core_pattern: {core})")
        return
    report = next(jvm.folder.glob("hs_err*.log")).read_text()
    stacks = whole_threads(jvm, core, "the kernel's core")
    own = plain(program.own_stack())
    crashed = [stack for stack in stacks.values() if any("crash_at" in frame.text for frame in stack)]
    check_equal(len(crashed), 1, "the threads that crashed")
    check_equal(plain(java_frames(crashed[0])), own, "the crashed thread's frames and those that the VM told before")
    reported = reported_frames(report)
    check(len(reported) > 10, f"the VM's report tells of frames: {reported}")
    check(is_subsequence(reported, [(name, method) for name, method, _ in own]),
          f"the frames of the VM's report stand in the stack in their order: {reported} in {own}")
    core.unlink()


def case(jvm):
    gcores(jvm)
    kernels(jvm)
