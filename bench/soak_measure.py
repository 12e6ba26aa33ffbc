"""What a sort does with its work files, seen from outside; used by bench/soak.py.

Watch counts through inotify which work files were created, opened and deleted in a folder. It does not slow the
process down. trace() runs the process once more under strace, which does, for what only the system calls tell: how
often it read, wrote and moved about in its work files."""

import ctypes
import os
import re
import struct
import subprocess
import threading
from dataclasses import dataclass, field

from process import libc

WORK_FILE = re.compile(r"wk\d{0,5}\.\d{3,}")


class Watch:
    """Counts work files created, opened and deleted in a folder, from `with` to its end."""

    CLOSE, OPEN, CREATE, DELETE, OVERFLOW = 0x18, 0x20, 0x100, 0x200, 0x4000

    def __init__(self, folder):
        self.created = self.opened = self.deleted = 0
        self.names = set()
        self.overflow = False
        self.fd = libc.inotify_init1(os.O_CLOEXEC)
        # Closing is watched so that two openings of one file are never merged into one event.
        mask = self.CLOSE | self.OPEN | self.CREATE | self.DELETE
        if self.fd < 0 or libc.inotify_add_watch(self.fd, os.fsencode(folder), mask) < 0:
            raise OSError(ctypes.get_errno(), "inotify")
        self.mark = os.path.join(folder, "end-of-watch")

    def __enter__(self):
        self.thread = threading.Thread(target=self.collect)
        self.thread.start()
        return self

    def __exit__(self, *_):
        open(self.mark, "w").close()  # the last event: all before it have been seen
        self.thread.join()
        os.unlink(self.mark)
        os.close(self.fd)

    def collect(self):
        while True:
            data = os.read(self.fd, 1 << 16)
            at = 0
            while at < len(data):
                _, mask, _, length = struct.unpack_from("iIII", data, at)
                name = data[at + 16:at + 16 + length].rstrip(b"\0").decode()
                at += 16 + length
                if mask & self.OVERFLOW:
                    self.overflow = True
                elif WORK_FILE.fullmatch(name):
                    self.count(mask, name)
                elif mask & self.CLOSE and name == os.path.basename(self.mark):
                    return

    def count(self, mask, name):
        self.created += bool(mask & self.CREATE)
        self.opened += bool(mask & self.OPEN)
        self.deleted += bool(mask & self.DELETE)
        if mask & self.CREATE:
            self.names.add(name)


@dataclass
class Traced:
    created: int = 0
    opened: int = 0
    reads: int = 0
    writes: int = 0
    read_bytes: int = 0
    written_bytes: int = 0
    seeks: int = 0           # transfers that do not go on where the one before on the same opening ended
    size: int = 0            # most bytes that lay in work files at a time: ends of the files, claimed space included
    levels: int = 0          # nesting of the deepest level that -v shows
    subdivided: int = 0      # bins subdivided while being relieved
    sizes: dict = field(default_factory=dict)


CALL = re.compile(r"(?:\[pid +\d+\] |\d+ +)?(\w+)\((.*)\) += (-?\d+)")


class TraceReader:
    def __init__(self):
        self.total = Traced()
        self.work = {}  # descriptor -> [name, place after the last transfer]

    def line(self, text):
        match = CALL.match(text)
        if not match or int(match[3]) < 0:
            return
        call, arguments, result = match[1], match[2], int(match[3])
        if call == "openat":
            self.open(arguments, result)
        elif call == "unlink":
            self.total.sizes.pop(os.path.basename(arguments.strip('"')), None)
        elif call in ("close", "pread64", "pwrite64", "ftruncate"):
            descriptor = int(arguments.split(",", 1)[0])
            if descriptor in self.work:
                self.use(call, descriptor, arguments, result)

    def open(self, arguments, result):
        name = os.path.basename(arguments.split('"')[1])
        if not WORK_FILE.fullmatch(name):
            return
        self.total.opened += 1
        self.total.created += "O_CREAT" in arguments
        self.work[result] = [name, 0]

    def use(self, call, descriptor, arguments, result):
        state = self.work[descriptor]
        if call == "close":
            del self.work[descriptor]
            return
        last = int(arguments.rsplit(",", 1)[1])
        if call == "ftruncate":
            self.grow(state[0], last)
            return
        self.total.seeks += last != state[1]
        state[1] = last + result
        if call == "pread64":
            self.total.reads += 1
            self.total.read_bytes += result
        else:
            self.total.writes += 1
            self.total.written_bytes += result
            self.grow(state[0], max(state[1], self.total.sizes.get(state[0], 0)))

    def grow(self, name, size):
        self.total.sizes[name] = size
        self.total.size = max(self.total.size, sum(self.total.sizes.values()))


def trace(command, messages, log):
    """`command` must ask for the level lines with -v. Returns None where strace is not installed."""
    calls = "openat,close,pread64,pwrite64,ftruncate,unlink"
    try:
        with open(messages, "w") as file:
            subprocess.run(["strace", "-f", "--seccomp-bpf", "-s", "0", "-e", f"trace={calls}", "-o", log, *command],
                           stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=file, check=True)
    except FileNotFoundError:
        return None
    reader = TraceReader()
    with open(log, errors="replace") as file:
        for text in file:
            reader.line(text)
    os.unlink(log)
    with open(messages, errors="replace") as file:
        for text in file:
            stripped = text.lstrip(" ")
            if stripped.startswith("k="):
                reader.total.levels = max(reader.total.levels, len(text) - len(stripped) + 1)
            reader.total.subdivided += stripped.startswith("Subdivide")
    return reader.total
