"""An import that fails says where, leaves nothing, and succeeds once the host is mended.

The attempts of a test run in a process of their own, where nothing of the module was imported
before: each is a piece of Python that breaks the simulated receiver, and then tries.
"""

import json
import unittest

from simulator.receiver import run_fresh
from tests.support.model import IMPORTS, bound_by_line
from tests.support.receiver import SOURCE

#: What every child begins with.
PRELUDE = '''
import __builtin__, contextlib, imp, json, os, sys, traceback, types
from simulator.receiver import Receiver
box = Receiver(plugin_package=False, load=False)
for name in %(modules)r:
    __import__(name)  # what they import in turn is not to meet the breakage
import enigma, Screens.Screen, Tools.HardwareInfoVu

def attempt(statement="import Kelvaro"):
    """Run an import statement; append to the results what happened."""
    names = {}
    try:
        exec statement in names
    except:
        kind, value, trace = sys.exc_info()
        entries = [(name, line) for source, line, name, _ in traceback.extract_tb(trace)
                   if source == %(source)r]
        result = [kind.__name__, str(value), entries]
    else:
        result = sorted(vars(names["Kelvaro"])) if "Kelvaro" in names else None
    results.append([result, "Kelvaro" in sys.modules])

@contextlib.contextmanager
def without(module, name=None):
    """Within it, a host module lacks a name, or is missing itself."""
    saved = dict(sys.modules)
    sys.modules[module] = None
    if name is not None:
        sys.modules[module] = types.ModuleType(module)
        vars(sys.modules[module]).update(vars(saved[module]))
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

Hardware = Tools.HardwareInfoVu.HardwareInfoVu
results = []
''' % {"modules": [module for _, module, _ in IMPORTS], "source": SOURCE}


def run(*lines):
    """Run a child; return the list that it has made of its results."""
    result = run_fresh(PRELUDE + "\n".join(lines) + "\nsys.stdout.write(json.dumps(results))")
    if result.status or result.stderr:
        raise AssertionError("the child ended with %d: %s" % (result.status, result.stderr))
    return json.loads(result.stdout)


