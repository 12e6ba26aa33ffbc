"""Sorts, each on a thread of its own.

    caller's thread                                  the sort's thread (holds the library's lock)
    ---------------                                  --------------------------------------------
    takes records from the iterable  -- batches -->  refill: hands a batch to the engine
    gives records to the for loop    <-- events ---  flush: a batch of sorted records
                                                     the end

The iterable runs on the caller's thread only, so it may do whatever the caller may, further sorts included,
and what it raises is raised where the caller waits.

The lock. One lock serialises all sorts of the process, and a sort holds it in its callbacks. A callback that
waited for its caller in the ordinary way would keep it, and a caller that starts a second sort meanwhile, in
the iterable or between two output records, would wait for ever. So callbacks wait in a record pipe, which
gives the lock back: every sort has a mailbox, a handle on which nothing is ever sorted. Where the callback
waits in FsortRetrieve, an FsortSend wakes it.

At most one token is in a mailbox: the caller sends one for each event that the callback then waits for.
FsortSend has to wait while another sort computes. The caller shall not (it must see a Ctrl-C), and so one
thread of the process, the post office, does all the sending.

The end. Whoever wants a sort to end sets its stop flag, at which the engine looks for every record, and sends
a token in case the sort waits. The order is always: the waiting side takes the token and notes that, then looks at
the flag; the ending side sets the flag, then looks whether a token is under way. One of the two sees the other.

Nothing of the sort's thread refers to the iterator, so an abandoned iterator is collected, and that ends its
sort, too."""

import array
import atexit
import contextlib
import ctypes
import itertools
import os
import queue
import threading
from types import TracebackType
from typing import Any, Iterable, Iterator, List, Optional, Sequence, Set, Tuple, Type, Union

from . import _command
from ._library import Display, Flush, Refill, batches, engine

_BATCH_RECORDS = 4096
_BATCH_BYTES = 1 << 17
_LENGTHS = "I" if array.array("I").itemsize == 4 else "L"

# How often a caller that waits looks for a Ctrl-C.
_LOOK_SECONDS = 0.1

_NEED = ("need",)
_END = ("end",)

# Threads that other sorts depend on: on these nobody may wait for the end of a sort.
_service = threading.local()


class SortError(Exception):
    """A sort that failed. Its text are the engine's messages, whole.

    status      1, or another status of the engine
    messages    the messages one by one, each with its line break
    """

    def __init__(self, status: int, messages: Sequence[str]) -> None:
        self.status = status
        self.messages = tuple(messages)
        super().__init__("".join(messages).strip() or f"fsort ended with status {status}")

    def __reduce__(self) -> Tuple[Any, ...]:
        return (type(self), (self.status, self.messages))


class _PostOffice:
    """The thread that calls FsortSend, and FsortDestroy when a mailbox is given up."""

    def __init__(self) -> None:
        self._letters: "queue.SimpleQueue[Tuple[Any, int]]" = queue.SimpleQueue()
        self._started = threading.Lock()
        self._open = False

    def post(self, function: Any, handle: int) -> None:
        self._letters.put((function, handle))

    def open(self) -> None:
        with self._started:
            if not self._open:
                threading.Thread(target=self._work, name="fsort post office", daemon=True).start()
                self._open = True

    def _work(self) -> None:
        _service.on = True
        token = ctypes.c_char(b"!")
        while True:
            function, handle = self._letters.get()
            if function is engine.FsortSend:
                function(handle, 1, ctypes.addressof(token))
            else:
                function(handle)


_office = _PostOffice()


def _after_fork() -> None:
    # The child has no threads. (What a sort held at the fork, the library's lock for one, stays held there.)
    global _office
    _office = _PostOffice()
    _running.clear()


if hasattr(os, "register_at_fork"):
    os.register_at_fork(after_in_child=_after_fork)


