"""Running the bench's programs on a JVM, with this or that agent."""
import os
import re
import subprocess
from dataclasses import dataclass
from pathlib import Path

LIMIT = 300  # seconds for one run
COMMON = ["-Xmx64m", "-XX:-UsePerfData"]


class Failed(Exception):
    """A run that gave no figures. The text says which, and why."""


@dataclass
class Jvm:
    """A JVM, and where the things lie that were built for its width. client_java: a java whose JDK has the JDI, or none."""
    java: str
    build: Path
    client_java: str
    name: str = ""
    version: str = ""

    @property
    def major(self):
        return int(self.version.split(".")[0].split("+")[0])

    @property
    def classes(self):
        return self.build / "bench" / "classes"

    @property
    def work(self):
        folder = self.build / "bench" / "work"
        folder.mkdir(parents=True, exist_ok=True)
        return folder

    @property
    def agents(self):
        """What a program can be run with, to compare: the light agent only if this build has it."""
        has_light = b"__QUOR_LIGHT" in (self.build / "libquor_agent.so").read_bytes()
        return ["plain", "ours", *(["light"] if has_light else []), "jdk"]

    def library(self, name):
        return str(self.build / "bench" / f"lib{name}.so")

    def options(self, agent):
        return {"plain": [], "ours": ["-agentlib:quor_agent"], "light": ["-agentlib:quor_agent"],
                "floor": ["-agentpath:" + self.library("bench_floor")],
                "jdk": ["-agentlib:jdwp=transport=dt_socket,server=y,suspend=n,address=127.0.0.1:0"]}[agent]

    def environment(self, agent):
        light = {"__QUOR_LIGHT": "1"} if agent == "light" else {}
        return {**os.environ, "LD_LIBRARY_PATH": str(self.build), **light}

    def command(self, agent, program, *arguments, options=()):
        return [self.java, *COMMON, *options, *self.options(agent), "-cp", str(self.classes), program, *map(str, arguments)]

    def run(self, agent, program, *arguments, options=()):
        """The figures that the program prints."""
        return figures(output_of(self.command(agent, program, *arguments, options=options), self.environment(agent), self.work))


def output_of(command, environment=None, folder=None):
    try:
        ran = subprocess.run(list(map(str, command)), env=environment, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, text=True, timeout=LIMIT, check=False)
    except subprocess.TimeoutExpired as late:
        raise Failed(f"not within {LIMIT} seconds: {' '.join(map(str, command))}") from late
    if ran.returncode != 0:
        raise Failed(f"exit status {ran.returncode}: {' '.join(map(str, command))}\n{ran.stdout[-2000:]}{ran.stderr[-2000:]}")
    return ran.stdout


def figures(output):
    """The lines NAME=NUMBER of a program's output."""
    return {name: int(value) for name, value in re.findall(r"^([\w.-]+)=(-?\d+)$", output, re.MULTILINE)}
