"""Taking turns with other work on the machine: what is measured holds a lock file meanwhile.

A machine that also builds or tests would spoil the figures. Work that runs under `flock FILE command` with the same
file waits for the pair that is being measured, and the next pair waits for it."""

import contextlib
import fcntl
import time

COURTESY = 0.3  # seconds in which a waiting program gets its turn


@contextlib.contextmanager
def turn(lock_file):
    """Holds the lock in its body; without a file there is nobody to wait for."""
    if lock_file is None:
        yield
        return
    time.sleep(COURTESY)
    with open(lock_file, "a", encoding="ascii") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        yield
