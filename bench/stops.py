"""How many stops a second gdb gets out of the agent. Runs inside gdb; figures.py starts it."""
import time

import gdb

import quor_gdb
import quor_java as java

THREADS, TIMES = 8, 2_000


def main():
    quor_gdb.prepare()
    quor_gdb.start("Load", str(THREADS), str(TIMES))
    quor_gdb.attach_java_mode()
    java.set_breakpoint(java.prepared("Load"), "reached")
    hook = quor_gdb.hook_breakpoint("hook_bpt")
    quor_gdb.hook_breakpoint("hook_class_prepare").enabled = False
    hook.ignore_count = 2 * THREADS * TIMES
    begin = time.monotonic()
    gdb.execute("continue", to_string=True)
    seconds = time.monotonic() - begin
    if hook.hit_count != THREADS * TIMES:
        raise SystemExit(f"{hook.hit_count} stops of {THREADS * TIMES}")
    with open("stops", "w", encoding="ascii") as result:
        result.write(f"{hook.hit_count / seconds:.0f}")


main()
