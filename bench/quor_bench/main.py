"""script/bench's own: measures the pieces that are asked for, on each JVM of the preset, and prints and stores the figures."""
import argparse
import sys
from pathlib import Path

from . import document, jdi, machine, results, table
from .effort import FULL, QUICK, SMOKE
from .jvm import Failed, Jvm
from .pieces import commands, events, modules, queries, running, seeding, start, stops

PIECES = {piece.NAME: piece for piece in (stops, start, running, events, seeding, queries, commands, modules)}
EFFORTS = {"full": FULL, "quick": QUICK, "smoke": SMOKE}


def arguments(words):
    parser = argparse.ArgumentParser(prog="bench", description="Measures what the agent costs.")
    parser.add_argument("--build", type=Path, required=True, help="the build's folder")
    parser.add_argument("--client-java", default="", help="the java that runs the JDI client")
    parser.add_argument("--java", action="append", required=True, help="a JVM to measure on; may be given more than once")
    parser.add_argument("--effort", choices=EFFORTS, default="full")
    parser.add_argument("--results", type=Path, required=True, help="the file of figures; those of other pieces stay there")
    parser.add_argument("--docs", type=Path, help="the folder whose page of figures is made anew afterwards")
    parser.add_argument("names", nargs="*", metavar="name", help=f"what to measure: {', '.join(PIECES)}")
    found = parser.parse_args(words)
    if unknown := [name for name in found.names if name not in PIECES]:
        parser.error(f"there is no {unknown[0]}; there are {', '.join(PIECES)}")
    return found


def jvms(found):
    client = found.client_java if found.client_java and jdi.is_there(found.client_java) else ""
    for java in found.java:
        version, width = machine.jvm_version(java)
        jvm = Jvm(java, found.build.resolve(), client, version=version)
        jvm.name = f"{width}-bit {jvm.major}"
        yield jvm


def show(jvm, tables):
    for each in tables:
        print(f"\n{jvm.name}: {each.title}, {each.unit}\n{table.as_text(table.grid([('', each)]))}", flush=True)
        for note in each.notes:
            print(f"  {note}", flush=True)


def main(words):
    found = arguments(words)
    described = machine.describe()
    print(machine.sentence(described))
    gathered = results.load(found.results) or results.new(described, found.build.name)
    gathered["machine"] = described
    failed = False
    for jvm in jvms(found):
        for name in found.names or PIECES:
            try:
                tables = PIECES[name].measure(jvm, EFFORTS[found.effort])
            except Failed as why:
                print(f"bench: {name} on {jvm.name}: {why}", file=sys.stderr)
                failed = True
                continue
            show(jvm, tables)
            results.add(gathered, jvm, tables)
            results.store(found.results, gathered)
    if found.docs:
        document.write(found.docs)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
