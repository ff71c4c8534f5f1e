"""Measures one implementation, the file $KELVARO_MODULE, in the sandbox for compare.py.

Reads requests from standard input, one JSON list a line, and answers each with a line of JSON:

    ["sample_import"]   imports the module: the microseconds of the processor that it took
    ["prepare", row]    sets a row up and makes one call: a digest of the outcome
    ["sample", times]   calls it so often: the microseconds that a call took
"""
import __builtin__
import gc
import hashlib
import json
import os
import re
import sys
import time

from simulator.receiver import Receiver
from tools.bench import rows

MODEL = os.path.join(os.environ["KELVARO_ROOT"], "plugin", "model", "Kelvaro.py")


def measured(call, *args):
    """Return the microseconds of a call. apply() marks it for what counts instructions."""
    gc.collect()
    begin = time.clock()
    __builtin__.apply(call, args)
    return (time.clock() - begin) * 1e6


def repeat(call, times):
    for _ in xrange(times):
        call()


class Worker(object):

    def __init__(self):
        self._box = None
        self._call = None

    def sample_import(self):
        """Import the module where the host's modules are there already."""
        box = Receiver(plugin_package=False, load=False)
        with open(MODEL) as stream:
            exec("\n".join(re.findall(r"(?m)^(?:from \S+ )?import .*", stream.read())), {})
        used = measured(__import__, "Kelvaro")
        box.close()
        return used

    def prepare(self, row):
        if self._box is not None:
            self._box.close()
        self._box = Receiver(plugin_package=False, feed_url="http://127.0.0.1:9/feed/all")
        self._call, outcome = getattr(rows, row)(rows.Bench(self._box))
        result = self._call()
        return hashlib.sha1(repr((result, outcome()))).hexdigest()

    def sample(self, times):
        return measured(repeat, self._call, times) / times


def main():
    answers = os.fdopen(os.dup(1), "w")
    worker = Worker()
    for line in iter(sys.stdin.readline, ""):
        request = json.loads(line)
        answers.write(json.dumps(getattr(worker, request[0])(*request[1:])) + "\n")
        answers.flush()


if __name__ == "__main__":
    main()
