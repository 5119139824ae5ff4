"""The figures of a run as a file, and what several runs gave together."""
import json

from .table import Table


def new(machine, preset):
    return {"preset": preset, "machine": machine, "jvms": {}}


def add(results, jvm, tables):
    """Figures of the same name that are there already are replaced."""
    of_jvm = results["jvms"].setdefault(jvm.name, {"version": jvm.version, "tables": {}})
    of_jvm["version"] = jvm.version
    for table in tables:
        of_jvm["tables"][table.name] = table.to_json()


def load(file):
    try:
        return json.loads(file.read_text(encoding="utf-8"))
    except FileNotFoundError:
        return None


def store(file, results):
    file.parent.mkdir(parents=True, exist_ok=True)
    file.write_text(json.dumps(results, indent=1, ensure_ascii=False) + "\n", encoding="utf-8")


def tables(all_results, name):
    """[(JVM's name, table)] of every JVM that has it."""
    return [(jvm, Table.from_json(found["tables"][name])) for results in all_results for jvm, found in results["jvms"].items()
            if name in found["tables"]]
