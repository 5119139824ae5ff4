#!/usr/bin/env python3
"""Compares docs/records.md with the debug information of built libraries.

usage: records_check.py PAGE LIBRARY                    check the columns of the library's width
       records_check.py --write PAGE LIBRARY32 LIBRARY64   write the page's tables afresh

The page has a heading "## `record`" for each record and below it a table with a row for each field:
| `field` | type | offset, size on i386 | offset, size on x86-64 |. gdb reads the same from the library.
"""
import json
import re
import subprocess
import sys

# Run inside gdb: prints {"width": bytes of a pointer, "records": {name: [[field, type, offset, size], ...]}}.
IN_GDB = r"""
import gdb, json
def strip(t):
    return t.strip_typedefs()
def rows(t, prefix="", base=0):
    for f in strip(t).fields():
        name = prefix + f.name
        offset = base + f.bitpos // 8
        if f.bitsize:
            yield [name, "bit %d" % (f.bitpos % 32), offset, 4]
        elif strip(f.type).code in (gdb.TYPE_CODE_UNION, gdb.TYPE_CODE_STRUCT) and f.name in OPENED:
            yield from rows(f.type, name + ".", offset)
        else:
            yield [name, str(f.type), offset, f.type.sizeof]
OPENED = ("u", "single_step", "breakpoint", "frame", "exception", "exception_catch", "field_access",
          "field_modification", "user", "thread_change", "class_event")
out = {"width": gdb.lookup_type("void").pointer().sizeof, "records": {}}
for name in NAMES:
    t = gdb.lookup_type(name)
    out["records"][name] = list(rows(t)) + [["(whole)", "", 0, strip(t).sizeof]]
print("RECORDS " + json.dumps(out))
"""

RECORDS = {
    "JVMDI_Event": "The event that a hook point is called with.",
    "AgentInvokRet": "The outcome of an invocation: the words behind `kind` of a USER_DEFINED event, and what a synchronous "
                     "call fills.",
    "class_info": "A class: `agent_get_classinfo`, `agent_get_class`, `agent_get_superclass`, `agent_get_classes`.",
    "method_entry": "A method: `agent_get_classmethods`.",
    "monitor_entry": "A monitor: `agent_get_monitorlist`.",
    "JVMDI_thread_info": "`agent_get_threadinfo`.",
    "JVMDI_thread_group_info": "`agent_get_threadgroupinfo`.",
    "JVMDI_owned_monitor_info": "`agent_get_owned_monitorinfo`.",
    "JVMDI_monitor_info": "`agent_get_monitorinfo`.",
    "JVMDI_line_number_entry": "`agent_get_linenumbertable`.",
    "JVMDI_local_variable_entry": "`agent_get_localvariabletable`.",
    "JVMDI_exception_handler_entry": "`agent_get_exceptionhandlertable`.",
    "JVMDI_capabilities": "`jvmdi_features`, `agent_get_capabilities`: one 32-bit word of one-bit fields.",
    "tmap_record": "A Java thread, in the buckets of `tmap`.",
    "uref_record": "An object's handle, in the buckets of `refmap`.",
    "prepared_classes": "`prep_list`.",
    "log_category": "A log category, in `__log_map_agent`; the value of a category's flag global.",
}

INTRODUCTION = """# Records that a debugger reads

Offset and size, in bytes, of every field in both widths. A test compares this page with the debug information of the
built library; `python3 tests/interface/records_check.py --write docs/records.md build/i386/libquor_agent.so
build/x86-64/libquor_agent.so` writes it afresh.
"""


def layouts(library):
    script = f"NAMES = {list(RECORDS)!r}\n{IN_GDB}"
    command = ["gdb", "--batch", "-nx", "-q", "-iex", "set auto-load off", "-ex", f"python exec({script!r})", library]
    run = subprocess.run(command, capture_output=True, text=True, check=False)
    line = next((line for line in run.stdout.splitlines() if line.startswith("RECORDS ")), None)
    if not line:
        sys.exit(f"gdb read no records from {library}:\n{run.stdout}{run.stderr}")
    found = json.loads(line[len("RECORDS "):])
    return found["width"], found["records"]


def place(row):
    return f"{row[2]}, {row[3]}"


def write(page, library32, library64):
    width32, records32 = layouts(library32)
    width64, records64 = layouts(library64)
    if (width32, width64) != (4, 8):
        sys.exit("the libraries must be the 32-bit and the 64-bit one, in this order")
    with open(page, "w", encoding="utf-8") as out:
        out.write(INTRODUCTION)
        for name, what in RECORDS.items():
            out.write(f"\n## `{name}`\n\n{what}\n\n| field | type | i386: offset, size | x86-64: offset, size |\n"
                      "|---|---|---|---|\n")
            for row32, row64 in zip(records32[name], records64[name], strict=True):
                out.write(f"| `{row32[0]}` | {row32[1]} | {place(row32)} | {place(row64)} |\n")


def read_page(page, column):
    """{record: {field: "offset, size"}} of one of the page's two widths."""
    tables, record = {}, None
    with open(page, encoding="utf-8") as lines:
        for line in lines:
            if heading := re.match(r"## `(\w+)`", line):
                record = tables.setdefault(heading.group(1), {})
            elif row := re.match(r"\| `([^`]+)` \|", line):
                record[row.group(1)] = [cell.strip() for cell in line.strip().strip("|").split("|")][column]
    return tables


def check(page, library):
    width, records = layouts(library)
    stated = read_page(page, 2 if width == 4 else 3)
    built = {name: {row[0]: place(row) for row in rows} for name, rows in records.items()}
    wrong = 0
    for name in sorted(stated.keys() | built.keys()):
        fields, real = stated.get(name, {}), built.get(name, {})
        for field in sorted(fields.keys() | real.keys()):
            if fields.get(field) != real.get(field):
                wrong += 1
                print(f"{name}.{field}: the page says {fields.get(field)}, the library {real.get(field)}")
    print(f"{len(built)} records, {sum(map(len, built.values()))} fields, {wrong} differences")
    return 1 if wrong or not built else 0


def main(arguments):
    if len(arguments) == 4 and arguments[0] == "--write":
        write(*arguments[1:])
        return 0
    if len(arguments) != 2:
        sys.exit(__doc__)
    return check(*arguments)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
