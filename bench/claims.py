"""The rows of scripts/bench that compare the product with itself, not with peers.

  growth       what a record costs, from 1 to 50 million records of kind a
  duplicates   few different lines against lines that are all different
  prefixes     records behind a long common prefix against the same records without
  smallest     a process that sorts ten lines, from spawn to wait
  small-sorts  sorts a second in one C program, records by callbacks

Growth is measured size after size, because the largest fills the memory; duplicates and prefixes in rounds, each
beside its unchanged kind, and ratios are taken within a round. Every output is proved as for the other rows."""

import dataclasses
import os
import statistics
import subprocess
import time

import contenders
from rows import A, LINE, Data, Row

GROWTH = (1, 2, 5, 10, 20, 50)     # million records
MAX_GROWTH = 1.6
MAX_SMALLEST_MS = 3.0
LEAST_SMALL_SORTS = 10_000
PREFIXES = (20, 200, 2000)
PREFIX_RECORDS = 1_000_000
SMALL_RECORDS = 10


def line_row(name, data, options=()):
    return Row(name, data, LINE, options=options)


def stamp(rounds, found):
    return found | {"scale": rounds.args.scale, "when": time.strftime("%Y-%m-%d %H:%M", time.gmtime()),
                    "load": round(os.getloadavg()[0], 1), "revision": rounds.args.revision}


def say(text, run):
    print(f"  {text:28} {run['wall']:8.3f} s wall {run['cpu']:8.3f} s CPU {run['peak'] / 2**20:7.0f} MiB", flush=True)


def growth(rounds):
    sizes = []
    for millions in GROWTH:
        data = dataclasses.replace(A, records=millions * 1_000_000)
        rounds.make_data(data)
        runs = []
        for _ in range(rounds.args.rounds):
            runs.append(rounds.once(line_row("growth", data), contenders.PRODUCT))
            say(f"{data.count(rounds.args.scale):,} records", runs[-1])
        sizes.append({"records": data.count(rounds.args.scale), "runs": runs})
        rounds.drop_data(data)
    return stamp(rounds, {"sizes": sizes})


def in_rounds(rounds, sides):
    """`sides` maps a name to (row, contender). Runs all of them in each round, in rotating order."""
    for row, _ in sides.values():
        rounds.make_data(row.data)
    runs = {name: [] for name in sides}
    names = list(sides)
    for number in range(rounds.args.rounds):
        turn = number % len(names)
        for name in names[turn:] + names[:turn]:
            runs[name].append(rounds.once(*sides[name]))
            say(name, runs[name][-1])
    for row, _ in sides.values():
        rounds.drop_data(row.data)
    return runs


def duplicates(rounds):
    kinds = {"all different": "lines", "1,000 different": "few:1000", "10 different": "few:10", "all equal": "equal"}
    sides = {name: (line_row(name, Data(kind, A.records, name)), contenders.PRODUCT) for name, kind in kinds.items()}
    return stamp(rounds, {"records": A.count(rounds.args.scale), "runs": in_rounds(rounds, sides)})


def prefixes(rounds):
    base = Data("lines", PREFIX_RECORDS, "no prefix")
    sides = {"no prefix": (line_row("no prefix", base), contenders.PRODUCT),
             "no prefix, copied": (line_row("no prefix", base), contenders.COPY)}
    for length in PREFIXES:
        name = f"{length:,} bytes"
        row = line_row(name, Data(f"prefix:{length}", PREFIX_RECORDS, name, length + base.length), ("-rt", "4000"))
        sides |= {name: (row, contenders.PRODUCT), f"{name}, copied": (row, contenders.COPY)}
    return stamp(rounds, {"records": base.count(rounds.args.scale), "runs": in_rounds(rounds, sides)})


def on_one_core(command):
    core = contenders.cores_for(1)
    return subprocess.run([str(part) for part in command], capture_output=True, text=True, check=True,
                          preexec_fn=lambda: os.sched_setaffinity(0, core)).stdout


def smallest(rounds):
    source, output = rounds.folder / "ten-lines", rounds.folder / "ten-lines.out"
    with open(source, "wb") as file:
        subprocess.run([rounds.programs / "datagen", "10"], stdout=file, check=True)
    times = []
    for _ in range(rounds.args.rounds):
        text = on_one_core([rounds.programs / "spawn_time", "400", rounds.programs / "fsort", "-q", "-in", source,
                            "-out", output])
        times.append([float(number) for number in text.split()])
        print(f"  smallest, middle, largest of 400: {text.strip()} ms", flush=True)
    subprocess.run([rounds.programs / "record_check", "--in", source, "--out", output, "bytes"], check=True,
                   stdout=subprocess.DEVNULL)
    source.unlink()
    output.unlink()
    return stamp(rounds, {"milliseconds": times})


def small_sorts(rounds):
    rates = []
    for _ in range(rounds.args.rounds):
        rates.append(float(on_one_core([rounds.programs / "small_sorts", "30000", SMALL_RECORDS])))
        print(f"  {rates[-1]:,.0f} sorts of {SMALL_RECORDS} records a second", flush=True)
    return stamp(rounds, {"rates": rates})


MEASURES = {"growth": growth, "duplicates": duplicates, "prefixes": prefixes, "smallest": smallest,
            "small-sorts": small_sorts}


def middle(runs, what="wall"):
    return statistics.median(run[what] for run in runs)
