#!/usr/bin/env python3
"""Sorts inputs that do not fit in the memory they are given, proves every output, and checks what is promised.

  bench/soak.py --tool FSORT --datagen DATAGEN --check RECORD_CHECK --crowd CROWD
                [--scale 0.05] [--parts scale,cost,crowd] [--only WORDS] [--dir FOLDER] [--report bench/SOAK.md]

  scale   many kinds of input, one sort each: proved by bench/record_check.cpp (count, checksum, order), the peak
          memory against -m + buffers + 16 MiB, no work file left
  cost    random lines in 1/4, 1/16 and 1/64 of their size: bytes written to work files against their targets, and
          the wall time against GNU sort in pairs with the same memory on the same core
  crowd   64 sorts at once in one folder: 64 processes of the tool, and 8 processes that run 8 instances each; all
          with the same addresses, so that all of them begin with the same work-file names

--scale makes inputs and memory smaller by a factor. --only runs the rows whose name contains the words. Results are
kept beside the data, so that the report can be made from several runs; a row that is run again replaces its result.
How it measures is said in bench/process.py and bench/soak_measure.py. Exit status 1 when a row is wrong or a promise
is broken."""

import argparse
import json
import os
import pathlib
import shlex
import shutil
import statistics
import subprocess
import sys
import time
from dataclasses import dataclass, field

import process
import soak_measure
from machine import first_line, machine

ROOT = pathlib.Path(__file__).resolve().parent.parent
MEBI = 1 << 20
SLACK = 16 * MEBI
BUFFER_KB = 60           # default of -ibs, -obs, -wb and -rb
BUFFERS = 8              # a pair of each
TARGETS = {4: 1.1, 16: 1.3, 64: 2.2}


@dataclass
class Case:
    name: str
    kind: str
    records: int
    memory_kb: int
    keys: list             # of the tool
    proof: list            # of record_check
    length: int = 100
    options: list = field(default_factory=list)


def cases():
    big = 43_000_000       # of 100 bytes: more than 4 GiB
    types = [("text lines", "lines", [], ["bytes"]),
             ("fixed records", "fixed", ["-rf", "100", "-k", "0-255", "-c", "0-9"],
              ["--record", "100", "columns:0:9"]),
             ("variable records", "variable", ["-rv", "-k", "0-255", "-c", "2-"],
              ["--variable", "columns:2:99999"])]
    rows = []
    for title, kind, keys, proof in types:
        for memory in (64, 256, 1024):
            rows.append(Case(f"4.3 GB of {title}, -m {memory}m", kind, big, memory * 1024, keys, proof))
    small = 64 * 1024
    rows += [
        Case("50 million short lines", "short", 50_000_000, small, [], ["bytes"]),
        Case("all lines equal", "equal", 10_000_000, small, [], ["bytes"]),
        Case("60 bytes of common prefix", "prefix", 10_000_000, small, [], ["bytes"]),
        Case("already sorted", "sorted", 10_000_000, small, [], ["bytes"]),
        Case("reversed", "reversed", 10_000_000, small, [], ["bytes"]),
        Case("one key in 30 % of the lines", "hot", 10_000_000, small, ["-k", "-c", "0-9"], ["columns:0:9"]),
        Case("numbers", "numbers", 50_000_000, small, ["-n", "-f", "0"], ["number:tab:0"]),
        Case("numbers, descending", "numbers", 50_000_000, small, ["-i", "-n", "-f", "0"], ["number:tab:0,desc"]),
        Case("a thousand different lines", "few", 10_000_000, small, [], ["bytes"]),
        Case("a thousand different lines, -u", "few", 10_000_000, small, ["-u"], ["--unique", "bytes"]),
        Case("50 million short lines, -u", "short", 50_000_000, small, ["-u"], ["--unique", "bytes"]),
    ]
    return rows


