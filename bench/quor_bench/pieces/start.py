"""A program of one line, from its start to its end, timed as a process."""
import time

from ..jvm import output_of
from ..table import Goal, Table
from ..turns import alternate

NAME = "start"
TITLE = "Start to end of a program of one line"
TURNS = 3  # a run takes the least of them
GOALS = [Goal("ours", "plain", 1.1), Goal("ours", "jdk", 1)]


def milliseconds(jvm, agent):
    command, environment = jvm.command(agent, "Hello"), jvm.environment(agent)
    taken = []
    for _ in range(TURNS):
        begin = time.monotonic()
        output_of(command, environment, jvm.work)
        taken.append(1000 * (time.monotonic() - begin))
    return {"start to end": min(taken)}


def measure(jvm, effort):
    measures = {agent: (lambda agent=agent: milliseconds(jvm, agent)) for agent in jvm.agents}
    return [Table(NAME, TITLE, "ms", "", alternate(measures, effort.rounds), GOALS)]
