"""A libjvm whose tables tell another layout: a line says what is off, native frames are shown, and nothing fails. So it is, too,
when quor's own code fails in a way that nobody thought of."""
from crash import SHOW_AND_WAIT
from harness import COMPLAINT, FRONT, HERE, check, frames, gdb, java_frames

THREAD = "python [t.switch() for t in gdb.selected_inferior().threads() if t.name == 'descender']"
UNDO = "python doctor_undo()"
PLANT = "python from quor.hotspot.hotspot import HotSpot; HotSpot.unwind = lambda *_: 1 // 0"


def doctored(jvm, program, change, *further):
    """What sourcing quor.py, `bt` and further commands print after the change."""
    texts = gdb(jvm, [f"source {HERE}/inside/doctor.py", f"source {FRONT}", THREAD, "bt", *further, UNDO], pid=program.pid,
                front=False, variables={"QUOR_DOCTOR": change})
    check(not texts[0], f"the tables are changed: {texts[0]}")
    return texts[1], texts[3], texts[4:-1]


def check_native_part(text):
    functions = " ".join(frame.function for frame in frames(text)[:5])
    check("reach" in functions and "Java_Descent_bottom" in functions, f"the native frames are there: {text}")


def check_error_inside(jvm, program):
    _, _, text, again = gdb(jvm, [THREAD, PLANT, "bt", "bt"], pid=program.pid, fails_inside=True)
    check(f"{COMPLAINT}: ZeroDivisionError: " in text, f"the first stack tells it: {text}")
    for each in text, again:
        check_native_part(each)
        check(not java_frames(frames(each)), f"gdb goes on without Java frames: {each}")


def case(jvm):
    with jvm.start("descend", 3, SHOW_AND_WAIT) as program:
        program.ready()
        for change in ("missing CodeCache _heaps", "nonsense CodeHeap _segmap"):
            said, text, (locals_, threads) = doctored(jvm, program, change, "java locals", "java threads")
            lines = [line for line in said.splitlines() if "off" in line]
            check(len(lines) == 1 and change.split()[2] in lines[0], f"{change}: one line tells it: {said}")
            check_native_part(text)
            check(not java_frames(frames(text)), f"{change}: there are no Java frames: {text}")
            check(len(locals_.splitlines()) == 1, f"{change}: java locals says so in a line: {locals_}")
            check("descender" in threads, f"{change}: threads need no code cache: {threads}")
        said, text, _ = doctored(jvm, program, "missing ConstMethod _name_index")
        check("off" in said and "_name_index" in said, f"no names: a line tells it: {said}")
        check_native_part(text)
        said, text, (threads,) = doctored(jvm, program, "nonsense JavaThread _threadObj", "java threads")
        check(len(java_frames(frames(text))) > 30, f"the stack needs no thread objects: {text}")
        check(len(threads.splitlines()) == 1 and "_threadObj" in threads, f"java threads tells what it lacks: {threads}")
        said, text, (threads,) = doctored(jvm, program, "stride", "java threads")
        check_native_part(text)
        check("no HotSpot in this process, or it is not initialised" in threads, f"unreadable tables: {threads}")
        check_error_inside(jvm, program)
        said = gdb(jvm, [THREAD, "bt"], pid=program.pid)
        check(len(java_frames(frames(said[1]))) > 30, "with everything put back the stack is whole again")
