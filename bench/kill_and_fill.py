#!/usr/bin/env python3
"""Fills disks and kills processes for real, and looks at what is left.

  bench/kill_and_fill.py --tool FSORT [--kills 1000] [--jobs 2] [--seed 1] [--dir FOLDER] [--tally FILE]

  disk       output, and work files, on file systems of growing size until the sort fits; output, and work files, under
             RLIMIT_FSIZE of growing size; /dev/full by name and as standard output
  streams    closed standard input, output and error in every combination; readers that leave a pipe
  kill       spilling sorts killed by SIGKILL at random instants, in a folder where files of somebody else have the
             names that the work files would have

After each: the status is 1 and the text that of the fault, or 0 and the output right; the process did not die of a
signal of its own; input and foreign files are as they were; a failed sort has left no work file, and a later run in
the same folder is right. A killed sort cannot clean up: its work files are what it may leave, nothing else.

A small file system is a tmpfs, mounted by root in a name space of its own; without that right these cases are printed
as not run and counted as such. Exit status 1 after any fault."""

import argparse
import concurrent.futures
import ctypes
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

WORK_FILE = re.compile(r"wk\d{0,5}\.\d{3,}")
ADDR_NO_RANDOMIZE = 0x0040000
NO_SPACE = "There is not enough space on the disk.\r"
WORK_FULL = ["Space exhausted while writing work file:", NO_SPACE, "Error detected in fsort call"]
OUTPUT_STEPS = ["Error writing record to output", "Error trying to write record from fsort",
                "Error detected in fsort call"]
OUTPUT_FULL = ["Space exhausted while writing output file:", NO_SPACE, *OUTPUT_STEPS]
PIPE_CLOSED = ["Space exhausted while writing output file:", "The pipe is being closed.\r", *OUTPUT_STEPS]
BAD_HANDLE_IN = [["Programming error in rin_read", "Error detected reading text record",
                  "Error encountered on reading record", "Error detected in fsort call"]]
BAD_HANDLE_OUT = ["Space exhausted while writing output file:", "The handle is invalid.\r", *OUTPUT_STEPS]
libc = ctypes.CDLL(None, use_errno=True)


def make_lines(count, seed):
    """Lines of 64 bytes, no two alike."""
    r = random.Random(seed)
    return b"".join(b"%016x %08d %s\n" % (r.getrandbits(64), i, bytes(r.choices(b"abcdefgh", k=37)))
                    for i in range(count))


