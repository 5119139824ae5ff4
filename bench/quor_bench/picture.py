"""A picture (SVG) of the stop round trip over the number of threads: both axes in powers of ten."""
import math
from xml.sax.saxutils import escape

from . import turns
from .table import KINDS

WIDTH, HEIGHT, LEFT, TOP, RIGHT, BOTTOM = 340, 300, 60, 40, 16, 44  # of one JVM's graph
COLOURS = {"floor": "#888888", "ours": "#0060c0", "jdk": "#c03020", "ptrace": "#209050", "gdb": "#a050c0", "gdb-if": "#d09000"}
LEGEND = 30


def threads_of(row_name):
    """Where a row stands on the first axis: one thread more than none, so that none has a place among the powers."""
    return math.log10(int(row_name.replace(",", "")) + 1)


def points(table, kind):
    """[(threads, microseconds)], as powers of ten."""
    return [(threads_of(name), math.log10(turns.median(row[kind]))) for name, row in table.rows.items() if row.get(kind)]


def scale(tables):
    """The least and the greatest power of the times and the greatest of the threads, over all graphs."""
    found = [point for table in tables for kind in table.kinds() for point in points(table, kind)]
    return math.floor(min(y for _, y in found)), math.ceil(max(y for _, y in found)), max(x for x, _ in found)


class Graph:
    """One JVM's, with its left edge at `left`."""

    def __init__(self, left, powers):
        self.left = left
        self.low, self.high, self.far = powers

    def x(self, power):
        return self.left + LEFT + power / self.far * (WIDTH - LEFT - RIGHT)

    def y(self, power):
        return HEIGHT - BOTTOM - (power - self.low) / (self.high - self.low) * (HEIGHT - TOP - BOTTOM)

    def line(self, x1, y1, x2, y2):
        return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="#cccccc"/>'

    def axes(self, jvm, rows):
        yield text(self.left + LEFT, TOP - 16, jvm, "start", "bold")
        for power in range(self.low, self.high + 1):
            yield self.line(self.x(0), self.y(power), self.x(self.far), self.y(power))
            yield text(self.x(0) - 6, self.y(power) + 4, time_text(power), "end")
        for name in rows:
            yield text(self.x(threads_of(name)), HEIGHT - BOTTOM + 18, name, "middle")
        yield text(self.x(self.far / 2), HEIGHT - 8, "more threads", "middle")

    def curve(self, table, kind):
        places = [(self.x(x), self.y(y)) for x, y in points(table, kind)]
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
        yield f'<polyline points="{path}" fill="none" stroke="{COLOURS[kind]}" stroke-width="2"/>'
        for x, y in places:
            yield f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{COLOURS[kind]}"/>'


def time_text(power):
    return f"{10 ** power:,.0f} µs" if power < 3 else f"{10 ** (power - 3):,.0f} ms"


def text(x, y, words, anchor, weight="normal"):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-weight="{weight}">{escape(words)}</text>'


def legend(kinds):
    for place, kind in enumerate(kinds):
        x = LEFT + place * 165
        yield f'<rect x="{x}" y="{HEIGHT + 8}" width="14" height="4" fill="{COLOURS[kind]}"/>'
        yield text(x + 20, HEIGHT + 15, KINDS[kind].replace("`", ""), "start")


def draw(tables):
    """The picture's text; `tables` is [(JVM's name, table)], each table's rows being numbers of threads."""
    powers = scale([table for _, table in tables])
    kinds = [kind for kind in COLOURS if any(kind in table.kinds() for _, table in tables)]
    parts = list(legend(kinds))
    for place, (jvm, table) in enumerate(tables):
        graph = Graph(place * WIDTH, powers)
        parts += graph.axes(jvm, table.rows)
        for kind in table.kinds():
            parts += graph.curve(table, kind)
    width, height = max(WIDTH * len(tables), LEFT + 165 * len(kinds)), HEIGHT + LEGEND
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}" '
                      'font-family="sans-serif" font-size="12">', f'<rect width="{width}" height="{height}" fill="white"/>', *parts,
                      "</svg>"]) + "\n"
