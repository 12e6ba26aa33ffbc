"""Draws the plots of a report as SVG: bars of wall times beside the product's, and what a record costs by input size.

Bars are wall times over the product's on the same row (its own is 1), medians as in the tables."""

import math
import statistics
from html import escape

import claims
import contenders
import tables
from rows import ROWS

WIDTH, LEFT, RIGHT, BAR, GAP, TOP = 860, 110, 190, 13, 12, 64
COLOURS = {"copy limit": "#9aa5b1", "fsort": "#0b6e4f", "best peer, 1 thread": "#3d6fb4",
           "best peer, 2 threads": "#8fb3e0", "GNU sort, 1 thread": "#c98a2b"}
FONT = 'font-family="sans-serif" font-size="12"'


def text(x, y, words, more=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" {FONT} {more}>{escape(words)}</text>'


def rectangle(x, y, width, height, colour):
    return f'<rect x="{x:.1f}" y="{y:.1f}" width="{width:.1f}" height="{height:.1f}" fill="{colour}"/>'


def line(x1, y1, x2, y2, colour="#d0d7de", width=1):
    return (f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}" '
            f'stroke-width="{width}"/>')


def picture(height, title, parts):
    head = (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" width="{WIDTH}" '
            f'height="{height}" role="img"><title>{escape(title)}</title>')
    return "\n".join([head, rectangle(0, 0, WIDTH, height, "#ffffff"),
                      text(10, 22, title, 'font-weight="bold"'), *parts, "</svg>", ""])


def step_of(highest, steps=6):
    """A round distance of grid lines."""
    size = 10 ** math.floor(math.log10(highest / steps))
    return next(size * factor for factor in (1, 2, 5, 10) if size * factor * steps >= highest)


def bars_of(found):
    """Pairs of (what, name of the program, wall time over the product's)."""
    named = [("copy limit", "copy"), ("best peer, 1 thread", tables.best(found, 1)),
             ("best peer, 2 threads", tables.best(found, 2)), ("GNU sort, 1 thread", "gnu-1")]
    bars = [("fsort", "", 1.0)]
    for what, name in named:
        if name in found["pairs"] and not (what.startswith("GNU") and name == tables.best(found, 1)):
            title = contenders.BY_NAME[name].title if what.startswith("best") else ""
            bars.append((what, title, statistics.median(tables.ratios(found, name))))
    return sorted(bars, key=lambda bar: list(COLOURS).index(bar[0]))


def legend():
    parts, x = [], 10
    for what, colour in COLOURS.items():
        parts += [rectangle(x, 34, 12, 12, colour), text(x + 16, 44, what)]
        x += 30 + 7 * len(what)
    return parts


def bar_plot(title, named):
    """`named` are pairs of a row's name and its result."""
    groups = [(name, bars_of(found)) for name, found in named]
    highest = max(bar[2] for _, bars in groups for bar in bars)
    scale = (WIDTH - LEFT - RIGHT) / highest
    height = TOP + sum(len(bars) * BAR + GAP for _, bars in groups) + 30
    parts = legend()
    step = step_of(highest)
    for mark in range(int(highest / step) + 1):
        x = LEFT + mark * step * scale
        parts += [line(x, TOP - 6, x, height - 26), text(x - 4, height - 10, f"{mark * step:g}")]
    y = TOP
    for name, bars in groups:
        parts.append(text(10, y + len(bars) * BAR / 2 + 4, name))
        for what, program, value in bars:
            parts += [rectangle(LEFT, y, value * scale, BAR - 2, COLOURS[what]),
                      text(LEFT + value * scale + 4, y + BAR - 3, f"{value:.2f} {program}".rstrip())]
            y += BAR
        y += GAP
    return picture(height, title, parts)


def growth_plot(found):
    points = {what: [(size["records"], claims.middle(size["runs"], what) / size["records"] * 1e9)
                     for size in found["sizes"]] for what in ("wall", "cpu")}
    first, last = points["wall"][0][0], points["wall"][-1][0]
    highest = 1.15 * max(cost for each in points.values() for _, cost in each)
    height, bottom = 380, 340
    width = WIDTH - LEFT - 60

    def place(records, cost):
        x = LEFT + width * math.log(records / first) / math.log(last / first)
        return x, bottom - cost / highest * (bottom - TOP)

    parts = []
    step = step_of(highest)
    for mark in range(int(highest / step) + 1):
        y = place(first, mark * step)[1]
        parts += [line(LEFT, y, LEFT + width, y), text(50, y + 4, f"{mark * step:g} ns")]
    for records, _ in points["wall"]:
        parts.append(text(place(records, 0)[0] - 14, bottom + 18, f"{records / 1e6:g} M"))
    for what, colour in (("wall", "#0b6e4f"), ("cpu", "#c98a2b")):
        spots = [place(*point) for point in points[what]]
        for (x1, y1), (x2, y2) in zip(spots, spots[1:]):
            parts.append(line(x1, y1, x2, y2, colour, 2))
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="4" fill="{colour}"/>' for x, y in spots]
        parts.append(text(spots[-1][0] + 8, spots[-1][1] + 4, {"wall": "wall", "cpu": "CPU"}[what]))
    return picture(height, "What a record of 100 bytes costs, by records in the input", parts)


def draw(results, folder):
    """Writes the plots there are results for; returns pairs of file name and title."""
    drawn = []

    def put(name, title, content):
        (folder / name).write_text(content)
        drawn.append((name, title))
    for name, title, spills in (("memory.svg", "Wall times over fsort's, in memory", False),
                                ("work-files.svg", "Wall times over fsort's, with little memory", True)):
        named = [(row.name, results[row.name]) for row in ROWS
                 if row.name in results and bool(row.memory_mb) == spills]
        if named:
            put(name, title, bar_plot(title, named))
    if "growth" in results and len(results["growth"]["sizes"]) > 1:
        put("growth.svg", "What a record costs, by records in the input", growth_plot(results["growth"]))
    return drawn
