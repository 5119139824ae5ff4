"""gdb, which runs a script of ../gdb on a program."""
import json
import os
from pathlib import Path

from .jvm import COMMON, figures, output_of

ROOT = Path(__file__).resolve().parents[2]
E2E = ROOT / "tests" / "e2e"
FRONT = ROOT / "gdb" / "quor.py"
GDB = ["gdb", "--batch", "-nx", "-q", "-iex", "set debuginfod enabled off", "-iex", "set auto-load off"]
SCRIPTS = ROOT / "bench" / "gdb"


def _run(jvm, script, request, environment, first=()):
    """Compiled modules are kept, as they are for a user, but apart from the sources."""
    (jvm.work / "request.json").write_text(json.dumps(request), encoding="utf-8")
    variables = {**_without_bytecode_setting(), "PYTHONPYCACHEPREFIX": str(jvm.work / "pycache"), **environment}
    return output_of([*GDB, *first, "-x", SCRIPTS / script], variables, jvm.work)


def _without_bytecode_setting():
    return {name: value for name, value in os.environ.items() if name != "PYTHONDONTWRITEBYTECODE"}


def run(jvm, script, request):
    """With the functions of the end-to-end cases; the figures that the program prints. `request` is the script's own."""
    config = {"java": jvm.java, "options": COMMON, "agent_dir": str(jvm.build), "classes": str(jvm.classes),
              "output": "program.out", "errors": "program.err"}
    output = jvm.work / "program.out"
    output.unlink(missing_ok=True)
    _run(jvm, script, request, {"QUOR_E2E": json.dumps(config)}, ("-ex", f"python import sys; sys.path.insert(0, {str(E2E)!r})"))
    return figures(output.read_text(encoding="utf-8"))


def run_commands(jvm, script, **request):
    """With the java commands, which the script sources; the figures that the program or the script prints."""
    request = {"java": jvm.java, "options": COMMON, "classes": str(jvm.classes), "front": str(FRONT), **request}
    return figures(_run(jvm, script, request, {"QUOR_AGENT_DIR": str(jvm.build)}))
