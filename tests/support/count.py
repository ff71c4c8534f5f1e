"""Prints "N passed, N failed" of a run: python tests/support/count.py JUNIT

JUNIT: what `ctest --output-junit` has written. Counts single tests: those that a test file counts
in its last line, and each other test of CTest as one.
"""
from __future__ import print_function

import re
import sys
from xml.etree import ElementTree


def counts(case):
    """Return how many tests of a testcase element have passed and failed."""
    found = re.findall(r"^(\d+) passed, (\d+) failed$", case.findtext("system-out") or "", re.M)
    passed, failed = (int(number) for number in found[-1]) if found else (1, 0)
    if case.get("status") == "run":
        return passed, failed
    # It may have ended badly after the last of its tests, or not have run at all.
    return passed if found else 0, max(1, failed)


def main(path):
    found = [counts(case) for case in ElementTree.parse(path).getroot().iter("testcase")]
    passed, failed = sum(one[0] for one in found), sum(one[1] for one in found)
    # No test at all is a failure, too.
    print("%d passed, %d failed" % (passed, failed or int(passed == 0)))
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
