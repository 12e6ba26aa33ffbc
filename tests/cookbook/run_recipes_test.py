#!/usr/bin/env python3
"""The runner of the recipes notices what it says that it notices: pages with one fault each, and one without.

  run_recipes_test.py --tool PATH"""

import argparse
import pathlib
import subprocess
import sys
import tempfile

RUNNER = pathlib.Path(__file__).resolve().parent / "run_recipes.py"

GOOD = """# A page

## A recipe

```text title="in.txt"
b
a
```

```sh
fsort < in.txt
```

```text title="output"
a
b
```

```sh title="exit status 1"
fsort < in.txt > out.txt
echo "no good" >&2
exit 1
```

```text title="messages"
no good
```

## A table

```text title="in.txt"
b 1
a 2
```

| GNU sort | fsort | Same? | Why |
|---|---|---|---|
| `sort < in.txt \\| cat` | `fsort < in.txt` | same | |
| `sort -s -k 2.3 in.txt` | `fsort < in.txt` | same lines | |
| `sort in.txt` | `fsort < in.txt \\| head -n 1` | differs | |
"""

# The claim, what is replaced, and by what.
FAULTS = [
    ("an output in the wrong order", "a\nb\n```\n\n```sh title", "b\na\n```\n\n```sh title"),
    ("an output that is not shown", '```text title="output"\na\nb\n```\n', ""),
    ("a line more than there is", "a\nb\n```\n\n```sh title", "a\nb\n\n```\n\n```sh title"),
    ("a command that fails", "fsort < in.txt\n```", "fsort < in.txt; false\n```"),
    ("a status that is another one", "exit status 1", "exit status 2"),
    ("other messages", "```\n\n## A table", "and more\n```\n\n## A table"),
    ("messages that are not shown", '```text title="messages"\nno good\n```\n', ""),
    ("an input file that is missing", 'title="in.txt"\nb\na', 'title="on.txt"\nb\na'),
    ("a row that is not the same", "| same |", "| same lines |"),
    ("a row that is the same", "| same lines |", "| same |"),
    ("a row that differs", "| differs |", "| same lines |"),
    ("a row that fails", "`sort -s -k 2.3 in.txt`", "`sort -s -k 2.3 on.txt`"),
    ("a row that says nothing", "`sort -s -k 2.3 in.txt`", "`true`"),
    ("a row that is no command", "`sort -s -k 2.3 in.txt`", "sort"),
    ("an output of no command", "## A recipe", '## A recipe\n\n```text title="output"\na\n```'),
    ("a fence that is not known", "```sh title=", "```sh name="),
]


def run(tool, text, more=()):
    with tempfile.TemporaryDirectory() as folder:
        page = pathlib.Path(folder, "page.md")
        page.write_text(text)
        done = subprocess.run([sys.executable, str(RUNNER), "--tool", str(tool), *more, str(page)],
                              capture_output=True, text=True, timeout=60)
        return done.returncode, done.stdout + done.stderr, page.read_text()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True, type=pathlib.Path)
    tool = parser.parse_args().tool
    failed = []
    status, said, _ = run(tool, GOOD, ["--at-least", "2"])
    if status != 0:
        failed.append(f"a page without a fault was refused:\n{said}")
    for claim, old, new in FAULTS:
        if GOOD.count(old) == 0:
            failed.append(f"{claim}: the page does not hold what is to be spoiled")
        status, said, _ = run(tool, GOOD.replace(old, new, 1))
        if status != 1:
            failed.append(f"{claim} ended with {status}:\n{said}")
    if run(tool, GOOD, ["--at-least", "3"])[0] != 1:
        failed.append("too few sections were not noticed")
    spoiled = GOOD.replace("a\nb\n```\n\n```sh title", "b\na\n```\n\n```sh title")
    if run(tool, spoiled, ["--update"])[2] != GOOD:
        failed.append("--update did not bring the page back")
    for text in failed:
        print(text)
    print(f"{len(FAULTS) + 3} claims about the runner, {len(failed)} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
