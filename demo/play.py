#!/usr/bin/env python3
"""Plays a session of gdb and shows it as a user sees it; fails when gdb does not say what the session has it say.

usage: play.py SESSION FOLDER [NAME=VALUE...]     $NAME in the session's commands is replaced; gdb runs in the folder
"""
import os
import subprocess
import sys
from pathlib import Path

import transcript

FRONT = Path(__file__).resolve().parents[1] / "gdb" / "quor.py"
SETTINGS = ("set pagination off", "set confirm off", "set width 0", "set print thread-events off", "set style enabled off",
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


def main():
    session, folder, *named = sys.argv[1:]
    text = Path(session).read_text(encoding="utf-8")
    steps = transcript.steps(text)
    shown = [step.command for step in steps]
    commands = [replaced(command, dict(each.split("=", 1) for each in named)) for command in shown]
    printed = run_gdb(commands, folder)
    (Path(folder) / "gdb.log").write_text(printed, encoding="utf-8")
    answers = iter(zip(steps, transcript.outputs(printed, len(steps))))
    wrong = []
    for paragraph in text.split("\n\n"):
        if not paragraph.startswith(transcript.PROMPT):
            print(f"\n{paragraph.strip()}\n")
            continue
        for _ in transcript.steps(paragraph):
            step, output = next(answers)
            print(f"{transcript.PROMPT}{step.command}" + (f"\n{output}" if output else ""))
            lacks = transcript.missing(step, output)
            if lacks is not None:
                wrong.append(f"{step.command}: gdb does not say {lacks!r}")
    for each in wrong:
        print(f"play: {each}", file=sys.stderr)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
