"""From keyword arguments to the command line of the engine.

A command line is built as a list of arguments and becomes one text at the end. The engine takes 511 bytes of
it; a longer one keeps what an include file cannot hold (white space, more than 78 characters, a # in front)
and moves the rest into include files, each run of arguments at its place."""

import contextlib
import os
import pathlib
import re
import tempfile
from dataclasses import dataclass
from typing import Iterable, Iterator, List, Optional, Sequence, Tuple, Union

from ._library import MAX_COMMAND

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Bytes = Union[bytes, str, int, Sequence[int]]
Columns = Union[int, Tuple[int, Optional[int]]]

_ORDERS = {
    "bytes": ["0-255"],
    "text": [],
    # Both alphabets get the ranks of the capitals; what lies between them follows.
    "nocase": ["0-64", "65-90", "-r", "97-122", "91-96", "123-255"],
}


@dataclass(frozen=True)
class Key:
    """One key: what of a record counts, and how.

    field       number of the field, from 0; a pair is a range of fields; None: the whole record
    columns     (first, last) byte of the field, from 0, both included; last None: to the end; one number: that
                byte; None: all
    numeric     compares numbers, not bytes
    descending  the largest first
    decimals    how many digits behind the point count in a numeric key
    order       "bytes": by the value of every byte (the default); "nocase": the same, ASCII letters without their
                case; "text": the engine's own, in which a byte that is not printable ASCII ends the key; else
                ranges as in the command line, such as "'a'-'z' -r 'A'-'Z'"
    skip        bytes that are skipped in front of the key, such as b" "
    """

    field: Union[int, Tuple[int, int], None] = None
    columns: Optional[Columns] = None
    numeric: bool = False
    descending: bool = False
    decimals: Optional[int] = None
    order: str = "bytes"
    skip: Optional[Bytes] = None

    def arguments(self) -> List[str]:
        """The key as the engine's command line has it."""
        if self.numeric:
            made = ["-n"]
            if self.order not in ("bytes", "text"):
                made += self.order.split()
            elif self.skip is not None:
                made.append("48-57")  # else its blanks would be those of other keys without a sequence
            if self.decimals is not None:
                if self.decimals == 0:
                    raise ValueError("Key: decimals of 0 would displace the key behind; 1 is the least")
                made += ["-d", _number("decimals", self.decimals)]
        elif self.decimals is not None:
            raise ValueError("Key: decimals are for numeric keys")
        else:
            made = ["-k", *_ORDERS.get(self.order, self.order.split())]
        if self.descending:
            made.append("-i")
        if self.skip is not None:
            made += ["-b", *_byte_values("skip", self.skip)]
        if self.field is not None:
            made += ["-f", _range("field", self.field)]
        if self.columns is not None:
            made += ["-c", _range("columns", self.columns, open_end=True)]
        elif self.field is None:
            made += ["-c", "0-"]
        return made


Keys = Union[None, str, Key, Iterable[Union[str, Key]]]


def _number(name: str, value: object) -> str:
    if isinstance(value, bool) or not isinstance(value, int):
        raise TypeError(f"{name}: a number is wanted, not {type(value).__name__}")
    if value < 0:
        raise ValueError(f"{name}: {value} is below 0")
    return str(value)


def _range(name: str, value: object, open_end: bool = False) -> str:
    if isinstance(value, int):
        return _number(name, value)
    if not isinstance(value, (tuple, list)) or len(value) != 2:
        raise TypeError(f"{name}: a number or a pair of numbers is wanted, not {value!r}")
    first, last = value
    if last is None and open_end:
        return _number(name, first) + "-"
    return f"{_number(name, first)}-{_number(name, last)}"


def _byte_values(name: str, value: Bytes) -> List[str]:
    if isinstance(value, int):
        value = [value]
    elif isinstance(value, str):
        value = value.encode()
    values = sorted(set(value))
    if not values or values[0] < 0 or values[-1] > 255:
        raise ValueError(f"{name}: byte values are wanted, not {value!r}")
    return [str(v) for v in values]


def _size(name: str, value: Union[int, str]) -> str:
    """Bytes as a number, or a text with a unit, in the engine's kilobytes."""
    if isinstance(value, str):
        if not re.fullmatch(r"[0-9]+[kmg]", value):
            raise ValueError(f'{name}: a number of bytes or a text like "512m" is wanted, not {value!r}')
        return value
    return f"{max(1, (int(_number(name, value)) + 1023) // 1024)}k"


def path_argument(path: Path) -> str:
    """A file name as one argument. Non-UTF-8 names survive as surrogates until the command is encoded."""
    name = os.fsdecode(path)
    if not name:
        raise ValueError("an empty file name")
    if "\0" in name or '"' in name or (os.sep == "/" and "\\" in name):
        raise ValueError(f"the engine cannot name this file: {name!r}")
    return "./" + name if name[0] in "-(<>#'" else name


