"""gdb at the hook: counts the stops of the program Stops and goes on. Runs inside gdb; `rows`: [THREADS:STOPS...]."""
import gdb

import session

FIGURE_SECONDS = 240


class Counting(gdb.Breakpoint):
    """Decides in Python, at each stop, that nobody needs to see it."""
    stops = 0

    def stop(self):
        Counting.stops += 1
        return False


def set_breakpoint():
    """In Stops.reach, in the VM alone: the java command would look at each stop itself."""
    from quor.agent import hooks, questions  # which session.source has made importable

    (clazz,) = questions.classes_named("LStops;")
    (method,) = [each.id for each in questions.methods(clazz) if each.name == "reach"]
    questions.ask("agent_set_breakpoint", clazz, method, 0)
    hooks.ignore_all()


def run_to_end():
    from quor.agent.limit import Limit

    with Limit(FIGURE_SECONDS):
        gdb.execute("continue", to_string=True)
    if gdb.selected_inferior().pid:
        raise SystemExit("the program has not run to its end")


def main(asked):
    gdb.execute(session.source(asked))
    gdb.execute(session.run(asked, "Stops outside -", *asked["rows"]))
    gdb.execute("java tbreak Stops.main")
    gdb.execute("java continue")
    set_breakpoint()
    Counting("hook_bpt")
    run_to_end()
    if int(gdb.parse_and_eval("$_exitcode")) != 0:
        raise SystemExit("the program has failed")
    if Counting.stops < sum(int(row.split(":")[1]) for row in asked["rows"]):
        raise SystemExit("not every stop was seen")


main(session.request())
