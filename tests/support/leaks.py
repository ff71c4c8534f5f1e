"""Whether what is done again and again leaves something behind.

A debug interpreter counts all references, and the one with AddressSanitizer the bytes held, too;
there LeakCheckedTest repeats its tests, one in ONE_IN of them, until they leave both as they were.
Everywhere it looks at open files and child processes. Where references are not counted, `loss`
counts those to what is used everywhere, and the objects that the garbage collector knows.
"""

import array
import gc
import os
import sys
import threading
import time
import unittest
import urlparse
import zlib

from tests.support.sampling import ONE_IN

COUNTS = hasattr(sys, "gettotalrefcount")

#: What other interpreters count references to, in addition to what a test names.
SHARED = [None, True, False, 0, 1, "", u"", (), "menu", "update", "item", "all", "normal", "title"]

#: How many calls may leave more behind before it counts as a leak, since caches fill: with the
#: quick collection, that of the youngest objects; and with the whole one, which also gives back the
#: freed objects that the interpreter keeps for new ones.
QUICK, WHOLE = 4, 40


def once(reason):
    """Decorates a test, or a class of them, that cannot be repeated; the reason says why."""
    def decorate(test):
        test.once = reason
        return test
    return decorate


def totals(generation, watched):
    """Return the references and the bytes that the process has, after collecting garbage."""
    sys.exc_clear()
    urlparse.clear_cache()
    gc.collect(generation)
    if not COUNTS:
        references = sum(map(sys.getrefcount, SHARED + watched))
        return array.array("l", (references, len(gc.get_objects())))
    # Not a list: it would hold references itself.
    return array.array("l", (sys.gettotalrefcount(), held()))


def held():
    """Return the bytes that the process holds; 0 where they are not counted."""
    return __import__("faults").held() if "faults" in sys.builtin_module_names else 0


def memory():
    """Return the bytes that the process holds, or where they are not counted, those resident."""
    with open("/proc/self/statm") as stream:
        return held() or int(stream.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def loss(call, watched=()):
    """Call again and again; return what each call leaves behind or takes, as text, or None.

    watched: objects to which references are counted where not all are.

    What is lost each time shows each time: a call that once leaves as much as it found has lost
    nothing. With the whole collection three calls together must leave as much as they found: one
    may give back what earlier calls have left, and so hide what it loses.
    """
    watched = list(watched)
    gc.disable()
    try:
        before = after = totals(0, watched)
        for _ in range(QUICK):
            before = totals(0, watched)
            call()
            after = totals(0, watched)  # on its own line: what an expression holds counts
            if same(before, after):
                return None
        # Made first: they take memory themselves.
        seen = [array.array("l", (0, 0)) for _ in range(WHOLE)]
        for number in range(WHOLE):
            seen[number][:] = totals(2, watched)
            if any(same(before, seen[number]) for before in seen[:max(0, number - 2)]):
                return None
            call()
    finally:
        gc.enable()
    return "leaves %d references and %d %s more each time" % (
        seen[-1][0] - seen[-2][0], seen[-1][1] - seen[-2][1], "bytes" if COUNTS else "objects")


def same(before, after):
    """Tell whether there are as many references, and as many bytes or objects, or fewer."""
    return after[0] == before[0] and after[1] <= before[1]


def descriptors():
    """Return how many files this process has open, once its feed servers are at rest."""
    deadline = time.time() + 10
    while any(thread.name == "feed connection" for thread in threading.enumerate()):
        if time.time() > deadline:
            raise RuntimeError("a connection of the feed server does not end")
        time.sleep(0.002)
    return len(os.listdir("/proc/self/fd")) - 1  # but for the one that lists them


def children():
    """Return the ids of this process's children, also of those that nobody has waited for."""
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


class LeakCheckedTest(unittest.TestCase):
    """A test that leaves nothing behind; see `once`."""

    once = None

    def run(self, result=None):
        self._begin()
        test = getattr(self, self._testMethodName)
        if (COUNTS and not (self.once or getattr(test, "once", None))
                and zlib.crc32(self.id()) % ONE_IN == 0):
            setattr(self, self._testMethodName, lambda: self._run_repeatedly(test))
        super(LeakCheckedTest, self).run(result)

    def _run_repeatedly(self, test):
        def again():
            self._begin()
            self.setUp()
            test()
            self._end()

        test()
        self._end()
        text = loss(again)
        self.tearDown = lambda: None  # that is done
        if text is not None:
            self.fail("the test " + text)

    def _begin(self):
        before = descriptors(), children()

        def at_rest():
            self.assertEqual((descriptors(), children()), before, "open files and children")
        self.addCleanup(at_rest)  # the first one: it runs last

    def _end(self):
        self.tearDown()
        if not self.doCleanups():
            self.fail("a cleanup has failed")