class _Mailbox:
    """Where the callbacks of one sort wait for a token of its caller."""

    def __init__(self) -> None:
        # Re-entrant: the collector may end a sort inside of these very lines.
        self._lock = threading.RLock()
        self._handle: Optional[int] = None
        self._under_way = False

    def open(self) -> bool:
        handle = engine.FsortCreate(None, None)
        with self._lock:
            self._handle = handle
        return bool(handle)

    def wait(self) -> None:
        length, record = ctypes.c_uint64(), ctypes.c_void_p()
        engine.FsortRetrieve(self._handle, ctypes.byref(length), ctypes.byref(record))
        with self._lock:
            self._under_way = False

    def post(self) -> None:
        with self._lock:
            if self._handle and not self._under_way:
                self._under_way = True
                _office.post(engine.FsortSend, self._handle)

    def close(self) -> None:
        with self._lock:
            handle, self._handle = self._handle, None
        if handle:
            _office.post(engine.FsortDestroy, handle)


_Batch = Tuple[bytes, "array.array[int]"]


class _Sort:
    """One sort on its thread, and what its caller may do with it."""

    def __init__(self, arguments: List[str], records: bool) -> None:
        self._arguments = arguments
        self._records = records
        self._stop = ctypes.c_int32(0)
        self._mailbox = _Mailbox()
        self._events: "queue.SimpleQueue[Tuple[Any, ...]]" = queue.SimpleQueue()
        self._batches: "queue.SimpleQueue[Optional[_Batch]]" = queue.SimpleQueue()
        self._flushed = False
        self._thread = threading.Thread(target=self._run, name="fsort", daemon=True)
        self.messages: List[str] = []
        self.status = 0
        self.fault: Optional[BaseException] = None

    # --- the caller's side ---

    def start(self) -> None:
        _office.open()
        _running.add(self)
        try:
            self._thread.start()
        except BaseException:
            _running.discard(self)
            raise

    def event(self) -> Tuple[Any, ...]:
        """_NEED, _END, or a batch of sorted records."""
        while True:
            # A Ctrl-C does not always end a wait: never on Windows, and elsewhere not when the system gives the
            # signal to the sort's thread, which is the one that runs.
            with contextlib.suppress(queue.Empty):
                return self._events.get(timeout=_LOOK_SECONDS)

    def feed(self, batch: Optional[_Batch]) -> None:
        self._batches.put(batch)
        self._mailbox.post()

    def go_on(self) -> None:
        self._mailbox.post()

    def end(self) -> None:
        """Ends the sort, whatever it is doing, and waits for its thread where that can be waited for."""
        self._stop.value = 1
        self._mailbox.post()
        if self._thread.ident is not None and not getattr(_service, "on", False):
            self._thread.join()

    def check(self) -> None:
        """After the end: raises what came of a failed sort."""
        self._thread.join()
        if self.fault is not None:
            raise self.fault
        if self.status == -1:
            raise MemoryError("fsort: no memory for a sort")
        if self.status != 0:
            raise SortError(self.status, self.messages)

    # --- the sort's thread ---

    def _run(self) -> None:
        _service.on = True
        # The callbacks live as long as this frame. As members they would keep the sort alive in a circle.
        display = Display(self._display)
        refill = Refill(self._guarded(self._refill)) if self._records else None
        flush = Flush(self._guarded(self._flush)) if self._records else None
        try:
            with _command.command_line(self._arguments) as line:
                if not self._mailbox.open():
                    raise MemoryError("fsort: no memory for a sort")
                self.status = batches.FsortBatchesSort(line, display, refill, flush, ctypes.byref(self._stop))
        except BaseException as fault:
            self.fault = fault
        finally:
            self._mailbox.close()
            _running.discard(self)
            self._events.put(_END)

    def _display(self, text: bytes) -> None:
        self.messages.append(text.decode("utf-8", "replace").replace("\r\n", "\n"))

    def _guarded(self, body: Any) -> Any:
        def callback(*arguments: Any) -> int:
            try:
                return int(body(*arguments))
            except BaseException as fault:  # nothing may leave a callback
                self.fault = fault
                return 1
        return callback

    def _refill(self) -> int:
        self._events.put(_NEED)
        self._mailbox.wait()
        if self._stop.value:
            return 1
        batch = self._batches.get_nowait()
        if batch is None:
            return 0
        data, lengths = batch
        return int(batches.FsortBatchesFeed(data, lengths.buffer_info()[0], len(lengths)))

    def _flush(self, data: int, lengths: int, count: int) -> int:
        of_all = array.array(_LENGTHS)
        of_all.frombytes(ctypes.string_at(lengths, count * of_all.itemsize))
        batch = (ctypes.string_at(data, sum(of_all)), of_all)
        if self._flushed:  # until the caller has taken the batch before
            self._mailbox.wait()
            if self._stop.value:
                return 1
        self._flushed = True
        self._events.put(batch)
        return 0


