"""An allocation fails in a module that has just been imported, or is just being imported.

As in test_allocations, but each failure has a process of its own, in which the module has not done
anything yet: what it makes once, at the first use, is still to be made.
"""

from __future__ import print_function

import atexit
import shutil
import unittest

from tests.support import injection
from tests.memory.test_allocations import add_tests
from tests.support import twins

#: Where the interpreter itself crashes: it makes a class without looking whether it has got the
#: memory for its place among the subclasses of its base.
CRASHES = "in add_subclass Objects/typeobject.c"

counted = {"walks": 0, "imports": 0}


@atexit.register
def show():
    print("figure: allocations failed in an unused module: %(walks)d" % counted)
    print("figure: allocations failed in the import: %(imports)d" % counted)


class Unused(unittest.TestCase):

    def setUp(self):
        twins.module()  # loaded, that is, in this process


def each_allocation_fails(self, walk, kind="walks", stride=injection.STRIDE):
    total, walk.clean = injection.in_child(walk.learn)
    for number in range(1, total + 1, stride):
        counted[kind] += 1

        def attempt():
            walk.fail(number)
            walk.again()
        try:
            injection.in_child(attempt)
        except injection.Wrong as e:
            if CRASHES not in str(e):
                self.fail("allocation %d: %s" % (number, e))


add_tests(Unused, lambda self, scenario: each_allocation_fails(self, injection.Walk(scenario)))


class UnusedImport(unittest.TestCase):

    def test_the_import_survives_each_failing_allocation(self):
        directory = twins.directory_for_copies()
        self.addCleanup(shutil.rmtree, directory)
        each_allocation_fails(self, injection.ImportWalk(directory), "imports")


if __name__ == "__main__":
    unittest.main()
