"""The total of references, and the memory held, stay where they were, whatever fails.

The operations are those of the comparisons with the model: every walk with every operation of the
host failing in turn, generated inputs, names missing or replaced, arguments right and wrong,
imports that fail. Here the module alone runs each of them, over and over.
"""

from __future__ import print_function

import atexit
import imp
import os
import shutil
import unittest

from tests.support import totals
from tests.plugin import test_agrees, test_module_agrees
from tests.support import sampling, twins

# So many generated cases are enough where not their answers but their ends are looked at; so many
# kinds of failure of each operation; and one operation in so many, and fewer of the names.
SEEDS = range(int(os.environ.get("KELVARO_SEEDS", 1)))
KINDS = int(os.environ.get("KELVARO_KINDS", 1))
STEP = int(os.environ.get("KELVARO_STEP", 1))
# These alone say how many.
sampling.ONE_IN = 1

counted = {"operations": 0}


@atexit.register
def show():
    print("figure: operations under reference check: %(operations)d" % counted)


class Balance(twins.Comparison):
    """In place of a comparison: runs each case on the module alone and looks at the totals."""

    def __init__(self):
        twins.Comparison.__init__(self, twins.module(), twins.module())

    def failures(self, scenario, kinds=None, step=1, **how):
        return twins.Comparison.failures(
            self, scenario, min(kinds or KINDS, KINDS), step * STEP, **how)

    def case(self, scenario, **how):
        counted["operations"] += 1
        text = totals.loss(lambda: twins.run(self.found, scenario, **how))
        if text is not None:
            text = "%s, %s: %s" % (scenario.__name__, twins.describe_how(how), text)
        return text


def balanced(case):
    """The test case with a balance in place of the comparison, and few generated cases."""
    class Balanced(case):
        def setUp(self):
            saved = test_agrees.SEEDS, test_agrees.ARGUMENT_SEEDS
            names = test_agrees.global_names
            self.addCleanup(self.put_back, saved, names)
            self.put_back((SEEDS, SEEDS), lambda: names()[::2 * STEP - 1])
            case.setUp(self)
            self.comparison = Balance()

        def put_back(self, seeds, names):
            test_agrees.SEEDS, test_agrees.ARGUMENT_SEEDS = seeds
            test_agrees.global_names = names
    Balanced.__name__ = case.__name__.replace("Agree", "KeepTheTotals")
    return Balanced


FailuresKeepTheTotals = balanced(test_agrees.FailuresAgree)
GeneratedKeepTheTotals = balanced(test_agrees.GeneratedAgree)
NamesKeepTheTotals = balanced(test_agrees.NamesAgree)
ArgumentsKeepTheTotals = balanced(test_agrees.ArgumentsAgree)
ClassesKeepTheTotals = balanced(test_agrees.ClassesAgree)
RealFilesKeepTheTotals = balanced(test_agrees.RealFilesAgree)


class FailedImportsKeepTheTotals(test_module_agrees.ImportsAgree):
    """An import that fails can be repeated; one that succeeds happens once for a file."""

    def setUp(self):
        self.directory = twins.directory_for_copies()
        self.addCleanup(shutil.rmtree, self.directory)
        self.files = 0

    # There each load is one of a new file.
    test_inside_a_package_its_own_modules_come_first = None

    def agree(self, **how):
        path = os.path.join(self.directory, "%d.so" % self.files)
        if not os.path.exists(path):
            shutil.copy(twins.MODULE, path)
        attempts = []

        def attempt():
            attempts[:] = [test_module_agrees.record_import(
                lambda: imp.load_dynamic("Kelvaro", path), **how)]

        attempt()
        if attempts[0].outcomes[0] is True:
            self.files += 1  # the interpreter keeps what it has loaded by its file
            return attempts[0]
        counted["operations"] += 1
        text = totals.loss(attempt)
        if text is not None:
            self.fail("import, %s: %s" % (twins.describe_how(how), text))
        return attempts[0]


class TheCheck(unittest.TestCase):
    """It notices what it is for."""

    def test_stay_where_nothing_is_kept(self):
        self.assertIsNone(totals.loss(lambda: [object(), "text" * 1000]))

    def test_notice_a_reference_and_memory_that_are_lost(self):
        kept = []
        self.assertRegexpMatches(totals.loss(lambda: kept.append(None)), "[1-9] references")
        self.assertRegexpMatches(totals.loss(lambda: kept.append("x" * len(kept) * 9999)),
                                 "[0-9]{5,} bytes")

    def test_notice_a_reference_that_the_module_loses(self):
        kept = []

        def lossy(case):
            kept.append(case.call("getHeader"))
        self.assertRegexpMatches(Balance().case(lossy), "lossy, .* references")


if __name__ == "__main__":
    unittest.main()
