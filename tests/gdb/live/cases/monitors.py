"""java deadlock, monitors, locks: circles over monitors, java.util.concurrent locks and a native mutex; live and in a core."""
import re

from harness import check, check_equal, gdb

AT = r"@[0-9a-f]+"
COMMANDS = ["java deadlock", "java monitors", "java locks", "java locks monitor-first", "java locks holder", "java locks nobody",
            "java deadlock now", "complete java locks acc"]
CIRCLES = (
    rf"^DEADLOCK: account-first holds (Deadlock\$Account{AT}), waits for (Deadlock\$Till{AT}) \(held by till-first\) / "
    r"till-first holds \2, waits for \1$",
    rf"^DEADLOCK: fair-first holds (\S*ReentrantLock\$FairSync{AT}), waits for (\S*ReentrantLock\$NonfairSync{AT}) "
    r"\(held by unfair-first\) / unfair-first holds \2, waits for \1$",
    rf"^DEADLOCK: monitor-first holds (java\.lang\.Object{AT}), waits for mutex ledger \(held by mutex-first\) / "
    r"mutex-first holds ledger, waits for \1$",
)

SMALL = ["-Xmx16m", "-XX:+UseSerialGC", "-XX:ReservedCodeCacheSize=8m"]  # a core is as large as all that


def check_circles(text, what):
    check_equal(len(text.splitlines()), len(CIRCLES), f"{what}: circles\n{text}")
    for circle in CIRCLES:
        check(re.search(circle, text, re.MULTILINE), f"{what}: {circle}\n{text}")


def check_all(texts, what):
    circles, monitors, locks, one, holder, nobody, nonsense, completed = texts
    check_circles(circles, what)
    for pattern in (rf'^java\.lang\.Object{AT}  held by thread \d+ "monitor-first"; wanted by thread \d+ "mutex-first"$',
                    rf'^Deadlock\$Account{AT}  held by thread \d+ "account-first"; wanted by thread \d+ "till-first"$',
                    rf'^Deadlock\$Account{AT}  in wait\(\): thread \d+ "main"$',
                    rf'^Deadlock\$Till{AT}  held by thread \d+ "holder"$'):
        check(re.search(pattern, monitors, re.MULTILINE), f"{what}: java monitors has {pattern}\n{monitors}")
    check(re.search(rf'^thread \d+ "mutex-first"\n  holds mutex ledger\n  waits for java\.lang\.Object{AT}, held by thread \d+ '
                    r'"monitor-first"$', locks, re.MULTILINE), f"{what}: java locks\n{locks}")
    check(re.fullmatch(rf'thread \d+ "monitor-first"\n  holds java\.lang\.Object{AT}\n  waits for mutex ledger, held by thread \d+ '
                       '"mutex-first"', one), f"{what}: of one thread\n{one}")
    check(re.fullmatch(rf'thread \d+ "holder"\n  holds Deadlock\$Till{AT}', holder), f"{what}: a monitor that nobody wants\n{holder}")
    check_equal(nobody, "there is no thread nobody; java threads lists them", "a thread that does not exist")
    check_equal(nonsense, "java deadlock takes no arguments", "what is typed behind it")
    check_equal(completed, "java locks account-first", "completion")


def interpreted(jvm):
    with jvm.start_with_agent("Deadlock", options=["-Xint", *SMALL]) as program:
        program.ready()
        texts = gdb(jvm, [*COMMANDS, "gcore deadlock.core", "java attach", "java deadlock", "java detach"], pid=program.pid,
                    seconds=120)
        check_all(texts[:len(COMMANDS)], "live")
        check_circles(texts[-2], "at a hook")
    check_all(gdb(jvm, COMMANDS, core=jvm.folder / "deadlock.core", arguments=[jvm.java]), "in a core")
    (jvm.folder / "deadlock.core").unlink()


def compiled(jvm):
    with jvm.start("", main="Deadlock", options=["-Xcomp"]) as program:
        program.ready()
        check_all(gdb(jvm, COMMANDS, pid=program.pid), "compiled")


def case(jvm):
    interpreted(jvm)
    compiled(jvm)
    with jvm.start("threads", 4) as program:
        program.ready()
        check_equal(gdb(jvm, ["java deadlock"], pid=program.pid)[0], "No deadlock.", "threads that wait for nobody")
