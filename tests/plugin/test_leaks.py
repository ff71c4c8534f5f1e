"""No reference is lost in any function, whichever operation of the host fails."""

import os
import random
import sys
import urllib2
import xml.parsers.expat

from tests.support.balance import ERRORS, LeakTest
from tests.support.model import CLASSES, FUNCTIONS

SEEDS = range(5)


class Host(object):
    """Counts the operations of a call and lets one of them fail."""

    count = 0  # operations so far
    fail_at = -1  # the number of the one that fails
    error = None
    seed = 0
    alive = 0  # how many Anything there are

    def operate(self):
        """An operation takes place. Returns a pseudo-random bit."""
        self.count += 1
        if self.count == self.fail_at:
            raise self.error
        return BITS[(self.count + 97 * self.seed) % len(BITS)]

    def begin(self, seed, fail_at, error):
        self.count, self.seed, self.fail_at, self.error = 0, seed, fail_at, error


BITS = [bit == "1" for bit in bin(random.Random(7).getrandbits(4096))[2:]]
host = Host()
#: Attributes that have to be what they are.
CLASSES_OF_ERRORS = {"HTTPError": urllib2.HTTPError, "URLError": urllib2.URLError,
                     "ExpatError": xml.parsers.expat.ExpatError}


class Anything(object):
    """An object of which any operation gives anything, a truth, or the host's error."""

    __slots__ = ()

    def __new__(cls):
        host.alive += 1
        return object.__new__(cls)

    def __init__(self, *arguments):
        if arguments:  # a base class's constructor, called by hand
            host.operate()

    def __del__(self):
        host.alive -= 1

    def __getattr__(self, name):
        host.operate()
        if name[:2] == "__":
            raise AttributeError(name)
        return CLASSES_OF_ERRORS.get(name) or Anything()

    def operation(self, *_, **__):
        host.operate()
        return Anything()

    __call__ = __add__ = __radd__ = __mul__ = __rmul__ = __mod__ = __getitem__ = operation
    __enter__ = operation

    def truth(self, *_):
        return bool(host.operate())

    __nonzero__ = __contains__ = __eq__ = __ne__ = __lt__ = __gt__ = truth
    __le__ = __ge__ = __exit__ = truth
    __hash__ = None

    def nothing(self, *_):
        host.operate()

    __setattr__ = __setitem__ = nothing

    def __len__(self):
        return 2 if host.operate() else 0

    def __iter__(self):
        host.operate()
        return iter([Anything(), Anything()])

    def __str__(self):
        host.operate()
        return "anything - %d - anything" % host.count


class EveryOperation(LeakTest):
    """Each function runs on a host of Anything, and each operation in turn fails."""

    def setUp(self):
        super(EveryOperation, self).setUp()
        self.functions = [
            (name, getattr(self.module, name), parameters) for _, name, parameters in FUNCTIONS
        ] + [(class_name + "." + name, vars(getattr(self.module, class_name))[name], parameters)
             for _, class_name, _, methods in CLASSES for _, name, parameters in methods]

    def on_anything(self):
        for name in list(vars(self.module)):
            if name[:2] != "__":
                self.box.patch(self.module, name, Anything())
        for name in ("open", "len", "str", "_"):
            self.box.patch(self.module, name, Anything())
        for name in ("system", "mkdir"):
            self.box.patch(os, name, Anything())
        self.placed = host.alive

    def run_once(self, function, parameters, seed, fail_at, error):
        """Call; return whether the operation that was to fail was reached."""
        arguments = [Anything() for parameter in parameters.split(", ")
                     if parameter and ("=" not in parameter or seed % 2)]
        host.begin(seed, fail_at, error)
        try:
            function(*arguments)
        except BaseException:
            pass
        finally:
            host.fail_at = -1
        sys.exc_clear()
        del arguments
        return host.count >= fail_at

    def run_all(self, check_each=False):
        calls = 0
        for name, function, parameters in self.functions:
            for seed in SEEDS:
                for error in ERRORS:
                    fail_at = 1
                    while self.run_once(function, parameters, seed, fail_at, error):
                        if check_each and host.alive != self.placed:
                            self.fail("%s, seed %d, operation %d failing with %r: %d lost" % (
                                name, seed, fail_at, error, host.alive - self.placed))
                        fail_at += 1
                    calls += fail_at
        return calls

    def test_that_fails_keeps_nothing_of_the_arguments_and_results(self):
        self.on_anything()
        calls = self.run_all(check_each=True)
        self.assertGreater(calls, 10000)

    def test_that_fails_leaves_the_balance_alone(self):
        self.on_anything()
        self.check(self.run_all, 1)


class TheMeasurement(LeakTest):
    """The checks notice what they are for."""

    def test_takes_rounds_that_leave_nothing(self):
        self.check(lambda: [object()], 50)

    def test_notices_objects_references_and_memory(self):
        kept = []
        for loss in (lambda: kept.append([]), lambda: kept.append("open"),
                     lambda: kept.append(str(len(kept)) * 2000)):
            with self.assertRaises(AssertionError):
                self.check(loss, 50)

    def test_notices_an_argument_that_is_kept(self):
        kept = []
        every = EveryOperation("run_all")
        every.setUp()
        self.addCleanup(every.doCleanups)
        every.on_anything()
        every.functions = [("loss", lambda value: kept.append(value) or value.x, "value")]
        with self.assertRaises(AssertionError):
            every.run_all(check_each=True)
        del kept[:]
