"""At random interrupts of a program with eight threads at work, every thread's stack reaches its start, whatever the mode."""
from harness import HERE, check, check_equal, chosen, gdb, note, results

MODES = {"default": [], "C1": ["-XX:TieredStopAtLevel=1"], "interpreter": ["-Xint"], "compiled": ["-Xcomp"],
         "ZGC": ["-XX:+UseZGC"], "serial": ["-XX:+UseSerialGC"]}
SHORT, LONG = 3, 200


def show(mode, result):
    whole = result["stacks"] - len(result["misses"]) - result["vdso"]
    lost = f"{result['vdso']} lost in the vDSO, " if result["vdso"] else ""
    note(f"interrupts: mode {mode}: {whole} of {result['stacks']} stacks whole, {lost}"
         f"{result['working']} of them of working threads, {result['java']} Java frames, {result['stops']} stops")
    for miss in result["misses"]:
        note(f"  {miss['thread']}: {miss['why']}\n    " + "\n    ".join(miss["stack"]) + "\n" + miss["machine"])


def interrupted(jvm, mode, options, stops):
    with jvm.start("work", options=options) as program:
        program.ready()
        texts = gdb(jvm, [f"source {HERE}/inside/interrupts.py"], pid=program.pid, seconds=60 + 3 * stops,
                    variables={"QUOR_INTERRUPTS": str(stops)})
    (result,) = results(texts[0])
    show(mode, result)
    return result


def case(jvm):
    stops = LONG if jvm.long else SHORT
    misses = 0
    for mode, options in chosen(MODES).items():
        if mode != "ZGC" or jvm.word_size == 8:
            result = interrupted(jvm, mode, options, stops)
            check_equal(result["stops"], stops, f"the stops in mode {mode}")
            check(result["working"] >= 8 * stops, f"eight threads are at work in mode {mode}")
            check(result["java"] > 20 * stops, f"Java frames are named in mode {mode}")
            check(result["vdso"] <= stops, f"what is lost in the vDSO is at most one a stop in mode {mode}")
            misses += len(result["misses"])
    check_equal(misses, 0, "stacks that are not whole")
