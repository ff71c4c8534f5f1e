"""A failing allocation ends in MemoryError, in an operation's own failure, or in success.

Every walk is run with its first allocation failing, then with its second, and so on until none is
left to fail. Only allocations that the module makes, or the interpreter and the libraries for it in
C, count; not those of the host, which is written in Python. In a module that has not been used yet,
and in its import, each failure has a process of its own, in which what is made once, at the first
use, has not been made.

- What comes before the failure is as without it. The call in which it happens ends as without it,
  or as is_allowed() says. If it ends as without the failure, so does the rest.
- The same walk succeeds right after, operation by operation as before.
- Nothing is lost (see tests/support/leaks.py), except where the interpreter itself does
  (IN_OTHER_WORDS).
"""

import collections
import ctypes
import errno
import faults
import os
import pickle
import re
import shutil
import sys
import tempfile
import traceback
import unittest

from tests.support import leaks, recording, scenarios, twins
from tests.support.importing import record_import
from tests.support.receiver import ModuleTest
from tests.support.sampling import ONE_IN

#: IN_USE: one allocation in so many fails. UNUSED: the same where each takes a process, and only in
#: one walk in UNUSED_WALKS.
IN_USE, UNUSED = max(1, ONE_IN // 2), 1 if ONE_IN == 1 else 4 * ONE_IN
UNUSED_WALKS = max(1, ONE_IN // 16)

#: Where the interpreter itself crashes: it makes a class without looking whether it has got the
#: memory for its place among the subclasses of its base.
CRASHES = "in add_subclass Objects/typeobject.c"

#: What the interpreter makes of a MemoryError while it takes the name of a file from arguments.
#: It also loses the memory of that name.
IN_OTHER_WORDS = ("argument 1 (memory error)",
                  "PyCapsule_GetPointer called with invalid PyCapsule object")

#: The number of an object in a record, which counts the objects noted before it.
LABEL = re.compile(r"(\('(?!(?:bool|float|int|long|str|unicode)')\w+', )\d+")

#: What is compared of two runs.
Record = collections.namedtuple("Record", "log outcomes files directories")


class Wrong(Exception):
    """A run has ended as it may not; the text says how."""


class Stopped(Exception):
    """The walk does not go on: a call has failed as it may."""


def without_labels(outcome):
    return LABEL.sub(r"\1#", repr(outcome))


def is_allowed(name, outcome, expected):
    """Whether a call of this name that has the `expected` outcome may end so without memory.

    With MemoryError; or with the same as the C library words it, where a file is opened, or as the
    interpreter does. Or with the exception that it has anyway; that may lack its text, which the
    interpreter had no memory for, and entries of the traceback. Or parse_xml with the status that
    it has for each error of expat's.
    """
    if outcome[0] == "returned":
        return name == "parse_xml" and outcome[1] == ("int", 3)
    kind, value = outcome[1:3]
    return (kind == "MemoryError" or kind == expected[1] or is_in_other_words(outcome)
            or kind in ("IOError", "OSError") and "('int', %d)" % errno.ENOMEM in value)


def is_in_other_words(outcome):
    return outcome[0] == "raised" and any(words in outcome[2] for words in IN_OTHER_WORDS)


def is_allowed_for_import(outcome):
    """The same for an import, of which the interpreter does a part.

    It takes what it could not look up for missing, and forgets the exception of a type that it
    could not make.
    """
    return outcome[0] in ("MemoryError", "ImportError") or outcome[:2] in [
        (kind, ("exception", kind, ("tuple", ("str", text)))) for kind, text in (
            ("RuntimeError", "sys.meta_path must be a list of import hooks"),
            ("SystemError", "NULL result without error in PyObject_Call"),
            ("SystemError", "no exception"))]


class Case(twins.Case):
    """Runs each call so that an allocation of it may fail.

    number: of the allocation of the walk that fails; 0 for none. expected: the outcomes without a
    failure; None to learn them.
    """

    def __init__(self, case, number, expected):
        self.__dict__.update(vars(case))
        self.number = number
        self.expected = expected
        self.made = 0

    def call(self, name, *args, **kwargs):
        return self.do(getattr(self.module, name), *args, **kwargs)

    def press(self, thing, name, *args, **kwargs):
        return self.do(getattr(thing, name), *args, **kwargs)

    def do(self, call, *args, **kwargs):
        number = max(0, self.number - self.made)
        result = twins.Case.do(self, faults.call, number, call, *args, **kwargs)
        made = faults.allocations()
        self.made += made
        outcomes = self.recorder.outcomes
        if self.expected is not None:
            outcome, expected = outcomes[-1], self.expected[len(outcomes) - 1]
            if without_labels(outcome) != without_labels(expected):
                name = getattr(call, "__name__", None)
                if not 0 < number <= made or not is_allowed(name, outcome, expected):
                    raise Wrong("call %d ended so: %r" % (len(outcomes), outcome))
                raise Stopped
        return result


class Walk(object):
    """A scenario; `clean` is the record of a run of it without a failure, once there is one."""

    def __init__(self, scenario):
        self.scenario = scenario
        self.clean = None

    def learn(self):
        """Run it without a failure; return the number of allocations and the record."""
        made = []

        def scenario(case):
            case = Case(case, 0, None)
            self.scenario(case)
            made.append(case.made)
        run = twins.run(twins.module(), scenario)
        return made[0], Record(run.log, run.outcomes, run.files, run.directories)

    def fail(self, number):
        """Let one allocation fail. Raises Wrong where that has another effect than it may have.

        Returns whether the interpreter may lose memory by it.
        """
        whole = []

        def scenario(case):
            try:
                self.scenario(Case(case, number, self.clean.outcomes))
            except Stopped:
                return
            whole.append(True)
        run = twins.run(twins.module(), scenario)
        if whole:
            # It may have gone another way, but to the same end.
            for what in ("outcomes", "files", "directories"):
                found, expected = getattr(run, what), getattr(self.clean, what)
                if without_labels(found) != without_labels(expected):
                    raise Wrong("%s are %r and not %r" % (what, found, expected))
        return any(is_in_other_words(outcome) for outcome in run.outcomes)

    def again(self):
        """Run it without a failure. Raises Wrong where it is not as it was at first."""
        difference = twins.difference(self.clean, self.learn()[1])
        if difference is not None:
            raise Wrong("afterwards " + difference)


class ImportWalk(object):
    """The import: a call of the initialiser, of a copy of the module that nobody has called yet.

    It stands alone, so that nothing fails of what the interpreter does before and after it.
    """

    def __init__(self, directory):
        self.directory = directory
        self.clean = None

    def new_initialiser(self):
        handle, path = tempfile.mkstemp(".so", "Kelvaro", self.directory)
        with os.fdopen(handle, "wb") as copy, open(twins.MODULE, "rb") as original:
            copy.write(original.read())
        initialiser = ctypes.PyDLL(path).initKelvaro
        initialiser.restype = None
        return initialiser

    def run(self, number, initialiser):
        """Import; return the outcomes of record_import, and the number of allocations."""
        made = []

        def load():
            try:
                faults.call(number, initialiser)
            finally:
                made.append(faults.allocations())
            if "Kelvaro" not in sys.modules:
                raise SystemError("no exception")
            return sys.modules["Kelvaro"]
        return record_import(load).outcomes, made[0]

    def learn(self):
        outcomes, made = self.run(0, self.new_initialiser())
        return made, outcomes

    def fail(self, number, initialiser=None):
        """Let one allocation fail; then import. Raises Wrong where either ends as it may not."""
        initialiser = initialiser or self.new_initialiser()
        outcomes, _ = self.run(number, initialiser)
        if outcomes[0] is False:  # it succeeded, but with an exception
            # The interpreter leaves one pending where it makes a class.
            outcomes[0] = True
        if outcomes[0] is not True:
            if not is_allowed_for_import(outcomes[0]) or outcomes[1] != []:
                raise Wrong("it ended so: %r" % (outcomes,))
            outcomes, _ = self.run(0, initialiser)
        if without_labels(outcomes) != without_labels(self.clean):
            raise Wrong("the import gives %r and not %r" % (outcomes, self.clean))

    def again(self):
        """That is part of fail()."""


def in_child(call):
    """Call it in a child of this process; return what it returns.

    Raises Wrong when it fails, with what the child wrote when it crashed.
    """
    reading, writing = os.pipe()
    errors = tempfile.TemporaryFile()
    child = os.fork()
    if not child:
        os.close(reading)
        os.dup2(errors.fileno(), 2)
        try:
            try:
                result = True, call()
            except BaseException:
                result = False, traceback.format_exc()
            with os.fdopen(writing, "wb") as stream:
                pickle.dump(result, stream)
        finally:
            os._exit(0)
    os.close(writing)
    with os.fdopen(reading, "rb") as stream:
        text = stream.read()
    status = os.waitpid(child, 0)[1]
    if not text:
        errors.seek(0)
        raise Wrong("the process ended with status %d\n%s" % (status, errors.read()))
    succeeded, result = pickle.loads(text)
    if not succeeded:
        raise Wrong(result)
    return result


class Path(object):
    """In place of os.path, without os.stat.

    The interpreter needs memory to free a result of os.stat, and fails when it has none: it
    goes on with the exception pending, and the next call fails with it.
    """

    dirname = staticmethod(os.path.dirname)
    isdir = exists = staticmethod(lambda path: os.access(path, os.F_OK))


def on_real_files(scenario):
    """The scenario with the interpreter's own files, pickles and functions of the system."""
    directory = tempfile.gettempdir()

    def on_files(case):
        case.use_real_files(directory)
        case.replace(os_path=Path, xml=case.pristine["xml"])
        case.recorder.answers["fileExists"] = Path.exists
        scenario(case)
    on_files.__name__ = scenario.__name__ + "_on_real_files"
    return on_files


def cache(case):
    case.call("write_cache", scenarios.NEWS)
    case.call("load_cache")
    case.replace(cache_file="/none/at/all/cache")
    case.call("write_cache", [])


def packages(case):
    def leave(command):
        with open(case.module.packageinstalledfile, "w") as stream:
            stream.write("one\ntwo\n")
    case.replace(system=leave)
    case.call("getInstalled")


def listing(case):
    case.call("write_cache", scenarios.NEWS)
    screen = case.call("ZirkUpdateInfo", recording.Session(), 0)
    with open(case.module.packagetmpfile, "w") as stream:
        stream.write(scenarios.LISTING_TEXT)
    case.press(screen, "bluePressed")
    watcher = scenarios.notifier(case)
    case.press(watcher, "opkg_upgrade_finished", scenarios.LISTING_TEXT, 0)
    case.press(watcher, "show_Kelvaro", True)
    browser = scenarios.browser(case)
    case.press(browser, "keyCancel")


def document(text):
    def parsed(case):
        # The address is read through a file of the recording host.
        case.replace(newsURL=recording.function("newsURL", "http://feed/zirknews.xml"))
        case.recorder.answers["urlopen"] = text
        case.call("parse_xml")
        case.call("load_cache")
    return parsed


def named(name, scenario):
    scenario.__name__ = name
    return scenario


#: What is walked through, besides scenarios.FIXED.
REAL = [on_real_files(one) for one in (
    cache, packages, listing, named("document", document(scenarios.DOCUMENT)),
    named("document_with_a_doctype", document("<!DOCTYPE news>" + scenarios.DOCUMENT[38:])),
    named("document_that_ends_early", document(scenarios.DOCUMENT[:400])))]


def looked_at(case):
    """What can be asked of functions and classes."""
    for thing in (case.module.newsURL, vars(case.module.AllNews)["keyCancel"]):
        for attribute in ("__name__", "__doc__", "__module__"):
            case.do(getattr, thing, attribute)
        case.do(thing.__get__, None, case.module.AllNews)
        case.do(lambda: bool(repr(thing)))
        case.do(lambda: len(repr(thing)) > 10)


#: A file that swallows errors swallows a MemoryError, too, so the call goes another way.
WALKS = [walk for walk in scenarios.FIXED + REAL + [scenarios.wrong_arguments, looked_at]
         if "swallows" not in walk.__name__]


class InUse(unittest.TestCase):
    """The module has done all this before."""

    def check(self, scenario):
        walk = Walk(scenario)
        walk.learn()
        total, walk.clean = walk.learn()
        for number in range(1, total + 1, IN_USE):
            excused = []

            def attempt():
                if walk.fail(number):
                    excused.append(number)
                walk.again()
            try:
                loss = leaks.loss(attempt)
            except Wrong as e:
                loss = str(e)
            if loss is not None and not excused:
                self.fail("allocation %d: %s" % (number, loss))


class Unused(unittest.TestCase):
    """It has been imported, or is just being imported."""

    def check(self, scenario):
        twins.module()  # loaded, that is, in this process
        self.check_walk(Walk(scenario))

    def check_walk(self, walk):
        total, walk.clean = in_child(walk.learn)
        for number in range(1, total + 1, UNUSED):
            def attempt():
                walk.fail(number)
                walk.again()
            try:
                in_child(attempt)
            except Wrong as e:
                if CRASHES not in str(e):
                    self.fail("allocation %d: %s" % (number, e))

    def test_the_import_survives_each_failing_allocation(self):
        directory = twins.directory_for_copies()
        self.addCleanup(shutil.rmtree, directory)
        self.check_walk(ImportWalk(directory))


class Foreign(ModuleTest):

    def test_an_exception_of_cpp_is_a_memory_error_of_the_function_that_it_passes(self):
        self.replace(getZirkVersionString=faults.throw_bad_alloc)
        self.assertFails(MemoryError, ["getHeader:52"], self.module.getHeader)


twins.add_tests(InUse, "test_%s_survives_each_failing_allocation", WALKS)
twins.add_tests(Unused, "test_%s_survives_each_failing_allocation", WALKS[::UNUSED_WALKS])
