"""Every java command in every state answers: in one line when it cannot, never with an error of its own, and nothing is left changed.
The table of command, state and answer goes to answers.txt beside the case's folder."""
import re

from harness import check, check_equal, gdb, note

# What is typed for each command; those that let the program run are tried where they cannot.
SAMPLES = {
    "status": "", "settings": "", "bt": "2", "frame": "", "up": "", "down": "", "list": "Shop:3", "sourcepath": "", "locals": "",
    "print": "Shop.closed", "call": "Shop.serve(null, 0)", "set": "Shop.served = 1", "dump": "Shop.closed", "threads": "",
    "thread": "main", "threadgroups": "", "classes": "^Shop$", "class": "Shop", "methods": "Shop", "fields": "Shop", "monitors": "",
    "locks": "", "deadlock": "", "symbols": "", "break": "Shop:26", "tbreak": "Shop.clerk", "catch": "java.lang.Error",
    "watch": "Shop.closed", "rwatch": "Shop.closed", "awatch": "Shop.closed", "trace": "Shop.serve", "info": "", "disable": "J1",
    "enable": "J1", "condition": "J1 each == 3", "ignore": "J1 2", "commands": "J1 java bt", "skip": "", "interrupt": "nobody",
    "stop": "nobody java.lang.Error", "suspend": "nobody", "resume": "nobody", "pop": "", "abort": "", "delete": "J1",
}
RUNNING = ("run", "attach", "detach", "continue", "step", "next", "stepi", "finish", "until")
LONGEST = 200  # characters of a line that says why not
WRONG = re.compile(r"failed inside|Traceback|Python Exception|Error occurred in Python")


def typed():
    return [f"java {name} {arguments}".rstrip() for name, arguments in SAMPLES.items()]


def check_answers(state, answers, table):
    for command, answer in zip(typed(), answers):
        check(not WRONG.search(answer), f"{command} in state {state}: {answer}")
        first = answer.splitlines()[0] if answer else "(nothing)"
        table.append(f"{command:<40} {state:<12} {first[:100]}")


def check_refused(answers, names, state, table):
    for name, answer in zip(names, answers):
        check(answer and "\n" not in answer and len(answer) < LONGEST, f"java {name} in state {state} answers in a line: {answer}")
        table.append(f"{'java ' + name:<40} {state:<12} {answer[:100]}")


def all_are_tried(jvm):
    listed = gdb(jvm, ["java"])[0]
    names = set(re.findall(r"^  java (\S+) ", listed, re.MULTILINE))
    check_equal(names - set(SAMPLES) - set(RUNNING), set(), "the commands that the list has and this case does not")
    helps = gdb(jvm, [f"help java {name}" for name in sorted(names)])
    for name, text in zip(sorted(names), helps):
        check(f"Usage: java {name}" in text, f"help java {name} has its usage: {text}")


def case(jvm):
    table = []
    all_are_tried(jvm)
    answers = gdb(jvm, [*typed(), "java continue", "java step", "java finish"])
    check_answers("none", answers, table)
    check_refused(answers[len(SAMPLES):], ("continue", "step", "finish"), "none", table)
    with jvm.start_with_agent("Shop", 120000) as program:
        program.ready()
        answers = gdb(jvm, [*typed(), "gcore answers.core", "java delete J1"], pid=program.pid, seconds=120)
        check_answers("loaded", answers, table)
        answers = gdb(jvm, ["java attach", *typed(), "java finish", "java detach"], pid=program.pid, seconds=120)
        check_answers("hook", answers[1:], table)
        check_equal(answers[-1], "Detached.", "java detach at the end")
        answers = gdb(jvm, ["java attach", "tbreak sched_yield", "java continue", *typed(), "java detach"], pid=program.pid, seconds=120)
        check_answers("native", answers[3:], table)
        check(answers[-1].endswith("Detached."), f"java detach at the end: {answers[-1]}")
        check("clerk" in program.thread_dump(), "the program lives after all that")
    answers = gdb(jvm, [*typed(), "java continue"], core=jvm.folder / "answers.core", arguments=[jvm.java], seconds=120)
    check_answers("core", answers, table)
    check(not list(jvm.folder.glob("hs_err*")), "no error file of the VM")
    (jvm.folder.parent / f"answers-{jvm.name}.txt").write_text("\n".join(table) + "\n")
    note(f"answers: {len(table)} rows")
