"""Attaching to a program with many classes: how long it stands, how long the call takes, what it needs."""
from .. import jdi
from ..table import Goal, Table
from ..turns import alternate

NAME = "seeding"
TITLE = "Attaching to a program with many classes"
CLASSES = (500, 5000, 20000)
FIGURES = {"stands": ("The program stands while a debugger attaches", "ms", 1000),
           "call": ("The call that attaches", "ms", 1000), "memory": ("Memory that attaching needs", "MB", 1024)}
GOALS = {"stands": [Goal("ours", "", 100)], "call": [], "memory": []}
NOTES = {"stands": ["the JDK's agent: attach, suspend, list all classes, resume"]}


def ours(jvm, classes):
    return jvm.run("ours", "Seeding", "inside", jvm.library("bench_inside"), classes)


def jdks(jvm, classes):
    return jdi.run(jvm, "Seeding", ["outside", "-", classes], "classes")


def of_all_sizes(run, jvm, sizes):
    """By (figure, size)."""
    return {(figure, f"{classes:,}"): value for classes in sizes for figure, value in run(jvm, classes).items()}


def rows_of(samples, figure, unit):
    return {size: {kind: [value / unit for value in values] for kind, values in kinds.items()}
            for (its_figure, size), kinds in samples.items() if its_figure == figure}


def measure(jvm, effort):
    sizes = CLASSES if effort.share == 1 else CLASSES[:1]
    runs = {"ours": ours, **({"jdk": jdks} if jvm.client_java else {})}
    samples = alternate({kind: (lambda run=run: of_all_sizes(run, jvm, sizes)) for kind, run in runs.items()}, effort.long_rounds)
    return [Table(f"{NAME}.{figure}", title, unit, "classes made", rows_of(samples, figure, divisor), GOALS[figure],
                  NOTES.get(figure, [])) for figure, (title, unit, divisor) in FIGURES.items()]
