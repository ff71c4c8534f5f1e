"""What is there before and after many rounds of a call: objects, references, memory."""

import __builtin__
import array
import gc
import resource
import sys
import urllib2
import xml.parsers.expat

from tests.support.model import CLASSES
from tests.support.receiver import ModuleTest

#: How many bytes the process may grow by in a check; a lost text in each round is more.
MEMORY = 64000

#: What an operation of the host fails with: nobody's, and those that handlers wait for.
ERRORS = (KeyError("host"), OSError("host"), urllib2.HTTPError("u", 404, "no", {}, None),
          urllib2.URLError("no"), xml.parsers.expat.ExpatError("no"), KeyboardInterrupt())

#: Objects that many operations touch and of which the count of references is watched.
WATCHED = [None, True, False, (), "", u"", 0, 1, 2, 5.0] + list(range(3, 100)) + [
    __builtin__.intern(name) for name in (
        "open close read readline readlines write strip split replace splitlines append data "
        "firstChild getElementsByTagName hasAttribute getAttribute unlink urlopen setText "
        "getText value usage config callback start ePopen title list idx infotxt session "
        "skinName menu update header key_red Console normal keys kill appContainers").split()]


def memory():
    """Return the process's memory in bytes: what is resident, or what is held if that is known."""
    if "faults" in sys.builtin_module_names:  # a sanitizer keeps freed memory for a while
        return __import__("faults").held()
    with open("/proc/self/statm") as stream:
        return int(stream.read().split()[1]) * resource.getpagesize()


class Balance(object):
    """What there is now: objects, references to the watched ones, memory."""

    def __init__(self, watched):
        sys.exc_clear()
        gc.collect()
        self.memory = memory()
        self.objects = len(gc.get_objects())
        # Not a list: it would hold references to small numbers, which are watched.
        self.references = array.array("l", (sys.getrefcount(value) for value in watched))


class LeakTest(ModuleTest):

    def setUp(self):
        super(LeakTest, self).setUp()
        self.watched = WATCHED + list(ERRORS) + [type(error) for error in ERRORS]
        self.watched += vars(self.module).values()
        for _, name, _, _ in CLASSES:
            self.watched += vars(getattr(self.module, name)).values()

    def check(self, call, rounds, memory_bound=MEMORY):
        """Check that rounds of a call leave as much as as many rounds before have left.

        memory_bound: bytes that the process may grow by.
        """
        for _ in range(rounds):
            call()
        before = Balance(self.watched)
        before = Balance(self.watched)  # while there is one, as when the other is taken
        for _ in range(rounds):
            call()
        after = Balance(self.watched)
        self.assertEqual(gc.garbage, [])
        self.assertEqual(after.objects, before.objects)
        for value, old, new in zip(self.watched, before.references, after.references):
            # The measurement's own numbers are references to small numbers, too.
            self.assertLessEqual(abs(new - old), 2, "%r: %d references more" % (value, new - old))
        self.assertLess(after.memory - before.memory, memory_bound)
