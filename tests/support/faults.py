"""What the tests of faults share: counts of what could be lost, rows for docs/reliability.md."""

import os
import threading
import time

from tests.support.sampling import ONE_IN


def descriptors():
    """Return how many files this process has open."""
    return len(os.listdir("/proc/self/fd")) - 1  # but for the one that lists them


def descriptors_at_rest():
    """The same once the feed server of this process has ended its connections."""
    deadline = time.time() + 10
    while any(thread.name == "feed connection" for thread in threading.enumerate()):
        if time.time() > deadline:
            raise RuntimeError("a connection of the feed server does not end")
        time.sleep(0.002)
    return descriptors()


def children():
    """Return the process ids of this process's children, also of those that nobody waited for."""
    found = []
    for number in os.listdir("/proc"):
        if number.isdigit():
            try:
                with open("/proc/%s/stat" % number) as stream:
                    fields = stream.read().rpartition(")")[2].split()
            except IOError:
                continue  # has just ended
            if int(fields[1]) == os.getpid():
                found.append(int(number))
    return sorted(found)


class Recording(object):
    """Mixed into a TestCase: `rows` are what a test, if it passes, has to say in the document.

    docs/reliability.md is made of them by tools/reliability.py.
    """

    def record(self, table, order, *cells):
        """Add a row to one of the document's tables: what was found, not what was hoped for.

        order: a number for the row's place in the table. Where fewer cases run, nothing is added.
        """
        if ONE_IN > 1:
            return
        self.__dict__.setdefault("rows", []).append(
            [table, order] + [str(cell) for cell in cells])
