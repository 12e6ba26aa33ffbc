#!/usr/bin/env python3
"""Changes work files behind a sort's back and looks whether --verify notices.

  verify_notices.py --tool FSORT

A sort that needs work files reads its input through a pipe that is held open. By then most of the records lie in work
files; one byte of one of them is changed there, in a place that no key looks at, or in the key. Without --verify such a
sort ends well, which is shown too: what is noticed here is noticed by nothing else. Exit status 1 after any fault."""

import argparse
import pathlib
import random
import subprocess
import sys
import tempfile
import time

LINES = 120_000
faults = []


def make_lines():
    r = random.Random(5)
    return [b"%016x;%08d;some more text\n" % (r.getrandbits(64), i) for i in range(LINES)]


def change(folder, old, new):
    """Replaces a text in the first work file that holds one like it; result: whether there was one."""
    for path in sorted(folder.glob("wk*")):
        data = path.read_bytes()
        at = data.find(old)
        if at >= 0:
            with open(path, "r+b") as file:
                file.seek(at)
                file.write(new)
            return True
    return False


def run(tool, options, lines, folder, planted):
    """Result: status, standard error, output."""
    out = folder / "out"
    out.write_bytes(b"old\n")
    process = subprocess.Popen([tool, *options, "-q", "-out", str(out), "-m", "1500", "-l", "16", "-w", str(folder),
                                "-t", "59", "-f", "0"], stdin=subprocess.PIPE, stderr=subprocess.PIPE)
    process.stdin.write(b"".join(lines[:-1]))
    process.stdin.flush()
    if planted:
        end = time.monotonic() + 20
        while not change(folder, *planted):
            if process.poll() is not None or time.monotonic() > end:
                sys.exit("no work file to change")
            time.sleep(0.01)
    process.stdin.write(lines[-1])
    process.stdin.close()
    errors = process.stderr.read().decode()
    return process.wait(timeout=60), errors, out.read_bytes()


def expect(case, holds, found):
    print(f"{case}: {'ok' if holds else 'FAILED'}")
    if not holds:
        faults.append(case)
        print(f"  found {found!r}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True, type=pathlib.Path)
    tool = parser.parse_args().tool.resolve()
    lines = make_lines()
    right = b"".join(sorted(lines))
    payload = (b"some more text", b"some mOre text")
    changed = "fsort: verify: the records written are not those that were read\n"
    with tempfile.TemporaryDirectory(prefix="fsort-verify-") as name:
        folder = pathlib.Path(name)
        status, errors, output = run(tool, ["--verify"], lines, folder, None)
        expect("an undisturbed sort verifies", (status, errors, output) == (0, "", right), (status, errors))
        status, errors, output = run(tool, [], lines, folder, payload)
        expect("without --verify a changed record passes", status == 0 and errors == "" and output != right,
               (status, errors))
        status, errors, output = run(tool, ["--verify"], lines, folder, payload)
        expect("a changed record is noticed", (status, errors) == (1, changed), (status, errors))
        status, errors, output = run(tool, ["--verify", "--atomic"], lines, folder, payload)
        expect("and with --atomic the old file stays", (status, errors, output) == (1, changed, b"old\n"),
               (status, errors))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
