"""With a libjvm of which nothing but the dynamic symbols is left, the stacks are the same; where libjvm cannot be found through the
process's auxiliary vector too."""
import os
import shutil
import subprocess
from pathlib import Path

from crash import SHOW_AND_WAIT, plain
from harness import check, check_equal, check_whole, gdb, java_frames, threads


def link_or_copy(source, target):
    try:
        os.link(source, target)
    except OSError:
        shutil.copy2(source, target)


def copy_of_jvm(java, target):
    """The JVM's folder again, its files by links, so that one of them can be replaced."""
    home = Path(java).resolve().parents[1]
    for folder, _, names in os.walk(home):
        here = target / Path(folder).relative_to(home)
        here.mkdir(parents=True)
        for name in names:
            source = Path(folder) / name
            if source.is_symlink():
                (here / name).symlink_to(os.path.realpath(source))
            else:
                link_or_copy(source, here / name)
    return target / "bin" / "java"


def strip(java):
    library = java.parents[1] / "lib" / "server" / "libjvm.so"
    stripped = library.with_suffix(".stripped")
    subprocess.run(["strip", "--strip-all", "-o", stripped, library.resolve()], check=True)
    os.replace(stripped, library)
    return library


NO_VECTOR = "python import quor.hotspot.vm as vms; vms._auxiliary_vector = lambda: ''"


def check_stacks(text, own, how):
    stacks = threads(text)
    for heading, stack in stacks.items():
        check_whole(stack, f"{how}: {heading}")
    check_equal([plain(java_frames(stack)) for stack in stacks.values()].count(own), 1, f"{how}: the threads with the VM's own frames")


def case(jvm):
    java = copy_of_jvm(jvm.java, jvm.folder / "stripped")
    library = strip(java)
    sections = subprocess.run(["readelf", "-SW", library], stdout=subprocess.PIPE, text=True, check=True).stdout
    check(".symtab" not in sections and ".debug_info" not in sections, "libjvm is stripped")
    with jvm.start("descend", 6000, SHOW_AND_WAIT, java=str(java)) as program:
        program.ready()
        check(str(library) in Path(f"/proc/{program.pid}/maps").read_text(), "the stripped libjvm is the one that runs")
        found = gdb(jvm, ["thread apply all bt"], pid=program.pid)[0]
        asked = gdb(jvm, [NO_VECTOR, f"attach {program.pid}", "thread apply all bt"])[2]
        own = plain(program.own_stack())
    check_stacks(found, own, "libjvm's own table")
    check_stacks(asked, own, "gdb's symbols")
