"""gdb, which runs a script of ../gdb on a program."""
import json
import os
from pathlib import Path

from .jvm import COMMON, figures, output_of

ROOT = Path(__file__).resolve().parents[2]
E2E = ROOT / "tests" / "e2e"
FRONT = ROOT / "gdb" / "quor.py"
SCRIPTS = ROOT / "bench" / "gdb"


def _run(jvm, first, script, request, environment):
    (jvm.work / "request.json").write_text(json.dumps(request), encoding="utf-8")
    return output_of(["gdb", "--batch", "-nx", "-q", "-iex", "set debuginfod enabled off", "-iex", "set auto-load off", "-ex", first, "-x",
                      SCRIPTS / script], {**os.environ, "PYTHONDONTWRITEBYTECODE": "1", **environment}, jvm.work)


def run(jvm, script, request):
    """With the functions of the end-to-end cases; the figures that the program prints. `request` is the script's own."""
    config = {"java": jvm.java, "options": COMMON, "agent_dir": str(jvm.build), "classes": str(jvm.classes), "output": "program.out",
              "errors": "program.err"}
    output = jvm.work / "program.out"
    output.unlink(missing_ok=True)
    _run(jvm, f"python import sys; sys.path.insert(0, {str(E2E)!r})", script, request, {"QUOR_E2E": json.dumps(config)})
    return figures(output.read_text(encoding="utf-8"))


def run_commands(jvm, script, **request):
    """With the java commands; the figures that the program or the script prints."""
    request = {"java": jvm.java, "options": COMMON, "classes": str(jvm.classes), **request}
    return figures(_run(jvm, f"source {FRONT}", script, request, {"QUOR_AGENT_DIR": str(jvm.build)}))
