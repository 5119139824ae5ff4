"""How long the stacks of many threads take, with the Java side and without. The figures are printed; only wild ones fail."""
import re

from harness import check, gdb, note, threads, why_not_whole

MEASURE = "python import time; begun = time.monotonic(); text = gdb.execute('thread apply all bt', to_string=True); " \
          "print('SECONDS %.3f' % (time.monotonic() - begun))"
COUNT = "python print(text)"


def seconds(text):
    return float(re.search(r"SECONDS ([\d.]+)", text).group(1))


def case(jvm):
    for count, limit in ((120, 20), (1000, 60)):
        with jvm.start("threads", count) as program:
            program.ready()
            alone = seconds(gdb(jvm, ["info threads", MEASURE], pid=program.pid, front=False, seconds=180)[1])
            _, first, again, text = gdb(jvm, ["info threads", MEASURE, MEASURE, COUNT], pid=program.pid, seconds=180)
        stacks = threads(text)
        bad = [f"{heading}: {why_not_whole(stack)}" for heading, stack in stacks.items() if why_not_whole(stack)]
        note(f"many_threads: {count} threads: {seconds(first):.2f} s, at the same stop again {seconds(again):.2f} s, "
             f"gdb alone (whose stacks end at the first Java frame) {alone:.2f} s; {len(stacks) - len(bad)} of {len(stacks)} whole")
        check(len(stacks) > count and not bad, f"all stacks are whole: {bad[:5]}")
        check(seconds(first) < limit, f"{count} threads take less than {limit} s")
