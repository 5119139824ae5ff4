"""With an agent whose debug information was stripped, the commands work as with a whole one: other cases hold with it too."""
import subprocess
from pathlib import Path

import breaks
import held
import paces
import session
from harness import check


def stripped(library, target):
    subprocess.run(["strip", "--strip-debug", "-o", target, library], check=True)
    sections = subprocess.run(["readelf", "-SW", target], stdout=subprocess.PIPE, text=True, check=True).stdout
    check(".debug_info" not in sections, "the agent is stripped")


def case(jvm):
    whole, jvm.agent_dir = Path(jvm.agent_dir), jvm.folder / "bare"
    jvm.agent_dir.mkdir()
    stripped(whole / "libquor_agent.so", jvm.agent_dir / "libquor_agent.so")
    paces.through_native(jvm)
    breaks.by_calls(jvm, f"java break Stops:{breaks.line_of('OFTEN')}")
    held.at_breakpoints(jvm)
    held.on_the_agents_way_back(jvm)
    if jvm.long:
        session.case(jvm)
        paces.over_calls(jvm)
        paces.into_calls(jvm)
