"""Sixteen workers at one breakpoint: every method call is answered at every stop; one that blocks is ended by its limit."""
import re

from harness import check, check_equal, gdb, note

SHORT, LONG = 12, 1000


def case(jvm):
    stops = LONG if jvm.long else SHORT
    at_each = ["java continue", "java print item.number", "java call item.toString()"]
    with jvm.start_with_agent("Pool") as program:
        program.ready()
        texts = gdb(jvm, ["java attach", "java break Pool.serve", *at_each * stops, "java continue", "java call item.forever()",
                          "java status", "java delete J1", "java detach"], pid=program.pid, seconds=60 + 2 * stops)
        check("J1" in texts[1], f"java break: {texts[1]}")
        answered = 0
        for number in range(stops):
            hit, of_item, answer = texts[2 + 3 * number:5 + 3 * number]
            check("Java breakpoint J1, Pool.serve" in hit, f"stop {number}: {hit}")
            own = of_item.partition(" = ")[2]
            check(re.fullmatch(r"\d+", own), f"the item of stop {number}: {of_item}")
            check(answer.endswith(f' = "item {own}"'), f"toString() at stop {number}: {answer}")
            answered += 1
        blocked, status, _, detached = texts[3 + 3 * stops:]
        check("did not return within 5 seconds" in blocked, f"a method that blocks: {blocked}")
        check("everything can be asked" in status, f"the stop is there still: {status}")
        check_equal(detached.splitlines()[-1], "Detached.", "java detach")
        dump = program.thread_dump()
        check_equal(len(re.findall(r'^"worker-', dump, re.MULTILINE)), 16, "the workers that live on")
        check_equal(dump.count("at Pool$Item.forever"), 1, "the worker that still runs the method")
        check("Exception" not in program.text() and "fatal error" not in program.text(), f"nothing of it in the program: {program.text()}")
    note(f"pool: {answered} of {stops} calls answered beside 15 other workers")
