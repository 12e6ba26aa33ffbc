#!/usr/bin/env python3
"""Sorts a file of amounts by their number, the largest first, and shows what a mistake looks like.

  sort_file.py IN OUT"""

import sys

import fsort


def main() -> int:
    source, target = sys.argv[1:]
    amount = fsort.Key(field=1, numeric=True, descending=True)
    fsort.sort_file(source, target, keys=[amount, fsort.Key(field=0)], delimiter=";", memory="64m")
    try:
        fsort.sort_file(source, target, keys=fsort.Key(field=7), delimiter=";")
    except fsort.SortError as error:
        print(f"by a field that is not there: status {error.status}\n{error}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
