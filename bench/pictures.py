#!/usr/bin/env python3
"""Draws the pictures of docs/HOW-IT-WORKS.md from real runs, as SVG.

  pictures.py --tool PATH --datagen PATH --folder DOCS/PICTURES [levels] [spill]

levels   A sort of some two thousand words under -v, which shows a line for each level of distribution. The bins between
         the levels are counted from the words themselves; that every level shown holds exactly the words of its
         prefix, and that every bin large enough has its level, is checked while drawing.
spill    A sort of 300 MB in 32 MB, looked at every two milliseconds from outside: what it has read (/proc/PID/io), what
         lies in its work directory and in its output, the memory that it has. What is read is the input first and work
         files after: the sum at the end is checked. The fastest of five runs is drawn."""

import argparse
import collections
import dataclasses
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

import plots

WORDS = "/usr/share/dict/american-english-insane"
DRAWN_WORDS = 4000                 # before those with other characters than a to z are left out
LIST_SORT_BELOW = 20               # with the usual sequence
RECORDS, LINE_BYTES, MEMORY_MB = 3_000_000, 100, 32
SAMPLE_SECONDS = 0.002
RUNS = 5                           # the fastest is drawn: the one that was disturbed least
MEGABYTE = 1e6
LEVEL = re.compile(r"^ *k=0, d=(\d+) si=(\d+) data=\d+K sub=\d+K unused=\d+K #records=(\d+) bins=(\d+)$", re.M)
COLOURS = {"a level of its own": "#0b6e4f", "insertion sort": "#e0b04a", "one record, as it stands": "#9aa5b1"}
CURVES = {"input read": "#3d6fb4", "work files written": "#c98a2b", "work files read": "#8a4fa8",
          "output written": "#0b6e4f"}


def some_words():
    """Distinct words of small letters, the same ones every time."""
    drawn = subprocess.run(["shuf", f"--random-source={WORDS}", "-n", str(DRAWN_WORDS), WORDS], capture_output=True,
                           check=True).stdout.decode()
    return [word for word in drawn.split("\n") if re.fullmatch("[a-z]+", word)]


@dataclasses.dataclass
class Level:
    prefix: str
    records: int
    waiting: list   # prefixes of its bins that are not empty, in output order


def bins_of(words, prefix):
    return sorted({word[:len(prefix) + 1] for word in words if word.startswith(prefix)})


def levels_of(tool, words):
    """The prefixes that became levels, as -v tells them; each is checked against the words."""
    ran = subprocess.run([tool, "-v"], input="".join(word + "\n" for word in words), capture_output=True, text=True,
                         check=True)
    assert ran.stdout.split() == sorted(words)
    shown = [tuple(map(int, found)) for found in LEVEL.findall(ran.stderr)]
    root = Level("", len(words), bins_of(words, ""))
    open_levels, prefixes = [root], {""}
    for depth, slot, records, _ in shown[1:]:
        del open_levels[depth:]
        parent = open_levels[-1]
        prefix = parent.waiting[len(parent.waiting) - 1 - slot]   # bins stand reversed
        held = sum(word.startswith(prefix) for word in words)
        assert records == held >= LIST_SORT_BELOW, (prefix, records, held)
        prefixes.add(prefix)
        open_levels.append(Level(prefix, records, bins_of(words, prefix)))
    counted = collections.Counter(word[:n] for word in words for n in range(len(word) + 1))
    wanted = {prefix for prefix, count in counted.items() if count >= LIST_SORT_BELOW}
    assert prefixes == wanted, prefixes ^ wanted
    return prefixes


def cells_of(words, levels, depth):
    """What lies at a depth, left to right: (first word's index, records, prefix, how it is finished)."""
    at = {}
    for index, word in enumerate(words):
        if word[:depth - 1] in levels:
            at.setdefault(word[:depth], []).append(index)
    for prefix, indices in at.items():
        how = ("a level of its own" if prefix in levels and len(prefix) == depth else
               "one record, as it stands" if len(indices) == 1 else "insertion sort")
        yield indices[0], len(indices), prefix, how


