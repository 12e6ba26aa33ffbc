#!/usr/bin/env python3
"""Looks at the progress of sorts as a terminal and a file get it.

  show_progress.py --tool FSORT

The input comes through a pipe that is held open, so that a sort takes as long as a case wants it to. A terminal is a
pseudo terminal; what it got is played back to see what stands on it in the end. Exit status 1 after any fault."""

import argparse
import os
import pathlib
import pty
import re
import select
import signal
import subprocess
import sys
import tempfile
import time

DATA = b"".join(b"%06d\n" % (i * 7919 % 50_000) for i in range(50_000))
RIGHT = b"".join(sorted(DATA.splitlines(keepends=True)))
SUMMARY = r"fsort: 50,000 records, 342 KiB in \d+\.\d s \(.* [KM]iB/s\)"
faults = []


def expect(case, holds, found):
    print(f"{case}: {'ok' if holds else 'FAILED'}")
    if not holds:
        faults.append(case)
        print(f"  found {found!r}")


def played_back(data):
    """The lines that stand on a terminal that got `data`: a carriage return goes back, characters replace others."""
    lines = []
    for line in data.decode().replace("\r\n", "\n").split("\n"):
        shown = ""
        for part in line.split("\r"):
            shown = part + shown[len(part):]
        lines.append(shown.rstrip())
    return lines


def run(tool, options, seconds, terminal, signals=0, arguments=("-q",)):
    """Sorts DATA, the last of it sent after `seconds`. Result: status, standard output, standard error."""
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        master, slave = pty.openpty() if terminal else (None, None)
        process = subprocess.Popen([tool, *options, *arguments], stdin=subprocess.PIPE, stdout=out,
                                   stderr=slave if terminal else err)
        process.stdin.write(DATA[:-7])
        process.stdin.flush()
        end, said = time.monotonic() + seconds, b""
        for _ in range(signals):
            time.sleep(seconds / (signals + 1))
            process.send_signal(signal.SIGUSR1)
        while time.monotonic() < end:
            said += drain(master)
        process.stdin.write(DATA[-7:])
        process.stdin.close()
        while process.poll() is None:
            said += drain(master)
        said += drain(master)
        if terminal:
            os.close(slave)
            os.close(master)
        out.seek(0)
        err.seek(0)
        return process.returncode, out.read(), said if terminal else err.read()


def drain(master):
    said = b""
    while master is not None and select.select([master], [], [], 0.05)[0]:
        said += os.read(master, 65536)
    if master is None:
        time.sleep(0.05)
    return said


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True, type=pathlib.Path)
    tool = parser.parse_args().tool.resolve()

    status, output, said = run(tool, ["--progress"], 2.8, terminal=True)
    lines = played_back(said)
    expect("a long sort on a terminal shows a line", b"\rreading   " in said and b" records   " in said, said)
    expect("the line is gone at the end, a summary stands", re.fullmatch(SUMMARY, lines[0]) and not any(lines[1:]),
           lines)
    expect("the output is right all the same", status == 0 and output == RIGHT, status)

    status, _, said = run(tool, ["--progress"], 0.2, terminal=True)
    expect("a short sort on a terminal shows nothing", status == 0 and said == b"", said)
    status, _, said = run(tool, ["--progress"], 2.8, terminal=False)
    expect("a long sort on no terminal shows nothing", status == 0 and said == b"", said)
    status, _, said = run(tool, [], 2.8, terminal=True)
    expect("a long sort that was not asked shows nothing", status == 0 and said == b"", said)
    status, _, said = run(tool, ["--progress=never"], 2.8, terminal=True)
    expect("nor does one that was asked not to", status == 0 and said == b"", said)

    status, _, said = run(tool, ["--progress=always"], 2.8, terminal=False)
    lines = said.decode().splitlines()
    # A slow tool, or a machine that has other work, may still be busy a second later.
    seconds = re.fullmatch(SUMMARY, lines[-1]) and float(re.search(r"in ([\d.]+) s", lines[-1])[1])
    expect("always: a line a second anywhere, then the summary",
           seconds and len(lines) >= 3 and abs(len(lines) - 1 - seconds) < 1.1
           and all(re.match(r"fsort: reading   [\d,]+ records   \d+ KiB", line) for line in lines[:2])
           and all(re.match(r"fsort: \w+ +", line) for line in lines[2:-1]), lines)

    status, _, said = run(tool, [], 0.6, terminal=False, signals=2)
    lines = said.decode().splitlines()
    expect("SIGUSR1 shows a line at once, unasked",
           status == 0 and len(lines) == 2 and all(re.match(r"fsort: reading   [\d,]+ records", s) for s in lines),
           said)
    status, _, said = run(tool, ["--progress=always"], 1.5, terminal=True, arguments=("-v",))
    lines = [line for line in played_back(said) if line]
    expect("messages are not mixed with the line", status == 0 and len(lines) > 3
           and not any("reading" in line for line in lines) and re.fullmatch(SUMMARY, lines[-1]), lines)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
