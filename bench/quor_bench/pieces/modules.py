"""The agent's modules in one process, on the simulated VM, by Google Benchmark."""
import json

from ..jvm import output_of
from ..table import Table

NAME = "modules"
TITLE = "Modules on the simulated VM"
ABSENT = "not built: it needs Debian's libbenchmark-dev, which is there for the machine's own width alone"


def microseconds(run):
    """Processor time, but of what several threads do: their time on the clock."""
    value = run["real_time"] if "real_time" in run["name"] else run["cpu_time"]
    return value / {"ns": 1000, "us": 1, "ms": 0.001}[run["time_unit"]]


def rows_of(text):
    rows = {}
    for run in json.loads(text)["benchmarks"]:
        if run.get("error_occurred"):
            raise ValueError(f"{run['name']}: {run['error_message']}")
        if run.get("run_type") == "aggregate":
            continue
        name = run["name"].split("/iterations")[0].replace("/real_time", "")
        rows.setdefault(name, {"ours": []})["ours"].append(microseconds(run))
    return rows


def measure(jvm, effort):
    program = jvm.build / "bench" / "bench_modules"
    if not program.exists():
        return [Table(NAME, TITLE, "µs", "function / records", {}, [], [ABSENT])]
    output = output_of([program, "--benchmark_format=json", f"--benchmark_min_time={0.2 * effort.share}",
                        f"--benchmark_repetitions={effort.long_rounds}"])
    return [Table(NAME, TITLE, "µs", "function / records", rows_of(output))]
