"""Goes through the walks of the comparisons with the model: python2.7 tests/support/walks.py [STEP]

Each runs whole, and with one in STEP of the host's operations (all without) failing in turn. Only
the module runs: this is what tools/valgrind watches. Prints how many runs there were, and how many
of them with a failure: "WHAT<tab>NUMBER".
"""
from __future__ import print_function

import sys

from tests.support import scenarios, twins


def main(step=1):
    runs = failures = 0
    for scenario in scenarios.FIXED + scenarios.STATUSES + scenarios.GENERATED:
        operations = len(twins.run(twins.module(), scenario).log)
        for fail_at in range(0, operations + 1, int(step)):
            twins.run(twins.module(), scenario, fail_at=fail_at,
                      error=twins.ERRORS[fail_at % len(twins.ERRORS)])
            runs += 1
            failures += bool(fail_at)
    print("walks without an error\t%d" % runs)
    print("of them with a failing operation\t%d" % failures)


if __name__ == "__main__":
    main(*sys.argv[1:])
