"""`java break ... if` with a condition that is never true, on the program Stops. Runs inside gdb.

The file `request.json` in the current folder says how: {"java": ..., "options": [...], "classes": ..., "front": the file quor.py,
"rows": [THREADS:STOPS...]}.
"""
import json

import gdb

CONDITION = "turn < 0"


def main(request):
    for setting in ("set pagination off", "set confirm off", "set debuginfod enabled off", "set auto-load off",
                    "set print thread-events off", "set print inferior-events off"):
        gdb.execute(setting)
    gdb.execute(f"source {request['front']}")
    gdb.execute(" ".join(["java run -java", request["java"], *request["options"], "-cp", request["classes"], "Stops outside -",
                          *request["rows"]]))
    gdb.execute(f"java break Stops.reach if {CONDITION}")
    gdb.execute("java continue")
    gdb.execute("java info")
    if gdb.selected_inferior().pid:
        raise SystemExit("the program has not run to its end")


with open("request.json", encoding="utf-8") as file:
    main(json.load(file))
