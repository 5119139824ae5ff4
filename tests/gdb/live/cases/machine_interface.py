"""gdb's machine interface works while the commands are loaded: an editor breaks, runs, lists the stack and goes on."""
import re
import select
import subprocess
import time

from harness import FRONT, check, environment, end_session

LIMIT = 60


class MachineInterface:
    """gdb under its machine interface, driven as an editor drives it."""

    def __init__(self, jvm, program):
        command = ["gdb", "-nx", "-q", "--interpreter=mi2", "-iex", "set debuginfod enabled off", "-iex", "set auto-load off",
                   "--args", *program]
        self.process = subprocess.Popen(command, cwd=jvm.folder, env=environment(jvm.folder), stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        self.text = b""

    def until(self, pattern, what):
        """Reads to a line that matches, and gives it."""
        end = time.monotonic() + LIMIT
        seen = ""
        while time.monotonic() < end:
            *lines, rest = self.text.split(b"\n")
            self.text = rest
            for number, line in enumerate(lines):
                text = line.decode(errors="replace")
                seen += text + "\n"
                if re.search(pattern, text):
                    self.text = b"\n".join([*lines[number + 1:], rest])
                    return text
            if select.select([self.process.stdout], [], [], 1)[0]:
                self.text += self.process.stdout.read1(65536)
        check(False, f"{what}: {pattern} does not come:\n{seen[-3000:]}")

    def say(self, command, answer=r"^\^(done|running|error)"):
        """Gives a command; the answer's line."""
        self.process.stdin.write(command.encode() + b"\n")
        self.process.stdin.flush()
        return self.until(answer, command)


def case(jvm):
    agent = [f"-agentpath:{jvm.agent_dir}/libquor_agent.so"]
    editor = MachineInterface(jvm, jvm.command(["300"], agent, main="Shop"))
    try:
        editor.until(r"^\(gdb\)", "the prompt")
        for command in ("-gdb-set breakpoint pending on", f'-interpreter-exec console "source {FRONT}"',
                        '-interpreter-exec console "java settings"', "-enable-frame-filters"):
            check(editor.say(command).startswith("^done"), f"{command} is done")
        check("bkpt=" in editor.say("-break-insert -f sched_yield"), "-break-insert tells the breakpoint")
        check(editor.say("-exec-run").startswith("^running"), "-exec-run runs")
        stopped = editor.until(r'^\*stopped,reason="breakpoint-hit"', "the stop")
        check("sched_yield" in stopped, f"the stop tells its function: {stopped}")
        for command in ("-stack-list-frames", "-stack-info-depth", "-thread-info"):
            answer = editor.say(command)
            check(answer.startswith("^done"), f"{command}: {answer[:300]}")
        check("^done" in editor.say('-interpreter-exec console "java status"'), "java status is done")
        check(editor.say("-break-delete").startswith("^done"), "-break-delete is done")
        check(editor.say("-exec-continue").startswith("^running"), "-exec-continue runs")
        ended = editor.until(r'^\*stopped,reason="exited"', "the end")
        check('exit-code="07"' in ended, f"the end tells the status: {ended}")
        editor.say("-gdb-exit", r"^\^exit")
    finally:
        end_session(editor.process)
