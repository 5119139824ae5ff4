"""Events that are shown to the debugger, each a stop of its own, and classes prepared one after the other."""
from .. import jdi
from ..jvm import Failed
from ..table import Goal, Table
from ..turns import alternate

NAME = "events"
TITLE = "Events that are delivered"
TIMES = {"exception": 3000, "entry": 3000, "prepare": 10000}
ROWS = {"exception": "exception thrown and caught", "entry": "method entered", "prepare": "class of 10,000 prepared"}
GOALS = [Goal("ours", "jdk", 1)]


def plain(jvm, what, times):
    return jvm.run("plain", "Events", what, "loaded", "-", times)


def ours(jvm, what, times):
    return jvm.run("ours", "Events", what, "inside", jvm.library("bench_inside"), times)


def jdks(jvm, what, times):
    found = jdi.run(jvm, "Events", [what, "outside", "-", times], what)
    if found["events"] < times:
        raise Failed(f"the JDK's agent shows {found['events']} of {times} events: {what}")
    return found


def all_events(run, jvm, effort):
    """Microseconds each."""
    return {title: run(jvm, what, effort.times(TIMES[what], 10))[what] / 1000 for what, title in ROWS.items()}


def measure(jvm, effort):
    runs = {"plain": plain, "ours": ours, **({"jdk": jdks} if jvm.client_java else {})}
    measures = {kind: (lambda run=run: all_events(run, jvm, effort)) for kind, run in runs.items()}
    return [Table(NAME, TITLE, "µs", "event", alternate(measures, effort.long_rounds), GOALS)]
