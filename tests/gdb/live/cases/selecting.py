"""frame, up, down, info frame and finish through Java frames leave registers right: what they told of a caller is what the
processor holds when it is back there, and native frames between Java parts show their arguments and locals."""
import re

from harness import check, check_equal, frames, gdb, note

ANNOUNCE_UNTIL_TOLD = 10
MODES = {"interpreter": (["-Xint"], 3), "compiled": (["-Xcomp"], 20)}
THREAD = "python [t.switch() for t in gdb.selected_inferior().threads() if t.name == 'descender']"
STAND = ("tbreak usleep", "continue")  # the same place in both runs of gdb: attaching wakes a sleeper
CALLEE_SAVED = {8: ("rbx", "r12", "r13", "r14", "r15"), 4: ("ebx", "esi", "edi")}


class Session:
    """The commands of one gdb, gathered; each is given a name by which its text is found afterwards."""

    def __init__(self):
        self.commands, self._names, self.texts = [], {}, []

    def add(self, name, *commands):
        """The text of the last command gets the name."""
        self.commands += commands
        self._names[name] = len(self.commands) - 1

    def run(self, jvm, program):
        self.texts = gdb(jvm, self.commands, pid=program.pid)

    def __getitem__(self, name):
        return self.texts[self._names[name]]


def values(registers):
    return "printf \"" + " ".join(["%#lx"] * len(registers)) + "\\n\"" + "".join(f", (unsigned long)${each}" for each in registers)


def last_line(text):
    return text.splitlines()[-1]


def first_of(stack, number):
    """The innermost method of a physical frame."""
    return next(frame for frame in stack if frame.number == number)


def numbers(stack, function):
    return [frame.number for frame in stack if function in frame.function]


def ask_native_frames(session, stack):
    for number in numbers(stack, "::callback("):
        session.add(f"native {number}", f"frame {number}")
        session.add(f"depth {number}", "output depth")
        session.add(f"method {number}", "output take")
        session.add(f"env {number}", "output env")
    session.add("env", f"frame {numbers(stack, 'Java_Descent_bottom')[0]}", "output env")


def check_native_frames(session, stack):
    found = numbers(stack, "::callback(")
    check_equal([session[f"depth {number}"] for number in found], ["1", "2", "3", "4"], "the argument depth of each native frame")
    check_equal({session[f"env {number}"] for number in found}, {session["env"]}, "the argument env, of one thread")
    check(re.search(r"\) 0x[0-9a-f]{5,}", session["env"]), f"env is a pointer: {session['env']}")
    methods = {session[f"method {number}"] for number in found}
    check(len(methods) == 1 and re.search(r"\) 0x[0-9a-f]{5,}", methods.pop()), f"the local take, of one method: {methods}")
    for number in found:
        check("depth=" in session[f"native {number}"], f"frame {number} shows its arguments: {session[f'native {number}']}")


def ask_up_and_down(session, bottom):
    session.add("up", f"frame {bottom}", "up")
    session.add("info", "info frame")
    session.add("next pc", "up", values(["pc"]))
    session.add("down", "down")
    session.add("end", "down", "output end")


def check_up_and_down(session):
    for way in ("up", "down"):
        check_equal(last_line(session[way]).strip(), "Descent.bottom(int) <native>", f"{way} shows the Java frame's name")
    saved = re.search(r"saved [er]ip = (0x[0-9a-f]+)", session["info"])
    check(saved, f"info frame tells the caller's pc: {session['info']}")
    check_equal(saved.group(1), last_line(session["next pc"]), "the caller's pc of info frame and of up")
    check_equal(session["end"], str(ANNOUNCE_UNTIL_TOLD), "the argument end, back in native code")


def finishing(session, steps, saved):
    """From native code to its wrapper, on to the Java caller and its caller, then out of the call stub to native code."""
    here = 0
    for number in steps:
        registers = ["pc", "sp", *(saved if number == steps[-1] else ())]
        session.add(f"told {number}", f"frame {number - here + 1}", values(registers))
        session.add(f"finish {number}", f"frame {number - here}", "finish")
        session.add(f"is {number}", values(registers))
        here = number + 1
        session.add(f"bt {number}", "bt 1")


def check_finish(session, stack, steps):
    for number in steps:
        check_equal(last_line(session[f"is {number}"]), last_line(session[f"told {number}"]),
                    f"pc, sp and saved registers after leaving frame {number}, and as told before")
        check_equal(first_of(frames(session[f"bt {number}"]), 0).function, first_of(stack, number + 1).function,
                    f"the frame after leaving frame {number}")


def one(jvm, mode, options, rounds):
    with jvm.start("descend", rounds, ANNOUNCE_UNTIL_TOLD, options=options) as program:
        program.ready()
        stack = frames(gdb(jvm, [*STAND, THREAD, "bt"], pid=program.pid)[-1])
        bottom = numbers(stack, "Java_Descent_bottom(")[0]
        stub = numbers(stack, "<call stub>")[0]
        session = Session()
        session.add("thread", *STAND, THREAD)
        ask_native_frames(session, stack)
        ask_up_and_down(session, bottom)
        session.add("go on", "set var mix_go_on = 1")
        steps = [bottom, bottom + 1, bottom + 2, stub]
        finishing(session, steps, CALLEE_SAVED[jvm.word_size])
        session.add("depths", "python frame = gdb.newest_frame()",
                    "python while 'callback' not in (frame.name() or ''): frame = frame.older()",
                    "python print(frame.read_var('depth'))")
        session.run(jvm, program)
    check_native_frames(session, stack)
    check_up_and_down(session)
    check(f"= {ANNOUNCE_UNTIL_TOLD}" in session[f"finish {bottom}"], f"what native code gave: {session[f'finish {bottom}']}")
    check_finish(session, stack, steps)
    check_equal(session["depths"], "1", "the depth of the native frame that goes on")
    note(f"selecting: mode {mode}: left " + ", ".join(first_of(stack, number).function for number in steps))


def case(jvm):
    for mode, (options, rounds) in MODES.items():
        one(jvm, mode, options, rounds)
