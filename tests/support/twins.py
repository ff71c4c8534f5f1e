"""Loads the module and its model side by side and runs the same scenario on both.

A scenario is a function of a `Case`; `run` records what one implementation does in it, and
`difference` tells the first point where two records part.
"""

import ast
import contextlib
import gc
import imp
import os
import random
import re
import shutil
import sys
import tempfile
import warnings

from tests.support import model as face, recording, scenarios
from tests.support.recording import Recorder
from tests.support.sampling import ONE_IN

MODULE = os.environ["KELVARO_MODULE"]


# --- loading -------------------------------------------------------------------------------

def compiled_model():
    """Return the model's code, every statement wholly on its first line."""
    tree = ast.parse(face.TEXT, face.MODEL)
    for statement in ast.walk(tree):
        if isinstance(statement, (ast.Assign, ast.AugAssign, ast.Expr, ast.Return)):
            for part in ast.walk(statement):
                if hasattr(part, "lineno"):
                    part.lineno = statement.lineno
    return compile(tree, face.SOURCE, "exec")


MODEL_CODE = compiled_model()


def load_model(name="Kelvaro"):
    """Import the model under this module name."""
    module = imp.new_module(name)
    module.__file__ = face.MODEL
    sys.modules[name] = module
    try:
        exec(MODEL_CODE, vars(module))
    except:  # noqa: E722 - classic exceptions have no base
        sys.modules.pop(name, None)
        raise
    return module


def load_module():
    """Import the module of KELVARO_MODULE afresh.

    The interpreter knows extension modules by their file and hands out what it has loaded
    before, so each loading takes a copy of the file.
    """
    directory = directory_for_copies()
    try:
        path = os.path.join(directory, "Kelvaro.so")
        shutil.copy(MODULE, path)
        return imp.load_dynamic("Kelvaro", path)
    finally:
        shutil.rmtree(directory)


def directory_for_copies():
    """Make a directory for copies of the module.

    A removed copy takes room while the process lives that has loaded it, and the sandbox's /tmp
    has little.
    """
    return tempfile.mkdtemp(dir="/var" if "KELVARO_SANDBOX" in os.environ else None)


def load_in_package(load):
    """Import the model or the module, by its loading function, as `plugins.Kelvaro`."""
    directory = directory_for_copies()
    try:
        package = imp.new_module("plugins")
        package.__path__ = [directory]
        sys.modules["plugins"] = package
        if load is load_model:
            return load_model("plugins.Kelvaro")
        shutil.copy(MODULE, os.path.join(directory, "Kelvaro.so"))
        return __import__("plugins.Kelvaro", fromlist=["Kelvaro"])
    finally:
        shutil.rmtree(directory)


class Twin(object):
    """One implementation, imported on the recording host."""

    def __init__(self, load):
        with recording.HostModules(), recording.Translation():
            self.module = load()
        sys.modules.pop("Kelvaro", None)
        self.pristine = dict(vars(self.module))
        self.watched_notifier = make_watched_notifier(self.module)

    def reset(self):
        """Give the module the namespace that it had after its import."""
        namespace = vars(self.module)
        namespace.clear()
        namespace.update(self.pristine)


def make_watched_notifier(module):
    """A subclass of the notifier whose attribute writes are noted."""
    class UpdateNotification(module.UpdateNotification):
        def __setattr__(self, name, value):
            recording.note("set", self, name, value)
            self.__dict__[name] = value
    return UpdateNotification


_loaded = {}


def model():
    """The model as a Twin, loaded once."""
    if "model" not in _loaded:
        _loaded["model"] = Twin(load_model)
    return _loaded["model"]


def module():
    """The same for the module."""
    if "module" not in _loaded:
        _loaded["module"] = Twin(load_module)
    return _loaded["module"]


@contextlib.contextmanager
def default_encoding(name):
    """Within it the interpreter's default encoding is `name`; receivers use UTF-8."""
    before = sys.getdefaultencoding()
    streams = sys.stdin, sys.stdout, sys.stderr
    reload(sys)
    sys.stdin, sys.stdout, sys.stderr = streams
    sys.setdefaultencoding(name)
    try:
        yield
    finally:
        sys.setdefaultencoding(before)


# --- running -------------------------------------------------------------------------------

class OldStyleError:
    """An exception that is neither new-style nor derived from BaseException."""

    def __init__(self, *args):
        self.args = args


