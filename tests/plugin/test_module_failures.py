"""An import that fails says where, leaves nothing behind, and succeeds once the host is mended.

Each case runs in a process of its own, where nothing of the module was ever imported. The child
runs a list of attempts, each a piece of Python that breaks the host, and prints what happened.
"""

import json
import unittest

from simulator.receiver import run_fresh
from tests.support.model import IMPORTS, bound_by_line
from tests.support.receiver import SOURCE

#: What every child begins with. An attempt is made within `broken(name, ...)`.
PRELUDE = '''
import contextlib, json, sys, traceback, types
from simulator.receiver import Receiver
box = Receiver(plugin_package=False, load=False)
for name in %(modules)r:
    __import__(name)  # what they import in turn is not to meet the breakage
import enigma, Screens.Screen, Tools.HardwareInfoVu

def attempt():
    """Import; return what happened, ready to be printed."""
    try:
        import Kelvaro
    except:
        kind, value, trace = sys.exc_info()
        entries = [entry[:3] for entry in traceback.extract_tb(trace)]
        result = {"kind": kind.__name__, "text": str(value), "entries": entries}
    else:
        result = {"names": sorted(vars(Kelvaro))}
    result["left"] = "Kelvaro" in sys.modules
    return result

def plain(statement):
    """Run an import statement of Python's; return the error's kind and text, as attempt does."""
    try:
        exec statement in {}
    except:
        return {"kind": sys.exc_info()[0].__name__, "text": str(sys.exc_info()[1])}

@contextlib.contextmanager
def broken(module, without=()):
    """Within it, a host module lacks a name, or with None is missing itself."""
    saved = dict(sys.modules)
    if without is None:
        sys.modules[module] = None
    else:
        sys.modules[module] = types.ModuleType(module)
        vars(sys.modules[module]).update(vars(saved[module]))
        for name in without:
            delattr(sys.modules[module], name)
    try:
        yield
    finally:
        sys.modules.clear()
        sys.modules.update(saved)

@contextlib.contextmanager
def changed(owner, name, value):
    saved = getattr(owner, name)
    setattr(owner, name, value)
    try:
        yield
    finally:
        setattr(owner, name, saved)

def fail(*_):
    raise KeyError("host")

results = []
''' % {"modules": [module for _, module, _ in IMPORTS]}

ALL_NAMES = set(sum((names for _, names in bound_by_line()), []))


def run(body):
    """Run a child; return the list that it has made of its results."""
    result = run_fresh(PRELUDE + body + "\nsys.stdout.write(json.dumps(results))")
    if result.status or result.stderr:
        raise AssertionError("the child ended with %d: %s" % (result.status, result.stderr))
    return json.loads(result.stdout)


class FailureTest(unittest.TestCase):

    def check_failure(self, result, line, *further):
        """Check that a result is a failure of this line, and that nothing was left.

        further: the module's entries after the initialiser's, each a pair: line, name.
        """
        entries = [tuple(entry) for entry in result["entries"]]
        self.assertEqual(entries[1], (SOURCE, line, "init Kelvaro"))
        self.assertEqual([entry for entry in entries[2:] if entry[0] == SOURCE],
                         [(SOURCE,) + entry for entry in further])
        self.assertFalse(result["left"])

    def check_success(self, result):
        self.assertEqual(ALL_NAMES - set(result["names"]), set())
        self.assertTrue(result["left"])


class ImportFailures(FailureTest):
    """What the import lines need is missing."""

    def check_attempts(self, line, attempts):
        """Check attempts that Python's own statement fails in the same way; and then success.

        attempts: pairs: the arguments of `broken`, the statement.
        """
        body = []
        for arguments, statement in attempts:
            body += ["with broken(*%r):" % (arguments,),
                     "    results.append((plain(%r), attempt()))" % statement]
        results = run("\n".join(body + ["results.append((None, attempt()))"]))
        for plain, result in results[:-1]:
            self.assertEqual((result["kind"], result["text"]), (plain["kind"], plain["text"]))
            self.check_failure(result, line)
        self.check_success(results[-1][1])


def statement_of(module, names):
    if names is None:
        return "from %s import *" % module
    if not names:
        return "import " + module
    return "from %s import %s" % (module, ", ".join(names))


def add_import_tests():
    """Give ImportFailures a test for each import line: no such module, then no such name."""
    for line, module, names in IMPORTS:
        statement = statement_of(module, names)
        # Line 32 can fail only by the name: line 31 needs the same module.
        attempts = [] if line == 32 else [((module, None), statement)]
        for name in names or ():
            attempts.append(((module, [name.split(" as ")[0]]), statement))

        def test(self, line=line, attempts=attempts):
            self.check_attempts(line, attempts)

        test.__name__ = "test_of_line_%d_need_%s" % (
            line, module.replace(".", "_") + "".join("_" + name.split()[0] for name in names or ()))
        setattr(ImportFailures, test.__name__, test)


