"""The `java` commands. One decorator makes a function a gdb command, with its help, its completion and its check of states.

    @command("symbols", group="Look", states=("stopped", "core"), usage="[off]",
             examples=("java symbols",), complete=("off",))
    def symbols(arguments, from_tty):
        '''Names compiled Java methods everywhere in gdb.

        More of what it does.'''

`arguments` is the text behind the command. A QuorError becomes one line; nothing else reaches the user either.
`states` names those in which it works (see quor.states.STATES). `complete` is a sequence of words, or a function of
(text, word) that gives one. Names of two words make a sub-command (`@command("info breakpoints", ...)`).
"""
import gdb

from quor import states as process_states
from quor.errors import QuorError

GROUPS = ("Start", "Look", "Stop", "Step", "Change")
REGISTERED = {}  # name: the gdb.Command


class Command(gdb.Command):
    """A `java NAME` command around one function."""

    def __init__(self, function, name, group, states, usage, examples, complete):
        self.name, self.group, self.states, self.usage, self.examples = name, group, states, usage, examples
        self.function, self._complete = function, complete
        self.summary, self.__doc__ = _help(function, name, usage, examples)
        super().__init__(f"java {name}", gdb.COMMAND_USER)

    def invoke(self, argument, from_tty):
        try:
            process_states.require(f"java {self.name}", self.states)
            self.function(argument.strip(), from_tty)
        except (gdb.GdbError, KeyboardInterrupt):
            raise
        except (QuorError, gdb.error) as error:
            raise gdb.GdbError(str(error)) from None
        except Exception as error:  # ours to mend, but no traceback for the user
            raise gdb.GdbError(f"java {self.name} failed inside: {type(error).__name__}: {error}") from None

    def complete(self, text, word):
        if self._complete is None:
            return gdb.COMPLETE_NONE
        try:
            words = self._complete(text, word) if callable(self._complete) else self._complete
        except Exception:  # an error would be printed into the line that the user types
            return []
        return completions(words, text, word)


class _Prefix(gdb.Command):
    """Java in gdb: the commands by group. `help java COMMAND` tells more of each.
"""

    def __init__(self):
        super().__init__("java", gdb.COMMAND_USER, gdb.COMPLETE_NONE, True)

    def invoke(self, argument, from_tty):
        if argument:
            raise gdb.GdbError(f'There is no command "java {argument.split()[0]}"; "java" lists them.')
        gdb.write(overview())


def completions(words, text, word):
    """Of these words those that go on from `text`, cut as gdb wants them: from where `word` begins. A word may have blanks in it:
    it goes on from as much of the text's end as it can."""
    stands_before = len(text) - len(word) if text.endswith(word) else 0
    first = len(text) - len(text.lstrip())
    for start in [first] + [at + 1 for at in range(first, len(text)) if text[at] == " "]:
        found = [candidate for candidate in words if candidate.startswith(text[start:])]
        if found:
            return [candidate[max(0, stands_before - start):] for candidate in found]
    return []


def _help(function, name, usage, examples):
    """The first line of the function's description, and the whole help text."""
    lines = (function.__doc__ or "").strip().splitlines()
    body = [line.strip() for line in lines]
    text = [body[0] if body else name, f"Usage: java {name} {usage}".rstrip()] + body[1:]
    if examples:
        text += ["", "Examples:"] + [f"  (gdb) {example}" for example in examples]
    return (body[0] if body else name), "\n".join(text)


def command(name, group, states=process_states.STATES, usage="", examples=(), complete=None):
    """Makes the function the command `java NAME`."""
    if group not in GROUPS:
        raise ValueError(f"no group {group}")

    def register(function):
        REGISTERED[name] = Command(function, name, group, tuple(states), usage, tuple(examples), complete)
        return function

    return register


def overview():
    """The commands, by group, a line each."""
    text = []
    for group in GROUPS:
        members = [each for each in REGISTERED.values() if each.group == group]
        if members:
            text += [f"{group}:"] + [f"  java {each.name:<12} {each.summary}" for each in members]
    return "\n".join(text) + "\n"


_PREFIX = _Prefix()
