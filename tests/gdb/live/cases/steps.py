"""Stepped through machine instructions of the code cache, prologues, epilogues, polls and stubs too, every stack is whole, and its
callers are those of one instruction before, but for one that was called or returned from."""
from harness import HERE, check, check_equal, chosen, gdb, note, results

MODES = {"default": [], "C1": ["-XX:TieredStopAtLevel=1"], "interpreter": ["-Xint"], "compiled": ["-Xcomp"],
         "C2": ["-XX:-TieredCompilation"]}
SHORT, LONG = 30, 2000


def stepped(jvm, mode, options, wanted):
    with jvm.start("work", options=options) as program:
        program.ready()
        texts = gdb(jvm, [f"source {HERE}/inside/steps.py"], pid=program.pid, seconds=60 + wanted,
                    variables={"QUOR_STEPS": str(wanted)})
    (result,) = results(texts[0])
    note(f"steps: mode {mode}: {len(result['misses'])} bad stacks at {result['pcs']} distinct pcs")
    for miss in result["misses"]:
        note(f"  {miss['pc']}: {miss['why']}\n{miss['code']}    " + "\n    ".join(miss["stack"]))
    return result


def case(jvm):
    wanted = LONG if jvm.long else SHORT
    misses = 0
    for mode, options in chosen(MODES).items():
        result = stepped(jvm, mode, options, wanted)
        check(result["pcs"] >= wanted * 9 // 10, f"{wanted} distinct pcs were reached in mode {mode}")
        misses += len(result["misses"])
    check_equal(misses, 0, "bad stacks")
