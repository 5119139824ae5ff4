"""The stop round trip: from a breakpoint in a Java thread to the hook and back, all other threads suspended meanwhile."""
from .. import awake, gdb, jdi
from ..jvm import Failed, figures, output_of
from ..table import Goal, Table
from ..turns import alternate

NAME = "stops"
TITLE = "Stop round trip"
STOPS = {0: 2000, 100: 1000, 1000: 150}  # by the number of further threads
METHOD = "reach"
LEAST = 1  # microseconds: nothing that changes threads twice takes less
GOALS = [Goal("ours", "floor", 1.3, ["0"]), Goal("ours", "floor", 1.1, ["100", "1000"]), Goal("ours", "jdk", 0.15, ["0"]),
         Goal("ours", "jdk", 0.35, ["100"]), Goal("ours", "jdk", 0.5, ["1000"]), Goal("ptrace", "jdk", 1)]


def schedule(effort, part=1):
    return [f"{threads}:{effort.times(stops // part, 5)}" for threads, stops in STOPS.items() if threads <= effort.threads]


def by_threads(found):
    """{number of threads: microseconds} of what the program printed."""
    stops = {name.split(".")[1]: value / 1000 for name, value in found.items() if name.startswith("stop.")}
    if not stops or min(stops.values()) < LEAST:
        raise Failed(f"the program was not stopped: {stops}")
    return stops


def floor(jvm, rows):
    return jvm.run("floor", "Stops", "floor", jvm.library("bench_floor"), *rows)


def ours(jvm, rows):
    return jvm.run("ours", "Stops", "inside", jvm.library("bench_inside"), *rows)


def jdks(jvm, rows):
    return jdi.run(jvm, "Stops", ["outside", "-", *rows], "breakpoint", METHOD)


def ptrace(jvm, rows):
    command = [jvm.build / "bench" / "bench_debugger", jvm.java, jvm.build, jvm.classes, jvm.work, *rows]
    return figures(output_of(command, folder=jvm.work))


def with_gdb(jvm, rows):
    return gdb.run(jvm, "count_stops.py", rows=rows)


def with_condition(jvm, rows):
    return gdb.run(jvm, "break_if.py", rows=rows)


def agents(jvm):
    """{kind: (function, which part of the stops)}"""
    return {"floor": (floor, 1), "ours": (ours, 1), "ptrace": (ptrace, 1), **({"jdk": (jdks, 1)} if jvm.client_java else {})}


def runs(jvm, effort):
    """With gdb, which stops every thread of the process one by one."""
    return {**agents(jvm), **({"gdb": (with_gdb, 10), "gdb-if": (with_condition, 20)} if effort.threads > 100 else {})}


def by_turns(jvm, effort, kinds):
    return alternate({kind: (lambda run=run, part=part: by_threads(run(jvm, schedule(effort, part))))
                      for kind, (run, part) in kinds.items()}, effort.rounds)


def measure(jvm, effort):
    notes = [] if jvm.client_java else ["no JDK with the JDI here: the JDK's agent is not measured"]
    asleep = by_turns(jvm, effort, runs(jvm, effort))
    with awake.processors():
        kept_awake = by_turns(jvm, effort, agents(jvm))
    return [Table(NAME, TITLE, "µs", "more threads", asleep, GOALS, notes),
            Table(f"{NAME}.awake", f"{TITLE}, the processors kept awake", "µs", "more threads", kept_awake, GOALS, notes)]
