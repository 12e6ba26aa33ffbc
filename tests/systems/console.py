#!/usr/bin/env python3
"""The tool at a console: what is typed is sorted, what is said is shown, the input is ended once.

  console.py --tool build/release/bin/fsort                                a terminal
  console.py --tool build/windows/bin/fsort.exe --runner scripts/wine      a console of Windows, by Wine

Starts the tool under a pseudo-terminal, types, and looks at the output file, at what the screen shows and at the status.
A screen is redrawn as its owner likes, so of it only the letters and their order count. Wine's console has no key
that ends the input, so nothing is typed there."""

import argparse
import os
import pathlib
import pty
import re
import select
import sys
import tempfile
import time

WAIT_SECONDS = 60
QUIET_SECONDS = 1


class Screen:
    """A command under a pseudo-terminal."""

    def __init__(self, command):
        self.shown = b""
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.environ["TERM"] = "xterm"
            os.execvp(command[0], command)

    def read(self, until):
        """Collects what is shown until the condition holds; False when it ends or takes too long first."""
        limit = time.monotonic() + WAIT_SECONDS
        while not until():
            if time.monotonic() > limit:
                return False
            if not select.select([self.terminal], [], [], 0.1)[0]:
                continue
            try:
                piece = os.read(self.terminal, 4096)
            except OSError:
                piece = b""
            if not piece:
                return until()
            self.shown += piece
        return True

    def settle(self):
        """Waits until nothing was shown for a while: whoever is to read the keys has the terminal as it wants it."""
        quiet_since = [time.monotonic(), len(self.shown)]

        def quiet():
            if len(self.shown) != quiet_since[1]:
                quiet_since[:] = [time.monotonic(), len(self.shown)]
            return time.monotonic() - quiet_since[0] > QUIET_SECONDS

        self.read(quiet)

    def letters(self):
        """What is shown without control sequences, cursor movements and spaces."""
        return re.sub(rb"\x1b\[[0-9;?]*[A-Za-z]|[\x00-\x20]", b"", self.shown).decode("latin-1")

    def type(self, keys):
        os.write(self.terminal, keys)

    def status(self):
        self.read(lambda: False)
        return os.waitstatus_to_exitcode(os.waitpid(self.process, 0)[1])


def started(command, *options):
    """The tool at work on what is typed; -v says that it is, and the shell that it has ended."""
    screen = Screen(["sh", "-c", '"$@"; echo status=$?', "sh", *command, "-v", "-q", *options])
    screen.read(lambda: "Segmentlength" in screen.letters())
    screen.settle()
    return screen


def typed_lines_are_sorted(command, folder):
    result = folder / "out"
    screen = started(command, "-out", str(result))
    screen.type(b"pear\rapple\r\x04")
    if not screen.read(lambda: "status=" in screen.letters()):
        return f"does not end: {screen.shown}"
    if "status=0" not in screen.letters():
        return f"shows {screen.shown}"
    content = result.read_bytes() if result.exists() else b"<missing>"
    return "" if content == b"apple\npear\n" else f"writes {content}"


def output_and_messages_are_shown(command, folder):
    source = folder / "in"
    source.write_bytes(b"pear\napple\n")
    screen = Screen(["sh", "-c", '"$@"; echo status=$?', "sh", *command, "-q", "-in", str(source)])
    if not screen.read(lambda: "status=" in screen.letters()):
        return f"does not end: {screen.shown}"
    if "applepearstatus=0" not in screen.letters():
        return f"shows {screen.shown}"
    screen = Screen(["sh", "-c", '"$@"; echo status=$?', "sh", *command, "-in", str(folder / "none")])
    if not screen.read(lambda: "status=" in screen.letters()):
        return f"does not end: {screen.shown}"
    shown = screen.letters()
    if "Fileopenfailedon" in shown and shown.endswith("Errordetectedduringi/oinitializationstatus=1"):
        return ""
    return f"shows {screen.shown}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True)
    parser.add_argument("--runner")
    options = parser.parse_args()
    command = [options.runner] if options.runner else []
    command.append(str(pathlib.Path(options.tool).resolve()))
    tests = [output_and_messages_are_shown] if options.runner else [typed_lines_are_sorted,
                                                                    output_and_messages_are_shown]
    faults = 0
    with tempfile.TemporaryDirectory() as name:
        for test in tests:
            fault = test(command, pathlib.Path(name))
            print(f"{test.__name__.replace('_', ' ')}: {fault or 'right'}")
            faults += bool(fault)
    print(f"console: {len(tests) - faults} passed, {faults} failed")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
