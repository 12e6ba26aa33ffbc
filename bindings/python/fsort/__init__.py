"""fsort: an external sort engine for records, called from Python.

    import fsort

    for line in fsort.sort(open("in.txt", "rb")):                     # any iterable of bytes
        ...
    fsort.sort_file("in.csv", "out.csv", delimiter=";", keys=fsort.Key(field=2, numeric=True))

Records stream through: neither the input nor the output is ever in Python as a whole. What does not fit in the
sort's memory goes to work files."""

from ._command import Key
from ._sorting import SortedRecords, SortError, run, sort, sort_file

__all__ = ["Key", "SortError", "SortedRecords", "run", "sort", "sort_file"]
__version__ = "0.1.0"