def injected(base, *leading):
    """A function that makes an exception of a class of our own below `base`."""
    class Injected(base):
        pass
    Injected.__name__ = "Injected" + base.__name__

    def make(text):
        error = Injected(*(leading + (text,)))
        Recorder.current.watch(error)
        return error
    make.__name__ = Injected.__name__
    return make


# The kinds of failure that host operations are given. Handlers of the module take some of
# them, let others pass, and must tell the classes apart that derive from each other.
ERRORS = [
    injected(RuntimeError),
    injected(KeyboardInterrupt),
    injected(recording.HTTPError),
    injected(recording.URLError),
    injected(recording.xml.parsers.expat.ExpatError),
    injected(OSError, 2),
    injected(IOError, 2),
    injected(AttributeError),
    injected(StopIteration),
    injected(NameError),
    injected(SystemExit),
    injected(GeneratorExit),
    OldStyleError,
]

UNBOUND = re.compile(r"unbound method (Kelvaro\.function object|\w+\(\))")
FAILED = object()


class Case(object):
    """What a scenario works with. Only what it does with `do` is noted.

    module: the implementation at work; pristine: its namespace as it is without replaced names;
    rng: random numbers, the same for both implementations; recorder: the run's record, with
    its files and answers; notifier: makes a notifier whose attribute writes are noted.
    """

    def __init__(self, twin, recorder, seed, in_handler):
        self.module = twin.module
        self.pristine = twin.pristine
        self.notifier = twin.watched_notifier
        self.recorder = recorder
        self.rng = random.Random(seed)
        self.in_handler = in_handler

    def replace(self, **names):
        """Replace names of the module's namespace for this run."""
        vars(self.module).update(names)

    def use_real_files(self, directory):
        """Give the module the interpreter's own files, pickles and os functions for this run.

        Its files lie in the directory, and are not there yet.
        """
        names = vars(self.module)
        for name in ("open", "system", "mkdir"):
            names.pop(name, None)
        for name in ("remove", "os_path", "dump", "load"):
            names[name] = self.pristine[name]
        for name in ("cache_file", "packagetmpfile", "packageinstalledfile"):
            names[name] = os.path.join(directory, name)
            if os.path.exists(names[name]):
                os.remove(names[name])
        self.recorder.answers["fileExists"] = os.path.exists

    def call(self, name, *args, **kwargs):
        """Call a name of the module (see `do`)."""
        return self.do(lambda: getattr(self.module, name)(*args, **kwargs))

    def press(self, thing, name, *args, **kwargs):
        """Call a method of an object (see `do`), unless the object is FAILED."""
        if thing is FAILED:
            return FAILED
        return self.do(lambda: getattr(thing, name)(*args, **kwargs))

    def do(self, call, *args, **kwargs):
        """Call it and record the outcome; gives the result, or FAILED."""
        if self.in_handler:
            try:
                raise LookupError("being handled")
            except LookupError:
                return self._do(call, args, kwargs)
        return self._do(call, args, kwargs)

    def _do(self, call, args, kwargs):
        describe = self.recorder.describe
        result = FAILED
        self.recorder.noting = True
        try:
            result = call(*args, **kwargs)
        except:  # noqa: E722 - every kind of failure is an outcome
            kind, value, traceback = sys.exc_info()
            outcome = ("raised", kind.__name__, nameless(describe(value)),
                       recording.traceback_entries(traceback))
            traceback = None
        else:
            outcome = ("returned", describe(result),
                       self.recorder.describe_state(sys.exc_info()))
        self.recorder.noting = False
        self.recorder.outcomes.append(outcome)
        return result


def nameless(description):
    """The description of an exception without the name of an unbound method.

    The interpreter knows the names of its own two kinds of functions only, and words a call of
    any other unbound method with the type's name: "Kelvaro.function object" for "keyCancel()".
    """
    return UNBOUND.sub("unbound method", repr(description))


