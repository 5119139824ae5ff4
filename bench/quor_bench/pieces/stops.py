"""The stop round trip: from a breakpoint in a Java thread to the hook and back, all other threads suspended meanwhile."""
from .. import jdi
from ..jvm import figures, output_of
from ..table import Goal, Table
from ..turns import alternate

NAME = "stops"
TITLE = "Stop round trip"
STOPS = {0: 2000, 100: 1000, 1000: 150}  # by the number of further threads
METHOD = "reach"
GOALS = [Goal("ours", "floor", 1.3, ["0"]), Goal("ours", "floor", 1.1, ["100", "1000"]), Goal("ours", "jdk", 0.15, ["0"]),
         Goal("ours", "jdk", 0.35, ["100"]), Goal("ours", "jdk", 0.5, ["1000"]), Goal("ptrace", "jdk", 1)]


def schedule(effort):
    return [f"{threads}:{effort.times(stops, 5)}" for threads, stops in STOPS.items() if threads <= effort.threads]


def by_threads(found):
    """{number of threads: microseconds} of what the program printed."""
    return {name.split(".")[1]: value / 1000 for name, value in found.items() if name.startswith("stop.")}


def floor(jvm, rows):
    return jvm.run("floor", "Stops", "floor", jvm.library("bench_floor"), *rows)


def ours(jvm, rows):
    return jvm.run("ours", "Stops", "inside", jvm.library("bench_inside"), *rows)


def jdks(jvm, rows):
    return jdi.run(jvm, "Stops", ["outside", "-", *rows], "breakpoint", METHOD)


def ptrace(jvm, rows):
    command = [jvm.build / "bench" / "bench_debugger", jvm.java, jvm.build, jvm.classes, jvm.work, *rows]
    return figures(output_of(command, folder=jvm.work))


def runs(jvm):
    kinds = {"floor": floor, "ours": ours, "ptrace": ptrace}
    return {**kinds, "jdk": jdks} if jvm.client_java else kinds


def measure(jvm, effort):
    rows = schedule(effort)
    measures = {kind: (lambda run=run: by_threads(run(jvm, rows))) for kind, run in runs(jvm).items()}
    notes = [] if jvm.client_java else ["no JDK with the JDI here: the JDK's agent is not measured"]
    return [Table(NAME, TITLE, "µs", "more threads", alternate(measures, effort.rounds), GOALS, notes)]
