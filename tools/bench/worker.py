"""Measures one implementation inside the sandbox, at the request of compare.py.

python2.7 -O -m tools.bench.worker import_cost|import_memory|rows

The module is the file $KELVARO_MODULE. As one of the first two it measures its import, prints a
number and ends. As "rows" it reads requests from standard input, one JSON list a line, and answers
each with a line of JSON:

    ["prepare", row]    sets a row up and makes one call: a digest of the outcome
    ["sample", times]   calls it so often: what a call took
    ["peak", row]       sets a row up: by how many bytes a call raised the peak of memory

Environment: KELVARO_BENCH_METER is "time" (microseconds of the processor) or "instructions".
"""
import gc
import hashlib
import json
import os
import re
import sys

from simulator.receiver import Receiver
from tools.bench import meters, rows

FEED = "http://127.0.0.1:9/feed"
MODEL = os.path.join(os.environ["KELVARO_ROOT"], "plugin", "model", "Kelvaro.py")


def meter():
    if os.environ["KELVARO_BENCH_METER"] == "instructions":
        return meters.Instructions()
    return meters.processor_time


def import_module(measure, prepare=gc.collect):
    """Import the module where the host's modules are there already.

    measure: a function that gives a growing number; returns by how much it grew. prepare() comes
    right before.
    """
    box = Receiver(plugin_package=False, load=False)
    with open(MODEL) as stream:
        host_imports = re.findall(r"(?m)^(?:from \S+ )?import .*", stream.read())
    exec("\n".join(host_imports), {})
    measure()
    prepared = prepare()
    begin = measure()
    __import__("Kelvaro")
    end = measure()
    box.close()
    del prepared
    return end - begin


def import_cost():
    return import_module(meter())


def import_memory():
    return import_module(meters.private_memory, meters.fill_holes)


class Worker(object):

    def __init__(self):
        self._clock = meter()
        self._box = None
        self._call = None

    def prepare(self, name):
        self._set_up(name)
        result = self._call()
        outcome = None if self._outcome is None else (result, self._outcome())
        return hashlib.sha1(repr(outcome)).hexdigest()

    def sample(self, times):
        call, clock = self._call, self._clock
        gc.collect()
        begin = clock()
        for _ in xrange(times):
            call()
        return (clock() - begin) / float(times)

    def peak(self, name):
        self._set_up("parse_typical")
        self._call()  # what is made once is there now
        self._set_up(name)
        gc.collect()
        before = meters.forget_peak()
        self._call()
        return meters.peak() - before

    def _set_up(self, name):
        if self._box is not None:
            self._box.close()
        self._box = Receiver(plugin_package=False, feed_url=FEED + "/all")
        rows.remove_scratch_files()  # the receiver has made sure that this is the sandbox
        set_up = rows.MEASURED.get(name) or rows.FLOORS[name]
        self._call, self._outcome = set_up(rows.Bench(self._box))


def main(task):
    answers = os.fdopen(os.dup(1), "w")
    if task != "rows":
        answers.write(json.dumps({"import_cost": import_cost,
                                  "import_memory": import_memory}[task]()) + "\n")
        return
    worker = Worker()
    for line in iter(sys.stdin.readline, ""):
        request = json.loads(line)
        answers.write(json.dumps(getattr(worker, request[0])(*request[1:])) + "\n")
        answers.flush()


if __name__ == "__main__":
    main(sys.argv[1])
