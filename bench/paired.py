#!/usr/bin/env python3
"""Measures the tool against a peer in pairs: both sort the same file, one after the other, in turn.

  bench/paired.py --tool build/release/bin/fsort --datagen build/bench/datagen [--records N,N...] [--pairs N]
                  [--dir FOLDER] [--report bench/RESULTS.md]

Of a pair the ratio peer/tool is taken, so that whatever slows the machine for a while slows both; the figure
reported is the median of the ratios with the smallest and the largest. The order within a pair changes from pair
to pair. Input is read once before (it is in the page cache), the output file does not exist when a run starts, and
what earlier runs left unwritten is flushed before. Both processes are bound to the same core. Wall time is taken
around the process; CPU time and peak memory are the kernel's account of it (wait4). After every run the output is
compared with the first output, byte for byte by its hash: the lines are unique, so there is one right answer."""

import argparse
import hashlib
import os
import pathlib
import shlex
import statistics
import subprocess
import sys
import time

from machine import first_line, machine

ROOT = pathlib.Path(__file__).resolve().parent.parent


def run(command, env, core):
    """One process; returns (wall seconds, CPU seconds, peak resident bytes)."""
    environment = dict(os.environ, **env)
    started = time.perf_counter()
    pid = os.fork()
    if pid == 0:
        os.sched_setaffinity(0, {core})
        null = os.open(os.devnull, os.O_RDWR)
        os.dup2(null, 0)
        os.dup2(null, 1)
        os.execvpe(command[0], command, environment)
    _, status, usage = os.wait4(pid, 0)
    wall = time.perf_counter() - started
    if os.waitstatus_to_exitcode(status) != 0:
        sys.exit(f"failed: {shlex.join(command)}")
    return wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024


def digest(path):
    result = hashlib.blake2b()
    with open(path, "rb") as file:
        while chunk := file.read(1 << 22):
            result.update(chunk)
    return result.hexdigest()


def mib(value):
    return f"{value / 2**20:.0f} MiB"


def measure(args, records):
    source = args.dir / f"lines-{records}.txt"
    size = records * 100
    if not source.exists() or source.stat().st_size != size:
        with open(source, "wb") as file:
            subprocess.run([args.datagen, str(records), "1"], stdout=file, check=True)
    output = {"tool": args.dir / "out.tool", "peer": args.dir / "out.peer"}
    commands = {
        "tool": ([args.tool, "-q", "-in", str(source), "-out", str(output["tool"])], {}),
        "peer": (["sort", "--parallel=1", "-S", args.peer_memory, "-o", str(output["peer"]), str(source)],
                 {"LC_ALL": "C"}),
    }
    core = max(os.sched_getaffinity(0))
    digest(source)
    wanted = None
    rows = {"tool": [], "peer": []}
    for pair in range(-1, args.pairs):
        for side in (("tool", "peer") if pair % 2 == 0 else ("peer", "tool")):
            output[side].unlink(missing_ok=True)
            os.sync()
            result = run(*commands[side], core)
            found = digest(output[side])
            wanted = wanted or found
            if found != wanted:
                sys.exit(f"{records} records: the outputs of {side} and its peer differ")
            if pair >= 0:  # the first pair warms up
                rows[side].append(result)
        if pair >= 0:
            print(f"  pair {pair + 1}: tool {rows['tool'][-1][0]:.3f} s, sort {rows['peer'][-1][0]:.3f} s, "
                  f"ratio {rows['peer'][-1][0] / rows['tool'][-1][0]:.2f}", flush=True)
    for path in output.values():
        path.unlink()
    if not args.keep:
        source.unlink()
    return rows, commands, size


def table_row(records, rows, size):
    def middle(side, index):
        return statistics.median(row[index] for row in rows[side])
    wall = [p[0] / t[0] for t, p in zip(rows["tool"], rows["peer"])]
    cpu = [p[1] / t[1] for t, p in zip(rows["tool"], rows["peer"])]
    peak = max(row[2] for row in rows["tool"])
    return (f"| {records:,} | {middle('tool', 0):.3f} s | {middle('peer', 0):.3f} s "
            f"| **{statistics.median(wall):.2f}x** ({min(wall):.2f} to {max(wall):.2f}) "
            f"| {middle('tool', 1):.3f} s | {middle('peer', 1):.3f} s | {statistics.median(cpu):.2f}x "
            f"| {mib(peak)} ({peak / size:.2f}x the input) | {mib(max(r[2] for r in rows['peer']))} |")


def shown(command, env, folder):
    text = " ".join([f"{k}={v}" for k, v in env.items()] + [shlex.quote(part) for part in command])
    return text.replace(str(folder) + "/", "").replace(str(ROOT) + "/", "")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True)
    parser.add_argument("--datagen", required=True)
    parser.add_argument("--records", default="1000000,10000000")
    parser.add_argument("--pairs", type=int, default=7)
    parser.add_argument("--peer-memory", default="4G")
    parser.add_argument("--dir", type=pathlib.Path, default=ROOT / "build" / "bench")
    parser.add_argument("--report", type=pathlib.Path)
    parser.add_argument("--keep", action="store_true", help="keep the generated input")
    args = parser.parse_args()
    if args.pairs < 5:
        sys.exit("at least 5 pairs")
    args.dir.mkdir(parents=True, exist_ok=True)

    revision = first_line(["git", "-c", "safe.directory=*", "-C", str(ROOT), "describe", "--always", "--dirty"])
    lines = ["# Measured", "", "Written by `scripts/bench`; how it measures is said at the top of `bench/paired.py`.", "",
             f"- Machine: {machine()}", f"- Revision: {revision}, preset `release`",
             f"- Pairs: {args.pairs} for each row, after one to warm up; medians, smallest to largest ratio in brackets",
             "- Input: text lines of 100 bytes, random printable characters, sorted by the whole line; in the page cache",
             "- Both run as one thread on the same core, file to file, and their outputs were the same in every run", "",
             "| Lines | fsort wall | GNU sort wall | ratio | fsort CPU | GNU sort CPU | ratio | fsort peak memory "
             "| GNU sort peak memory |", "|---|---|---|---|---|---|---|---|---|"]
    for records in (int(n) for n in args.records.split(",")):
        print(f"{records:,} lines", flush=True)
        rows, commands, size = measure(args, records)
        lines.append(table_row(records, rows, size))
        print("  " + lines[-1], flush=True)
    lines += ["", "Commands of the last row:", "", "```",
              f"datagen {args.records.split(',')[-1]} 1 > {pathlib.Path(commands['peer'][0][-1]).name}",
              shown(*commands["tool"], args.dir), shown(*commands["peer"], args.dir), "```", ""]
    if args.report:
        args.report.write_text("\n".join(lines))
        print(f"written: {args.report}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
