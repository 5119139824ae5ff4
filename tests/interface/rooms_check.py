#!/usr/bin/env python3
"""Checks the order of the agent's rooms: each uses only itself and the rooms before it, no sources form a circle, and nothing
uses what is there for the debugger alone.

usage: rooms_check.py SOURCE_DIR OBJECT...      exit status 1 when there is such a tie or circle

What uses what is read from the relocations of the built objects (<room>/<name>.cpp.o), so that a failure names both symbols, and
from the sources' includes. An inline function that a header defines belongs to every object that has a copy of it: what it uses
counts for each of them, its copies are no tie. A tie that must run backwards goes through a pointer that the later room sets.
"""
import bisect
import collections
import os
import re
import subprocess
import sys

ROOMS = ("support", "vm", "registry", "invoke", "stop", "event", "agent_thread", "java_threads", "entry", "load")
FOR_THE_DEBUGGER_ALONE = ("err_is_wrongphase",)
NOT_CODE = re.compile(r"\.(debug|eh_frame|gcc_except_table|note|comment)")

# One symbol of an object. section: a number, or "UND" for what other objects define.
Symbol = collections.namedtuple("Symbol", "name section value size binding")
# `user` of the source `place` uses `used`, which the source `target` defines.
Tie = collections.namedtuple("Tie", "place user target used")


def parse_readelf(text):
    """What `readelf -SrsW` prints of an object: its symbols, and (section number, offset, symbol name) of each relocation."""
    sections, symbols, relocations, section = {}, [], [], None
    for line in text.splitlines():
        if found := re.match(r"\s*\[\s*(\d+)\] (\S+)\s", line):
            sections[found.group(2)] = found.group(1)
        elif found := re.match(r"Relocation section '\.rela?(\.[^']*)'", line):
            section = None if NOT_CODE.match(found.group(1)) else sections[found.group(1)]
        elif line.startswith("Symbol table"):
            section = None
        elif section and (found := re.match(r"([0-9a-f]+)\s+[0-9a-f]+\s+R_\S+\s+[0-9a-f]+\s+([^\s@]+)", line)):
            relocations.append((section, int(found.group(1), 16), found.group(2)))
        elif found := re.match(r"\s*\d+: ([0-9a-f]+)\s+(\d+|0x[0-9a-f]+) (\w+)\s+(\w+)\s+\w+\s+(\S+) (\S+)", line):
            value, size, kind, binding, where, name = found.groups()
            if kind not in ("SECTION", "FILE"):
                symbols.append(Symbol(name, where, int(value, 16), int(size, 0), binding))
    return symbols, relocations


def owner(symbols, section, offset):
    """The name of the symbol whose code or data holds a place of a section."""
    here = sorted((s.value, s.size, s.name) for s in symbols if s.section == section and s.size)
    at = bisect.bisect_right(here, (offset, float("inf"), "")) - 1
    if at >= 0 and offset < here[at][0] + here[at][1]:
        return here[at][2]
    return "(unnamed)"


def definitions(objects):
    """The source that defines each global name. A name with weak copies in several objects is an inline one, nobody's own."""
    strong, weak = {}, collections.defaultdict(list)
    for place, (symbols, _) in objects.items():
        for symbol in symbols:
            if symbol.section == "UND" or symbol.binding == "LOCAL":
                continue
            if symbol.binding == "GLOBAL":
                strong[symbol.name] = place
            else:
                weak[symbol.name].append(place)
    alone = {name: places[0] for name, places in weak.items() if len(places) == 1}
    return {**alone, **strong}


def link_ties(objects):
    """The ties between different sources of {source: (symbols, relocations)}."""
    defined = definitions(objects)
    for place, (symbols, relocations) in objects.items():
        outside = {symbol.name for symbol in symbols if symbol.section == "UND"}
        for section, offset, used in relocations:
            if used in outside and used in defined:
                yield Tie(place, owner(symbols, section, offset), defined[used], used)


def include_ties(sources):
    """The ties of {file: text} through #include."""
    for place, text in sources.items():
        for target in re.findall(r'^\s*#\s*include "([^"]+)"', text, re.M):
            yield Tie(place, "#include", target, f'"{target}"')


def room(place):
    return place.split("/")[0]


def backward(ties):
    for tie in ties:
        for place in (tie.place, tie.target):
            if room(place) not in ROOMS:
                yield f"{place} is in no room: {', '.join(ROOMS)}"
                break
        else:
            if ROOMS.index(room(tie.target)) > ROOMS.index(room(tie.place)):
                yield (f"{room(tie.place)}/ comes before {room(tie.target)}/, but {tie.user} in {tie.place} uses {tie.used} "
                       f"in {tie.target}")


def of_the_debugger(ties):
    """Uses of what is there for the debugger and not for the agent."""
    for tie in ties:
        if tie.used in FOR_THE_DEBUGGER_ALONE:
            yield f"{tie.used} is for the debugger alone, but {tie.user} in {tie.place} uses it"


def shortest_circle(uses, start):
    """The ties on the shortest way from a file back to itself; none when there is no way."""
    came_by, todo = {}, collections.deque([start])
    while todo:
        place = todo.popleft()
        for target, tie in uses[place].items():
            if target not in came_by:
                came_by[target] = tie
                todo.append(target)
    way, place = [], start
    while place in came_by and (not way or place != start):
        way.insert(0, came_by[place])
        place = came_by[place].place
    return way


def circles(ties):
    """One circle for each group of files that reach one another: the shortest."""
    uses = collections.defaultdict(dict)
    for tie in ties:
        if tie.place != tie.target:
            uses[tie.place].setdefault(tie.target, tie)
    told = set()
    for way in sorted((shortest_circle(uses, place) for place in list(uses)), key=len):
        if way and told.isdisjoint(tie.place for tie in way):
            told.update(tie.place for tie in way)
            yield "a circle: " + ", and ".join(f"{tie.user} in {tie.place} uses {tie.used} in {tie.target}" for tie in way)


def breaches(objects, sources):
    linked, included = list(link_ties(objects)), list(include_ties(sources))
    found = [*backward(linked), *backward(included), *of_the_debugger(linked), *circles(linked), *circles(included)]
    return list(dict.fromkeys(found))  # a function may use another more than once


def read_objects(paths):
    """{room/name.cpp: (symbols, relocations)}"""
    objects = {}
    for path in paths:
        text = subprocess.run(["readelf", "-SrsW", path], check=True, capture_output=True, text=True).stdout
        objects["/".join(path.split(os.sep)[-2:]).removesuffix(".o")] = parse_readelf(text)
    return objects


def read_sources(folder):
    sources = {}
    for where, _, names in os.walk(folder):
        for name in names:
            if name.endswith((".h", ".cpp")):
                path = os.path.join(where, name)
                with open(path, encoding="utf-8") as file:
                    sources[os.path.relpath(path, folder)] = file.read()
    return sources


def main(arguments):
    if len(arguments) < 2 or not os.path.isdir(arguments[0]):
        sys.exit(__doc__)
    objects, sources = read_objects(arguments[1:]), read_sources(arguments[0])
    found = breaches(objects, sources)
    ties = sum(1 for _ in link_ties(objects))
    text = "\n".join(found + [f"{len(objects)} objects, {ties} ties between them, {len(sources)} sources: {len(found)} breaches"])
    print(subprocess.run(["c++filt", "-p"], input=text, check=True, capture_output=True, text=True).stdout)
    return 1 if found or not ties else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