def levels_picture(tool):
    words = sorted(some_words())
    levels = levels_of(tool, words[::2] + words[1::2])
    left, width, top, height = 96, plots.WIDTH - 110, 74, 46
    scale = width / len(words)
    parts, x = [], 10
    for how, colour in COLOURS.items():
        parts += [plots.rectangle(x, 34, 12, 12, colour), plots.text(x + 16, 44, how)]
        x += 40 + 7 * len(how)
    parts += [plots.rectangle(left, top, width, height - 4, COLOURS["a level of its own"]),
              plots.text(left + 8, top + 26, f"the input: {len(words):,} words", 'fill="#ffffff"'),
              plots.text(10, top + 26, "first pass")]
    depths = range(1, 2 + max(len(prefix) for prefix in levels))
    for depth in depths:
        y = top + depth * height
        cells = list(cells_of(words, levels, depth))
        parts.append(plots.text(10, y + 18, f"byte {depth - 1}"))
        parts.append(plots.text(10, y + 33, f"{len(cells)} bins", 'fill="#57606a"'))
        for start, records, prefix, how in cells:
            parts.append(plots.rectangle(left + start * scale, y, max(records * scale - 0.6, 0.25), height - 4,
                                         COLOURS[how]))
            if records * scale > 7.5 * len(prefix) + 3:
                middle = left + (start + records / 2) * scale
                parts.append(plots.text(middle, y + 25, prefix, 'fill="#ffffff" text-anchor="middle"'))
    title = f"{len(words):,} words, sorted: {len(levels)} levels of distribution, the rest by insertion"
    return plots.picture(top + (len(depths) + 1) * height + 10, title, parts)


@dataclasses.dataclass
class Sample:
    seconds: float
    read: int
    written: int
    memory: int
    work: int
    output: int


def size_of(path):
    try:
        return path.stat().st_size
    except FileNotFoundError:
        return 0


def look(process, began, work, output):
    """One sample, or nothing when the process has ended."""
    try:
        fields = pathlib.Path(f"/proc/{process.pid}/io").read_text().split()
        pages = int(pathlib.Path(f"/proc/{process.pid}/statm").read_text().split()[1])
    except (FileNotFoundError, ProcessLookupError, IndexError):
        return None
    moved = dict(zip(fields[::2], map(int, fields[1::2])))
    in_work = sum(size_of(pathlib.Path(entry.path)) for entry in os.scandir(work))
    return Sample(time.monotonic() - began, moved["rchar:"], moved["wchar:"], pages * os.sysconf("SC_PAGESIZE"), in_work,
                  size_of(output))


def watch(command, work, output):
    began = time.monotonic()
    process = subprocess.Popen(command, stderr=subprocess.DEVNULL)
    samples = []
    while process.poll() is None:
        sample = look(process, began, work, output)
        if sample and sample.memory:
            samples.append(sample)
        time.sleep(SAMPLE_SECONDS)
    assert process.returncode == 0
    return samples


def spilling_samples(tool, datagen):
    folder = pathlib.Path(tempfile.mkdtemp(prefix="fsort-picture-"))
    try:
        source, output, work = folder / "in", folder / "out", folder / "work"
        work.mkdir()
        with open(source, "wb") as file:
            subprocess.run([datagen, str(RECORDS), "1"], stdout=file, check=True)
        runs = []
        for _ in range(RUNS):
            output.unlink(missing_ok=True)
            runs.append(watch([tool, "-in", source, "-out", output, "-w", work, "-m", f"{MEMORY_MB}m"], work, output))
            assert size_of(output) == RECORDS * LINE_BYTES
        return min(runs, key=lambda samples: samples[-1].seconds)
    finally:
        shutil.rmtree(folder)


def curves_of(samples):
    """Megabytes by curve, one value a sample."""
    size = RECORDS * LINE_BYTES
    most_work = max(sample.work for sample in samples)
    last = samples[-1]
    assert abs(last.read - size - most_work) < 2 * MEGABYTE, (last, most_work)
    return {"input read": [min(s.read, size) / MEGABYTE for s in samples],
            "work files written": [min(s.written, most_work) / MEGABYTE for s in samples],
            "work files read": [max(s.read - size, 0) / MEGABYTE for s in samples],
            "output written": [s.output / MEGABYTE for s in samples]}


