#!/usr/bin/env python3
"""Runs the micro-benchmarks and writes bench/results/micro.md; scripts/bench --micro calls it.

  bench/micro.py --program build/bench/bin/micro [--short] [--filter REGEX]

Each benchmark runs five times on one core; the figure is the median of processor time for one record, so that other
work on the machine changes it little. --short measures for a moment only and writes to build/bench/results."""

import argparse
import json
import os
import pathlib
import subprocess
import time

from machine import machine
from tables import table

ROOT = pathlib.Path(__file__).resolve().parent.parent
REPETITIONS = 5
MEANING = {
    "line_search": "reading lines of so many bytes from a file in the page cache",
    "rec_fill_default_key": "`rec_fill`, the whole record as key",
    "rec_fill_number_in_field": "`rec_fill`, a signed decimal in field 3",
    "stk_space_of_a_record": "`stk_space`, 109 bytes, frames popped",
    "dist1_pass": "`dist1`, 97 bins",
    "distn_pass": "`distn`, two bytes, 9313 bins",
    "list_sort": "`lisort` and output, bins of 2 to 31 records after two bytes",
    "emission": "`output_sublist`, the same bins",
    "work_file_write": "`sublist_write`, 96 runs of 1,000 records",
    "work_file_read": "reading these runs back",
}


def measure(args):
    command = [args.program, "--benchmark_format=json", f"--benchmark_repetitions={REPETITIONS}",
               "--benchmark_enable_random_interleaving=true", f"--benchmark_min_time={0.02 if args.short else 0.3}",
               f"--benchmark_filter={args.filter}"]
    core = max(os.sched_getaffinity(0))
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=True,
                          preexec_fn=lambda: os.sched_setaffinity(0, {core}))
    found = {}
    for each in json.loads(done.stdout)["benchmarks"]:
        if each["run_type"] == "iteration":
            found.setdefault(each["run_name"].removesuffix("/manual_time"), []).append(1e9 / each["items_per_second"])
    return found


def lines_of(found):
    lines = []
    order = list(MEANING)
    for name in sorted(found, key=lambda name: (order.index(name.partition("/")[0]), len(name), name)):
        costs = sorted(found[name])
        base, _, size = name.partition("/")
        meaning = MEANING[base].replace("so many", size) if size else MEANING[base]
        lines.append([f"`{name}`", meaning, f"{costs[len(costs) // 2]:.1f} ns", f"{costs[0]:.1f} to {costs[-1]:.1f}"])
    return lines


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--filter", default=".")
    args = parser.parse_args()
    found = measure(args)
    folder = ROOT / ("build/bench/results" if args.short or args.filter != "." else "bench/results")
    folder.mkdir(parents=True, exist_ok=True)
    text = ["# Micro-benchmarks", "",
            "Written by `scripts/bench --micro`; the code is in `bench/micro`. 100,000 random lines of 100 bytes "
            f"unless said otherwise, {REPETITIONS} runs on one core, processor time for one record.", "",
            f"- Machine: {machine()}",
            f"- {time.strftime('%Y-%m-%d %H:%M', time.gmtime())} UTC, load average {os.getloadavg()[0]:.1f}", ""]
    text += table(["benchmark", "what", "a record, median", "smallest to largest"], lines_of(found))
    (folder / "micro.md").write_text("\n".join(text) + "\n")
    print("\n".join(text))


if __name__ == "__main__":
    main()
