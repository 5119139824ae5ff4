"""Virtual threads: mounted ones with a whole stack, unmounted ones from the heap, live and in a core."""
import re

from harness import CaseFailed, check, check_equal, check_whole, chosen, gdb, java_frames, note, threads

CARRIERS = "-Djdk.virtualThreadScheduler.parallelism=4"  # one is pinned, two are always busy, whatever the machine has
MODES = {"default": [], "interpreter": ["-Xint"], "compiled": ["-Xcomp"], "serial": ["-XX:+UseSerialGC"], "ZGC": ["-XX:+UseZGC"]}
PARKED = [("java.util.concurrent.locks.LockSupport", "park"), *[("Virtual", "deep")] * 5, ("Virtual", "lambda$start$0")]


def unmounted_frames(text, name):
    """[(class, method)] that `java threads -virtual -v` shows of a thread."""
    part = re.search(rf"^ +- {name}  .*\n((?:      .*\n?)*)", text, re.MULTILINE)
    check(part, f"{name} is unmounted: {text}")
    check("could not be read" not in part.group(1), f"{name}: all frames are read: {part.group(1)}")
    return re.findall(r"^      #\d+ +([\w.$/]+)\.([\w$]+)\(", part.group(1), re.MULTILINE)


def check_virtual(text, what):
    for number in range(3):
        found = [frame for frame in unmounted_frames(text, f"virtual-parked-{number}") if frame in PARKED]
        check_equal(found, PARKED, f"{what}: the frames of virtual-parked-{number}, innermost first")
        check(unmounted_frames(text, f"virtual-parked-{number}")[-1][0] == "jdk.internal.vm.Continuation", f"{what}: to its end")
    check(re.search(r"^ +\d+ virtual-pinned  running  mounted$", text, re.MULTILINE), f"{what}: the pinned one is mounted: {text}")
    check(re.search(r"^ +- #\d+  parked  unmounted  Virtual\.deep$", text, re.MULTILINE),
          f"{what}: the executor's, which has no name")
    check("7 virtual threads." in text, f"{what}: {text}")


def check_mounted(text, what):
    carriers = [stack for stack in threads(text).values()
                if any(re.match(r"Virtual(\$|$)", name) for name, _, _ in java_frames(stack))]
    check(carriers, f"{what}: threads carry virtual ones")
    for heading, stack in threads(text).items():
        check_whole(stack, f"{what}: {heading}")
    for stack in carriers:
        methods = [frame[:2] for frame in java_frames(stack)]
        for outer in (("java.lang.VirtualThread", "run"), ("jdk.internal.vm.Continuation", "enter"),
                      ("java.util.concurrent.ForkJoinWorkerThread", "run")):
            check(outer in methods, f"{what}: frames in the heap are shown too: {methods}")
    pinned = [stack for stack in carriers if any(frame[:2] == ("Descent", "sleep") for frame in java_frames(stack))]
    check_equal(len(pinned), 1, f"{what}: carriers of the pinned thread")
    methods = [frame[:2] for frame in java_frames(pinned[0])]
    inner = methods.index(("jdk.internal.vm.Continuation", "enter"))
    outer = methods.index(("java.util.concurrent.ForkJoinWorkerThread", "run"))
    check(0 < inner < outer, f"{what}: the virtual thread's frames, then the carrier's: {methods}")


def look(program, jvm, mode, extra=()):
    """Asks for everything, and holds it against what the program is known to do."""
    texts = gdb(jvm, ["java threads -virtual -v", "thread apply all bt", "java threads", *extra], pid=program.pid)
    check_virtual(texts[0], mode)
    check_mounted(texts[1], mode)
    check('(carries virtual thread "virtual-pinned")' in texts[2],
          f"{mode}: java threads tells whom a carrier carries: {texts[2]}")


def look_beside_collector(program, jvm, mode):
    """ZGC moves objects beside the program: where it was stopped in the middle of that, it is asked again."""
    for left in reversed(range(5)):
        try:
            return look(program, jvm, mode)
        except CaseFailed as error:
            if not left:
                raise
            note(f"virtual_threads: mode {mode}: asked again: {str(error).splitlines()[0]}")


def case(jvm):
    for mode, options in chosen(MODES).items():
        with jvm.start("virtual", options=[CARRIERS, *options]) as program:
            program.ready()
            if mode == "ZGC":
                look_beside_collector(program, jvm, mode)
            else:
                look(program, jvm, mode, ["gcore virtual.core"] * (mode == "default"))
        note(f"virtual_threads: mode {mode}: all frames")
        if mode == "default":
            texts = gdb(jvm, ["java threads -virtual -v"], core=jvm.folder / "virtual.core", arguments=[jvm.java])
            check_virtual(texts[0], "gcore's core")
            (jvm.folder / "virtual.core").unlink()