class Failures(unittest.TestCase):

    def check_success(self, result):
        names, left = result
        self.assertEqual(set(sum((names for _, names in bound_by_line()), [])) - set(names), set())
        self.assertTrue(left)

    def check(self, *rows):
        """Check attempts, and that the next one succeeds.

        rows: what `with` takes, kind and text of the exception, the module's entries.
        """
        results = run(*["with %s: attempt()" % row[0] for row in rows] + ["attempt()"])
        for row, (found, left) in zip(rows, results):
            self.assertEqual(found, list(row[1:3]) + [[list(entry) for entry in row[3:]]], row)
            self.assertFalse(left, row)
        self.check_success(results[-1])

    def test_of_each_import_are_those_of_the_statement(self):
        lines, expected = [], []
        for line, module, names in IMPORTS:
            statement = "import " + module
            if names != ():
                statement = "from %s import %s" % (module, ", ".join(names or "*"))
            broken = [] if line == 32 else ["without(%r)" % module]  # 31 needs the same module
            for name in names or ():
                broken.append("without(%r, %r)" % (module, name.split(" as ")[0]))
            for context in broken:
                lines += ["with %s:" % context, "    attempt(%r)" % statement, "    attempt()"]
                expected.append(line)
        results = run(*lines + ["attempt()"])
        self.assertEqual(len(results), 2 * len(expected) + 1)
        for line, (plain, _), (own, left) in zip(expected, results[::2], results[1::2]):
            self.assertEqual(own, plain[:2] + [[["init Kelvaro", line]]])
            self.assertFalse(left)
        self.check_success(results[-1])

    def test_of_the_model_and_the_header_name_their_lines(self):
        model = "type('Model', (object,), {'__eq__': fail})()"
        init, header = ("init Kelvaro", 38), ("init Kelvaro", 86)
        self.check(
            ("changed(Tools.HardwareInfoVu, 'HardwareInfoVu', 7)",
             "TypeError", "'int' object is not callable", init),
            ("changed(Tools.HardwareInfoVu, 'HardwareInfoVu', list)",
             "AttributeError", "'list' object has no attribute 'get_device_name'", init),
            ("changed(Hardware, 'get_device_name', fail)", "KeyError", "'host'", init),
            ("changed(enigma, 'getZirkVersionString', fail)",
             "KeyError", "'host'", header, ("Kelvaro.getHeader", 52)),
            ("changed(enigma, 'getZirkVersionString', int)", "TypeError",
             "cannot concatenate 'str' and 'int' objects", header, ("Kelvaro.getHeader", 53)),
            ("changed(Hardware, 'device_name', %s)" % model,
             "KeyError", "'host'", header, ("Kelvaro.getHeader", 54)))

    def test_of_the_classes_name_their_lines_and_say_what_a_class_statement_says(self):
        for base in ("7", "object()", "len"):
            (plain, _), = run("attempt('class AllNews(%s): pass')" % base)
            self.check(("changed(Screens.Screen, 'Screen', %s)" % base,
                        plain[0], plain[1], ("init Kelvaro", 176)))
        meta = ("type('Meta', (type,), {'__init__': "
                "lambda cls, name, *_: fail() if name == %r else None})('Screen', (dict,), {})")
        self.check(*[("changed(Screens.Screen, 'Screen', %s)" % (meta % name),
                      "KeyError", "'host'", ("init Kelvaro", line))
                     for line, name in ((176, "AllNews"), (351, "ZirkUpdateInfo"))])

    def test_of_a_host_module_that_fails_while_it_loads_name_its_line(self):
        failure, success = run(
            "class Finder(object):",
            "    @staticmethod",
            "    def find_module(name, path=None):",
            "        return Finder if name == 'Tools.LoadPixmap' else None",
            "    load_module = staticmethod(fail)",
            "del sys.modules['Tools.LoadPixmap']",
            "sys.meta_path.append(Finder)",
            "attempt()",
            "sys.meta_path.remove(Finder)",
            "attempt()")
        self.assertEqual(failure, [["KeyError", "'host'", [["init Kelvaro", 24]]], False])
        self.check_success(success)

    def test_may_be_many(self):
        self.check(*[("changed(enigma, 'getZirkVersionString', fail)", "KeyError", "'host'",
                      ("init Kelvaro", 86), ("Kelvaro.getHeader", 52))] * 50)

    def test_leave_the_exceptions_of_the_importer_alone(self):
        self.assertEqual(run(
            "try:",
            "    raise ValueError('being handled')",
            "except ValueError:",
            "    with changed(enigma, 'getZirkVersionString', fail):",
            "        attempt()",
            "    texts = [str(sys.exc_info()[1])]",
            "    attempt()",
            "    results = texts + [str(sys.exc_info()[1])]"), ["being handled"] * 2)

    def test_for_want_of_import_itself_or_of_any_names_are_those_of_the_statement(self):
        for statement, breaking, text in [
                ("from Components.ActionMap import ActionMap", "del __builtin__.__import__",
                 "__import__ not found"),
                ("from Tools.Directories import *",
                 "sys.modules['Tools.Directories'] = object()",
                 "from-import-* object has no __dict__ and no __all__")]:
            plain, own = run(
                "names = {'load': imp.load_dynamic, 'path': os.environ['KELVARO_MODULE']}",
                "def attempt(statement):",
                "    try:",
                "        exec statement in dict(names, __builtins__=__builtin__)",
                "    except ImportError as e:",
                "        results.append([str(e), 'Kelvaro' in sys.modules])",
                "saved = __builtin__.__import__",
                breaking,
                "attempt(%r)" % statement,
                "attempt('load(\"Kelvaro\", path)')",
                "__builtin__.__import__ = saved")
            self.assertEqual((plain, own), ([text, False], [text, False]))

    def test_spare_what_another_has_put_in_the_modules_place(self):
        failure, left = run(
            "class Names(object):",
            "    __all__ = ['name']",
            "    @property",
            "    def name(self):",
            "        sys.modules['Kelvaro'] = other",
            "other = types.ModuleType('other')",
            "other.left = 1",
            "sys.modules['Tools.Directories'] = Names()",
            "sys.modules['skin'] = None",
            "attempt()",
            "results.append(vars(other).get('left'))")
        self.assertEqual(failure[0][1], "No module named skin")
        self.assertEqual((failure[1], left), (False, 1))
