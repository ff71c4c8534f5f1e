"""An import that fails says where, leaves nothing, and succeeds once the host is mended."""

import __builtin__
import contextlib
import gc
import imp
import os
import sys
import types
import unittest

from simulator.receiver import Receiver  # before the host's modules
import Screens.Screen
import Tools.HardwareInfoVu
import enigma
from tests.support.importing import hide
from tests.support.model import IMPORTS, bound_by_line
from tests.support.receiver import raising, trail

HOST_ERROR = KeyError("host")


@contextlib.contextmanager
def changed(owner, name, value):
    saved = getattr(owner, name)
    setattr(owner, name, value)
    try:
        yield
    finally:
        setattr(owner, name, saved)


class Failures(unittest.TestCase):
    """The module's file is a fresh copy, of which nothing was imported before."""

    def setUp(self):
        self.box = Receiver(fresh=True, load=False, plugin_package=False)
        self.addCleanup(self.box.close)
        for _, module, _ in IMPORTS:
            __import__(module)  # what they import in turn is not to meet the breakage

    def put(self, name, module):
        """Put something in the place of a loaded module until the test ends."""
        self.addCleanup(sys.modules.__setitem__, name, sys.modules[name])
        sys.modules[name] = module

    def outcome(self, statement="import Kelvaro", **names):
        """Run a statement; return the names that the module has then, or kind, text, entries."""
        try:
            exec(statement, dict(names, __builtins__=__builtin__))
        except Exception:
            kind, value = sys.exc_info()[:2]
            self.assertNotIn("Kelvaro", sys.modules)
            return kind, str(value), trail()
        return sorted(vars(sys.modules["Kelvaro"])) if "Kelvaro" in sys.modules else None

    def check(self, *rows):
        """Check that attempts fail, and that the next one succeeds.

        rows: what breaks the host within `with`; kind and text of the exception; the entries.
        """
        for breakage, kind, text, entries in rows:
            with breakage:
                self.assertEqual(self.outcome(), (kind, text, entries))
        names = set(sum((names for _, names in bound_by_line()), []))
        self.assertEqual(names - set(self.outcome()), set())

    def test_of_each_import_are_those_of_the_statement(self):
        rows = []
        for line, module, names in IMPORTS:
            statement = "import " + module
            if names != ():
                statement = "from %s import %s" % (module, ", ".join(names or "*"))
            missing = [] if line == 32 else [None]  # line 31 needs the same module
            for name in missing + [name.split(" as ")[0] for name in names or ()]:
                with hide({module: name}):
                    kind, text, _ = self.outcome(statement)
                rows.append((hide({module: name}), kind, text, ["init Kelvaro:%d" % line]))
        self.check(*rows)

    def test_of_the_model_and_the_header_name_their_lines(self):
        hardware = Tools.HardwareInfoVu.HardwareInfoVu
        fail = raising(HOST_ERROR)
        query, header = "init Kelvaro:38", "init Kelvaro:86"
        self.check(
            (changed(Tools.HardwareInfoVu, "HardwareInfoVu", 7),
             TypeError, "'int' object is not callable", [query]),
            (changed(Tools.HardwareInfoVu, "HardwareInfoVu", list),
             AttributeError, "'list' object has no attribute 'get_device_name'", [query]),
            (changed(hardware, "get_device_name", fail), KeyError, "'host'", [query]),
            (changed(enigma, "getZirkVersionString", fail),
             KeyError, "'host'", [header, "getHeader:52"]),
            (changed(enigma, "getZirkVersionString", int), TypeError,
             "cannot concatenate 'str' and 'int' objects", [header, "getHeader:53"]),
            (changed(hardware, "device_name", type("Model", (object,), {"__eq__": fail})()),
             KeyError, "'host'", [header, "getHeader:54"]))

    def test_of_the_classes_name_their_lines_and_say_what_a_class_statement_says(self):
        rows = []
        for base in ("7", "object()", "len"):
            kind, text, _ = self.outcome("class AllNews(%s): pass" % base)
            rows.append((changed(Screens.Screen, "Screen", eval(base)),
                         kind, text, ["init Kelvaro:176"]))

        class Meta(type):
            def __init__(cls, name, bases, names):
                if name == cls.refused:
                    raise HOST_ERROR

        for refused, line in (("AllNews", 176), ("ZirkUpdateInfo", 351)):
            screen = Meta("Screen", (dict,), {"refused": refused})
            rows.append((changed(Screens.Screen, "Screen", screen),
                         KeyError, "'host'", ["init Kelvaro:%d" % line]))
        self.check(*rows)

    def test_of_a_host_module_that_fails_while_it_loads_name_its_line(self):
        class Finder(object):
            load_module = staticmethod(raising(HOST_ERROR))

            @staticmethod
            def find_module(name, path=None):
                return Finder if name == "Tools.LoadPixmap" else None

        self.put("Tools.LoadPixmap", None)
        del sys.modules["Tools.LoadPixmap"]
        self.check((changed(sys, "meta_path", [Finder]), KeyError, "'host'", ["init Kelvaro:24"]))

    def test_leave_no_reference_to_what_functions_and_classes_were_made_of(self):
        names_of_the_module = []

        class Meta(type):
            def __init__(cls, name, bases, names):
                if name == "ZirkUpdateInfo":
                    names_of_the_module.append(names["__module__"])
                    raise HOST_ERROR

        def references():
            with changed(Screens.Screen, "Screen", screen):
                self.outcome()
            sys.exc_clear()
            gc.collect()
            modules = [thing for thing in gc.get_objects() if isinstance(thing, types.ModuleType)]
            return len(modules), sys.getrefcount(Meta), sys.getrefcount(screen)

        screen = Meta("Screen", (dict,), {})
        before = references()
        self.assertEqual(references(), before)
        name = names_of_the_module.pop()
        self.assertEqual(sys.getrefcount(name), sys.getrefcount(object()) + 1)

    def test_may_be_many(self):
        self.check(*[(changed(enigma, "getZirkVersionString", raising(HOST_ERROR)), KeyError,
                      "'host'", ["init Kelvaro:86", "getHeader:52"]) for _ in range(50)])

    def test_leave_the_exceptions_of_the_importer_alone(self):
        try:
            raise ValueError("being handled")
        except ValueError:
            for version in (raising(HOST_ERROR), lambda: "4"):
                with changed(enigma, "getZirkVersionString", version):
                    self.outcome()
                self.assertIs(sys.exc_info()[0], ValueError)

    def test_for_want_of_import_itself_are_those_of_the_statement(self):
        saved = __builtin__.__import__
        del __builtin__.__import__
        try:
            plain = self.outcome("from Components.ActionMap import ActionMap")
            own = self.outcome("load('Kelvaro', path)", load=imp.load_dynamic,
                               path=os.environ["KELVARO_MODULE"])
        finally:
            __builtin__.__import__ = saved
        self.assertEqual(plain, (ImportError, "__import__ not found", []))
        self.assertEqual(own, plain[:2] + (["init Kelvaro:8"],))

    def test_for_want_of_any_names_are_those_of_the_statement(self):
        self.put("Tools.Directories", object())
        plain = self.outcome("from Tools.Directories import *")
        text = "from-import-* object has no __dict__ and no __all__"
        self.assertEqual(plain, (ImportError, text, []))
        self.assertEqual(self.outcome(), plain[:2] + (["init Kelvaro:23"],))

    def test_spare_what_another_has_put_in_the_modules_place(self):
        class Names(object):
            __all__ = ["name"]

            @property
            def name(self):
                sys.modules["Kelvaro"] = other

        other = types.ModuleType("other")
        other.left = 1
        self.put("Tools.Directories", Names())
        self.put("skin", None)
        self.assertEqual(self.outcome(), (ImportError, "No module named skin", ["init Kelvaro:26"]))
        self.assertEqual(other.left, 1)
