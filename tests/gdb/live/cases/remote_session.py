"""Through gdbserver the agent is worked as on the own machine: a program that it starts, and one that it attaches to."""
import subprocess

from harness import Skipped, check, check_equal, end_session, gdb
from remote import start_server, without_wide_registers

AT_FIRST_CONTACT = "stopped by the agent at jquor_jvmdi_sync_hook: everything can be asked"
INSIDE = ["java status", "java classes ^Shop$", "java class java.lang.Thread", "java detach"]


def launch(jvm, port):
    """A program that gdbserver starts runs to its end."""
    texts = gdb(jvm, ["set sysroot /", f"target extended-remote 127.0.0.1:{port}", jvm.java_run("Shop", 300), "java status",
                      "java class java.lang.Thread", "java continue"])
    check("stands before its main" in texts[2], f"java run: {texts[2]}")
    check_equal(texts[3], AT_FIRST_CONTACT, "the state before main")
    check("implements  java.lang.Runnable" in texts[4], f"a question: {texts[4]}")
    check("exited with code 07" in texts[5], f"the program runs to its end: {texts[5]}")


def attach(jvm, port):
    """A program that runs on gdbserver's machine is held and let go."""
    with jvm.start_with_agent("Shop", 60000) as program:
        program.ready()
        texts = gdb(jvm, ["set sysroot /", f"target extended-remote 127.0.0.1:{port}", f"java attach {program.pid}",
                          "java bt thread clerk", "java print Shop.closed", *INSIDE], arguments=[jvm.java])
        check("all Java threads stand still" in texts[2], f"java attach: {texts[2]}")
        check("Shop.clerk()" in texts[3], f"java bt: {texts[3]}")
        check(texts[4].endswith(" = false"), f"java print: {texts[4]}")
        check_equal(texts[5], AT_FIRST_CONTACT, "the state")
        check_equal(texts[6], "Shop", "java classes")
        check_equal(texts[8], "Detached.", "java detach")
        check("clerk" in program.thread_dump(), "the program lives")


def native_stop(jvm, port):
    """Where a C function stops the program, the agent answers; the program goes on as if nothing had been, and to its end."""
    texts = gdb(jvm, ["set sysroot /", f"target extended-remote 127.0.0.1:{port}", jvm.java_run("Mix", "descend", 2, 0),
                      "break Java_Descent_bottom", "java continue", "java methods Descent", "java fields java.lang.Thread", "bt 1",
                      "java continue", "java class Descent", "bt 1", "java continue"])
    check("hit Breakpoint" in texts[4] and "hit Breakpoint" in texts[8], f"the program stops in native code: {texts[4]} {texts[8]}")
    check("bottom" in texts[5] and "java.lang.String" in texts[6] and "Descent" in texts[9], f"questions: {texts[5:10]}")
    check("Java_Descent_bottom" in texts[7] and "Java_Descent_bottom" in texts[10], f"the thread stands where it stood: {texts[7]}")
    check("exited normally" in texts[11], f"the program runs to its end: {texts[11]}")


def case(jvm):
    try:
        subprocess.run(["gdbserver", "--version"], stdout=subprocess.DEVNULL, check=True)
    except FileNotFoundError:
        raise Skipped("there is no gdbserver (script/bootstrap installs it)") from None
    with without_wide_registers(jvm):
        server, port = start_server(jvm, "--multi", "127.0.0.1:0")
        try:
            launch(jvm, port)
            attach(jvm, port)
            native_stop(jvm, port)
        finally:
            end_session(server)
