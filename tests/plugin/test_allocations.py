"""Memory that cannot be had ends in MemoryError, in an operation's own failure, or in success.

Every walk of `injection` is run with its first allocation failing, then with its second, and so on
until none is left to fail. Only those count that the module makes, and that the interpreter and the
libraries make for it in C: none of the host, which is written in Python.

- What comes before the failure is as without it. The call in which it happens ends as without it,
  or as is_allowed() says. Once it has ended as without it, the rest is as without it, too.
- The same walk succeeds right after, operation by operation as before.
- Nothing is lost (see `totals`), except where the interpreter itself does (IN_OTHER_WORDS).
"""

from __future__ import print_function

import atexit
import faults
import unittest

from tests.support import injection, totals

counted = {"walks": 0}


@atexit.register
def show():
    if counted["walks"]:
        print("figure: allocations failed in a module in use: %(walks)d" % counted)


class InUse(unittest.TestCase):
    """The module has done all this before: what is made once is there."""


def each_allocation_fails(self, scenario):
    walk = injection.Walk(scenario)
    walk.learn()
    total, walk.clean = walk.learn()
    for number in range(1, total + 1, injection.STEP):
        counted["walks"] += 1
        excused = []

        def attempt():
            if walk.fail(number):
                excused.append(number)
            walk.again()
        try:
            loss = totals.loss(attempt)
        except injection.Wrong as e:
            loss = str(e)
        if loss is not None and not excused:
            self.fail("allocation %d: %s" % (number, loss))


def add_tests(case, body):
    """Give the test case a test for each walk."""
    for scenario in injection.WALKS:
        def test(self, scenario=scenario):
            body(self, scenario)
        test.__name__ = "test_%s_survives_each_failing_allocation" % scenario.__name__
        setattr(case, test.__name__, test)


add_tests(InUse, each_allocation_fails)


class TheInjection(unittest.TestCase):
    """What the tests rely on."""

    def test_counts_what_a_function_does_in_c_and_else_everything(self):
        faults.call(0, False, "text".upper)
        self.assertEqual(faults.allocations(), 1)

        def function():
            return "text".upper(), "text".title()
        faults.call(0, False, function)
        fewer = faults.allocations()
        faults.call(0, True, function)
        self.assertGreaterEqual(faults.allocations(), fewer + 2)

    def test_fails_the_allocation_that_is_asked_for_and_no_other(self):
        self.assertRaises(MemoryError, faults.call, 1, False, "text".upper)
        self.assertEqual("text".upper(), "TEXT")
        self.assertEqual(faults.call(2, False, "text".upper), "TEXT")

    def test_notices_a_wrong_result(self):
        def swallowing(case):
            return case.do(hasattr, Lazy(), "attribute") and None
        walk = injection.Walk(swallowing, everywhere=True)
        total, walk.clean = walk.learn()
        self.assertGreater(total, 0)
        with self.assertRaises(injection.Wrong):
            for number in range(1, total + 1):
                walk.fail(number)


class Lazy(object):
    """An object of which an attribute takes memory to be had."""

    attribute = property(lambda self: [0] * 1000)


if __name__ == "__main__":
    unittest.main()
