"""gdb at the hook: counts the stops of the program Stops and goes on. Runs inside gdb.

The file `request.json` in the current folder says how: {"rows": [THREADS:STOPS...]}. Leaves the program's output in program.out.
"""
import json

import gdb

import quor_gdb
import quor_java as java

FIGURE_SECONDS = 240


class Counting(gdb.Breakpoint):
    """Decides in Python, at each stop, that nobody needs to see it."""
    stops = 0

    def stop(self):
        Counting.stops += 1
        return False


def main(rows):
    quor_gdb.prepare()
    quor_gdb.start("Stops", "outside", "-", *rows)
    quor_gdb.check_equal(quor_gdb.call("agent_attach_jquor", 0), 0, "agent_attach_jquor")
    java.set_breakpoint(java.prepared("Stops"), "reach")
    Counting("hook_bpt")
    with quor_gdb.limit(FIGURE_SECONDS, "the stops"):
        gdb.execute("continue", to_string=True)
    quor_gdb.check_equal(quor_gdb.Process.exit_status, 0, "the program's exit status")
    quor_gdb.check(Counting.stops >= sum(int(row.split(":")[1]) for row in rows), "every stop was seen")


with open("request.json", encoding="utf-8") as request:
    main(json.load(request)["rows"])
