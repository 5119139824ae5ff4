"""gdb with the java commands on a program of the bench. Runs inside gdb.

The file `request.json` in the current folder says how: {"java": ..., "options": [...], "classes": ..., "front": the file quor.py},
and what the script asks for besides.
"""
import json
import time

import gdb

SETTINGS = ("set pagination off", "set confirm off", "set print thread-events off", "set print inferior-events off")


def request():
    """The request, with gdb set up for it."""
    for setting in SETTINGS:
        gdb.execute(setting)
    with open("request.json", encoding="utf-8") as file:
        return json.load(file)


def source(asked):
    """The command that brings the java commands."""
    return f"source {asked['front']}"


def run(asked, *program):
    """The command that starts a program, by its class and arguments, and stops before its main."""
    return " ".join(["java run -java", asked["java"], *asked["options"], "-cp", asked["classes"], *map(str, program)])


def timed(name, command):
    """What the command prints; how long it took is printed as a figure."""
    begin = time.monotonic()
    text = gdb.execute(command, to_string=True)
    print(f"{name}={round((time.monotonic() - begin) * 1e6)}", flush=True)
    return text
