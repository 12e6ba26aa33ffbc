#!/usr/bin/env python3
"""Runs cases of the command-line tool, each as a shell would.

  run_case.py --tool PATH [--runner PATH --system NAME] [--preserve] [--update] CASE...

A case is a folder:
  cmd            shell text; `fsort` in it is the tool. Runs in an empty folder that holds copies of the case's
                 other files, with nothing on standard input unless there is a file `input`.
  input          standard input
  stdout.exact   standard output, byte for byte; without it there must be none
  stderr.glob    standard error, line by line, with ? * and [...] as in a shell; without it there must be none
  exit           exit status of the shell text, 0 without it
  systems        the systems that the case is for (posix, windows), blank-separated; without it it is for all. A case
                 for others is skipped and says so; run alone it ends with status 77
Every other file is data for the case. A carriage return at the end of a line of standard error may be left out in
stderr.glob. --preserve keeps the folder; --update writes what was found into stdout.exact, stderr.glob and exit (look
at the difference before it is committed).

--runner runs a tool of another system (scripts/wine runs the one of Windows); --system says which that is."""

import argparse
import fnmatch
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

SPECIAL = {"cmd", "input", "stdout.exact", "stderr.glob", "exit", "systems"}
TIMEOUT_SECONDS = 60
SKIPPED = 77


def put_tool(place, tool, runner):
    """Makes the command that a case calls."""
    if runner is None:
        place.symlink_to(tool)
        return
    # Names of files are UTF-8 whatever the case's own locale is.
    place.write_text(f'#!/bin/sh\nLC_ALL=C.UTF-8 exec "{runner}" "{tool}" "$@"\n')
    place.chmod(0o755)


def run(case, tool, runner, preserve):
    """Returns (exit status, standard output, standard error)."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="fsort-cli-"))
    try:
        work = folder / "work"
        work.mkdir()
        for path in case.iterdir():
            if path.name not in SPECIAL and path.is_file():
                shutil.copyfile(path, work / path.name)
        (folder / "bin").mkdir()
        put_tool(folder / "bin" / "fsort", tool, runner)
        environment = dict(os.environ, PATH=f"{folder / 'bin'}:{os.environ['PATH']}", LC_ALL="C")
        for name in ("TEMP", "TMPDIR", "TMP"):
            environment[name] = str(folder)
        source = case / "input"
        with open(source if source.exists() else os.devnull, "rb") as stdin:
            done = subprocess.run(["bash", "-c", (case / "cmd").read_text()], cwd=work, env=environment,
                                  stdin=stdin, capture_output=True, timeout=TIMEOUT_SECONDS)
        return done.returncode, done.stdout, done.stderr
    finally:
        if preserve:
            print(f"{case.name}: kept {folder}")
        else:
            shutil.rmtree(folder)


def matches(text, pattern):
    lines, patterns = text.split("\n"), pattern.split("\n")
    if len(lines) != len(patterns):
        return False
    return all(fnmatch.fnmatchcase(line, p) or fnmatch.fnmatchcase(line.rstrip("\r"), p)
               for line, p in zip(lines, patterns))


def wanted(case, name, default):
    path = case / name
    return path.read_bytes() if path.exists() else default


def check(case, found):
    status, stdout, stderr = found
    faults = []
    want = int(wanted(case, "exit", b"0"))
    if status != want:
        faults.append(f"exit status {status}, not {want}")
    want = wanted(case, "stdout.exact", b"")
    if stdout != want:
        faults.append(f"standard output\n--- wanted\n{want.decode('latin-1')}--- found\n{stdout.decode('latin-1')}---")
    want = wanted(case, "stderr.glob", b"")
    if not matches(stderr.decode("latin-1"), want.decode("latin-1")):
        faults.append(f"standard error\n--- wanted\n{want.decode('latin-1')}--- found\n{stderr.decode('latin-1')}---")
    return faults


def update(case, found):
    status, stdout, stderr = found
    for name, data, empty in (("exit", f"{status}\n".encode(), b"0\n"), ("stdout.exact", stdout, b""),
                              ("stderr.glob", stderr.replace(b"\r\n", b"\n"), b"")):
        if data == empty:
            (case / name).unlink(missing_ok=True)
        elif name != "stderr.glob" or not matches(stderr.decode("latin-1"), wanted(case, name, b"").decode("latin-1")):
            (case / name).write_bytes(data)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True, type=pathlib.Path)
    parser.add_argument("--runner", type=pathlib.Path)
    parser.add_argument("--system", default="posix")
    parser.add_argument("--preserve", action="store_true")
    parser.add_argument("--update", action="store_true")
    parser.add_argument("cases", nargs="+", type=pathlib.Path)
    args = parser.parse_args()
    failed = skipped = 0
    cases = [case for case in args.cases if (case / "cmd").exists()]
    for case in cases:
        systems = wanted(case, "systems", args.system.encode()).decode().split()
        if args.system not in systems:
            skipped += 1
            print(f"{case.name}: skipped, it is for {' and '.join(systems)}")
            continue
        found = run(case, args.tool.resolve(), args.runner and args.runner.resolve(), args.preserve)
        if args.update:
            update(case, found)
        faults = check(case, found)
        failed += bool(faults)
        print(f"{case.name}: {'FAILED' if faults else 'ok'}")
        for fault in faults:
            print("  " + fault)
    print(f"{len(cases) - failed - skipped} passed, {failed} failed, {skipped} skipped")
    if cases and skipped == len(cases):
        return SKIPPED
    return 1 if failed or not cases else 0


if __name__ == "__main__":
    sys.exit(main())