add_import_tests()


class ValueFailures(FailureTest):
    """The host fails in what the other statements ask of it."""

    def check(self, line, breakage, kind, text, *further):
        """Check the failure of an attempt made within `breakage`, and a success after it."""
        failure, success = run("with %s:\n    results.append(attempt())\n"
                               "results.append(attempt())" % breakage)
        self.assertEqual((failure["kind"], failure["text"]), (kind, text))
        self.check_failure(failure, line, *further)
        self.check_success(success)

    def test_of_the_model_query_that_cannot_be_made(self):
        self.check(38, "changed(Tools.HardwareInfoVu, 'HardwareInfoVu', 7)",
                   "TypeError", "'int' object is not callable")

    def test_of_the_model_query_without_the_method(self):
        self.check(38, "changed(Tools.HardwareInfoVu, 'HardwareInfoVu', list)",
                   "AttributeError", "'list' object has no attribute 'get_device_name'")

    def test_of_the_model_query_itself(self):
        self.check(38, "changed(Tools.HardwareInfoVu.HardwareInfoVu, 'get_device_name', fail)",
                   "KeyError", "'host'")

    def test_of_the_header_through_the_version(self):
        self.check(86, "changed(enigma, 'getZirkVersionString', fail)",
                   "KeyError", "'host'", (52, "Kelvaro.getHeader"))

    def test_of_the_header_through_a_version_that_is_no_text(self):
        self.check(86, "changed(enigma, 'getZirkVersionString', int)",
                   "TypeError", "cannot concatenate 'str' and 'int' objects",
                   (53, "Kelvaro.getHeader"))

    def test_of_the_header_through_a_model_that_cannot_be_compared(self):
        model = "type('Model', (object,), {'__eq__': fail})()"
        self.check(86, "changed(Tools.HardwareInfoVu.HardwareInfoVu, 'device_name', %s)" % model,
                   "KeyError", "'host'", (54, "Kelvaro.getHeader"))

    def test_of_the_first_class_with_a_base_that_is_no_class(self):
        for base in ("7", "object()", "len"):
            with_python = run("Screen = %s\nresults.append(plain("
                              "'class AllNews(Screen): pass'.replace('Screen', %r)))"
                              % (base, base))[0]
            self.check(176, "changed(Screens.Screen, 'Screen', %s)" % base,
                       with_python["kind"], with_python["text"])

    def test_of_each_class_through_the_metaclass(self):
        for line, name in ((176, "AllNews"), (351, "ZirkUpdateInfo")):
            meta = ("type('Meta', (type,), {'__init__': lambda cls, name, *_: "
                    "fail() if name == %r else None})" % name)
            self.check(line, "changed(Screens.Screen, 'Screen', %s('Screen', (dict,), {}))" % meta,
                       "KeyError", "'host'")

    def test_of_a_host_module_that_fails_while_it_loads(self):
        failure, success = run("\n".join([
            "class Finder(object):",
            "    @staticmethod",
            "    def find_module(name, path=None):",
            "        return Finder if name == 'Tools.LoadPixmap' else None",
            "    load_module = staticmethod(fail)",
            "import Tools",
            "sys.modules.pop('Tools.LoadPixmap', None)",
            "sys.meta_path.append(Finder)",
            "results.append(attempt())",
            "sys.meta_path.remove(Finder)",
            "results.append(attempt())"]))
        self.assertEqual((failure["kind"], failure["text"]), ("KeyError", "'host'"))
        self.check_failure(failure, 24)
        self.check_success(success)

    def test_many_in_a_row_do_not_spoil_the_import(self):
        results = run("with changed(enigma, 'getZirkVersionString', fail):\n"
                      "    results = [attempt() for _ in range(50)]\n"
                      "results.append(attempt())")
        for result in results[:-1]:
            self.check_failure(result, 86, (52, "Kelvaro.getHeader"))
        self.check_success(results[-1])

    def test_leave_the_exceptions_of_the_importer_alone(self):
        results = run("\n".join([
            "try:",
            "    raise ValueError('being handled')",
            "except ValueError:",
            "    with changed(enigma, 'getZirkVersionString', fail):",
            "        attempt()",
            "    results.append(str(sys.exc_info()[1]))",
            "    attempt()",
            "    results.append(str(sys.exc_info()[1]))"]))
        self.assertEqual(results, ["being handled"] * 2)