class Soak:
    def __init__(self, args):
        self.args = args
        self.dir = args.dir
        self.spill = self.dir / "spill"
        self.input = self.dir / "input"
        self.output = self.dir / "output"
        self.messages = str(self.dir / "messages")
        self.have = None           # what lies in the input file
        self.store = self.dir / "results.json"
        self.results = json.loads(self.store.read_text()) if self.store.exists() else {}
        self.bad = []

    def keep(self, part, name, row):
        row["scale"] = self.args.scale
        row["when"] = time.strftime("%Y-%m-%d %H:%M", time.gmtime())
        row["load"] = round(os.getloadavg()[0], 1)
        self.results.setdefault(part, {})[name] = row
        self.store.write_text(json.dumps(self.results, indent=1))

    def fault(self, text):
        self.bad.append(text)
        print(f"  FAULT: {text}", flush=True)

    def make_input(self, kind, records, length, path=None, seed=1):
        path = path or self.input
        wanted = (kind, records, length, seed)
        if path == self.input and self.have == wanted:
            return path.stat().st_size
        with open(path, "wb") as file:
            subprocess.run([self.args.datagen, "--kind", kind, str(records), str(seed), str(length)], stdout=file,
                           check=True)
        if path == self.input:
            self.have = wanted
        return path.stat().st_size

    def fresh_spill(self):
        shutil.rmtree(self.spill, ignore_errors=True)
        self.spill.mkdir()

    def command(self, memory_kb, rest, verbose="-q", source=None, output=None):
        return [self.args.tool, verbose, "-m", str(memory_kb), "-w", str(self.spill), "-in",
                str(source or self.input), "-out", str(output or self.output), *rest]

    def prove(self, proof, source=None, output=None):
        done = subprocess.run([self.args.check, "--in", source or self.input, "--out", output or self.output, *proof],
                              capture_output=True, text=True)
        return done.returncode == 0, (done.stdout + done.stderr).strip()

    # Bytes moved besides the data itself: the loader's reads of libraries, the messages.
    def work_bytes(self, run, size):
        out = self.output.stat().st_size
        return max(0, run.written - out), max(0, run.read - size)

    def one(self, case):
        scale = self.args.scale
        records = max(1000, int(case.records * scale))
        memory = max(1, int(case.memory_kb * scale))
        size = self.make_input(case.kind, records, case.length)
        self.fresh_spill()
        self.output.unlink(missing_ok=True)
        command = self.command(memory, case.options + case.keys)
        with soak_measure.Watch(self.spill) as watch:
            run = process.run(command, self.messages)
        left = len(os.listdir(self.spill))
        limit = memory * 1024 + BUFFERS * BUFFER_KB * 1024 + SLACK
        row = {"records": records, "size": size, "memory_kb": memory, "limit": limit, "peak": run.peak,
               "wall": run.wall, "cpu": run.cpu, "status": run.status, "left": left, "created": watch.created,
               "opened": watch.opened, "deleted": watch.deleted,
               "command": shlex.join(command).replace(str(self.dir) + "/", "").replace(self.args.tool, "fsort")}
        if run.status == 0:
            row["written"], row["read"] = self.work_bytes(run, size)
            good, row["proof"] = self.prove(case.proof)
        else:
            good, row["proof"] = False, f"status {run.status}: {run.messages.strip()}"
        row["good"] = good
        if not good:
            self.fault(f"{case.name}: {row['proof']}")
        if run.peak > limit:
            self.fault(f"{case.name}: peak {run.peak // 1024} KB is above {limit // 1024} KB")
        if left or watch.deleted != watch.created or watch.overflow:
            self.fault(f"{case.name}: {left} files left, {watch.created} created, {watch.deleted} deleted")
        self.keep("scale", case.name, row)
        print(f"  {row['wall']:.1f} s wall, {row['cpu']:.1f} s CPU, peak {row['peak'] / MEBI:.0f} of "
              f"{limit / MEBI:.0f} MiB, written {row.get('written', 0) / size:.2f}x, read "
              f"{row.get('read', 0) / size:.2f}x, {row['created']} files, {row['opened']} openings\n  {row['proof']}",
              flush=True)
        if self.args.trace:
            self.traced("scale", case.name, memory, case.options + case.keys)

    def traced(self, part, name, memory, rest):
        self.fresh_spill()
        found = soak_measure.trace(self.command(memory, rest, "-v"), self.messages, str(self.dir / "calls"))
        if found is None:
            return
        row = self.results[part][name]
        row["trace"] = {key: value for key, value in vars(found).items() if key != "sizes"}
        self.store.write_text(json.dumps(self.results, indent=1))
        print(f"  traced: {row['trace']}", flush=True)

    # --- cost ----------------------------------------------------------------------------------------------

    def side(self, side, memory, cores):
        self.fresh_spill()
        self.output.unlink(missing_ok=True)
        os.sync()
        if side == "tool":
            return process.run(self.command(memory, []), self.messages, cores=cores)
        command = ["sort", "--parallel=1", "-S", f"{memory}K", "-T", str(self.spill), "-o", str(self.output),
                   str(self.input)]
        return process.run(command, self.messages, env={"LC_ALL": "C"}, cores=cores)

    def cost(self, share):
        records = max(1000, int(self.args.cost_records * self.args.scale))
        size = self.make_input("lines", records, 100)
        memory = size // share // 1024
        cores = {max(os.sched_getaffinity(0))}
        runs = {"tool": [], "peer": []}
        good = True
        proof = ""
        for pair in range(self.args.pairs):
            for side in (("tool", "peer") if pair % 2 == 0 else ("peer", "tool")):
                run = self.side(side, memory, cores)
                if run.status != 0:
                    self.fault(f"cost 1/{share}: {side} ended with {run.status}: {run.messages.strip()}")
                    return
                moved = self.work_bytes(run, size)
                runs[side].append((run.wall, run.cpu, run.peak, *moved))
                if side == "tool":
                    proved, proof = self.prove(["bytes"])
                    good = good and proved
            print(f"  1/{share}: tool {runs['tool'][-1][0]:.2f} s, sort {runs['peer'][-1][0]:.2f} s wall; "
                  f"{runs['tool'][-1][1]:.2f}, {runs['peer'][-1][1]:.2f} s CPU", flush=True)
        name = f"1/{share}"
        row = {"records": records, "size": size, "memory_kb": memory, "runs": runs, "target": TARGETS[share],
               "good": good, "proof": proof}
        self.keep("cost", name, row)
        if not good:
            self.fault(f"cost {name}: {proof}")
        written = max(r[3] for r in runs["tool"]) / size
        print(f"  1/{share}: written {written:.3f}x, at most {TARGETS[share]}x wanted", flush=True)
        if written > TARGETS[share]:
            self.fault(f"cost {name}: {written:.3f} times the input written, at most {TARGETS[share]} wanted")
        if statistics.median(p[0] / t[0] for t, p in zip(runs["tool"], runs["peer"])) < 1:
            self.fault(f"cost {name}: slower than its peer")
        self.traced("cost", name, memory, [])

    # --- many at once ----------------------------------------------------------------------------------------

    def crowd(self, name, commands, outputs):
        """Runs all commands at once; `outputs` are pairs of input and output to prove."""
        self.fresh_spill()
        with soak_measure.Watch(self.spill) as watch:
            process.run(commands[0], self.messages, fixed_addresses=True)
        # Names that the sorts are about to want, taken by somebody else.
        foreign = {}
        for stem in sorted({name.split(".")[0] for name in watch.names}):
            for number in (1, 3, 4, 17):
                path = self.spill / f"{stem}.{number:03d}"
                path.write_bytes(os.urandom(1000))
                foreign[path] = path.read_bytes()
        started = time.perf_counter()
        with soak_measure.Watch(self.spill) as watch:
            pids = [process.start(command, f"{self.messages}.{i}", fixed_addresses=True)
                    for i, command in enumerate(commands)]
            ended = [process.finish(pid, started, f"{self.messages}.{i}") for i, pid in enumerate(pids)]
        wall = time.perf_counter() - started
        for i in range(len(commands)):
            os.unlink(f"{self.messages}.{i}")
        failed = [run for run in ended if run.status != 0]
        wrong = 0
        for source, output in outputs:
            good, proof = self.prove(["bytes"], source, output)
            if not good:
                wrong += 1
                self.fault(f"{name}: {output.name}: {proof}")
            output.unlink(missing_ok=True)
        left = set(self.spill.iterdir()) - set(foreign)
        changed = [path for path, content in foreign.items() if not path.exists() or path.read_bytes() != content]
        row = {"sorts": len(outputs), "processes": len(commands), "failed": len(failed), "wrong": wrong,
               "created": watch.created, "names": len({n.split(".")[0] for n in watch.names}), "left": len(left),
               "foreign": len(foreign), "changed": len(changed), "wall": wall,
               "size": outputs[0][0].stat().st_size}
        self.keep("crowd", name, row)
        print(f"  {row}", flush=True)
        for run in failed[:3]:
            self.fault(f"{name}: status {run.status}: {run.messages.strip()}")
        if left or changed:
            self.fault(f"{name}: {len(left)} files left, {len(changed)} foreign files changed")

    def crowds(self):
        records = max(20_000, int(50_000 * self.args.scale))
        sources = [self.dir / f"crowd-{i}" for i in range(8)]
        for i, source in enumerate(sources):
            self.make_input("lines", records, 100, source, seed=i + 1)
        memory = records * 100 // 1024 // 32
        pairs = [(sources[i % 8], self.dir / f"crowd-out.{i}") for i in range(64)]
        plans = {"64 processes of the tool":
                 ([self.command(memory, ["-l", "16"], source=s, output=o) for s, o in pairs], pairs)}
        for mode in ("threads", "pipes", "nested"):
            commands = [[self.args.crowd, mode, "8", str(source), str(self.dir / f"crowd-out-{i}"), "-m", str(memory),
                         "-l", "16", "-w", str(self.spill)] for i, source in enumerate(sources)]
            outputs = [(source, self.dir / f"crowd-out-{i}.{k}") for i, source in enumerate(sources) for k in range(8)]
            plans[f"8 processes of 8 instances, {mode}"] = (commands, outputs)
        for name, (commands, outputs) in plans.items():
            if self.wanted(name):
                print(name, flush=True)
                self.crowd(name, commands, outputs)
        for source in sources:
            source.unlink()

    # --- all ---------------------------------------------------------------------------------------------------

    def wanted(self, name):
        return all(word in name for word in (self.args.only or "").split())

    def all(self):
        parts = self.args.parts.split(",")
        if "scale" in parts:
            for case in cases():
                if self.wanted(case.name):
                    print(case.name, flush=True)
                    self.one(case)
        if "cost" in parts:
            for share in TARGETS:
                if self.wanted(f"1/{share}"):
                    self.cost(share)
        if "crowd" in parts:
            self.crowds()
        for path in (self.input, self.output):
            path.unlink(missing_ok=True)
        shutil.rmtree(self.spill, ignore_errors=True)


