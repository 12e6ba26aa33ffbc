"""Makes random sorts by the million and judges every one, with the programs of tests/sort.

  bench/random_soak.py --program build/dev/bin/sort_tests [--sorts 1000000] [--jobs 2] [--report bench/RANDOM.md]

Every sort follows from its seed: options, keys, records, memory, the way in and out. Sorts in memory must equal the
reference engine byte for byte and satisfy the oracle; sorts that spill, the oracle; a sort that the rules refuse, their
message. The seeds are none of those that the tests use every day, and they are the same in each campaign of a size; --first
moves them. A fault is reported with the seed and the command that makes that sort again. Exit status 1 when there is one.
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import time

from machine import machine

ROOT = pathlib.Path(__file__).resolve().parent.parent
REPORT_SORTS = 1_000_000
SEEDS_APART = 10_000_000

# Test -> its share of the sorts, how many a process makes, what it is.
REGIMES = {
    "RandomSorts.OfTextRecordsGiveTheReferenceOrder": (0.17, 5000, "lines, few records, in memory"),
    "RandomSorts.OfFixedRecordsGiveTheReferenceOrder": (0.12, 5000, "fixed records, few, in memory"),
    "RandomSorts.OfVariableRecordsGiveTheReferenceOrder": (0.12, 5000, "variable records, few, in memory"),
    "RandomSorts.OfCallbackRecordsGiveTheReferenceOrder": (0.19, 5000, "any bytes by callbacks, few, in memory"),
    "RandomSorts.OfAThousandTextRecordsGiveTheReferenceOrder": (0.015, 1000, "a thousand lines, in memory"),
    "RandomSorts.OfAThousandFixedRecordsGiveTheReferenceOrder": (0.010, 1000, "a thousand fixed records, in memory"),
    "RandomSorts.OfAThousandCallbackRecordsGiveTheReferenceOrder": (0.015, 1000, "a thousand by callbacks, in memory"),
    "RandomSpillingSorts.OfTextRecordsAreRight": (0.08, 1000, "lines, starved of memory"),
    "RandomSpillingSorts.OfFixedRecordsAreRight": (0.06, 1000, "fixed records, starved of memory"),
    "RandomSpillingSorts.OfVariableRecordsAreRight": (0.06, 1000, "variable records, starved of memory"),
    "RandomSpillingSorts.OfCallbackRecordsAreRight": (0.08, 1000, "any bytes by callbacks, starved of memory"),
    "RandomSorts.OfTextRecordsAreFoundRightByTheirOwnCheck": (0.05, 5000, "lines, few, the output checked"),
    "RandomSorts.OfFixedRecordsAreFoundRightByTheirOwnCheck": (0.03, 5000, "fixed records, few, the output checked"),
}


def batches(args):
    """(test, first seed, sorts) of every process."""
    for number, (test, (share, size, _)) in enumerate(REGIMES.items()):
        first = args.first + number * SEEDS_APART
        left = max(1, round(args.sorts * share))
        while left > 0:
            yield test, first, min(size, left)
            first += size
            left -= size


def run(args, batch):
    test, first, sorts = batch
    environment = dict(os.environ, FSORT_TEST_SEED=str(first), FSORT_TEST_SORTS=str(sorts))
    started = time.monotonic()
    done = subprocess.run([args.program, f"--gtest_filter={test}"], env=environment, capture_output=True, text=True,
                          errors="replace")
    text = done.stdout + done.stderr
    seeds = re.findall(r"FSORT_TEST_SEED=(\d+)", text)
    if done.returncode != 0 and not seeds:
        seeds = [f"{first} to {first + sorts - 1}, status {done.returncode}"]
    if done.returncode == 0 and "[  PASSED  ] 1 test" not in text:
        seeds = [f"{first}: no such test"]
    return test, sorts, time.monotonic() - started, seeds


def campaign(args):
    rows = {test: {"sorts": 0, "seconds": 0.0, "faults": []} for test in REGIMES}
    with concurrent.futures.ThreadPoolExecutor(max_workers=args.jobs) as pool:
        for test, sorts, seconds, seeds in pool.map(lambda batch: run(args, batch), batches(args)):
            rows[test]["sorts"] += sorts
            rows[test]["seconds"] += seconds
            rows[test]["faults"] += seeds
            for seed in seeds:
                print(f"fault: FSORT_TEST_SEED={seed} {args.program} --gtest_filter={test}", flush=True)
    return rows


def table(rows):
    lines = ["| Sorts of | Sorts | With a fault | Seconds |", "|---|---|---|---|"]
    lines += [f"| {REGIMES[test][2]} | {row['sorts']:,} | {len(row['faults'])} | {row['seconds']:.0f} |"
              for test, row in rows.items()]
    return lines


def revision():
    done = subprocess.run(["git", "-C", str(ROOT), "describe", "--always", "--dirty", "--exclude", "*"],
                          capture_output=True, text=True)
    return done.stdout.strip() or "unknown (no clone)"


def report(args, rows, built_from):
    total, faults = sum(row["sorts"] for row in rows.values()), sum(len(row["faults"]) for row in rows.values())
    lines = ["# Random sorts", "", "Written by `scripts/soak --parts random`; what is judged, and how, is said at the top of "
             "`bench/random_soak.py` and in [docs/TESTING.md](../docs/TESTING.md).", "", f"- Machine: {machine()}",
             f"- Revision: {built_from}, preset dev", f"- Run: {time.strftime('%Y-%m-%d %H:%M UTC', time.gmtime())}",
             f"- Seeds: from {args.first:,} on, {SEEDS_APART:,} apart for each row",
             f"- **{total:,} sorts, {faults} with a fault**", "", *table(rows), ""]
    lines += [f"- `FSORT_TEST_SEED={seed}`, `{test}`" for test, row in rows.items() for seed in row["faults"]]
    pathlib.Path(args.report).write_text("\n".join(lines).rstrip() + "\n")
    print(f"written: {args.report}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", required=True)
    parser.add_argument("--sorts", type=int, default=REPORT_SORTS)
    parser.add_argument("--first", type=int, default=100_000_000)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--report")
    args = parser.parse_args()
    built_from = revision()  # before a long campaign, not after it
    rows = campaign(args)
    print("\n".join(table(rows)))
    if args.report and args.sorts >= REPORT_SORTS:
        report(args, rows, built_from)
    faults = sum(len(row["faults"]) for row in rows.values())
    print(f"random sorts: {sum(row['sorts'] for row in rows.values()):,} sorts, {faults} with a fault")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
