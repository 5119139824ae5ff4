#!/usr/bin/env python3
"""Plays a session of gdb and shows it as a user sees it; fails when gdb does not say what the session has it say.

usage: play.py SESSION FOLDER [NAME=VALUE...]     $NAME in the session's commands is replaced; gdb runs in the folder

Of a document (.md) every fenced block of the language "gdb" is a session of its own.
"""
import os
import subprocess
import sys
from pathlib import Path

import transcript

FRONT = Path(__file__).resolve().parents[1] / "gdb" / "quor.py"
SETTINGS = ("set pagination off", "set confirm off", "set width 0", "set breakpoint pending on",
            "set print thread-events off", "set style enabled off",
            f"source {FRONT}")
LIMIT = 120  # seconds for the whole session


def run_gdb(commands, folder):
    """What gdb printed, all of it."""
    command = ["gdb", "--batch", "-nx", "-q", "-iex", "set debuginfod enabled off", "-iex", "set auto-load off"]
    for setting in SETTINGS:
        command += ["-ex", setting]
    gdb = subprocess.Popen([*command, *transcript.gdb_arguments(commands)], cwd=folder, stdin=subprocess.DEVNULL,
                           stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
    try:
        return gdb.communicate(timeout=LIMIT)[0].decode(errors="replace")
    finally:
        end_session(gdb)


def end_session(process):
    """Ends gdb, if it has not ended, and what it started."""
    for entry in Path("/proc").iterdir():
        try:
            if entry.name.isdigit() and os.getsid(int(entry.name)) == process.pid:
                os.kill(int(entry.name), 9)
        except (ProcessLookupError, PermissionError):
            pass
    process.wait()


def replaced(text, values):
    for name, value in values.items():
        text = text.replace("$" + name, value)
    return text


def play(text, folder, values):
    """Plays one session; gives what gdb did not say."""
    steps = transcript.steps(text)
    printed = run_gdb([replaced(step.command, values) for step in steps], folder)
    (Path(folder) / "gdb.log").write_text(printed, encoding="utf-8")
    answers = iter(zip(steps, transcript.outputs(printed, len(steps))))
    wrong = []
    for paragraph in text.split("\n\n"):
        played = transcript.steps(paragraph)
        if not played:
            print(f"\n{paragraph.strip()}\n")
        for _ in played:
            step, output = next(answers)
            print(f"{transcript.PROMPT}{step.command}" + (f"\n{output}" if output else ""))
            lacks = transcript.missing(step, output)
            if lacks is not None:
                wrong.append(f"{step.command}: gdb does not say {lacks!r}")
    return wrong


def main():
    session, folder, *named = sys.argv[1:]
    text = Path(session).read_text(encoding="utf-8")
    sessions = transcript.blocks(text, "gdb") if session.endswith(".md") else [text]
    values = dict(each.split("=", 1) for each in named)
    wrong = [each for one in sessions for each in play(one, folder, values)]
    for each in wrong:
        print(f"play: {each}", file=sys.stderr)
    return 1 if wrong or not sessions else 0


if __name__ == "__main__":
    sys.exit(main())
