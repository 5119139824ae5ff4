"""How long it takes to attach to a program that runs. Runs inside gdb; `pid`: the program's process. Prints NAME=MICROSECONDS."""
import gdb

import session


def main(asked):
    gdb.execute(session.source(asked))
    session.timed("gdb-attach", f"attach {asked['pid']}")
    session.timed("attach", "java attach")
    gdb.execute("java detach")


main(session.request())
