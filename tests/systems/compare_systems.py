#!/usr/bin/env python3
"""Makes the same sorts with the tools of two systems and compares everything that came of them.

  compare_systems.py [--seed S] [--count N] [--jobs J] [--keep FOLDER]
                     [--maker PROGRAM] [--native PROGRAM] [--windows PROGRAM] [--wine LAUNCHER]

The sorts are make_corpus's: sort number i follows from seed S + i, so `--seed <failing seed> --count 1` makes one
again. Each tool runs in a folder of its own with copies of the same files. Compared are, byte for byte, every file
and folder left there, standard output, standard error and the exit status. Equal in meaning and not in letters are:

- the digits of the two timing lines;
- the system's own words for an error, where Wine has others than Windows: the pairs in WINE_TEXTS.

The run folders lie so deep that longer file names cross the limit of 260 characters, beyond which Windows wants a
prefix. The last line says how many sorts there were and how many were the same; the exit status is 0 when all were."""

import argparse
import collections
import concurrent.futures
import contextlib
import itertools
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
TIMEOUT_SECONDS = 300
SHOWN_FAILURES = 10
DEEP_NAME = "d" * 110
TIMING = re.compile(rb"^( *(?:system|elapsed) time = )\d+:\d\d", re.M)
# What Windows says (and this engine everywhere else), by what Wine says for the same code.
WINE_TEXTS = {
    b"File not found.": b"The system cannot find the file specified.",
    b"Path not found.": b"The system cannot find the path specified.",
    b"Access denied.": b"Access is denied.",
}

# What Wine itself says when its server is gone or cannot be reached.
WINE_FAILURES = [b"wine client error", b"wine: a wine server seems to be running"]

Outcome = collections.namedtuple("Outcome", "status stdout stderr tree")


def plain(stderr):
    """Standard error without what may differ."""
    lines = TIMING.sub(rb"\g<1>#:##", stderr).split(b"\n")
    # Notes show names with the separators of the system.
    lines = [line.replace(b"\\", b"/") if line.startswith(b"fsort: note: ") else line for line in lines]
    for i in range(1, len(lines)):
        text = lines[i].rstrip(b"\r")
        if lines[i - 1].endswith((b":", b":\r")) and text in WINE_TEXTS:
            lines[i] = WINE_TEXTS[text] + lines[i][len(text):]
    return b"\n".join(lines)


def tree_of(folder):
    """Every file below the folder with its bytes, every folder with None."""
    return {str(path.relative_to(folder)): None if path.is_dir() else path.read_bytes() for path in folder.rglob("*")}


def run(command, case, plan, folder):
    """Makes the sort in a new folder."""
    shutil.copytree(case / "files", folder)
    arguments = (case / "arguments").read_bytes().split(b"\0")[:-1]
    whole = [os.fsencode(part) for part in command] + arguments
    environment = dict(os.environ, LC_ALL="C.UTF-8", TEMP="", TMPDIR="", TMP="")
    out_name = folder.parent / f"{folder.name}.stdout"
    with open(case / "stdin" if plan["stdin"] == "file" else os.devnull, "rb") as stdin, open(out_name, "wb") as stdout:
        done = subprocess.run(whole, cwd=folder, env=environment, timeout=TIMEOUT_SECONDS, stderr=subprocess.PIPE,
                              stdout=stdout if plan["stdout"] == "file" else subprocess.PIPE,
                              **({"input": (case / "stdin").read_bytes()} if plan["stdin"] == "pipe" else {"stdin": stdin}))
    written = out_name.read_bytes() if plan["stdout"] == "file" else done.stdout
    return Outcome(done.returncode, written, plain(done.stderr), tree_of(folder))


def differences(native, windows):
    """What is not the same, as lines."""
    found = []
    if native.status != windows.status:
        found.append(f"exit status {native.status} and {windows.status}")
    if native.stdout != windows.stdout:
        found.append(f"standard output of {len(native.stdout)} and {len(windows.stdout)} bytes")
    if native.stderr != windows.stderr:
        pairs = itertools.zip_longest(native.stderr.split(b"\n"), windows.stderr.split(b"\n"))
        found += [f"standard error: {one!r} and {other!r}" for one, other in pairs if one != other][:3]
    for name in sorted(set(native.tree) | set(windows.tree)):
        if name not in native.tree or name not in windows.tree:
            found.append(f"{name} is only in one of the folders")
        elif native.tree[name] != windows.tree[name]:
            found.append(f"{name} has other bytes")
    return found


