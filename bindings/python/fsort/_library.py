"""Finds the two shared libraries and says what their functions take.

libfsort is the engine; libfsort_batches moves records in and out of it many at a time (its header tells how).
Both lie in one folder: that of this package when it was installed from a wheel, or the one that the variable
FSORT_LIBRARY_PATH names.

All functions are called through CDLL, which gives the interpreter's lock back: a call may wait for the lock
of the library while its owner waits for the interpreter."""

import ctypes
import os
import pathlib
import sys
from typing import Dict, Tuple

MAX_COMMAND = 511
"""The longest command line that the engine takes, in bytes."""

if sys.platform == "win32":
    NAMES = ("fsort.dll", "fsort_batches.dll")
else:
    NAMES = ("libfsort.so.0", "libfsort_batches.so")

Display = ctypes.CFUNCTYPE(None, ctypes.c_char_p)
Refill = ctypes.CFUNCTYPE(ctypes.c_int32)
Flush = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint64)

_HANDLE = ctypes.c_void_p
_LENGTH = ctypes.POINTER(ctypes.c_uint64)
_RECORD = ctypes.POINTER(ctypes.c_void_p)

# function: (result, parameters), for each of the two libraries.
_FSORT: Dict[str, Tuple[object, list]] = {
    "FsortCreate": (_HANDLE, [ctypes.c_void_p, ctypes.c_void_p]),
    "FsortDestroy": (None, [_HANDLE]),
    "FsortSend": (None, [_HANDLE, ctypes.c_uint64, ctypes.c_void_p]),
    "FsortRetrieve": (None, [_HANDLE, _LENGTH, _RECORD]),
}
_BATCHES: Dict[str, Tuple[object, list]] = {
    "FsortBatchesSort": (ctypes.c_int32,
                         [ctypes.c_char_p, Display, ctypes.c_void_p, ctypes.c_void_p,
                          ctypes.POINTER(ctypes.c_int32)]),
    "FsortBatchesFeed": (ctypes.c_int32, [ctypes.c_char_p, ctypes.c_void_p, ctypes.c_uint64]),
}


def _folder() -> pathlib.Path:
    named = os.environ.get("FSORT_LIBRARY_PATH")
    return pathlib.Path(named) if named else pathlib.Path(__file__).resolve().parent


def _load(path: pathlib.Path, functions: Dict[str, Tuple[object, list]]) -> ctypes.CDLL:
    try:
        library = ctypes.CDLL(str(path))
    except OSError as error:
        raise ImportError(f"fsort: the library {path} cannot be loaded ({error}); FSORT_LIBRARY_PATH may name "
                          "the folder that holds it") from error
    for name, (result, parameters) in functions.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = parameters
    return library


_place = _folder().resolve()
# The second library needs the first one. It is found because it is loaded already.
engine = _load(_place / NAMES[0], _FSORT)
batches = _load(_place / NAMES[1], _BATCHES)
