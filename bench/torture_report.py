#!/usr/bin/env python3
"""Sums the counts of a torture campaign up as a page.

  bench/torture_report.py --form full --preset dev --faults 0 TALLY... >bench/TORTURE.md

What the lines of a tally mean is said in tests/torture/tally.h; bench/kill_and_fill.py adds lines
  process <tab> what <tab> outcome <tab> number"""

import argparse
import time

from machine import first_line, machine

# What a row counts besides the ends of processes.
NOT_ENDS = ("with work files", "later runs", "ended before", "not run")


def read(files):
    sums = {"injection": {}, "message": {}, "scenario": {}, "process": {}}
    for name in files:
        with open(name) as file:
            for line in file:
                kind, *key, number = line.rstrip("\n").split("\t")
                part = sums[kind]
                part[tuple(key)] = part.get(tuple(key), 0) + int(number)
    return sums


def injections(rows):
    outcomes = ["reported", "no harm, right output", "told at destruction", "no handle"]
    lines = ["| Call | How | Injections | Status 1 and its text | Status 0 and the right output | Right output, told when "
             "the handle is destroyed | No handle |", "|---|---|---|---|---|---|---|"]
    pairs = sorted({key[:2] for key in rows})
    sums = [0] * len(outcomes)
    for call, how in pairs:
        numbers = [rows.get((call, how, outcome), 0) for outcome in outcomes]
        sums = [a + b for a, b in zip(sums, numbers)]
        lines.append(f"| {call} | {how} | {sum(numbers):,} | " + " | ".join(f"{n:,}" for n in numbers) + " |")
    if sum(sums) != sum(rows.values()):
        raise SystemExit("torture_report: an outcome that has no column")
    lines.append(f"| **all** | | **{sum(sums):,}** | " + " | ".join(f"**{n:,}**" for n in sums) + " |")
    return lines


def two_columns(title, rows):
    return [f"| {title} | Number |", "|---|---|"] + [f"| {' | '.join(key)} | {number:,} |"
                                                     for key, number in sorted(rows.items())]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--form", required=True)
    parser.add_argument("--preset", required=True)
    parser.add_argument("--faults", type=int, required=True)
    parser.add_argument("--note", action="append", default=[])
    parser.add_argument("tallies", nargs="+")
    args = parser.parse_args()
    sums = read(args.tallies)
    total = sum(sums["injection"].values())
    ends = sum(n for (_, outcome), n in sums["process"].items() if outcome not in NOT_ENDS)
    form = "every call of each loop" if args.form == "full" else f"at most about {args.form} calls of each loop"
    lines = ["# Torture", "",
             "Written by `scripts/torture`; what is done and looked at is said at the top of `tests/torture/rig.h`, "
             "`tests/torture/torture_test.cpp` and `bench/kill_and_fill.py`.", "",
             f"- Machine: {machine()}",
             f"- Revision: {first_line(['git', 'describe', '--always', '--dirty'])}, preset {args.preset}",
             f"- Run: {time.strftime('%Y-%m-%d %H:%M', time.gmtime())} UTC; {form}",
             *[f"- {note}" for note in args.note],
             f"- **{total:,} faults in {len(sums['scenario'])} scenarios and {ends:,} ends of processes; "
             f"{'nothing was wrong' if args.faults == 0 else 'SOMETHING WAS WRONG'}**", "",
             "## Calls that fail", "",
             "Each line is one call failing once or from there on for good, or moving half of what it was asked to. An end "
             "counts only when its status, its text, the output, input and work directory, everything allocated and "
             "opened, the instance around it and the sort after it were as they must be.", "",
             *injections(sums["injection"]), "", "## Messages that came", "",
             *two_columns("Message", sums["message"]), "", "## Processes", "",
             "| What | Outcome | Number |", "|---|---|---|",
             *[f"| {what} | {outcome} | {number:,} |" for (what, outcome), number in sorted(sums["process"].items())], ""]
    print("\n".join(lines))


if __name__ == "__main__":
    main()
