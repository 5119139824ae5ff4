"""Transcripts of gdb sessions: what was typed and what gdb said. Reads them from text, has gdb type them again, compares.

    (gdb) java print order
    $j1 = Service$Order@... {item="cherries", amount=7}

A line behind a command is expected in its output; lines between may be left out where a line "..." stands, and dots stand for
anything within a line. Numbers of addresses, threads and processes may be others.
"""
import re
from collections import namedtuple

PROMPT = "(gdb) "
Step = namedtuple("Step", "command expected")  # `expected`: lines
_VARYING = ((r"0x[0-9a-f]+", "0x"), (r"@[0-9a-f]+", "@"), (r"\b[Tt]hread \d+", "thread N"), (r"LWP \d+", "LWP"),
            (r"process \d+", "process"), (r"^\(\d+ frames of", "(N frames of"), (r"^#\d+ +", "# "), (r"^\$(j?)\d+ =", r"$\1 ="))


def steps(text):
    """The Steps of a transcript. Paragraphs that begin otherwise than with a command are for the reader."""
    found = []
    for paragraph in text.split("\n\n"):
        if paragraph.lstrip("\n").startswith(PROMPT):
            found += _steps_of(paragraph)
    return found


def _steps_of(paragraph):
    found = []
    for line in paragraph.strip("\n").splitlines():
        if line.startswith(PROMPT):
            found.append(Step(line[len(PROMPT):].split("   #")[0].rstrip(), []))
        else:
            found[-1].expected.append(line.rstrip())
    return found


def blocks(markdown, language):
    """The fenced blocks of this language in a document."""
    return re.findall(rf"^```{language}\n(.*?)^```", markdown, re.MULTILINE | re.DOTALL)


def gdb_arguments(commands):
    """Arguments for a gdb that types these commands and tells where each begins."""
    found = []
    for number, command in enumerate(commands):
        found += ["-ex", f"echo \\n<<{number}\\n", "-ex", command]
    return [*found, "-ex", "echo \\n<<end\\n"]


def outputs(text, count):
    """What each command printed. ValueError when gdb did not come to its end."""
    if "\n<<end\n" not in text:
        raise ValueError("gdb did not come to its end")
    body = text[text.index("\n<<0\n"):text.index("\n<<end\n")]
    found = [part.strip("\n") for part in re.split(r"\n<<\d+\n", body)[1:]]
    if len(found) != count:
        raise ValueError(f"{len(found)} answers to {count} commands")
    return found


def plain(line):
    """A line without what differs from run to run."""
    for pattern, instead in _VARYING:
        line = re.sub(pattern, instead, line)
    return line.rstrip()


def _matches(expected, line):
    pattern = ".*".join(re.escape(part) for part in plain(expected).split("..."))
    return re.fullmatch(pattern, plain(line)) is not None


def missing(step, output):
    """The first expected line that the output lacks, in order; None when it has all."""
    lines = iter(output.splitlines())
    for expected in step.expected:
        if expected.strip() != "..." and not any(_matches(expected, line) for line in lines):
            return expected
    return None
