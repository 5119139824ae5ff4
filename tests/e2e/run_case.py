#!/usr/bin/env python3
"""Runs one end-to-end case under gdb in a folder of its own.

usage: run_case.py VARIANT.json STEM

A case that takes too long is interrupted, so that its gdb dumps all stacks; if even that fails, another gdb dumps those of
its JVM. The folder of a failed case is kept, and the command that repeats it printed.
"""
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
GDB = ["gdb", "--batch", "-nx", "-q"]


def jvms_of(folder):
    """The process ids of JVMs that work in the folder."""
    found = []
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                if (entry / "cwd").resolve() == folder and (entry / "exe").resolve().name == "java":
                    found.append(int(entry.name))
            except OSError:
                pass
    return found


def dump_stacks(folder):
    for pid in jvms_of(folder):
        subprocess.run([*GDB, "-iex", "set debuginfod enabled off", "-p", str(pid), "-ex", "thread apply all bt"],
                       timeout=30, check=False)


def watch(gdb, folder, seconds):
    """Waits for gdb; interrupts a case that takes too long. Gives whether it ended by itself."""
    try:
        gdb.wait(seconds)
        return True
    except subprocess.TimeoutExpired:
        print(f"the case takes longer than {seconds} seconds", flush=True)
    for pid in jvms_of(folder):
        os.kill(pid, signal.SIGINT)
    try:
        gdb.wait(15)
    except subprocess.TimeoutExpired:
        gdb.terminate()
        try:
            gdb.wait(5)
        except subprocess.TimeoutExpired:
            gdb.kill()
            gdb.wait()
    return False


def forbidden_lines(variant, folder):
    pattern = variant.get("forbid")
    if not pattern:
        return []
    lines = [line for name in ("program.out", "program.err") if (folder / name).exists()
             for line in (folder / name).read_text(errors="replace").splitlines()]
    return [line for line in lines if re.search(pattern, line)]


def main():
    variant_file, stem = Path(sys.argv[1]).resolve(), sys.argv[2]
    variant = json.loads(variant_file.read_text())
    folder = Path(variant["work"]) / f"{stem}.{variant['name']}"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    folder = folder.resolve()
    config = dict(variant, stem=stem, python=sys.executable, output=str(folder / "program.out"), errors=str(folder / "program.err"))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    command = [*GDB, "-iex", f"python import sys; sys.path.insert(0, {str(HERE)!r})", "-ex", "python import in_gdb"]
    environment = {name: value for name, value in os.environ.items() if not re.match(r"_?_?QUOR_|JAVA_|JDK_|PYTHON", name)}
    environment["QUOR_E2E"] = json.dumps(config)
    environment["PYTHONPYCACHEPREFIX"] = str(folder.parent / "bytecode")
    with open(folder / "gdb.log", "wb") as log:
        gdb = subprocess.Popen(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL, stdout=log,
                               stderr=subprocess.STDOUT, start_new_session=True)
        ended = watch(gdb, folder, variant["seconds"])
    if not ended:
        dump_stacks(folder)
    result = folder / "passed"
    forbidden = forbidden_lines(variant, folder)
    passed = ended and gdb.returncode == 0 and result.exists() and not forbidden
    for pid in jvms_of(folder):
        print(f"the JVM {pid} was left over")
        passed = False
        os.kill(pid, signal.SIGKILL)
    if passed:
        print(result.read_text().strip())
        shutil.rmtree(folder)
        return 0
    for name in ("gdb.log", "program.out", "program.err"):
        path = folder / name
        text = path.read_text(errors="replace") if path.exists() else ""
        print(f"---- {path}" + (" (its last lines)" if len(text) > 20000 else ""))
        print(text[-20000:])
    for line in forbidden:
        print(f"FORBIDDEN OUTPUT: {line}")
    print(f"FAILED; its folder is {folder}\nrepeat it: {sys.executable} {HERE}/run_case.py {variant_file} {stem}")
    return 1


if __name__ == "__main__":
    sys.exit(main())
