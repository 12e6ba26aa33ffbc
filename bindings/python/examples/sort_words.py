#!/usr/bin/env python3
"""Counts the words of a text without keeping them: the words are sorted, equal ones follow each other.

  sort_words.py [FILE...]     standard input without a file"""

import fileinput
import itertools
import re
import sys
from typing import Iterator

import fsort


def words(files: "list[str]") -> Iterator[bytes]:
    for line in fileinput.input(files, mode="rb"):
        yield from re.findall(rb"\w+", line.lower())


def counted(files: "list[str]") -> Iterator[bytes]:
    for word, same in itertools.groupby(fsort.sort(words(files))):
        yield b"%d\t%s\n" % (sum(1 for _ in same), word)


def main() -> None:
    # The counts are sorted too, the most frequent word first: one sort is the input of another.
    by_count = [fsort.Key(field=0, numeric=True, descending=True), fsort.Key(field=1)]
    for line in fsort.sort(counted(sys.argv[1:]), by_count):
        sys.stdout.buffer.write(line)


if __name__ == "__main__":
    main()
