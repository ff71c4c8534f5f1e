"""Runs the tests of files: python tests/support/run.py [--one-in N] FILE...

Each line of KELVARO_TESTS is a pattern: only tests whose "FILE CLASS.NAME" contains one are run.
--one-in takes one in N of what is generated, unless KELVARO_ONE_IN says how many. The last line is
"N passed, N failed"; a skipped test has failed.
"""
from __future__ import print_function

import argparse
import importlib
import os
import sys
import unittest

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
#: Some tests need a file system of their own, which this kind of sandbox does not have.
MAY_SKIP = os.environ.get("KELVARO_SANDBOX") == "proot"


class Result(unittest.TextTestResult):
    """Counts a test that shows nothing as failed: one skipped, or expected to fail."""

    passed = 0

    def addSuccess(self, test):
        super(Result, self).addSuccess(test)
        self.passed += 1

    def addSkip(self, test, reason):
        if MAY_SKIP:
            super(Result, self).addSkip(test, reason)
        else:
            self._fail(test, "skipped: " + reason)

    def addExpectedFailure(self, test, err):
        self._fail(test, "expected to fail: say what is right instead")

    def addUnexpectedSuccess(self, test):
        self._fail(test, "expected to fail, and did not")

    def _fail(self, test, text):
        self.addFailure(test, (AssertionError, AssertionError(text), None))

    def failed(self):
        """Return the names of the failed tests, of classes, too, that could not be set up."""
        return set(getattr(test, "test_case", test).id()
                   for test, _ in self.failures + self.errors)


def tests_in(suite):
    """Yield the single tests of a suite."""
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            for inner in tests_in(test):
                yield inner
        else:
            yield test


def tests_of(path):
    """Return the tests of a file, pairs of "FILE CLASS.NAME" and the test."""
    module = importlib.import_module(path[:-len(".py")].replace("/", "."))
    return [("%s %s.%s" % (path, type(test).__name__, test.id().rpartition(".")[2]), test)
            for test in tests_in(unittest.defaultTestLoader.loadTestsFromModule(module))]


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.split(":")[0])
    parser.add_argument("--one-in", metavar="N")
    parser.add_argument("files", nargs="+", metavar="FILE")
    options = parser.parse_args(arguments)
    patterns = os.environ.pop("KELVARO_TESTS", "").splitlines()
    if options.one_in:
        os.environ.setdefault("KELVARO_ONE_IN", options.one_in)

    sys.path[0] = PROJECT  # this script's own directory until now
    tests = [pair for path in options.files for pair in tests_of(path)]
    chosen = [test for name, test in tests
              if not patterns or any(pattern in name for pattern in patterns)]
    # With every name as it starts: one that ends the process, or never ends, can be identified.
    runner = unittest.TextTestRunner(sys.stdout, verbosity=2, resultclass=Result)
    result = runner.run(unittest.TestSuite(chosen))
    for test, reason in result.skipped:
        print("skipped: %s: %s" % (test.id(), reason))
    failed = len(result.failed())
    print("%d passed, %d failed" % (result.passed, failed))
    return 1 if failed or not tests else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
