"""docs/figures.md: the tables between its marks, and the picture beside it, made from the files of figures."""
import re

from . import machine, picture, results, table

BEGIN, END = "<!-- figures {}: written by script/bench --docs -->", "<!-- end of figures -->"
PICTURE = "stops.svg"


def region(text, name, content):
    """The text with what stands between the marks of this name replaced; a document without them is refused."""
    pattern = re.compile(re.escape(BEGIN.format(name)) + ".*?" + re.escape(END), re.DOTALL)
    if not pattern.search(text):
        raise ValueError(f"no region '{name}'")
    return pattern.sub(lambda _: f"{BEGIN.format(name)}\n{content}\n{END}", text)


def names_in(text):
    return re.findall(BEGIN.format("(.+?)"), text)


def machines(all_results):
    """A line a preset."""
    return "\n".join(f"- `{found['preset']}`: {machine.sentence(found['machine'])}; HotSpot "
                     + ", ".join(jvm["version"] for jvm in found["jvms"].values()) + "." for found in all_results)


def shown(all_results, name):
    found = results.tables(all_results, name)
    if not found:
        return "Not measured."
    notes = dict.fromkeys(f"{jvm}: {note}." for jvm, each in found for note in each.notes)
    first = found[0][1]
    measured = [(jvm, each) for jvm, each in found if each.rows]
    lines = ["", table.as_markdown(table.grid(measured))] if measured else []
    runs = sorted({each.runs() for _, each in measured})
    heading = f"{first.title}, {first.unit}" + (f"; median of {' or '.join(map(str, runs))}:" if runs else ":")
    return "\n".join([heading, *lines, *(f"\n{note}" for note in notes)])


def written(text, all_results):
    """The document with every region made anew."""
    for name in names_in(text):
        text = region(text, name, machines(all_results) if name == "machines" else shown(all_results, name))
    return text


def write(folder):
    """Makes docs/figures.md and the picture anew from docs/figures/*.json."""
    found = [results.load(file) for file in sorted((folder / "figures").glob("*.json"))]
    document = folder / "figures.md"
    document.write_text(written(document.read_text(encoding="utf-8"), found), encoding="utf-8")
    if stops := results.tables(found, "stops"):
        (folder / "figures" / PICTURE).write_text(picture.draw(stops), encoding="utf-8")
