"""What a case is run with, and the files in its folder."""
import contextlib
import json
import os

CONFIG = json.loads(os.environ["QUOR_E2E"])  # written by run_case.py


def read_file(name):
    """Its text; empty when it is not there."""
    with contextlib.suppress(FileNotFoundError), open(name, encoding="utf-8", errors="replace") as file:
        return file.read()
    return ""


def forget_files(*names):
    for name in names:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(name)


def output():
    """What the program has written so far."""
    return read_file(CONFIG["output"])


def errors():
    return read_file(CONFIG["errors"])
