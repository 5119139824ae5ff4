"""`java break ... if` with a condition that is never true, on the program Stops. Runs inside gdb; `rows`: [THREADS:STOPS...]."""
import gdb

import session

CONDITION = "turn < 0"


def main(asked):
    gdb.execute(session.source(asked))
    gdb.execute(session.run(asked, "Stops outside -", *asked["rows"]))
    gdb.execute(f"java break Stops.reach if {CONDITION}")
    gdb.execute("java continue")
    gdb.execute("java info")
    if gdb.selected_inferior().pid:
        raise SystemExit("the program has not run to its end")


main(session.request())
