"""What a debugger asks at a stop, through the agent's entry points, in the process."""
from ..table import Table
from ..turns import alternate

NAME = "queries"
TITLE = "Questions at a stop, 1,000 threads and 100,000 objects"
ENTRY_POINTS = ("threadinfo", "framecount", "currentframe", "owned_monitorinfo", "objarray_element.new", "objarray_element.known",
                "objectclass", "field_int", "field_object", "stringvalue", "class", "classmethods", "linenumbertable")
WORDS = {"objarray_element.new": "agent_get_objarray_element, an object without a handle",
         "objarray_element.known": "agent_get_objarray_element, one that has its handle"}


def title(name):
    return WORDS.get(name, f"agent_get_{name}")


def ask(jvm, threads, count):
    found = jvm.run("ours", "Queries", jvm.library("bench_inside"), threads, count, count)
    return {title(name): found[name] / 1000 for name in ENTRY_POINTS}


def measure(jvm, effort):
    count = effort.times(100_000, 100)
    samples = alternate({"ours": lambda: ask(jvm, effort.threads, count)}, effort.long_rounds)
    return [Table(NAME, TITLE, "µs", "question", samples)]