def run(twin, scenario, seed=0, fail_at=0, error=ERRORS[0], in_handler=False, without=None,
        replaced=None, by=None, translation=recording.translate, **noting):
    """Run a scenario on one implementation; returns its Recorder.

    in_handler: run it while another exception is being handled; without: a name that the
    module's namespace is to lack; replaced: a name that gets the value `by` there; translation:
    the function `_` among the builtins, or None; noting: what the recorder is to note, or not.
    """
    recorder = Recorder(fail_at, error, **noting)
    recorder.noting = False
    case = Case(twin, recorder, seed, in_handler)
    recording.set_usage()
    namespace = vars(twin.module)
    namespace.update(recording.SUBSTITUTES)
    if without is not None:
        namespace.pop(without, None)
    if replaced is not None:
        namespace[replaced] = by
    try:
        with recorder, recording.Translation(translation), warnings.catch_warnings():
            # Comparisons of odd texts warn, and name a line of the implementation's own file.
            warnings.simplefilter("ignore", UnicodeWarning)
            scenario(case)
    finally:
        twin.reset()
        recording.set_usage()
        sys.exc_clear()
    recorder.forget()
    return recorder


def difference(expected, found):
    """The first difference of two records as a text, or None."""
    for what, ours, theirs in (("operation", expected.log, found.log),
                               ("outcome", expected.outcomes, found.outcomes)):
        for number, (one, other) in enumerate(zip(ours, theirs), 1):
            if one != other:
                return "%s %d is\n  %r\nand not\n  %r\nafter\n  %r" % (
                    what, number, other, one, ours[max(0, number - 3):number - 1])
        if len(ours) != len(theirs):
            longer, who = (ours, "is missing") if len(ours) > len(theirs) else (theirs, "is extra")
            return "%s %d %s:\n  %r" % (
                what, min(len(ours), len(theirs)) + 1, who, longer[min(len(ours), len(theirs))])
    for what in ("files", "directories"):
        if getattr(expected, what) != getattr(found, what):
            return "%s are\n  %r\nand not\n  %r" % (
                what, getattr(found, what), getattr(expected, what))
    return None


def reached(scenario):
    """Return the operations of a scenario, in order: pairs (line of the module, operation)."""
    if scenario not in _reached:
        recorder = run(model(), scenario, places=True)
        _reached[scenario] = [(line, entry[0])
                              for line, entry in zip(recorder.places, recorder.log)]
    return _reached[scenario]


_reached = {}


def failing_operations(scenario):
    """Yield the operations of a fixed scenario that are to fail: pairs (number, errors).

    They are one in ONE_IN, and each that no earlier scenario has on that line; where the line
    handles errors, this one fails with every kind of them.
    """
    if not _first:
        for other in scenarios.FIXED:
            for number, place in enumerate(reached(other), 1):
                _first.setdefault(place, (other, number))
    for number, place in enumerate(reached(scenario), 1):
        first = _first.get(place) == (scenario, number)
        if first or number % ONE_IN == 0:
            handled = place[0] in face.HANDLED and (first or ONE_IN == 1)
            yield number, ERRORS if handled else [ERRORS[number % len(ERRORS)]]


_first = {}


class Comparison(object):
    """Compares scenarios on model and module."""

    def __init__(self):
        self._records = []

    def case(self, scenario, **how):
        """The difference in one run of a scenario (see `run` for `how`), or None."""
        one = run(model(), scenario, **how)
        other = run(module(), scenario, **how)
        self._records.append((scenario.__name__, how, other))
        if len(self._records) >= 500:
            leak = self.leak()
            if leak is not None:
                return leak
        text = difference(one, other)
        if text is not None:
            text = "%s, %s:\n%s" % (scenario.__name__, describe_how(how), text)
        return text

    def failures(self, scenario, operations, **how):
        """The first difference when operations of a scenario fail in turn, or None.

        operations: pairs as of failing_operations(). Every second case runs while an exception is
        being handled.
        """
        text = self.case(scenario, **how)
        for fail_at, errors in operations:
            for number, error in enumerate(errors, fail_at):
                text = text or self.case(scenario, fail_at=fail_at, error=error,
                                         in_handler=bool(number % 2), **how)
        return text

    def leak(self):
        """What the module left alive in the cases since the last question."""
        records, self._records = self._records, []
        gc.collect()
        for name, how, recorder in records:
            left = recorder.leaked()
            if left:
                return "%s, %s: still alive afterwards: %s" % (name, describe_how(how), left)
        return None


def describe_how(how):
    """The arguments of `run` as a text to repeat them by."""
    return ", ".join("%s=%s" % (name, getattr(value, "__name__", value))
                     for name, value in sorted(how.items())) or "no failure"


def add_tests(case, name, scenario_list):
    """Give a test case a test `name % scenario` for each scenario: its check() of it."""
    for scenario in scenario_list:
        setattr(case, name % re.sub(r"\W+", "_", scenario.__name__),
                lambda self, scenario=scenario: self.check(scenario))
