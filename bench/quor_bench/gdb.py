"""gdb, which runs a script of ../gdb on a program, with the java commands."""
import json
import os
from pathlib import Path

from .jvm import COMMON, figures, output_of

ROOT = Path(__file__).resolve().parents[2]
FRONT = ROOT / "gdb" / "quor.py"
GDB = ["gdb", "--batch", "-nx", "-q", "-iex", "set debuginfod enabled off", "-iex", "set auto-load off"]
SCRIPTS = ROOT / "bench" / "gdb"


def _without_bytecode_setting():
    return {name: value for name, value in os.environ.items() if name != "PYTHONDONTWRITEBYTECODE"}


def run(jvm, script, **request):
    """The figures that the program or the script prints. Compiled modules are kept, as they are for a user, but apart from the
    sources."""
    request = {"java": jvm.java, "options": COMMON, "classes": str(jvm.classes), "front": str(FRONT), **request}
    (jvm.work / "request.json").write_text(json.dumps(request), encoding="utf-8")
    variables = {**_without_bytecode_setting(), "PYTHONPYCACHEPREFIX": str(jvm.work / "pycache"), "QUOR_AGENT_DIR": str(jvm.build)}
    path = f"python import sys; sys.path.insert(0, {str(SCRIPTS)!r})"
    return figures(output_of([*GDB, "-iex", path, "-x", SCRIPTS / script], variables, jvm.work))
