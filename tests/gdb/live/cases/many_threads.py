"""How long the stacks of many threads take, with the Java side and without. The figures are printed, in CPU time, which other work
on the machine changes little; what a user was promised fails."""
import re
import resource

from harness import check, check_equal, gdb, note, threads, why_not_whole

# CPU time of gdb, and the lines that it printed
MEASURE = "python import time; begun = time.process_time(); text = gdb.execute('thread apply all bt', to_string=True); " \
          "print('SECONDS %.3f LINES %d' % (time.process_time() - begun, text.count(chr(10))))"
COUNT = "python print(text)"
SHORT, LONG = 1, 7  # runs, of which the best counts
WHOLE = {120: 6, 1000: 2}  # runs of a whole gdb, of which the best counts: the first may have Python's modules to compile
MOST_WHOLE = 25  # on a busy machine, until the best of both are undisturbed
MOST = 1.5  # times what a gdb takes without us to start, attach, show all stacks and end
LONGEST = 3  # seconds for the stacks of a thousand threads


def measured(text):
    """(seconds, lines)"""
    seconds, lines = re.search(r"SECONDS ([\d.]+) LINES (\d+)", text).groups()
    return float(seconds), int(lines)


def best(texts):
    return min(measured(text) for text in texts)


def in_words(found):
    seconds, lines = found
    return f"{seconds:.3f} s for {lines} lines ({seconds / lines * 1e6:.0f} microseconds each)"


def used():
    """CPU time of the processes that have ended."""
    times = resource.getrusage(resource.RUSAGE_CHILDREN)
    return times.ru_utime + times.ru_stime


def of_a_whole_gdb(jvm, program, front):
    """CPU time of a gdb that shows all stacks, from its start to its end."""
    before = used()
    gdb(jvm, ["thread apply all bt"], pid=program.pid, front=front, seconds=180)
    return used() - before


def of_whole_gdbs(jvm, program, count):
    """(seconds alone, seconds with us): the best of so many runs each, or of more while they are further apart than they may be."""
    alone, ours = [], []
    while len(ours) < WHOLE[count] or count == 120 and len(ours) < MOST_WHOLE and min(ours) > MOST * min(alone):
        alone.append(of_a_whole_gdb(jvm, program, False))
        ours.append(of_a_whole_gdb(jvm, program, True))
    return min(alone), min(ours)


def check_what_gdb_is_asked(jvm, program):
    """Symbols without debug information take gdb milliseconds each: at an attach it is asked whether the program itself is a VM,
    and never for the agent."""
    spy = ("python import quor.agent.place as place, quor.hotspot.vm as vms; asked = []; symbol, agent = vms.address_of_symbol, "
           "place.is_loaded; vms.address_of_symbol = lambda name: (asked.append(name), symbol(name))[1]; "
           "place.is_loaded = lambda: (asked.append('the agent'), agent())[1]")
    texts = gdb(jvm, [spy, f"attach {program.pid}", "python print(vms.known() is not None, asked)"])
    check_equal(texts[2], "True ['gHotSpotVMStructs']", "what gdb was asked for")


def case(jvm):
    runs = LONG if jvm.long else SHORT
    for count in (120, 1000):
        with jvm.start("threads", count) as program:
            program.ready()
            if count == 120:
                check_what_gdb_is_asked(jvm, program)
            alone = [gdb(jvm, ["info threads", MEASURE], pid=program.pid, front=False, seconds=180)[1] for _ in range(runs)]
            ours = [gdb(jvm, ["info threads", MEASURE, MEASURE, COUNT], pid=program.pid, seconds=180) for _ in range(runs)]
            bare = [gdb(jvm, ["disable frame-filter global quor-java", "info threads", MEASURE], pid=program.pid, seconds=180)[2]
                    for _ in range(runs if jvm.long else 0)]
            wholes = of_whole_gdbs(jvm, program, count) if count == 120 or jvm.long else None
        stacks = threads(ours[0][3])
        bad = [f"{heading}: {why_not_whole(stack)}" for heading, stack in stacks.items() if why_not_whole(stack)]
        first, again = best([text[1] for text in ours]), best([text[2] for text in ours])
        note(f"many_threads: {count} threads, CPU time of gdb, best of {runs}; {len(stacks) - len(bad)} of {len(stacks)} whole\n"
             f"  gdb alone, whose stacks end at the first Java frame: {in_words(best(alone))}\n"
             + (f"  with our unwinder, gdb's own printing: {in_words(best(bare))}\n" if bare else "") +
             f"  with names and lines: {in_words(first)}; at the same stop again: {in_words(again)}"
             + ("\n  from gdb's start to its end: {:.3f} s alone, {:.3f} s with us".format(*wholes) if wholes else ""))
        check(len(stacks) > count and not bad, f"all stacks are whole: {bad[:5]}")
        check(first[0] < LONGEST, f"{count} threads take less than {LONGEST} s")
        if count == 120:
            check(wholes[1] <= MOST * wholes[0], f"a gdb that shows all stacks takes at most {MOST} times as long with us")
