"""In gdb: asks the agent at stops that are no hooks, and tells whether all is as before. Prints lines of JSON."""
import os
import signal
import subprocess
import time

import gdb

from harness import tell
from interruption import interrupt
from quor.agent import access, calls, questions
from quor.errors import QuorError
from quor.hotspot import objects, vm

SETTINGS = ("unwindonsignal", "scheduler-locking", "print thread-events")


def surroundings():
    """What a question must not change, as text."""
    breakpoints = [(each.number, each.enabled, each.condition, each.hit_count) for each in gdb.breakpoints() or ()]
    return {"thread": gdb.selected_thread().num, "frame": gdb.selected_frame().level(),
            "registers": gdb.execute("info registers", to_string=True), "stack": gdb.execute("bt", to_string=True),
            "signal": gdb.execute("print $_siginfo", to_string=True).partition("=")[2],
            "settings": [str(gdb.parameter(name)) for name in SETTINGS], "breakpoints": breakpoints}


def ask():
    """How many methods a class has: a look-up and a list."""
    with questions.asking("the test"):
        return len(questions.methods(questions.class_by_name("java/lang/Runtime").handle))


def tell_answer():
    """The answer, or why there is none."""
    try:
        tell(ask())
    except QuorError as error:
        tell(str(error))


def asked(times):
    """Asks so many times at this stop."""
    before = surroundings()
    answers = [ask() for _ in range(times)]
    after = surroundings()
    tell({"answers": answers, "changed": {name: [before[name], after[name]] for name in before if before[name] != after[name]}})


def interrupted(times):
    """Asks at so many random interrupts."""
    gdb.execute("handle SIGINT stop print nopass", to_string=True)
    answers, refusals, slowest = [], [], 0
    for _ in range(times):
        interrupt()
        begin = time.monotonic()
        try:
            answers.append(ask())
        except QuorError as error:
            refusals.append(str(error))
        slowest = max(slowest, time.monotonic() - begin)
    tell({"answers": answers, "refusals": refusals, "slowest": slowest, "pid": os.getpid()})


def counter(class_name, field):
    """A static field, read from memory."""
    classes = objects.of(vm.required()).classes
    return classes.static(classes.find(class_name), field)


def counted(times, class_name="Shop", field="served"):
    """A program's counter at so many interrupts, before and after it ran for a moment."""
    found = [counter(class_name, field)]
    for _ in range(times):
        interrupt()
        found.append(counter(class_name, field))
    tell(found)


def counted_until_it_moves(most, class_name="Shop", field="served"):
    """The same, until the counter has changed: on a busy machine a moment may be too short for that."""
    found = [counter(class_name, field)]
    while len(found) <= most and found[-1] == found[0]:
        interrupt()
        found.append(counter(class_name, field))
    tell(found)


def sleep_too_long(seconds):
    """A call that does not come back in time."""
    try:
        with access.held():
            calls.sleep(seconds, limit=0.3)
    except QuorError as error:
        print(error)


def terminated_in_a_question():
    """gdb gets a SIGTERM while a function is called."""
    print("a question")
    gdb.flush()
    with questions.asking("the test"):
        child = subprocess.Popen(["sh", "-c", f"sleep 0.2; kill -TERM {os.getpid()}"])
        calls.sleep(1)
    child.wait()


def killed_in_a_question():
    """gdb is killed while the Java threads are held."""
    with questions.asking("the test"):
        os.kill(os.getpid(), signal.SIGKILL)


def end_in_a_question(status):
    """The process ends while it is asked."""
    try:
        with questions.asking("the test"):
            calls.call("(void (*)(int)) _exit", status)
    except QuorError as error:
        print(error)
