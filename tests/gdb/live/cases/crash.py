"""The stack below native code that Java called four levels deep is the VM's own, frame for frame and line for line."""
import re

from harness import check, check_equal, check_whole, frames, gdb, java_frames, note

SHOW_AND_WAIT = 2
MODES = {"default": ([], 6000), "C1": (["-XX:TieredStopAtLevel=1"], 3000), "interpreter": (["-Xint"], 3),
         "compiled": (["-Xcomp"], 20), "C2": (["-XX:-TieredCompilation"], 15000)}


def plain(stack):
    """Without the numbers that a VM gives to hidden classes and with one word for no line."""
    return [(re.sub(r"/.*", "", type_name), method, "" if where.startswith("null:") else where)
            for type_name, method, where in stack]


def depths(stack):
    """The argument `depth` of each frame of the native function `callback`."""
    return [int(re.search(r"depth=(\d+)", frame.text).group(1)) for frame in stack if "::callback(" in frame.function]


def equal_to_the_vms_own(jvm, mode, options, rounds):
    with jvm.start("descend", rounds, SHOW_AND_WAIT, options=options) as program:
        program.ready()
        texts = gdb(jvm, ["thread apply all bt", "python print([t.num for t in gdb.selected_inferior().threads() "
                          "if t.name == 'descender'][0])"], pid=program.pid)
        number = int(texts[1])
        text = re.search(rf"^Thread {number} .*?:\n(.*?)(?:\n\n|\Z)", texts[0], re.MULTILINE | re.DOTALL).group(1)
        stack, own = frames(text), plain(program.own_stack())
    check_whole(stack, f"the stack in mode {mode}")
    check(len(own) > 30, f"the VM tells of more than 30 frames: {own}")
    check_equal(plain(java_frames(stack)), own, f"gdb's frames and the VM's in mode {mode}")
    check_equal(depths(stack), [1, 2, 3, 4], "the arguments of the native functions between Java frames")
    note(f"crash: mode {mode}: {len(own)} Java frames equal the VM's own, {len(stack)} in all")


def after_other_symbols(jvm):
    """Stacks that were shown before libraries' symbols went and came are shown as before."""
    with jvm.start("descend", 3, SHOW_AND_WAIT, options=["-Xint"]) as program:
        program.ready()
        texts = gdb(jvm, ["python [t.switch() for t in gdb.selected_inferior().threads() if t.name == 'descender']", "bt",
                          "nosharedlibrary", "sharedlibrary lib[cjz]", "bt", "sharedlibrary", "bt"], pid=program.pid)
    check_equal(depths(frames(texts[1])), [1, 2, 3, 4], "the arguments of native functions")
    check_equal(depths(frames(texts[4])), [], "the arguments without the library's symbols")
    check_equal(texts[6].partition("#0")[2], texts[1].partition("#0")[2], "the stack once the symbols are there again")


def case(jvm):
    if jvm.word_size == 8:  # gdb does not give the symbols of i386's vDSO back, without which a stack is lost there
        after_other_symbols(jvm)
    for mode, (options, rounds) in MODES.items():
        equal_to_the_vms_own(jvm, mode, options, rounds)
