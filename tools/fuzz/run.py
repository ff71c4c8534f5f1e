"""Runs libFuzzer: tools/fuzz/python tools/fuzz/run.py TARGET [ARG...]

A TARGET is a name of tools/fuzz/targets.py, an ARG one of libFuzzer's own: a file to try, a directory of
inputs, an option ("-help=1" lists them).
"""

import imp
import os
import signal
import sys

import fuzzing
from tests.support import twins


def load_module():
    """Import the instrumented module from its own file: there libFuzzer counts what it reaches."""
    return imp.load_dynamic("Kelvaro", os.environ["KELVARO_MODULE"])


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    twins.load_module = load_module
    from tools.fuzz import targets
    name = sys.argv[1]
    if name not in targets.TARGETS:
        sys.exit("There is no target %s; there are %s." % (name, ", ".join(targets.TARGETS)))
    signal.signal(signal.SIGINT, signal.SIG_DFL)  # libFuzzer ends with its figures
    with twins.default_encoding("utf-8"):  # as on receivers
        status = fuzzing.run(sys.argv[:1] + sys.argv[2:], targets.TARGETS[name],
                             targets.MUTATORS.get(name))
    sys.exit(status)


if __name__ == "__main__":
    main()
