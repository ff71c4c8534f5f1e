"""What is measured: the process's own processor time, or its instructions, and its memory."""

import os
import re
import time

# A file descriptor that no process has: to write to it, with that of a pipe added, asks the
# plug-in of the emulator (instructions.cpp) for the number of instructions so far.
COUNTER = 1000000
# The addresses that a program in emulation has.
EMULATED = 1 << 32


def _file_of(line):
    """Return the file that a line of /proc/self/maps names, or its inode, 0, where it has none."""
    return line.split()[-1]


with open("/proc/self/maps") as _maps:
    MAPPED_AT_START = frozenset(_file_of(_line) for _line in _maps)


def processor_time():
    """Return the microseconds that this process has used; not those of its children."""
    return time.clock() * 1e6


class Instructions(object):
    """Counts the emulated processor's instructions; only where the plug-in is loaded."""

    def __init__(self):
        self._answer, self._question = os.pipe()

    def __call__(self):
        try:
            os.write(COUNTER + self._question, "")
        except OSError:
            pass  # as it must be: there is no such descriptor
        return int(os.read(self._answer, 20))


def fill_holes():
    """Return a heap of objects that fill what memory is free inside the process's heap.

    While they live, whatever is allocated needs pages anew, and can be measured.
    """
    small = [" " * (size - 40) for size in range(40, 513, 8) for _ in range(2000)]
    large = [" " * size for size in (600, 1200, 2500, 5000, 10000, 30000) for _ in range(100)]
    return small, large


def private_memory():
    """Return the bytes of memory that are this process's alone; in emulation without QEMU's own.

    Unchanged pages count of the files only that have been mapped since the start: those of others,
    the interpreter's say, come and go with what else the machine runs. Reads line by line: what
    this itself leaves free would hide what is allocated next.
    """
    # The first has, in emulation, the program's own addresses; the second always the machine's.
    shift = _place_of_interpreter("/proc/self/smaps") - _place_of_interpreter("/proc/self/maps")
    total, ours, new = 0, False, False
    with open("/proc/self/smaps") as stream:
        for line in stream:
            if ours and (line.startswith("Private_Dirty") or new and line.startswith("Private_")):
                total += int(line.split()[1]) * 1024
            elif not line[0].isupper():
                new = _file_of(line) not in MAPPED_AT_START
                ours = shift == 0 or shift <= int(line.split("-")[0], 16) < shift + EMULATED
    return total


def _place_of_interpreter(path):
    with open(path) as stream:
        for line in stream:
            if line.endswith("/python2.7\n"):
                return int(line.split("-")[0], 16)


def forget_peak():
    """Let peak() begin anew; return the bytes in memory now."""
    with open("/proc/self/clear_refs", "w") as stream:
        stream.write("5")
    return _fields("/proc/self/status")["VmRSS"]


def peak():
    """Return the most bytes in memory at a time since forget_peak()."""
    return _fields("/proc/self/status")["VmHWM"]


def _fields(path):
    with open(path) as stream:
        return dict((name, int(size) * 1024)
                    for name, size in re.findall(r"(?m)^(\w+):\s+(\d+) kB$", stream.read()))