def key_arguments(keys: Keys) -> List[str]:
    """Keys in the order in which they count; without any, the whole record by the values of its bytes."""
    if keys is None:
        return Key().arguments()
    if isinstance(keys, str):
        return split(keys)
    if isinstance(keys, Key):
        return keys.arguments()
    made: List[str] = []
    for key in keys:
        if isinstance(key, Key):
            made += key.arguments()
        elif isinstance(key, str):
            made += split(key)
        else:
            raise TypeError(f"keys: Key or str is wanted, not {type(key).__name__}")
    return made or Key().arguments()


def option_arguments(keys: Keys, *, unique: bool, delimiter: Optional[Bytes], memory: Union[int, str, None],
                     work_dir: Optional[Path], short: Optional[str], options: Optional[str]) -> List[str]:
    """All that does not name files. Global options stand in front: behind a key some would end the list."""
    made = ["-q"]
    if unique:
        made.append("-u")
    if delimiter is not None:
        made += ["-t", *_byte_values("delimiter", delimiter)]
    if memory is not None:
        made += ["-m", _size("memory", memory)]
    if work_dir is not None:
        made += ["-w", path_argument(work_dir)]
    if short is not None:
        if short not in ("mfr", "mcf", "mcr"):
            raise ValueError(f'short: "mfr", "mcf" or "mcr" is wanted, not {short!r}')
        made.append("-" + short)
    if options is not None:
        made += split(options)
    return made + key_arguments(keys)


def record_arguments(record: str, size: Optional[int], length_field: Optional[Tuple[int, int]]) -> List[str]:
    """The type of the records of a file."""
    if record not in ("text", "fixed", "variable"):
        raise ValueError(f'record: "text", "fixed" or "variable" is wanted, not {record!r}')
    if (record == "fixed") and size is None:
        raise ValueError("record_size: fixed records need their size")
    if length_field is not None and record != "variable":
        raise ValueError("length_field: only variable records have one")
    sizes = [] if size is None else [_number("record_size", size)]
    if record == "text":
        return ["-rt", *sizes] if sizes else []
    if record == "fixed":
        return ["-rf", *sizes]
    return ["-rv", _range("length_field", (1, 0) if length_field is None else length_field), *sizes]


def split(text: str) -> List[str]:
    """The arguments of a text, as the engine splits it: double quotes are dropped, single quotes stay. Line breaks
    separate, too."""
    arguments: List[str] = []
    held: Optional[str] = None
    quote = ""
    for c in text:
        if not quote and c in " \t\r\n":
            if held is not None:
                arguments.append(held)
            held = None
            continue
        switches = c == quote if quote else c in "'\""
        if switches:
            quote = "" if quote else c
        held = (held or "") + ("" if switches and c == '"' else c)
    if held is not None:
        arguments.append(held)
    return arguments


def _quoted(argument: str) -> str:
    for form in (argument, f'"{argument}"'):
        if split(form + " x") == [argument, "x"]:  # a quote that is left open would take the next argument, too
            return form
    raise ValueError(f"the engine cannot take this argument: {argument!r}")


# What an include file takes as one argument: its lines are read in pieces of 78 characters.
_INCLUDABLE = re.compile(r"(?!#)[^\s\"]{1,78}", re.ASCII)


def _encode(text: str) -> bytes:
    if os.name == "nt":
        return text.encode("mbcs")
    return os.fsencode(text)


@contextlib.contextmanager
def command_line(arguments: List[str]) -> Iterator[bytes]:
    """The arguments as one command line, with include files that live as long as the context."""
    line = _encode(" ".join(map(_quoted, arguments)))
    if b"\0" in line:
        raise ValueError("a zero byte in a command line")
    if len(line) <= MAX_COMMAND:
        yield line
        return
    with tempfile.TemporaryDirectory(prefix="fsort-") as folder:
        yield _encode(" ".join(_moved(arguments, pathlib.Path(folder))))


def _moved(arguments: List[str], folder: pathlib.Path) -> List[str]:
    """The arguments, those in include files replaced by the directives that include them."""
    made: List[str] = []
    run: List[str] = []
    for argument in [*arguments, None]:
        # A constant that is a blank is written by its value: white space ends an argument in a file.
        plain = argument.replace("' '", "32").replace("'\t'", "9") if argument is not None else '"'
        if _INCLUDABLE.fullmatch(plain):
            run.append(plain)
            continue
        if run:
            name = folder / f"{len(made)}.fso"
            name.write_bytes(_encode("".join(a + "\n" for a in run)))
            made += ["-#include", _quoted(str(name))]
            run = []
        if argument is not None:
            made.append(_quoted(argument))
    return made
