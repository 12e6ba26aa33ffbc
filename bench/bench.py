#!/usr/bin/env python3
"""Measures the tool against its peers, the copy limit and its own promises; scripts/bench calls it.

  bench/bench.py [--short] [--rows a,c-100m,growth] [--rounds N] [--scale F] [--without sqlite,gnu-2] [--keep]
                 [--other FSORT] [--continue] [--dir FOLDER] [--turns FILE] [--report] [--publish]

What is measured stands in bench/rows.py and bench/claims.py, the peers and their command lines in
bench/contenders.py, how runs are paired, pinned and proved in bench/rounds.py, how one process is measured in
bench/process.py. Each row is stored as it is finished, so that a run can be split (--rows) and continued (--continue
leaves rows alone that are there); the report is made from all stored rows, and by --report without measuring. A run
at full scale stores in bench/results, any other and one with another build of fsort in build/bench/results. When every
row is there at full scale, the marked sections of docs/PERFORMANCE.md and README.md are written too. --publish writes them
from a smaller run, which is stored in bench/results/short and says so in each of them."""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

import claims
import contenders
import plots
import rounds
import tables
from machine import first_line
from rows import ROWS
from turns import turn

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "bench"
SHORT_SCALE = 0.1
SHORT_ROWS = ["a", "b", "c", "d", "e", "f", "a-100m", "c-100m", "duplicates", "smallest", "small-sorts"]
LEAST_ROUNDS = 5


def engine_version(engine):
    command = contenders.query(contenders.Job(None, 1, None, None, BUILD, None), engine, 1, 0, "")
    return subprocess.run([*command.argv[:3], "version"], capture_output=True, text=True,
                          env=dict(os.environ, **command.env), timeout=120)


def find_peers(without):
    """Versions of what is there, and for each contender that is not, the reason."""
    versions = []
    unavailable = {peer.name: "left out of this run" for peer in contenders.PEERS if peer.name.startswith(without)}

    def miss(prefix, reason):
        for peer in contenders.PEERS:
            if peer.name.startswith(prefix):
                unavailable[peer.name] = f"not available: {reason}"
    versions.append(first_line(["sort", "--version"]))
    if shutil.which("sqlite3"):
        versions.append("SQLite " + first_line(["sqlite3", "--version"]).split()[0])
    else:
        miss("sqlite", "sqlite3 is not installed")
    for engine, title, package in (("duckdb", "DuckDB", "@duckdb/node-api"), ("clickhouse", "ClickHouse", "chdb")):
        try:
            done = engine_version(engine)
        except OSError:
            miss(engine, "node is not installed")
            continue
        if done.returncode == 0:
            versions.append(f"{title} {done.stdout.strip()} (npm {package})")
        else:
            miss(engine, (done.stderr.strip().splitlines() or ["no answer"])[0])
    if shutil.which("node"):
        versions.append("node " + first_line(["node", "--version"]))
    return versions, unavailable


def revision():
    done = subprocess.run(["git", "-c", "safe.directory=*", "-C", str(ROOT), "describe", "--always", "--dirty",
                           "--exclude", "*"], capture_output=True, text=True)
    return done.stdout.strip() or "unknown (no clone)"


def chosen(args):
    """Names of rows and of claims, in the order in which they run: data is made once for its neighbours."""
    known = [row.name for row in sorted(ROWS, key=lambda row: (row.data.kind, row.data.length))]
    known += claims.MEASURES
    wanted = args.rows.split(",") if args.rows else (SHORT_ROWS if args.short else known)
    for name in wanted:
        if name not in known:
            sys.exit(f"no row {name}; there are {', '.join(known)}")
    return [name for name in known if name in wanted]


def measure(args, folder, unavailable):
    todo = chosen(args)
    if args.resume:
        todo = [name for name in todo if not (folder / "rows" / f"{name}.json").exists()]
    runner = rounds.Rounds(args, BUILD / "bin", args.dir, unavailable)
    by_name = {row.name: row for row in ROWS}
    for place, name in enumerate(todo):
        started = time.monotonic()
        print(f"{name}", flush=True)
        if name in claims.MEASURES:
            with turn(args.turns):
                found = claims.MEASURES[name](runner)
        else:
            found = runner.measure(by_name[name])
            later = {by_name[other].data for other in todo[place + 1:] if other in by_name}
            if by_name[name].data not in later:
                runner.drop_data(by_name[name].data)
        rounds.store(folder / "rows", name, found)
        print(f"  {name}: {time.monotonic() - started:.0f} s in all", flush=True)
    runner.clean()


