#!/usr/bin/env python3
"""Prints what the agent costs and how fast its event road is, on a real JVM. Figures only: nothing here passes or fails on time.

usage: figures.py JAVA JAVAC AGENT_DIR WORK_DIR
"""
import json
import os
import statistics
import subprocess
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
E2E = HERE.parent / "tests" / "e2e"
RUNS = 7
JDKS_AGENT = "-agentlib:jdwp=transport=dt_socket,server=y,suspend=n,address=127.0.0.1:0"


def seconds(java, classes, agent_dir, with_agent, *arguments):
    """The median of some runs of Busy."""
    agent = ["-agentlib:quor_agent"] if with_agent else []
    environment = dict(os.environ, LD_LIBRARY_PATH=agent_dir)
    times = []
    for _ in range(RUNS):
        begin = time.monotonic()
        subprocess.run([java, "-Xmx64m", *agent, "-cp", classes, "Busy", *arguments], env=environment, check=True,
                       stdout=subprocess.DEVNULL)
        times.append(time.monotonic() - begin)
    return statistics.median(times)


def throw_nanoseconds(java, classes, agent_dir, kind, *agent):
    """The median of some runs of Throws."""
    environment = dict(os.environ, LD_LIBRARY_PATH=agent_dir)
    return statistics.median(
        int(subprocess.run([java, "-Xmx64m", *agent, "-cp", classes, "Throws", "200000", kind], env=environment, check=True,
                           stdout=subprocess.PIPE, text=True).stdout.split()[-1]) for _ in range(RUNS))


def stops(java, classes, agent_dir, work):
    config = {"java": java, "options": [], "agent_dir": agent_dir, "classes": classes, "output": "program.out",
              "errors": "program.err"}
    environment = dict(os.environ, QUOR_E2E=json.dumps(config), PYTHONPATH=str(E2E), PYTHONDONTWRITEBYTECODE="1")
    with open(work / "gdb.log", "wb") as log:
        subprocess.run(["gdb", "--batch", "-nx", "-q", "-ex", f"python import sys; sys.path.insert(0, {str(E2E)!r})",
                        "-x", str(HERE / "stops.py")], cwd=work, env=environment, stdin=subprocess.DEVNULL, stdout=log,
                       stderr=subprocess.STDOUT, check=True, timeout=600)
    return int((work / "stops").read_text())


def main(java, javac, agent_dir, work):
    work = Path(work).resolve()
    classes = work / "classes"
    classes.mkdir(parents=True, exist_ok=True)
    subprocess.run([javac, "--release", "17", "-g", "-d", classes, HERE / "Busy.java", HERE / "Throws.java", E2E / "programs" / "Load.java"],
                   check=True)
    rows = [("start-up and end of an empty program", ()), ("a second's work, 200 threads started", ("200000",))]
    print(f"{'':44}{'without':>10}{'with agent':>12}")
    for title, arguments in rows:
        plain = seconds(java, str(classes), agent_dir, False, *arguments)
        loaded = seconds(java, str(classes), agent_dir, True, *arguments)
        print(f"{title:44}{1000 * plain:8.0f} ms{1000 * loaded:9.0f} ms", flush=True)
    agents = ((), ("-agentlib:quor_agent",), (JDKS_AGENT,))
    for title, kind in (("an exception with its stack, thrown, caught", "fresh"), ("one that is kept, without a stack", "kept")):
        plain, loaded, other = (throw_nanoseconds(java, str(classes), agent_dir, kind, *agent) for agent in agents)
        print(f"{title:44}{plain:8.0f} ns{loaded:9.0f} ns   (with the JDK's own debug agent {other:.0f} ns)", flush=True)
    print(f"stops at hook_bpt that gdb counts, 8 threads{stops(java, str(classes), agent_dir, work):8} a second")


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