class Campaign:
    def __init__(self, args):
        self.args = args
        self.dir = args.dir
        self.data = make_lines(12_000, args.seed)
        self.right = b"".join(sorted(self.data.splitlines(keepends=True)))
        self.input = self.dir / "input"
        self.input.write_bytes(self.data)
        # What is killed takes long enough to be met at any instant.
        self.killed_data = self.data if args.kills < 50 else make_lines(30_000, args.seed + 1)
        self.killed_right = b"".join(sorted(self.killed_data.splitlines(keepends=True)))
        self.killed_input = self.dir / "killed-input"
        self.killed_input.write_bytes(self.killed_data)
        self.counts = {}
        self.bad = []

    def count(self, what, outcome):
        key = (what, outcome)
        self.counts[key] = self.counts.get(key, 0) + 1

    def fault(self, text):
        self.bad.append(text)
        print(f"  FAULT: {text}", flush=True)

    def command(self, work, output, memory=200, source=None):
        return [str(self.args.tool), "-q", "-l", "17", "-m", str(memory), "-w", str(work), "-in",
                str(source or self.input), "-out", str(output)]

    def run(self, command, limit=None, **options):
        def prepare():
            if limit is not None:
                resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
        return subprocess.run(command, stderr=subprocess.PIPE, preexec_fn=prepare, timeout=120, **options)

    def judge(self, what, done, output, work, allowed):
        """`allowed`: lists of lines; `output`: the bytes that came out."""
        lines = done.stderr.decode("latin-1").split("\n")[:-1]
        if done.returncode == 0 and not lines and output == self.right:
            self.count(what, "right output")
        elif done.returncode == 1 and lines in allowed:
            self.count(what, lines[0].rstrip(":"))
        elif done.returncode == 0:
            self.fault(f"{what}: status 0, {'' if output == self.right else 'WRONG OUTPUT, '}texts {lines}")
        else:
            self.fault(f"{what}: status {done.returncode}, texts {lines}")
        left = [name for name in os.listdir(work) if WORK_FILE.fullmatch(name)] if work else []
        if left:
            self.fault(f"{what}: left {left}")
        if self.input.read_bytes() != self.data:
            self.fault(f"{what}: the input was changed")
        return done.returncode

    def later_run(self, what, work):
        output = self.dir / "later"
        done = self.run(self.command(work, output))
        if done.returncode != 0 or output.read_bytes() != self.right:
            self.fault(f"{what}: the later run: status {done.returncode}, {done.stderr}")
        output.unlink(missing_ok=True)

    # --- full disks ------------------------------------------------------------------------------------------

    def small_file_system(self, kilobytes):
        """A mounted tmpfs, or None without the right to mount."""
        folder = self.dir / "small"
        folder.mkdir(exist_ok=True)
        done = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={kilobytes}k", "tmpfs", str(folder)],
                              capture_output=True)
        return folder if done.returncode == 0 else None

    def small_disks(self):
        for kilobytes in self.sizes():
            for what in ("output", "work files", "both"):
                folder = self.small_file_system(kilobytes)
                if folder is None:
                    print("  small file systems: NOT RUN, no right to mount", flush=True)
                    self.count("small file system", "not run")
                    return
                try:
                    work = self.dir / "work" if what == "output" else folder
                    output = self.dir / "output" if what == "work files" else folder / "output"
                    done = self.run(self.command(work, output))
                    content = output.read_bytes() if output.exists() else b""
                    self.judge(f"{what} on a small file system", done, content, work, [WORK_FULL, OUTPUT_FULL])
                    output.unlink(missing_ok=True)
                finally:
                    subprocess.run(["umount", str(folder)], check=True)
            self.later_run("after a full file system", self.dir / "work")

    def sizes(self):
        size = len(self.data) // 1024
        return [4, 64, size // 4, size // 2, size - 8, size + 64, 3 * size]

    def limited(self):
        work = self.dir / "work"
        for kilobytes in [0, 1, *self.sizes()]:
            for memory, what in ((200, "spilling"), (4000, "in memory")):
                output = self.dir / "output"
                output.unlink(missing_ok=True)
                done = self.run(self.command(work, output, memory), limit=kilobytes * 1024 + 100)
                content = output.read_bytes() if output.exists() else b""
                self.judge(f"RLIMIT_FSIZE, {what}", done, content, work, [WORK_FULL, OUTPUT_FULL])
            output.unlink(missing_ok=True)
        self.later_run("after RLIMIT_FSIZE", work)

    def dev_full(self):
        work = self.dir / "work"
        for memory in (200, 4000):
            done = self.run(self.command(work, "/dev/full", memory))
            self.judge("/dev/full as the output file", done, b"", work, [OUTPUT_FULL])
            with open("/dev/full", "wb") as full:
                done = self.run(self.standard(memory), stdin=open(self.input, "rb"), stdout=full)
            self.judge("/dev/full as standard output", done, b"", work, [OUTPUT_FULL])
            with open(self.dir / "output", "wb") as target:
                done = self.run(self.standard(memory), stdin=open(self.input, "rb"), stdout=target, limit=100_000)
            self.judge("RLIMIT_FSIZE on standard output", done, b"", work, [OUTPUT_FULL, WORK_FULL])
        (self.dir / "output").unlink(missing_ok=True)

    # --- closed and broken streams -----------------------------------------------------------------------------

    def standard(self, memory):
        return [str(self.args.tool), "-q", "-l", "17", "-m", str(memory), "-w", str(self.dir / "work")]

    def closed_streams(self):
        work = self.dir / "work"
        text = " ".join(self.standard(200))
        for closed in range(1, 8):
            parts = [f"<{self.input}" if not closed & 1 else "<&-", ">output" if not closed & 2 else ">&-",
                     "2>messages" if not closed & 4 else "2>&-"]
            for name in ("output", "messages"):
                (self.dir / name).write_bytes(b"")
            done = subprocess.run(["bash", "-c", f"{text} {' '.join(parts)}"], cwd=self.dir, timeout=120,
                                  capture_output=True)
            done.stderr = (self.dir / "messages").read_bytes()
            what = "closed: " + ", ".join(n for i, n in enumerate(("input", "output", "error")) if closed >> i & 1)
            output = (self.dir / "output").read_bytes()
            lines = done.stderr.decode("latin-1").split("\n")[:-1]
            told = done.returncode == 1 and (closed & 4 or lines in [BAD_HANDLE_OUT, *BAD_HANDLE_IN])
            if not closed & 3:
                good = done.returncode == 0 and output == self.right
            elif closed & 1:   # no input: it may count as empty or as an error, but no record may come from anywhere
                good = (told or done.returncode == 0) and output == b""
            else:
                good = told
            if good:
                self.count(what, "right output" if output else lines[0].rstrip(":") if lines else
                           f"status {done.returncode}, no output")
            else:
                self.fault(f"{what}: status {done.returncode}, {len(output)} bytes of output, texts {lines}")
            if os.listdir(work) or self.input.read_bytes() != self.data:
                self.fault(f"{what}: {os.listdir(work)} left, or the input changed")

    def broken_pipes(self):
        for memory in (200, 4000):
            for taken in (0, 1, 4096, 70_000, 300_000):
                process = subprocess.Popen(self.standard(memory), stdin=open(self.input, "rb"), stdout=subprocess.PIPE,
                                           stderr=subprocess.PIPE)
                got = b""
                while len(got) < taken:
                    got += process.stdout.read1(taken - len(got))
                process.stdout.close()
                process.stdout = None
                done = subprocess.CompletedProcess([], 0, stderr=process.stderr.read())
                done.returncode = process.wait()
                if got != self.right[:len(got)]:
                    self.fault("a pipe gave wrong bytes")
                self.judge("reader of a pipe that leaves", done, b"", self.dir / "work", [PIPE_CLOSED])

    # --- kill --------------------------------------------------------------------------------------------------

    def start(self, command, messages):
        def prepare():
            libc.personality(ADDR_NO_RANDOMIZE)  # so that work-file names are the same each time
        return subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=messages,
                                preexec_fn=prepare)

    def work_stems(self):
        """The names that the sorts want: those that a sort makes in an empty folder."""
        work = self.dir / "names"
        work.mkdir(exist_ok=True)
        stems = set()
        while not stems:
            process = self.start(self.command(work, self.dir / "output", source=self.killed_input), subprocess.DEVNULL)
            while process.poll() is None and not stems:
                stems = {name.split(".")[0] for name in os.listdir(work) if WORK_FILE.fullmatch(name)}
            process.kill()
            process.wait()
        shutil.rmtree(work)
        return stems

    def killer(self, job, kills):
        """Kills its share of sorts in a folder of its own. Result: counts and faults."""
        r = random.Random(self.args.seed * 1000 + job)
        work = self.dir / f"kill-{job}"
        work.mkdir()
        output = self.dir / f"killed-{job}"
        foreign = {}
        for stem in self.stems:
            for number in (1, 2, 5):
                foreign[work / f"{stem}.{number:03d}"] = os.urandom(777)
        for path, content in foreign.items():
            path.write_bytes(content)
        (work / "letter").write_bytes(b"of somebody else")
        foreign[work / "letter"] = b"of somebody else"
        command = self.command(work, output, source=self.killed_input)
        whole = self.duration(command)
        found = {"killed": 0, "ended before": 0, "with work files": 0, "later runs": 0}
        faults = []
        names = set()
        i = 0
        # A sort that had ended before its instant came does not count.
        while found["killed"] < kills and len(faults) <= 5:
            i += 1
            found_now, text = self.kill_one(command, r.random() * whole)
            found[found_now] += 1
            before, names = names, set(os.listdir(work)) - {path.name for path in foreign}
            found["with work files"] += bool(names - before)
            if text or not all(WORK_FILE.fullmatch(name) for name in names):
                faults.append(f"kill {i} of job {job}: {text} {sorted(names)}")
            faults += [f"kill {i} of job {job}: {p.name} changed" for p, c in foreign.items()
                       if not p.exists() or p.read_bytes() != c]
            if self.killed_input.read_bytes() != self.killed_data:
                faults.append(f"kill {i} of job {job}: the input was changed")
            # The next run meets the files that this one left, in every tenth case; then they go.
            if i % 10 == 0 or found["killed"] == kills:
                found["later runs"] += 1
                faults += self.run_later(command, output, work, names, i, job)
                for name in names:
                    (work / name).unlink(missing_ok=True)
                names = set()
            output.unlink(missing_ok=True)
        return found, faults

    def duration(self, command):
        times = []
        for _ in range(3):
            started = time.perf_counter()
            self.start(command, subprocess.DEVNULL).wait()
            times.append(time.perf_counter() - started)
        return sorted(times)[1]

    def kill_one(self, command, after):
        process = self.start(command, subprocess.PIPE)
        time.sleep(after)
        process.kill()
        text = process.stderr.read()
        status = process.wait()
        process.stderr.close()
        if status == -signal.SIGKILL:
            return "killed", ""
        return "ended before", "" if status == 0 else f"status {status}: {text}"

    def run_later(self, command, output, work, names, i, job):
        done = subprocess.run(command, capture_output=True, timeout=120)
        faults = []
        if done.returncode != 0 or output.read_bytes() != self.killed_right:
            faults.append(f"kill {i} of job {job}: the later run: status {done.returncode}, {done.stderr}")
        more = {name for name in os.listdir(work) if WORK_FILE.fullmatch(name)} - names
        more -= {f"{stem}.{number:03d}" for stem in self.stems for number in (1, 2, 5)}
        if more:
            faults.append(f"kill {i} of job {job}: the later run left {sorted(more)}")
        return faults

    def kills(self):
        self.stems = self.work_stems()
        jobs = self.args.jobs
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            shares = [self.args.kills // jobs + (job < self.args.kills % jobs) for job in range(jobs)]
            for found, faults in pool.map(self.killer, range(jobs), shares):
                for text in faults:
                    self.fault(text)
                for outcome, number in found.items():
                    key = ("kill -9 of a spilling sort", outcome)
                    self.counts[key] = self.counts.get(key, 0) + number

    # --- all -----------------------------------------------------------------------------------------------------

    def all(self):
        (self.dir / "work").mkdir()
        for name, part in (("small file systems", self.small_disks), ("limits on files", self.limited),
                           ("/dev/full", self.dev_full), ("closed streams", self.closed_streams),
                           ("broken pipes", self.broken_pipes), ("kill -9", self.kills)):
            print(name, flush=True)
            part()
        if self.args.tally:
            with open(self.args.tally, "a") as file:
                for (what, outcome), number in sorted(self.counts.items()):
                    file.write(f"process\t{what}\t{outcome}\t{number}\n")
        for (what, outcome), number in sorted(self.counts.items()):
            print(f"  {number:5d}  {what}: {outcome}")
        total = sum(number for (_, outcome), number in self.counts.items()
                    if outcome not in ("not run", "with work files", "later runs", "ended before"))
        print(f"{total} ends of processes, {len(self.bad)} faults")
        return 1 if self.bad else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tool", required=True, type=pathlib.Path)
    parser.add_argument("--kills", type=int, default=1000)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--dir", type=pathlib.Path)
    parser.add_argument("--tally")
    args = parser.parse_args()
    args.tool = args.tool.resolve()
    args.dir = pathlib.Path(tempfile.mkdtemp(prefix="kill-", dir=args.dir))
    try:
        return Campaign(args).all()
    finally:
        shutil.rmtree(args.dir, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