# --- the report --------------------------------------------------------------------------------------------------


def mib(value):
    return f"{value / MEBI:.1f}"


def memory_text(kb):
    return f"{kb // 1024}m" if kb % 1024 == 0 else f"{kb}k"


def proof_text(row):
    return row["proof"].split("; every")[0].replace("PROVED  ", "").replace(" records in", " in")


def scale_table(rows):
    lines = ["| Input | records | bytes | -m | wall | CPU | peak, MiB | allowed, MiB | written | read | files | openings "
             "| seeks | left | proof |", "|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|"]
    for case in cases():
        row = rows.get(case.name)
        if row is None:
            continue
        seeks = f"{row['trace']['seeks']:,}" if "trace" in row else "-"
        lines.append(
            f"| {case.name} | {row['records']:,} | {row['size']:,} | {memory_text(row['memory_kb'])} "
            f"| {row['wall']:.1f} s | {row['cpu']:.1f} s | {mib(row['peak'])} | {mib(row['limit'])} "
            f"| {row.get('written', 0) / row['size']:.2f}x | {row.get('read', 0) / row['size']:.2f}x "
            f"| {row['created']:,} | {row['opened']:,} | {seeks} | {row['left']} "
            f"| {'proved' if row['good'] else 'WRONG'}: {proof_text(row)} |")
    return lines