class Panel:
    """A part of a picture with a vertical axis of its own; `values` go from 0 to `highest`."""

    def __init__(self, top, bottom, highest, seconds):
        self.top, self.bottom, self.highest, self.seconds = top, bottom, highest, seconds
        self.left, self.right = 70, plots.WIDTH - 150

    def x(self, seconds):
        return self.left + (self.right - self.left) * seconds / self.seconds

    def y(self, value):
        return self.bottom - (self.bottom - self.top) * value / self.highest

    def grid(self, unit, step):
        parts = []
        for mark in range(int(self.highest / step) + 1):
            y = self.y(mark * step)
            parts += [plots.line(self.left, y, self.right, y),
                      plots.text(self.left - 6, y + 4, f"{mark * step:g} {unit}", 'text-anchor="end"')]
        return parts

    def curve(self, samples, values, colour):
        points = " ".join(f"{self.x(s.seconds):.1f},{self.y(v):.1f}" for s, v in zip(samples, values))
        return f'<polyline points="{points}" fill="none" stroke="{colour}" stroke-width="2"/>'


def spill_picture(tool, datagen):
    samples = spilling_samples(tool, datagen)
    curves = curves_of(samples)
    seconds = samples[-1].seconds
    total = RECORDS * LINE_BYTES / MEGABYTE
    upper = Panel(66, 330, max(max(values) for values in curves.values()) * 1.05, seconds)
    peak = max(sample.memory for sample in samples) / 2**20
    lower = Panel(372, 452, max(peak, MEMORY_MB) * 1.15, seconds)
    # A name stands where its curve ends; work files end as high as each other.
    heights = {"work files written": -4, "work files read": 14, "input read": 32, "output written": 50}
    parts = upper.grid("MB", 50) + lower.grid("MiB", 20)
    for name, values in curves.items():
        parts += [upper.curve(samples, values, CURVES[name]),
                  plots.rectangle(upper.right + 10, upper.top + heights[name] + 4, 12, 12, CURVES[name]),
                  plots.text(upper.right + 28, upper.top + heights[name] + 14, name)]
    parts += [plots.text(upper.left, 54, "bytes moved", 'fill="#57606a"'),
              plots.text(lower.left, 364, "memory of the process", 'fill="#57606a"'),
              lower.curve(samples, [s.memory / 2**20 for s in samples], "#24292f"),
              plots.line(lower.left, lower.y(MEMORY_MB), lower.right, lower.y(MEMORY_MB), "#c0392b", 1),
              plots.text(lower.right + 10, lower.y(MEMORY_MB) + 4, f"-m {MEMORY_MB}m", 'fill="#c0392b"'),
              plots.text(lower.right + 10, lower.y(peak) - 4, f"peak {peak:.0f} MiB")]
    tenth = plots.step_of(seconds)
    for mark in range(int(seconds / tenth) + 1):
        parts.append(plots.text(lower.x(mark * tenth), 472, f"{mark * tenth:.2g} s", 'text-anchor="middle"'))
    title = f"A sort of {total:g} MB ({RECORDS / 1e6:g} million lines) in {MEMORY_MB} MB of memory, over time"
    return plots.picture(486, title, parts)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True)
    parser.add_argument("--datagen", required=True)
    parser.add_argument("--folder", required=True, type=pathlib.Path)
    parser.add_argument("pictures", nargs="*", default=["levels", "spill"])
    args = parser.parse_args()
    makers = {"levels": lambda: levels_picture(args.tool), "spill": lambda: spill_picture(args.tool, args.datagen)}
    for name in args.pictures:
        (args.folder / f"{name}.svg").write_text(makers[name]())
        print(f"{args.folder / name}.svg")
    return 0


if __name__ == "__main__":
    sys.exit(main())
