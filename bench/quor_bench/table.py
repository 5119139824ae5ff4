"""Tables of figures: what a piece gives, its goals, and how both are written."""
from dataclasses import asdict, dataclass, field

from . import turns

KINDS = {"plain": "plain", "floor": "floor", "ours": "ours", "light": "ours, light", "jdk": "JDK's agent",
         "ptrace": "ours + ptrace debugger", "gdb": "ours + gdb", "gdb-if": "ours + `java break ... if`", "gdb-commands": "gdb"}


@dataclass
class Goal:
    """At most `limit` times the base, or at most `limit` of the unit when there is no base. `rows`: of these alone."""
    kind: str
    base: str
    limit: float
    rows: list = None

    def applies_to(self, row):
        return self.rows is None or row in self.rows


@dataclass
class Table:
    """rows: {name: {kind: [figure of each run]}}, all in one unit."""
    name: str
    title: str
    unit: str
    first_column: str
    rows: dict
    goals: list = field(default_factory=list)
    notes: list = field(default_factory=list)

    def to_json(self):
        return asdict(self)

    @staticmethod
    def from_json(data):
        return Table(**{**data, "goals": [Goal(**goal) for goal in data["goals"]]})

    def kinds(self):
        """Those measured, in the usual order."""
        return [kind for kind in KINDS if any(kind in row for row in self.rows.values())]

    def runs(self):
        """How many runs of each kind the medians are of."""
        return max((len(values) for row in self.rows.values() for values in row.values()), default=0)

    def pairs(self):
        """(kind, base) of the goals, each once."""
        return list(dict.fromkeys((goal.kind, goal.base) for goal in self.goals))


def number(value):
    """Three digits that count, or all before the point."""
    if value >= 100:
        return f"{value:,.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def measured(row, kind):
    return number(turns.median(row[kind])) if row.get(kind) else ""


def limit_of(table, row_name, pair):
    limits = [goal.limit for goal in table.goals if (goal.kind, goal.base) == pair and goal.applies_to(row_name)]
    return min(limits) if limits else None


def verdict(table, row_name, pair):
    """A cell: the ratio (or the figure itself, for a goal without base), what it was to be at most, and whether it is
    more: undecided when the runs of one sitting differ by more than it is too much."""
    kind, base = pair
    row = table.rows[row_name]
    value = turns.ratio(row, kind, base) if base else turns.median(row[kind]) if row.get(kind) else None
    limit = limit_of(table, row_name, pair)
    if value is None:
        return ""
    shown = f"{value:.2f}" if base else number(value)
    if limit is None:
        return shown if base else ""
    if value <= limit:
        return f"{shown} (≤ {limit:g})"
    return f"{shown} (≤ {limit:g}: {'undecided' if base and turns.overlap(row, kind, base, limit) else 'missed'})"


def pair_title(pair):
    kind, base = pair
    return f"{KINDS[kind]} / {KINDS[base]}" if base else f"{KINDS[kind]}: goal"


def grid(tables):
    """The lines of one table for several JVMs, heading first: `tables` is [(JVM's name, table)]."""
    kinds = [kind for kind in KINDS if any(kind in table.kinds() for _, table in tables)]
    pairs = list(dict.fromkeys(pair for _, table in tables for pair in table.pairs() if {*pair, ""} <= {*kinds, ""}))
    first = tables[0][1]
    lines = [["", first.first_column, *(KINDS[kind] for kind in kinds), *(pair_title(pair) for pair in pairs)]]
    for jvm, table in tables:
        for name, row in table.rows.items():
            lines.append([jvm, name, *(measured(row, kind) for kind in kinds), *(verdict(table, name, pair) for pair in pairs)])
            jvm = ""
    return lines


def as_text(lines):
    widths = [max(len(line[column]) for line in lines) for column in range(len(lines[0]))]
    return "\n".join("  ".join(cell.ljust(width) if place < 2 else cell.rjust(width)
                               for place, (cell, width) in enumerate(zip(line, widths))).rstrip() for line in lines)


def as_markdown(lines):
    rows = ["| " + " | ".join(line) + " |" for line in lines]
    return "\n".join([rows[0], "|---|---|" + "---:|" * (len(lines[0]) - 2), *rows[1:]])