def cost_table(rows):
    def middle(row, side, index):
        return statistics.median(r[index] for r in row["runs"][side])
    lines = ["| memory | written (target) | read | files | openings | seeks | write calls | read calls | levels "
             "| fsort wall | GNU sort wall | ratio (smallest to largest) | fsort CPU | GNU sort CPU | ratio "
             "| GNU sort written |",
             "|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|"]
    for name, row in rows.items():
        tool, peer = row["runs"]["tool"], row["runs"]["peer"]
        wall = [p[0] / t[0] for t, p in zip(tool, peer)]
        cpu = [p[1] / t[1] for t, p in zip(tool, peer)]
        trace = row.get("trace", {})
        counts = " | ".join(f"{trace[k]:,}" if k in trace else "-"
                            for k in ("created", "opened", "seeks", "writes", "reads", "levels"))
        lines.append(
            f"| {name} = {row['memory_kb']:,} KB | **{middle(row, 'tool', 3) / row['size']:.3f}x** ({row['target']}x) "
            f"| {middle(row, 'tool', 4) / row['size']:.3f}x | {counts} | {middle(row, 'tool', 0):.2f} s "
            f"| {middle(row, 'peer', 0):.2f} s | **{statistics.median(wall):.2f}x** ({min(wall):.2f} to {max(wall):.2f}) "
            f"| {middle(row, 'tool', 1):.2f} s | {middle(row, 'peer', 1):.2f} s | {statistics.median(cpu):.2f}x "
            f"| {middle(row, 'peer', 3) / row['size']:.3f}x |")
    return lines


