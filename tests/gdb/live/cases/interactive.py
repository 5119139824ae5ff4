"""At a terminal of 60 columns that is called dumb: prompt, Tab, pager, Ctrl-C, and the question at quit."""
import os
import pty
import re
import select
import struct
import subprocess
import termios
import time
from fcntl import ioctl

from harness import FRONT, check, end_session, environment

LIMIT = 60
PROMPT = r"\(gdb\) $"
COLUMNS, ROWS = 60, 24


class Terminal:
    """gdb at a terminal of its own."""

    def __init__(self, jvm):
        master, slave = pty.openpty()
        ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", ROWS, COLUMNS, 0, 0))
        command = ["gdb", "-nx", "-q", "-iex", "set debuginfod enabled off", "-iex", "set auto-load off"]
        settings = {**environment(jvm.folder), "TERM": "dumb", "QUOR_AGENT_DIR": str(jvm.agent_dir)}
        settings.pop("LINES", None)

        def own_terminal():
            os.setsid()
            ioctl(0, termios.TIOCSCTTY, 0)

        self.process = subprocess.Popen(command, cwd=jvm.folder, env=settings, stdin=slave, stdout=slave, stderr=slave,
                                        preexec_fn=own_terminal)
        os.close(slave)
        self.master, self.seen = master, ""

    def until(self, pattern, what):
        """Reads until the text so far ends or matches; gives the text since the last question."""
        end = time.monotonic() + LIMIT
        while not re.search(pattern, self.seen):
            if time.monotonic() > end:
                check(False, f"{what}: {pattern} does not come:\n{self.seen[-2000:]}")
            if select.select([self.master], [], [], 1)[0]:
                try:
                    self.seen += os.read(self.master, 65536).decode(errors="replace").replace("\r", "")
                except OSError:
                    check(re.search(pattern, self.seen) is not None, f"{what}: gdb has ended:\n{self.seen[-2000:]}")
        text, self.seen = self.seen, ""
        return text

    def send(self, text):
        os.write(self.master, text.encode())

    def say(self, command, pattern=PROMPT):
        self.send(command + "\n")
        return self.until(pattern, command)


def case(jvm):
    terminal = Terminal(jvm)
    try:
        terminal.until(PROMPT, "the first prompt")
        terminal.say(f"source {FRONT}")
        terminal.send("java deadl\t")
        terminal.until(r"java deadlock ", "Tab completes a command")
        terminal.send("\x15java thread\t\t\t")
        terminal.until(r"threadgroups\s+threads", "Tab lists the commands")
        terminal.send("\x15")  # the line away
        terminal.say("echo now\\n", r"\nnow\n\(gdb\) $")  # and all that was printed for it
        terminal.say("set pagination off")
        check("stands before its main" in terminal.say(jvm.java_run("Shop", 60000)), "java run says where the program stands")
        terminal.say("set pagination on")
        terminal.say("set height 10")
        terminal.say("java classes ^java.util", r"without paging--")
        check("(gdb)" in terminal.say("q"), "the pager ends with q")
        terminal.say("set pagination off")
        terminal.say("java break Shop.serve if served > 3")
        hit = terminal.say("java continue")
        check("Java breakpoint J1" in hit, f"a breakpoint with a condition: {hit}")
        check("= true" in terminal.say("java print served > 3"), "java print")
        terminal.say("java delete J1")
        terminal.send("java continue\n")
        time.sleep(1)  # for the program to run: Ctrl-C before would meet gdb
        terminal.send("\x03")
        stopped = terminal.until(PROMPT, "Ctrl-C")
        check("SIGINT" in stopped, f"Ctrl-C stops the program: {stopped}")
        check("READY" in hit + stopped, f"what the program prints is seen: {hit}{stopped}")  # the clerk may be faster than that
        check("Shop." in terminal.say("java bt thread clerk"), "java bt after Ctrl-C")
        check("Quit anyway" in terminal.say("quit", r"Quit anyway\? \(y or n\) "), "quit asks")
        terminal.send("y\n")
        check(terminal.process.wait(LIMIT) == 0, "gdb ends")
        check(not list(jvm.folder.glob("hs_err*")), "no error file of the VM")
    finally:
        end_session(terminal.process)
        os.close(terminal.master)
