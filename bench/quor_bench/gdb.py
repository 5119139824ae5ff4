"""Programs under gdb, which runs a script of ../gdb on them with the functions of the end-to-end cases."""
import json
import os
from pathlib import Path

from .jvm import figures, output_of

ROOT = Path(__file__).resolve().parents[2]
E2E = ROOT / "tests" / "e2e"
SCRIPTS = ROOT / "bench" / "gdb"


def run(jvm, script, request):
    """The figures that the program prints; `request` is the script's own."""
    config = {"java": jvm.java, "options": ["-XX:-UsePerfData"], "agent_dir": str(jvm.build), "classes": str(jvm.classes),
              "output": "program.out", "errors": "program.err"}
    environment = {**os.environ, "QUOR_E2E": json.dumps(config), "PYTHONDONTWRITEBYTECODE": "1"}
    (jvm.work / "request.json").write_text(json.dumps(request), encoding="utf-8")
    (jvm.work / "program.out").unlink(missing_ok=True)
    output_of(["gdb", "--batch", "-nx", "-q", "-ex", f"python import sys; sys.path.insert(0, {str(E2E)!r})", "-x", SCRIPTS / script],
              environment, jvm.work)
    return figures((jvm.work / "program.out").read_text(encoding="utf-8"))