def crowd_table(rows):
    lines = ["| Sorts at once | processes | bytes each | ended badly | wrong outputs | work files | name stems "
             "| left | foreign files (changed) | wall |", "|---|---|---|---|---|---|---|---|---|---|"]
    for name, row in rows.items():
        lines.append(f"| {row['sorts']}: {name} | {row['processes']} | {row['size']:,} | {row['failed']} "
                     f"| {row['wrong']} | {row['created']:,} | {row['names']} | {row['left']} "
                     f"| {row['foreign']} ({row['changed']}) | {row['wall']:.1f} s |")
    return lines


def report(soak):
    results = soak.results
    every = [row for rows in results.values() for row in rows.values()]
    scales = sorted({row["scale"] for row in every})
    whens = sorted(row["when"] for row in every)
    loads = sorted(row["load"] for row in every)
    lines = ["# Soak", "", "Written by `scripts/soak`; what is run is said at the top of `bench/soak.py`, how it is "
             "measured at the top of `bench/process.py` and `bench/soak_measure.py`.", "",
             f"- Machine: {machine()}",
             f"- Revision: {first_line(['git', '-C', str(ROOT), 'describe', '--always', '--dirty'])}",
             f"- Scale: {', '.join(str(s) for s in scales)}; run from {whens[0]} to {whens[-1]} UTC, "
             f"load average after a row {loads[0]} to {loads[-1]}"]
    lines += [f"- Note: {text}" for text in soak.args.note]
    lines += ["- `written` and `read` are bytes of work files over bytes of input; `openings` counts creation and every "
              "reopening of a work file; a seek is a transfer that does not go on where the one before it on the same "
              "opening ended", ""]
    if "scale" in results:
        lines += ["## Sorted right, in the memory given", "",
                  "One run each, input in the page cache as far as it fits. `allowed` is `-m`, a pair of each of the four "
                  "kinds of buffers (60 KB each) and 16 MiB. Proof: count and order-independent checksum of input and "
                  "output, and each record compared with the one before.", ""] + scale_table(results["scale"]) + [""]
    if "cost" in results:
        row = next(iter(results["cost"].values()))
        lines += ["## What it costs", "",
                  f"{row['records']:,} random lines of 100 bytes, `-m` a share of the {row['size']:,} bytes, sorted by the "
                  f"whole line; {len(row['runs']['tool'])} pairs with "
                  "`LC_ALL=C sort --parallel=1 -S <the same memory> -T <the same folder>`, both on the same core, in turn; "
                  "medians. Calls, seeks and levels are from one more run under strace.", ""]
        lines += cost_table(results["cost"]) + [""]
    if "crowd" in results:
        lines += ["## Many at once in one folder", "",
                  "All processes have the same addresses, so all sorts want the same work-file names (one name stem); "
                  "some of these names are taken by files of somebody else, which must stay as they are.", ""]
        lines += crowd_table(results["crowd"]) + [""]
    if "scale" in results:
        lines += ["## Commands", "", "```"]
        lines += [results["scale"][case.name]["command"] for case in cases() if case.name in results["scale"]]
        lines += ["```", ""]
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser()
    for program in ("tool", "datagen", "check", "crowd"):
        parser.add_argument(f"--{program}", required=True)
    parser.add_argument("--scale", type=float, default=1.0)
    parser.add_argument("--parts", default="scale,cost,crowd")
    parser.add_argument("--only")
    parser.add_argument("--pairs", type=int, default=3)
    parser.add_argument("--cost-records", type=int, default=10_000_000)
    parser.add_argument("--trace", action="store_true", help="count seeks in the scale part too (runs each sort twice)")
    parser.add_argument("--note", action="append", default=[], help="a line for the report")
    parser.add_argument("--dir", type=pathlib.Path, default=ROOT / "build" / "soak")
    parser.add_argument("--report", type=pathlib.Path)
    args = parser.parse_args()
    args.dir = args.dir.resolve()
    args.dir.mkdir(parents=True, exist_ok=True)
    soak = Soak(args)
    soak.all()
    if args.report:
        args.report.write_text(report(soak))
        print(f"written: {args.report}")
    print(f"{len(soak.bad)} faults" + "".join(f"\n  {text}" for text in soak.bad))
    return 1 if soak.bad else 0


if __name__ == "__main__":
    sys.exit(main())
