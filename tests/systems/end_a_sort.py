#!/usr/bin/env python3
"""Ends sorts from outside at random instants and looks at what is left.

  end_a_sort.py --tool FSORT [--rounds 60] [--seed 1] [--lines 150000]

Sorts that need work files are sent SIGINT, SIGTERM and SIGHUP at instants spread over their whole time, the sleep
between the instants drawn from a seed. Each writes in one of the ways that there are:

  new        to a file that does not exist yet
  old        over a file that exists
  atomic     over a file that exists, with --atomic
  self       over its own input
  stream     to standard output, which is a file

After each: the process ended by the signal, or with 0 because it was done before; there is no work file and no file
beside the output; the input is what it was, or in a sort onto itself the input or the right result; the output of a
sort that was ended is absent, or right, or in the ways that keep it the old one, and never anything between. A sort
that ignores the signal from the start is not ended by it. Exit status 1 after any fault."""

import argparse
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import time

WAYS = ("new", "old", "atomic", "self", "stream")
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
OLD = b"what was there before\n" * 1000


def heed_signals():
    """In a new process: a shell has its background jobs ignore some, and what they start inherits that."""
    for number in SIGNALS:
        signal.signal(number, signal.SIG_DFL)


class Campaign:
    def __init__(self, args, folder):
        self.tool, self.folder = args.tool.resolve(), folder
        r = random.Random(args.seed)
        lines = [b"%016x %d some more text\n" % (r.getrandbits(64), i) for i in range(args.lines)]
        self.data, self.right = b"".join(lines), b"".join(sorted(lines))
        self.work = folder / "work"
        self.work.mkdir()

    def start(self, way, **options):
        source, target = self.folder / "in", self.folder / "out"
        source.write_bytes(self.data)
        target.unlink(missing_ok=True)
        if way in ("old", "atomic"):
            target.write_bytes(OLD)
        out = [] if way == "stream" else ["-out", str(source if way == "self" else target)]
        command = [self.tool, *(["--atomic"] if way == "atomic" else []), "-q", "-in", str(source), *out,
                   "-m", "1500", "-l", "16", "-w", str(self.work)]
        options.setdefault("preexec_fn", heed_signals)
        with open(target if way == "stream" else "/dev/null", "wb") as stdout:
            return subprocess.Popen(command, stdout=stdout, stderr=subprocess.PIPE, **options)

    def whole_time(self):
        """Seconds that a sort takes, and that it spills: what is ended must have had something to remove."""
        begin, spilled = time.monotonic(), False
        process = self.start("new")
        while process.poll() is None:
            spilled = spilled or any(self.work.iterdir())
            time.sleep(0.001)
        seconds = time.monotonic() - begin
        if process.returncode != 0 or not spilled or (self.folder / "out").read_bytes() != self.right:
            sys.exit(f"an undisturbed sort: status {process.returncode}, spilled {spilled}")
        process.stderr.close()
        return seconds

    def left_behind(self):
        known = {"in", "out", "work"}
        return [p.name for p in self.work.iterdir()] + [p.name for p in self.folder.iterdir() if p.name not in known]

    def faults_of(self, way, ended):
        source = (self.folder / "in").read_bytes()
        target = self.folder / "out"
        output = target.read_bytes() if target.exists() else None
        faults = [f"left behind: {name}" for name in self.left_behind()]
        if source != self.data and not (way == "self" and source == self.right):
            faults.append("the input changed")
        allowed = {"new": (None, self.right), "old": (None, OLD, self.right), "atomic": (OLD, self.right),
                   "self": (None,)}
        if not ended and output != self.right and not (way == "self" and source == self.right):
            faults.append("status 0 and a wrong output")
        if ended and way in allowed and output not in allowed[way]:
            faults.append(f"half an output of {len(output or b'')} bytes")
        return faults

    def round(self, way, number, delay):
        process = self.start(way)
        time.sleep(delay)
        process.send_signal(number)
        _, errors = process.communicate(timeout=60)
        ended = process.returncode == -number
        faults = self.faults_of(way, ended)
        if not ended and process.returncode != 0:
            faults.append(f"status {process.returncode}")
        if errors:
            faults.append(f"it said {errors!r}")
        return ended, faults

    def ignored(self):
        """A sort that was told to ignore SIGHUP goes on to its end."""
        process = self.start("new", preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        time.sleep(0.05)
        process.send_signal(signal.SIGHUP)
        process.communicate(timeout=60)
        return [] if process.returncode == 0 else [f"an ignored signal ended it: {process.returncode}"]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True, type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=60)
    parser.add_argument("--lines", type=int, default=150_000)
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="fsort-end-") as folder:
        campaign = Campaign(args, pathlib.Path(folder))
        seconds = campaign.whole_time()
        r = random.Random(args.seed)
        failed, ended = 0, 0
        for i in range(args.rounds):
            way, number = WAYS[i % len(WAYS)], SIGNALS[i % len(SIGNALS)]
            delay = r.uniform(0, 1.05 * seconds)
            was_ended, faults = campaign.round(way, number, delay)
            ended += was_ended
            failed += bool(faults)
            for fault in faults:
                print(f"round {i}, {way}, {number.name} after {delay:.3f} of {seconds:.3f} s: {fault}")
        for fault in campaign.ignored():
            failed += 1
            print(fault)
    print(f"{args.rounds} sorts, {ended} of them ended by a signal, {failed} faults")
    return 1 if failed or ended == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
