"""What a program's work costs with an agent: loaded, and attached with nothing set."""
from .. import jdi
from ..table import Goal, Table
from ..turns import alternate

NAME = "running"
TITLE = "Running with the agent"
ROWS = {"compute": "compute", "allocation": "allocation", "exceptions": "5,000 exceptions through 5 frames",
        "threads": "200 threads started and joined", "virtual": "10,000 virtual threads"}
TURNS = 5
FREE = [ROWS["compute"], ROWS["allocation"]]
GOALS = [Goal("ours", "plain", 1.02, FREE), Goal("light", "plain", 1.02, FREE),
         Goal("light", "plain", 1.05, [ROWS["exceptions"]]), Goal("ours", "jdk", 1)]


def named(found):
    """Milliseconds by the row's title; a VM without virtual threads tells nothing of them."""
    return {title: found[name] / 1000 for name, title in ROWS.items() if name in found}


def loaded(jvm, agent, turns):
    return named(jvm.run(agent, "Running", "loaded", "-", turns))


def attached(jvm, agent, turns):
    if agent == "jdk":
        return named(jdi.run(jvm, "Running", ["outside", "-", turns], "nothing"))
    return named(jvm.run(agent, "Running", "inside", jvm.library("bench_inside"), turns))


def measures_of(jvm, turns):
    """By (state, agent)."""
    measures = {("loaded", agent): (lambda agent=agent: loaded(jvm, agent, turns)) for agent in jvm.agents}
    measures.update({("attached", agent): (lambda agent=agent: attached(jvm, agent, turns)) for agent in jvm.agents
                     if agent != "plain" and (agent != "jdk" or jvm.client_java)})
    return measures


def rows_of(samples, state):
    """Those of one state, beside the plain program's."""
    return {row: {agent: values for (its_state, agent), values in kinds.items() if its_state == state or agent == "plain"}
            for row, kinds in samples.items()}


def measure(jvm, effort):
    samples = alternate(measures_of(jvm, effort.times(TURNS, 1)), effort.rounds if effort.share == 1 else effort.long_rounds)
    return [Table(f"{NAME}.{state}", title, "ms", "work", rows_of(samples, state), GOALS)
            for state, title in (("loaded", "The agent loaded"), ("attached", "A debugger attached, nothing set"))]