_running: Set[_Sort] = set()


@atexit.register
def _end_all() -> None:
    for sort in list(_running):
        sort.end()


def _as_bytes(record: object) -> bytes:
    if isinstance(record, (bytearray, memoryview)):
        record = bytes(record)
    if isinstance(record, str):
        raise TypeError("a record is bytes, not str; encode it first, or open the file with mode 'rb'")
    if not isinstance(record, bytes):
        raise TypeError(f"a record is bytes, not {type(record).__name__}")
    return record


class SortedRecords(Iterator[bytes]):
    """The records of a sort in order. Ends its sort when it is closed, left in a `with`, or collected."""

    _sort: Optional[_Sort] = None
    _source: Optional[Iterator[Any]] = None

    def __init__(self, records: Iterable[Union[bytes, bytearray, memoryview]], arguments: List[str]) -> None:
        self._source = iter(records)
        self._sort = _Sort(arguments, records=True)
        self._ahead: Optional[_Batch] = None
        self._started = False
        self._busy = False
        self._ready: Iterator[bytes] = iter(())

    def __iter__(self) -> "SortedRecords":
        return self

    def __next__(self) -> bytes:
        for record in self._ready:
            return record
        if self._busy:
            raise ValueError("the sort already waits for records: it cannot be its own input")
        self._busy = True
        try:
            self._ready = self._more()
        except BaseException:
            self.close()
            raise
        finally:
            self._busy = False
        return next(self._ready)

    def _more(self) -> Iterator[bytes]:
        """The next sorted records, one or more. Raises StopIteration at the end."""
        sort = self._sort
        if sort is None:
            raise StopIteration
        if not self._started:
            self._started = True
            self._ahead = self._batch()
            sort.start()
        while True:
            event = sort.event()
            if event is _NEED:
                sort.feed(self._ahead)
                # The next batch is made while the engine has this one.
                self._ahead = self._batch() if self._ahead is not None else None
            elif event is _END:
                sort.check()
                raise StopIteration
            else:
                sort.go_on()
                return _cut(*event)

    def _batch(self) -> Optional[_Batch]:
        """The next records of the source, None at its end."""
        records: List[bytes] = []
        size = 0
        for record in () if self._source is None else self._source:
            if type(record) is not bytes:
                record = _as_bytes(record)
            if not record:
                raise ValueError("an empty record cannot be sorted")
            records.append(record)
            size += len(record)
            if size >= _BATCH_BYTES or len(records) == _BATCH_RECORDS:
                break
        if not records:
            self._source = None
            return None
        return b"".join(records), array.array(_LENGTHS, map(len, records))

    def close(self) -> None:
        """Ends the sort, if it has not ended. No further records come."""
        sort, self._sort = self._sort, None
        self._ready = iter(())
        self._source = None
        self._ahead = None
        if sort is not None and self._started:
            sort.end()

    def __del__(self) -> None:
        self.close()

    def __enter__(self) -> "SortedRecords":
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], value: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.close()


def _cut(data: bytes, lengths: "array.array[int]") -> Iterator[bytes]:
    ends = list(itertools.accumulate(lengths))
    return map(data.__getitem__, map(slice, itertools.chain((0,), ends), ends))


