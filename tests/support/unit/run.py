"""Runs GoogleTest's tests: tools/fuzz/python tests/unit/run.py [--counts FILE] [FILTER]

A FILTER takes the tests whose names match it, in GoogleTest's form ("DocumentText.*"). --counts
writes the two numbers "PASSED FAILED" to FILE. Exit status: 0, or 1 when a test failed or none was
found.
"""

import argparse
import sys

import unit_tests


def main():
    parser = argparse.ArgumentParser(description=__doc__.split(":")[0])
    parser.add_argument("--counts", help="a file for the numbers of passed and failed tests")
    parser.add_argument("filter", nargs="?", default="*", metavar="FILTER")
    options = parser.parse_args()
    passed, failed = unit_tests.run(sys.argv[0], options.filter)
    if options.counts:
        with open(options.counts, "w") as stream:
            stream.write("%d %d\n" % (passed, failed))
    return 0 if passed and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