def wine_lost_it(native, windows):
    """True when Wine itself ended the program: now and then (2 of 4800 programs) its server drops one, which then has
    status 1 and has said nothing, or cannot be reached on a busy machine. The tool never fails without a message; what
    crashes by itself has another status."""
    said = windows.stderr.replace(b"\r", b"").strip()
    if any(text in said for text in WINE_FAILURES):
        return windows.status == 1
    return windows.status == 1 and not said and (native.status != 1 or native.stderr.strip() != b"")


def run_windows(case, args, plan, folder, native):
    """Runs fsort.exe, and up to twice more when Wine lost it."""
    for more in (2, 1, 0):
        windows = run([str(args.wine), str(args.windows)], case, plan, folder)
        if more == 0 or not wine_lost_it(native, windows):
            return windows
        print(f"--seed {case.name}: lost by Wine, run again")
        shutil.rmtree(folder, ignore_errors=True)
        time.sleep(1)


def compare(case, args, folder):
    """Returns (what the sort was, its exit status, what differs)."""
    plan = dict(line.split("=") for line in (case / "plan").read_text().splitlines())
    deep = folder / DEEP_NAME / case.name
    deep.mkdir(parents=True)
    try:
        native = run([str(args.native)], case, plan, deep / "native")
        windows = run_windows(case, args, plan, deep / "windows", native)
    except subprocess.TimeoutExpired as late:
        return plan["regime"], None, [f"no end after {late.timeout} s: {late.cmd[0]!r}"]
    found = differences(native, windows)
    if not found or not args.keep:
        shutil.rmtree(deep)
    return plan["regime"], native.status, found


@contextlib.contextmanager
def wine_kept_up(args):
    """Wine's server starts with the first Windows program, inherits its open files, and ends with the last program. A
    sort that waits for its input starts it and keeps it running, which saves most of the time; it is at work when it
    has shown its first line."""
    waiting = subprocess.Popen([str(args.wine), str(args.windows), "-q", "-v"], stdin=subprocess.PIPE,
                               stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    if not waiting.stderr.readline().startswith(b"Segment length"):
        raise SystemExit("compare_systems: Wine does not start the tool")
    try:
        yield
    finally:
        waiting.stdin.close()
        waiting.wait()
        waiting.stderr.close()


def arguments():
    parser = argparse.ArgumentParser(description="the same sorts by the tools of two systems")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=2400)
    parser.add_argument("--jobs", type=int, default=os.cpu_count() + 1)
    parser.add_argument("--keep", type=pathlib.Path, help="keeps the corpus and the folders of sorts that differ")
    parser.add_argument("--maker", type=pathlib.Path, default=ROOT / "build/dev/bin/make_corpus")
    parser.add_argument("--native", type=pathlib.Path, default=ROOT / "build/release/bin/fsort")
    parser.add_argument("--windows", type=pathlib.Path, default=ROOT / "build/windows/bin/fsort.exe")
    parser.add_argument("--wine", type=pathlib.Path, default=ROOT / "scripts/wine")
    return parser.parse_args()


def run_all(args, folder):
    corpus = folder / "corpus"
    subprocess.run([str(args.maker), str(args.seed), str(args.count), str(corpus)], check=True)
    cases = sorted(corpus.iterdir(), key=lambda path: int(path.name))
    kinds, failures = collections.Counter(), 0
    with wine_kept_up(args), concurrent.futures.ThreadPoolExecutor(args.jobs) as pool:
        for case, (regime, status, found) in zip(cases, pool.map(lambda case: compare(case, args, folder), cases)):
            kinds[regime, "sorted" if status == 0 else "refused"] += 1
            failures += bool(found)
            if found and failures <= SHOWN_FAILURES:
                words = (case / "arguments").read_bytes().split(b"\0")[:-1]
                print(f"--seed {case.name} --count 1: {b' '.join(words).decode('utf-8', 'backslashreplace')}")
                for fault in found:
                    print(f"  {fault}")
    for (regime, end), number in sorted(kinds.items()):
        print(f"{regime}, {end}: {number}")
    print(f"{len(cases)} sorts, {len(cases) - failures} the same")
    return 1 if failures or len(cases) != args.count else 0


def main():
    args = arguments()
    if args.keep:
        args.keep.mkdir(parents=True, exist_ok=True)
        return run_all(args, args.keep.resolve())
    with tempfile.TemporaryDirectory(prefix="fsort-systems-") as folder:
        return run_all(args, pathlib.Path(folder))


if __name__ == "__main__":
    sys.exit(main())
