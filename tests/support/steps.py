"""A function's operations on its host: which, with what, in which order and on which line."""

from tests.support.receiver import Broken


class Steps(object):
    """Notes operations in `done`; the one at the index `failing` raises `error`."""

    def __init__(self, failing=None, error=None):
        self.done = []
        self.failing = failing
        self.error = error

    def step(self, what, result=None):
        """Note an operation; returns its result."""
        self.done.append(what)
        if len(self.done) - 1 == self.failing:
            raise self.error
        return result

    def does(self, name, result=None):
        """Return a function that notes its call with the arguments, and returns `result`."""
        return lambda *args: self.step("%s(%s)" % (name, ", ".join(map(repr, args))), result)


def check_steps(test, function, expected, prepare, result=None, error=Broken("step")):
    """Check that calls of a function of the module do this, and end with whichever step fails.

    expected: (line, operation) for each step, with the further operations that its failure brings
    about, if any. prepare: called with Steps to put into the host; returns the arguments. The
    undisturbed call returns `result`.
    """
    function_ = getattr(test.module, function)
    what = [row[1] for row in expected]
    steps = Steps()
    test.assertIs(function_(*prepare(steps)), result)
    test.assertEqual(steps.done, what)
    for failing, row in enumerate(expected):
        steps = Steps(failing, error)
        test.assertFails(error, ["%s:%d" % (function, row[0])], function_, *prepare(steps))
        test.assertEqual(steps.done, what[:failing + 1] + list(row[2:]))
