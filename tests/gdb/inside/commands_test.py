"""The `java` prefix and the decorator, inside gdb without a process."""
import os
import sys
import unittest

import gdb

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import harness  # noqa: E402

harness.source()
from quor import commands  # noqa: E402
from quor.errors import QuorError  # noqa: E402


@commands.command("trialword", group="Look", usage="[red|green]", examples=("java trialword red",), complete=("red", "green"))
def trialword(arguments, _from_tty):
    """Repeats its argument.

    Nothing else."""
    if arguments == "bad":
        raise QuorError("bad is no colour; try red")
    if arguments == "bug":
        raise KeyError("inside")
    gdb.write(f"<{arguments}>\n")


@commands.command("trialstop", group="Stop", states=("stopped",))
def trialstop(_arguments, _from_tty):
    """Works at a stop alone."""
    raise AssertionError("reached without a process")


def error_of(line):
    try:
        gdb.execute(line, to_string=True)
    except gdb.error as error:
        return str(error)
    return None


class Commands(unittest.TestCase):
    def test_a_command_gets_its_arguments(self):
        self.assertEqual("<red green>\n", gdb.execute("java trialword  red green ", to_string=True))

    def test_sourcing_twice_does_no_harm(self):
        before = sys.modules["quor.install"]
        harness.source()
        self.assertIs(before, sys.modules["quor.install"])
        self.assertEqual("<red>\n", gdb.execute("java trialword red", to_string=True))

    def test_the_prefix_alone_lists_commands_by_group(self):
        text = gdb.execute("java", to_string=True)
        self.assertRegex(text, r"(?s)Look:.*java trialword +Repeats its argument\..*Stop:.*java trialstop")

    def test_an_unknown_command_is_one_line(self):
        self.assertEqual('There is no command "java wrong"; "java" lists them.', error_of("java wrong x"))

    def test_a_user_s_error_is_one_line(self):
        self.assertEqual("bad is no colour; try red", error_of("java trialword bad"))

    def test_an_error_of_ours_is_one_line_without_a_traceback(self):
        self.assertEqual("java trialword failed inside: KeyError: 'inside'", error_of("java trialword bug"))

    def test_a_command_that_needs_a_process_says_so(self):
        self.assertEqual("java trialstop: there is no process: start one with run, attach to one, or load a core file",
                         error_of("java trialstop"))

    def test_help_tells_usage_and_examples(self):
        text = gdb.execute("help java trialword", to_string=True)
        self.assertIn("Usage: java trialword [red|green]", text)
        self.assertIn("(gdb) java trialword red", text)

    def test_words_are_completed(self):
        self.assertEqual("java trialword green\n", gdb.execute("complete java trialword g", to_string=True))
        self.assertEqual("java trialstop\njava trialword\n", gdb.execute("complete java trial", to_string=True))


harness.run(Commands)
