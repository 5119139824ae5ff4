"""How long a user of gdb waits for the java commands."""
from .. import gdb
from ..beside import await_line, running
from ..jvm import LIMIT, Failed
from ..table import Goal, Table
from ..turns import alternate

NAME = "commands"
TITLE = "The java commands in gdb, a stop in 12 frames and 25 threads"
CLASSES = 200
ROWS = {"source": ("source gdb/quor.py", 150), "run": ("java run, to the stop before main", None),
        "gdb-attach": ("attach, gdb's own, to a program that runs", None), "attach": ("java attach then", 300),
        "prepare": ("a class prepared that nobody waits for", 1.5), "bt-first": ("java bt, first", 150),
        "bt-again": ("java bt, again", 60), "threads": ("java threads", 80), "deadlock": ("java deadlock", 200),
        "toString": ("java call item.toString(), first", 40), "toString-again": ("java call item.toString(), again", 40),
        "print": ("java print item.amount", None), "completion": ("completion", 100), "binding": ("java break, binding it", 10),
        "step": ("java step, a line", 30), "next": ("java next, a line", 30), "next-call": ("java next, over a call", 60)}
GOALS = [Goal("gdb-commands", "", limit, [title]) for title, limit in ROWS.values() if limit]


def attached(jvm):
    """To a program that waits for a line, and comes to its end afterwards."""
    with running(jvm.command("ours", "Commands", 1), env=jvm.environment("ours")) as program:
        await_line(program, "ready")
        found = gdb.run(jvm, "attach.py", pid=program.pid)
        output, _ = program.communicate("\n", timeout=LIMIT)
        if program.returncode != 0:
            raise Failed(f"the program that was attached to ends with {program.returncode}:\n{output}")
        return found


def one_session(jvm, count):
    """Milliseconds by the row's title."""
    found = {**gdb.run(jvm, "commands.py", count=count), **attached(jvm)}
    return {title: found[name] / 1000 for name, (title, _) in ROWS.items()}


def measure(jvm, effort):
    samples = alternate({"gdb-commands": lambda: one_session(jvm, effort.times(CLASSES, 20))}, effort.long_rounds)
    return [Table(NAME, TITLE, "ms", "command", samples, GOALS)]