def sort(records: Iterable[Union[bytes, bytearray, memoryview]], keys: _command.Keys = None, *, unique: bool = False,
         delimiter: Optional[_command.Bytes] = None, memory: Union[int, str, None] = None,
         work_dir: Optional[_command.Path] = None, short: Optional[str] = None, options: Optional[str] = None,
         command: Optional[str] = None) -> SortedRecords:
    """Sorts any iterable of bytes and gives an iterator of bytes.

    The sort begins when the first record is asked for. It takes all records of the iterable, on the caller's
    thread, and keeps them in its own memory and in work files; then the iterator gives them in order. An
    exception of the iterable ends the sort and comes out of the iterator, as it is.

    keys        what to sort by: a Key, a text as on the command line ("-k 0-255 -c 0-3"), or several of these, the
                most important first. Without keys: whole records by the values of their bytes, as sorted() does
    unique      of records that are equal on all keys one is given
    delimiter   the bytes that separate fields; a tab unless given
    memory      for the sort: bytes, or a text like "512m"
    work_dir    folder of the work files; the current one unless given
    short       what a record that lacks a key is: "mfr", "mcf", "mcr"; an error unless given
    options     further global options, as on the command line
    command     the whole command line instead of all these

    A record is any bytes but none at all, 65,530 at most. Lines may end in a line break and keep it."""
    if isinstance(records, (bytes, bytearray, memoryview, str)):
        raise TypeError(f"an iterable of records is wanted, not one {type(records).__name__}")
    given = (keys is not None or unique or delimiter is not None or memory is not None or work_dir is not None
             or short is not None or options is not None)
    if command is not None:
        if given:
            raise ValueError("command: it takes the place of all other options")
        return SortedRecords(records, _command.split(command))
    return SortedRecords(records, _command.option_arguments(
        keys, unique=unique, delimiter=delimiter, memory=memory, work_dir=work_dir, short=short, options=options))


def _sort_files(arguments: List[str]) -> str:
    files = _Sort(arguments, records=False)
    try:
        files.start()
        files.event()
        files.check()
    except BaseException:
        files.end()
        raise
    return "".join(files.messages)


def sort_file(inputs: Union[_command.Path, Sequence[_command.Path]], output: _command.Path,
              keys: _command.Keys = None, *, record: str = "text", record_size: Optional[int] = None,
              length_field: Optional[Tuple[int, int]] = None, unique: bool = False,
              delimiter: Optional[_command.Bytes] = None, memory: Union[int, str, None] = None,
              work_dir: Optional[_command.Path] = None, short: Optional[str] = None,
              options: Optional[str] = None) -> None:
    """Sorts files, one or up to 16, to a file. No record passes through Python.

    record        "text": lines; "fixed": records of record_size bytes; "variable": records with a length field
    record_size   the longest record in bytes; 511 for text and variable records unless given
    length_field  positions of the high and of the low byte of the length, (1, 0) unless given

    The other arguments are those of sort(). A last line without a line break is not a record. If the sort fails or is
    interrupted, the output file may hold a part of the records."""
    names = [inputs] if isinstance(inputs, (str, bytes)) or hasattr(inputs, "__fspath__") else list(inputs)
    if not names:
        raise ValueError("inputs: no file is named")
    arguments = ["-in", *map(_command.path_argument, names), "-out", _command.path_argument(output)]
    arguments += _command.record_arguments(record, record_size, length_field)
    _sort_files(arguments + _command.option_arguments(
        keys, unique=unique, delimiter=delimiter, memory=memory, work_dir=work_dir, short=short, options=options))


def run(command: str) -> str:
    """Sorts the files that a command line names, as the tool would. Gives what the sort said, such as how long it
    took (without "-q")."""
    arguments = _command.split(command)
    directive = any(a.startswith("-#") for a in arguments)
    for what, mark, option in (("input", "<", "-in"), ("output", ">", "-out")):
        if not directive and not any(a.startswith(mark) or a.lower() == option for a in arguments):
            raise ValueError(f"the command line names no {what} file")
    return _sort_files(arguments)
