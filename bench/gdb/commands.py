"""How long the java commands take, on the program Commands. Runs inside gdb; `count`: classes that the program prepares. Prints
NAME=MICROSECONDS.
"""
import gdb

import session
from session import timed

DEPTH = 12
# After the stop in Commands.stand, in this order.
COMMANDS = (("bt-first", "java bt"), ("bt-again", "java bt"), ("threads", "java threads"), ("deadlock", "java deadlock"),
            ("toString", "java call item.toString()"), ("toString-again", "java call item.toString()"),
            ("print", "java print item.amount"), ("completion", "complete java break Comm"),
            ("binding", "java break Commands.main"), ("step", "java step"), ("next", "java next"), ("next-call", "java next"))


def check_stack(text):
    if text.count("Commands.descend") != DEPTH - 1 or "Commands.stand" not in text:
        raise SystemExit(f"not the stack of Commands.stand:\n{text}")


def main(asked):
    timed("source", session.source(asked))
    timed("run", session.run(asked, "Commands", asked["count"]))
    gdb.execute("java break Commands.stand")
    gdb.execute("java break Nowhere.never")
    gdb.execute("java continue")
    printed = {name: timed(name, command) for name, command in COMMANDS}
    check_stack(printed["bt-first"])
    check_stack(printed["bt-again"])
    gdb.execute("java delete all")
    gdb.execute("java continue")


main(session.request())
