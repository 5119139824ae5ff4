"""How long the stacks of many threads take, with the Java side and without. The figures are printed; only wild ones fail."""
import re

from harness import check, gdb, note, threads, why_not_whole

# CPU time of gdb, and the lines that it printed
MEASURE = "python import time; begun = time.process_time(); text = gdb.execute('thread apply all bt', to_string=True); " \
          "print('SECONDS %.3f LINES %d' % (time.process_time() - begun, text.count(chr(10))))"
COUNT = "python print(text)"
SHORT, LONG = 1, 7  # runs, of which the best counts


def measured(text):
    """(seconds, lines)"""
    seconds, lines = re.search(r"SECONDS ([\d.]+) LINES (\d+)", text).groups()
    return float(seconds), int(lines)


def best(texts):
    return min(measured(text) for text in texts)


def in_words(found):
    seconds, lines = found
    return f"{seconds:.3f} s for {lines} lines ({seconds / lines * 1e6:.0f} microseconds each)"


def case(jvm):
    runs = LONG if jvm.long else SHORT
    for count, limit in ((120, 20), (1000, 60)):
        with jvm.start("threads", count) as program:
            program.ready()
            alone = [gdb(jvm, ["info threads", MEASURE], pid=program.pid, front=False, seconds=180)[1] for _ in range(runs)]
            ours = [gdb(jvm, ["info threads", MEASURE, MEASURE, COUNT], pid=program.pid, seconds=180) for _ in range(runs)]
            bare = [gdb(jvm, ["disable frame-filter global quor-java", "info threads", MEASURE], pid=program.pid, seconds=180)[2]
                    for _ in range(runs if jvm.long else 0)]
        stacks = threads(ours[0][3])
        bad = [f"{heading}: {why_not_whole(stack)}" for heading, stack in stacks.items() if why_not_whole(stack)]
        first, again = best([text[1] for text in ours]), best([text[2] for text in ours])
        note(f"many_threads: {count} threads, CPU time of gdb, best of {runs}; {len(stacks) - len(bad)} of {len(stacks)} whole\n"
             f"  gdb alone, whose stacks end at the first Java frame: {in_words(best(alone))}\n"
             + (f"  with our unwinder, gdb's own printing: {in_words(best(bare))}\n" if bare else "") +
             f"  with names and lines: {in_words(first)}; at the same stop again: {in_words(again)}")
        check(len(stacks) > count and not bad, f"all stacks are whole: {bad[:5]}")
        check(first[0] < limit, f"{count} threads take less than {limit} s")
