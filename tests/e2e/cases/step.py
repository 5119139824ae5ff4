"""Single steps through a method: each location in turn, on the line that the line number table names."""
import java
from checks import check, check_equal
from program import attach_java_mode, start
from quor.agent import questions
from stops import expect_exit, run_to
from surroundings import output


def case():
    start("Tour")
    attach_java_mode()
    clazz = java.prepared("Tour")
    work = java.set_breakpoint(clazz, "work")
    stop = run_to("hook_bpt")
    thread = stop.part("breakpoint")["thread"]
    table = questions.lines(clazz, work)
    first_line = table[0][1]
    java.enable_event("SINGLE_STEP", 1, thread)

    seen = []
    stop = run_to("hook_step")
    while int(stop.part("single_step")["method"]) == int(work):
        place = stop.part("single_step")
        stop.check_kind("SINGLE_STEP")
        check_equal(int(place["thread"]), int(thread), "the thread")
        check_equal(int(place["clazz"]), int(clazz), "the class")
        seen.append(int(place["location"]))
        stop = run_to("hook_step")
    check_equal(seen[0], 1, "the first step is at the instruction after the breakpoint's, which takes one byte")
    check_equal(seen, sorted(set(seen)), "the locations rise one by one")
    reached = sorted({questions.line_at(table, location) - first_line for location in seen})
    check_equal(reached, [0, 1, 2], "the lines that steps reach, counted from the method's first")
    check(int(stop.part("single_step")["method"]) == java.method(clazz, "main"), "the next step is in the caller")

    java.enable_event("SINGLE_STEP", 0, thread)
    expect_exit(3, never=("hook_step",))
    check_equal(output(), "42\nOther\nExpected\n", "the program's output")
