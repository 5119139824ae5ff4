#!/usr/bin/env python3
"""Compares the tables that gdb/quor uses for an agent without debug information with the debug information of built libraries.

usage: layouts_check.py FOLDER LIBRARY                       check the table of the library's width
       layouts_check.py --write FOLDER LIBRARY...            write the tables afresh

FOLDER has a table for each width: layouts-32.json, layouts-64.json. What they hold is told in gdb/quor/dwarf.py.
"""
import json
import subprocess
import sys
from pathlib import Path

TYPES = ["AgentInvokRet", "JVMDI_Event", "JVMDI_line_number_entry", "JVMDI_local_variable_entry", "JVMDI_monitor_info",
         "JVMDI_owned_monitor_info", "JVMDI_thread_info", "JVMDI_thread_group_info", "class_info", "method_entry", "monitor_entry",
         "tmap_record", "uref_record", "prepared_classes", "invocation_state", "jboolean", "jbyte", "jchar", "jshort", "jint",
         "jlong", "jfloat", "jdouble", "jobject", "jclass", "jvalue", "jframeID", "jmethodID", "jfieldID", "jlocation", "JNIEnv"]
VARIABLES = ["prep_list", "jvmti", "quor_env", "tmap", "tid_debug_agent"]
PRIVATE_VARIABLES = ["event_queue", "event_queue_end", "pending_notify_event", "at_work"]
CONSTANTS = ["JVMDI_EVENT_BREAKPOINT", "JVMDI_EVENT_CLASS_PREPARE"]
# and those called agent_...
FUNCTIONS = ["PrepList_refresh", "PrepList_reset", "PrepList_seed", "getEnv", "keep_alive", "resume_after_event"]

# Run inside gdb: prints the table.
IN_GDB = r"""
import gdb, json
TABLE = {"types": [], "variables": {}, "constants": {}, "functions": {}}
KNOWN = {}  # what tells a type: its index
def row(key, made):
    if key not in KNOWN:
        KNOWN[key] = len(TABLE["types"])
        TABLE["types"].append(made)
    return KNOWN[key]
def plain(made):
    return row(json.dumps(made), made)
def base(t):
    kinds = {gdb.TYPE_CODE_BOOL: "boolean", gdb.TYPE_CODE_FLT: "float"}
    sign = "signed" if t.is_signed else "unsigned"
    kind = kinds.get(t.code) or sign + (" char" if t.name.endswith("char") else "")
    return plain(["base", t.name, t.sizeof, kind])
def field(f):
    index = number(f.type)
    return [f.name, index, f.bitpos, f.bitsize] if f.bitsize else [f.name, index, f.bitpos // 8]
def record(t):
    kind = "struct" if t.code == gdb.TYPE_CODE_STRUCT else "union"
    fields = [f for f in t.fields() if hasattr(f, "bitpos") and not f.is_base_class]
    if t.name and not fields:
        return row(t.name, ["declared", t.name])
    if not t.name:
        return plain([kind, None, t.sizeof, [field(f) for f in fields]])
    if t.name in KNOWN:
        return KNOWN[t.name]
    index = row(t.name, [kind, t.name, t.sizeof, []])  # its fields may lead back to it
    TABLE["types"][index][3] = [field(f) for f in fields]
    return index
def number(t):
    t = t.unqualified()
    if t.code == gdb.TYPE_CODE_VOID:
        return None
    if t.code == gdb.TYPE_CODE_TYPEDEF:
        return plain(["typedef", t.name, number(t.target())])
    if t.code == gdb.TYPE_CODE_PTR:
        return plain(["pointer", number(t.target())])
    if t.code in (gdb.TYPE_CODE_STRUCT, gdb.TYPE_CODE_UNION):
        return record(t)
    if t.code == gdb.TYPE_CODE_ENUM:
        return plain(["enum", t.name, t.sizeof, [[f.name, f.enumval] for f in t.fields()]])
    if t.code == gdb.TYPE_CODE_ARRAY:
        low, high = t.range()
        return plain(["array", number(t.target()), high - low + 1])
    if t.code == gdb.TYPE_CODE_FUNC:
        return plain(["function", number(t.target()), [number(f.type) for f in t.fields()]])
    return base(t)
for name in TYPES:
    number(gdb.lookup_type(name))
for name in VARIABLES + PRIVATE_VARIABLES:
    TABLE["variables"][name] = [number(gdb.parse_and_eval(name).type), name in VARIABLES]
for name in CONSTANTS:
    value = gdb.parse_and_eval(name)
    TABLE["constants"][name] = [number(value.type), int(value)]
for name in FUNCTIONS:
    TABLE["functions"][name] = number(gdb.parse_and_eval(name).type)
print("TABLE %d %s" % (8 * gdb.lookup_type("void").pointer().sizeof, json.dumps(TABLE)))
"""


def functions(library):
    run = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True, text=True, check=True)
    exported = sorted(line.split()[2] for line in run.stdout.splitlines() if line.split()[1] == "T")
    return [name for name in exported if name.startswith("agent_")] + FUNCTIONS


def table(library):
    """(width in bits, table) of a library."""
    names = {"TYPES": TYPES, "VARIABLES": VARIABLES, "PRIVATE_VARIABLES": PRIVATE_VARIABLES, "CONSTANTS": CONSTANTS,
             "FUNCTIONS": functions(library)}
    script = "".join(f"{name} = {value!r}\n" for name, value in names.items()) + IN_GDB
    command = ["gdb", "--batch", "-nx", "-q", "-iex", "set auto-load off", "-ex", f"python exec({script!r})", library]
    run = subprocess.run(command, capture_output=True, text=True, check=False)
    line = next((line for line in run.stdout.splitlines() if line.startswith("TABLE ")), None)
    if not line:
        sys.exit(f"gdb made no table of {library}:\n{run.stdout}{run.stderr}")
    _, width, text = line.split(" ", 2)
    return int(width), json.loads(text)


def written(found):
    """A table as text, an entry a line."""
    parts = []
    for name, entries in found.items():
        if isinstance(entries, list):
            body, ends = [json.dumps(each) for each in entries], "[]"
        else:
            body, ends = [f"{json.dumps(key)}: {json.dumps(value)}" for key, value in entries.items()], "{}"
        parts.append(f'"{name}": {ends[0]}\n  ' + ",\n  ".join(body) + f"\n{ends[1]}")
    return "{\n" + ",\n".join(parts) + "\n}\n"


def path(folder, width):
    return Path(folder) / f"layouts-{width}.json"


def check(folder, library):
    width, found = table(library)
    stated = path(folder, width).read_text(encoding="utf-8").splitlines()
    real = written(found).splitlines()
    wrong = [line for line in real if line not in set(stated)] + [line for line in stated if line not in set(real)]
    for line in wrong[:20]:
        print(f"{'the library has' if line in real else 'the table has'}: {line.strip()}")
    print(f"{width} bits: {len(found['types'])} types, {len(found['functions'])} functions, {len(wrong)} lines differ")
    if wrong or stated != real:
        print("layouts_check.py --write FOLDER LIBRARY... writes the tables afresh")
    return 1 if stated != real or len(found["functions"]) < 100 else 0


def main(arguments):
    if len(arguments) > 2 and arguments[0] == "--write":
        for library in arguments[2:]:
            width, found = table(library)
            path(arguments[1], width).write_text(written(found), encoding="utf-8")
        return 0
    if len(arguments) != 2:
        sys.exit(__doc__)
    return check(*arguments)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
