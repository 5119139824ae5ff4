#!/usr/bin/env python3
"""Prints what the agent costs and how fast its event road is, on a real JVM. Figures only: nothing here passes or fails on time.

usage: figures.py JAVA JAVAC AGENT_DIR WORK_DIR
"""
import json
import os
import subprocess
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
E2E = HERE.parent / "tests" / "e2e"
JDK = "with the JDK's agent"
RUNS = 7
JDKS_AGENT = "-agentlib:jdwp=transport=dt_socket,server=y,suspend=n,address=127.0.0.1:0"


def run(java, classes, agent_dir, agent, *arguments):
    """Runs a program; its output and the seconds that it took."""
    environment = dict(os.environ, LD_LIBRARY_PATH=agent_dir)
    begin = time.monotonic()
    ran = subprocess.run([java, "-Xmx64m", *agent, "-cp", classes, *arguments], env=environment, check=True,
                         stdout=subprocess.PIPE, text=True)
    return ran.stdout, time.monotonic() - begin


def best(measures):
    """The least of some runs of each measure, taken in turn, so that what else goes on in the machine meets all alike."""
    rounds = [[measure() for measure in measures] for _ in range(RUNS)]
    return [min(column) for column in zip(*rounds)]


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
    subprocess.run([javac, "--release", "17", "-g", "-d", classes, HERE / "Busy.java", HERE / "Throws.java",
                    E2E / "programs" / "Load.java"],
                   check=True)
    def milliseconds(agent, *arguments):
        return lambda: 1000 * run(java, str(classes), agent_dir, agent, *arguments)[1]

    def told(agent, *arguments):  # by the program itself
        return lambda: int(run(java, str(classes), agent_dir, agent, *arguments)[0].split()[-1])

    rows = [("start-up and end of an empty program", "ms", milliseconds, ("Busy",)),
            ("a second's work, 200 threads started", "ms", milliseconds, ("Busy", "200000")),
            ("an exception with its stack, thrown, caught", "ns", told, ("Throws", "200000", "fresh")),
            ("one that is kept, without a stack", "ns", told, ("Throws", "200000", "kept"))]
    print(f"{'':44}{'without':>10}{'with agent':>14}{JDK:>23}")
    for title, unit, measure, arguments in rows:
        figures = best([measure(agent, *arguments) for agent in ((), ("-agentlib:quor_agent",), (JDKS_AGENT,))])
        print(f"{title:44}{figures[0]:7.0f} {unit}{figures[1]:11.0f} {unit}{figures[2]:20.0f} {unit}", flush=True)
    print(f"stops at hook_bpt that gdb counts, 8 threads{stops(java, str(classes), agent_dir, work):8} a second")


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
