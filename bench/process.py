"""Runs one process and measures it from outside; used by bench/soak.py and the modules of scripts/bench.

run() gives the wall time around the process, the kernel's account of its CPU time and peak memory (wait4), and
what its reads and writes moved (/proc/PID/io, read when the process has ended but is not reaped yet). Nothing of
this slows the process down. A peak is never shown below what this process itself had when it forked, some 14 MiB."""

import ctypes
import os
import select
import signal
import time
from dataclasses import dataclass

ADDR_NO_RANDOMIZE = 0x0040000
libc = ctypes.CDLL(None, use_errno=True)


@dataclass
class Run:
    status: int = 0
    wall: float = 0.0
    cpu: float = 0.0
    peak: int = 0         # bytes resident
    read: int = 0         # bytes through read calls of any kind
    written: int = 0
    stored: int = 0       # bytes that were to reach the disk, whichever way they were written
    faults: int = 0       # pages touched for the first time
    system: float = 0.0   # the part of cpu spent in the system
    messages: str = ""


def start(command, messages, env=None, cores=None, fixed_addresses=False):
    """Forks and executes; returns the process id. Standard error goes to the file `messages`. `cores` is what
    the process may run on, as with taskset."""
    environment = dict(os.environ, **(env or {}))
    pid = os.fork()
    if pid != 0:
        return pid
    try:
        if cores is not None:
            os.sched_setaffinity(0, cores)
        if fixed_addresses:
            libc.personality(ADDR_NO_RANDOMIZE)
        null = os.open(os.devnull, os.O_RDWR)
        os.dup2(null, 0)
        os.dup2(null, 1)
        os.dup2(os.open(messages, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600), 2)
        os.execvpe(command[0], command, environment)
    finally:
        os._exit(127)


def counters(pid):
    text = open(f"/proc/{pid}/io").read()
    return {key: int(value) for key, value in (line.split(": ") for line in text.splitlines())}


def finish(pid, started, messages):
    os.waitid(os.P_PID, pid, os.WEXITED | os.WNOWAIT)
    wall = time.perf_counter() - started
    moved = counters(pid)
    _, status, usage = os.wait4(pid, 0)
    with open(messages, errors="replace") as file:
        text = file.read(4000)
    return Run(os.waitstatus_to_exitcode(status), wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024,
               moved["rchar"], moved["wchar"], moved["write_bytes"], usage.ru_minflt + usage.ru_majflt,
               usage.ru_stime, text)


def run(command, messages, timeout=None, **how):
    """Runs it to its end. A process that takes longer than `timeout` seconds is killed; its status is then that of
    the signal."""
    started = time.perf_counter()
    pid = start(command, messages, **how)
    watch = os.pidfd_open(pid)
    if timeout is not None and not select.select([watch], [], [], timeout)[0]:
        signal.pidfd_send_signal(watch, signal.SIGKILL)
    os.close(watch)
    return finish(pid, started, messages)