def rewrite_section(path, lines):
    """Replaces what stands between the marks of a page."""
    text = path.read_text()
    begin, end = "<!-- scripts/bench writes from here -->", "<!-- to here -->"
    if begin not in text or end not in text:
        sys.exit(f"{path}: the marks of scripts/bench are gone")
    head, rest = text.split(begin, 1)
    path.write_text(f"{head}{begin}\n" + "\n".join(lines).strip() + f"\n{end}{rest.split(end, 1)[1]}")


def summary(results, versions):
    return [*tables.facts(results, versions), "", *tables.goal_table(results), *tables.beyond_memory(results),
            "", *tables.claim_table(results), ""]


def publish(folder, results, versions, drawn):
    """The last run, in the documentation."""
    page = ROOT / "docs" / "PERFORMANCE.md"
    place = os.path.relpath(folder, page.parent)
    images = [line for name, title in drawn for line in (f"![{title}]({place}/{name})", "")]
    rewrite_section(page, summary(results, versions) + images)
    rewrite_section(ROOT / "README.md", tables.readme_table(results))
    print(f"written: {page}, README.md", flush=True)


def report(args, folder, versions):
    results = rounds.load(folder / "rows")
    if not results:
        sys.exit("no row has been measured yet")
    drawn = plots.draw(results, folder)
    lines = ["# Measured", "",
             "Written by `scripts/bench`. How it measures is said at the top of `bench/rounds.py`, what it compares with "
             "at the top of `bench/contenders.py`.", ""] + summary(results, versions)
    lines += [line for name, title in drawn for line in (f"![{title}]({name})", "")]
    lines += ["## All programs", ""]
    for row in ROWS:
        if row.name in results:
            lines += tables.detail(row, results[row.name])
    lines += tables.claim_details(results) + tables.commands(results)
    path = folder / "RESULTS.md"
    path.write_text(re.sub(r"\n{3,}", "\n\n", "\n".join(lines)).rstrip() + "\n")
    print(f"written: {path}", flush=True)
    full = all(name in results for name in [row.name for row in ROWS] + list(claims.MEASURES))
    if args.publish or full and all(found["scale"] == 1.0 for found in results.values()):
        publish(folder, results, versions, drawn)


def main():
    parser = argparse.ArgumentParser(description="Measures fsort against its peers.")
    parser.add_argument("--short", action="store_true", help="a tenth of the data and some of the rows: minutes")
    parser.add_argument("--rows", help="only these, with commas between them")
    parser.add_argument("--rounds", type=int, default=LEAST_ROUNDS)
    parser.add_argument("--scale", type=float, help="records and memory times this")
    parser.add_argument("--without", default="", help="peers to leave out, with commas between them")
    parser.add_argument("--other", help="another build of fsort, to take part as well")
    parser.add_argument("--continue", dest="resume", action="store_true", help="leave rows alone that are stored")
    parser.add_argument("--keep", action="store_true", help="keep the data")
    parser.add_argument("--dir", type=pathlib.Path, default=BUILD / "data", help="where data and work files go")
    parser.add_argument("--turns", help="lock file to take turns with other work on the machine by (bench/turns.py)")
    parser.add_argument("--publish", action="store_true", help="write the documentation's sections from a smaller run, too")
    parser.add_argument("--report", action="store_true", help="only make the report from the stored rows")
    args = parser.parse_args()
    args.scale = args.scale or (SHORT_SCALE if args.short else 1.0)
    if args.rounds < LEAST_ROUNDS and args.scale == 1.0:
        sys.exit(f"at least {LEAST_ROUNDS} rounds")
    args.dir = args.dir.resolve()
    args.dir.mkdir(parents=True, exist_ok=True)
    args.revision = revision()
    folder = ROOT / "bench" / "results" if args.scale == 1.0 and not args.other else BUILD / "results"
    if args.publish and args.scale != 1.0:
        folder = ROOT / "bench" / "results" / "short"
    folder.mkdir(parents=True, exist_ok=True)
    versions, unavailable = find_peers(tuple(args.without.split(",")) if args.without else ())
    for name, reason in unavailable.items():
        print(f"{name}: {reason}", flush=True)
    if not args.report:
        measure(args, folder, unavailable)
    report(args, folder, versions)


if __name__ == "__main__":
    main()
