#!/usr/bin/env python3
"""Executes the commands of documentation pages and compares what comes of them with what the pages show.

  run_recipes.py --tool PATH [--update] [--preserve] [--at-least N] [--count-only] PAGE...

pages.py says how a page is read. Each section runs in an empty folder of its own, with bash and in the C locale. In a
compared table both commands run on the section's files, and the third column is proved:

  same        the outputs are the same bytes
  same lines  the same lines, in another order
  differs     not even the same lines

--update writes the outputs and messages that were found into the pages (look at the difference before it is
committed); --preserve keeps the folders; --at-least asks for so many sections with commands, and --count-only
runs none of them."""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import pages

TIMEOUT_SECONDS = 120
TIMING = re.compile(rb"^(system|elapsed) time = \d+:\d\d\r?\n", re.M)


class Place:
    """The folder of a section, and the environment in which its commands run."""

    def __init__(self, tool):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="fsort-recipe-"))
        (self.folder / "bin").mkdir()
        (self.folder / "bin" / "fsort").symlink_to(tool)
        self.work = self.folder / "work"
        self.work.mkdir()
        self.environment = dict(os.environ, PATH=f"{self.folder / 'bin'}:{os.environ['PATH']}", LC_ALL="C")
        for name in ("TEMP", "TMPDIR", "TMP"):
            self.environment[name] = str(self.folder)

    def put(self, files):
        for name, text in files.items():
            (self.work / name).write_text(text)

    def run(self, command, row=None):
        """Returns (exit status, standard output, standard error)."""
        environment = self.environment if row is None else dict(self.environment, ROW=row)
        done = subprocess.run(["bash", "-c", command], cwd=self.work, env=environment, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=TIMEOUT_SECONDS)
        return done.returncode, done.stdout, TIMING.sub(b"", done.stderr)

    def remove(self):
        shutil.rmtree(self.folder)


def shown(data):
    return data.decode("utf-8", "backslashreplace")


def difference(what, want, found):
    return f"{what}\n--- shown\n{want}--- found\n{found}---"


def run_step(place, step, changes):
    """Returns faults; notes in `changes` what the page would have to show."""
    faults = []
    status, output, messages = place.run(step.command.text)
    if status != step.status:
        faults.append(f"exit status {status}, not {step.status}\n{shown(messages)}")
    for what, data, block in (("output", output, step.output), ("messages", messages, step.messages)):
        want = block.text if block else ""
        if data != want.encode():
            faults.append(difference(what, want, shown(data)))
            if block:
                changes.append((block, shown(data)))
    return [f"line {step.command.first + 1}: {fault}" for fault in faults]


def relation(left, right):
    if left == right:
        return "same"
    return "same lines" if sorted(left.splitlines()) == sorted(right.splitlines()) else "differs"


def run_row(place, row, reference):
    status, left, messages = place.run(reference, row.left)
    if status != 0 or messages:
        return [f"line {row.line}: `{row.left}` ended with {status}: {shown(messages)}"]
    status, right, messages = place.run(row.right)
    if status != 0 or messages:
        return [f"line {row.line}: `{row.right}` ended with {status}: {shown(messages)}"]
    if not left or not right:
        return [f"line {row.line}: no output to compare"]
    found = relation(left, right)
    if found == row.claim:
        return []
    return [f"line {row.line}: said to be \"{row.claim}\", is \"{found}\"\n--- `{row.left}`\n{shown(left)}"
            f"--- `{row.right}`\n{shown(right)}---"]


def run_section(section, tool, changes, preserve):
    place = Place(tool)
    try:
        place.put(section.files)
        faults = [fault for step in section.steps for fault in run_step(place, step, changes)]
        return faults + [fault for row in section.rows for fault in run_row(place, row, section.reference)]
    finally:
        if preserve:
            print(f"{section.title}: kept {place.folder}")
        else:
            place.remove()


def update(path, changes):
    lines = path.read_text().split("\n")
    for block, text in sorted(changes, key=lambda change: -change[0].first):
        lines[block.first:block.end] = text.removesuffix("\n").split("\n") if text else []
    path.write_text("\n".join(lines))


def run_page(path, args):
    """Returns (sections that ran, sections at fault)."""
    try:
        sections = pages.read_page(path)
    except pages.PageError as error:
        print(error)
        return 0, 1
    failed, changes = 0, []
    for section in [] if args.count_only else sections:
        faults = run_section(section, args.tool.resolve(), changes, args.preserve)
        failed += bool(faults)
        print(f"{path.name}: {section.title}: {'FAILED' if faults else 'ok'} "
              f"({len(section.steps) + 2 * len(section.rows)} commands)")
        for fault in faults:
            print("  " + fault)
    if args.update and changes:
        update(path, changes)
        print(f"{path.name}: {len(changes)} blocks written")
    return len(sections), failed


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True, type=pathlib.Path)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("--preserve", action="store_true")
    parser.add_argument("--at-least", type=int, default=1)
    parser.add_argument("--count-only", action="store_true")
    parser.add_argument("pages", nargs="+", type=pathlib.Path)
    args = parser.parse_args()
    done = [run_page(path, args) for path in args.pages]
    ran, failed = sum(ran for ran, _ in done), sum(failed for _, failed in done)
    print(f"{ran} sections, {failed} failed")
    if ran < args.at_least:
        print(f"{ran} sections, at least {args.at_least} are asked for")
        return 1
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
