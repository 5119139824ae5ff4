"""In a process without a HotSpot nothing is different from gdb alone."""
import re
import subprocess

from harness import check, check_equal, environment, gdb

COMMANDS = ["bt", "thread apply all bt", "up", "info frame", "frame 0", "bt -full 1"]


def case(jvm):
    process = subprocess.Popen(["sleep", "1000"], env=environment(jvm.folder))
    try:
        alone = gdb(jvm, COMMANDS, pid=process.pid, front=False)
        ours = gdb(jvm, COMMANDS, pid=process.pid)
    finally:
        process.kill()
        process.wait()
    check("#0" in alone[0], f"gdb shows a stack: {alone[0]}")
    check_equal(ours, alone, "what gdb prints with the Java side and without")
    text = gdb(jvm, ["java threads"], pid=None)[0]
    check(re.match(r"java threads: there is no process", text), f"without a process one line says what to do: {text}")
