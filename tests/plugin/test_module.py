"""Importing the module: the order of effects, the star import, base classes, packages."""

import imp
import os
import shutil
import sys
import tempfile
import types
import unittest

from simulator.receiver import Receiver  # before the host's modules
import Screens.Screen
import Tools.Directories
import Tools.HardwareInfoVu
import enigma
from tests.support.model import IMPORTS, bound_by_line
from tests.support.receiver import Blank, trail

MISSING = object()


class ImportTest(unittest.TestCase):
    """Base: a host that the module has not been imported into yet."""

    def setUp(self):
        self.box = Receiver(fresh=True, load=False, plugin_package=False)
        self.addCleanup(self.box.close)
        saved = dict(sys.modules)

        def restore():
            for name in set(sys.modules) - set(saved):
                if name.split(".")[0] not in ("encodings", "linecache"):
                    del sys.modules[name]
            sys.modules.update(saved)

        self.addCleanup(restore)

    def stand_in(self, name, **attributes):
        """Put a module with these attributes in the place of the host module `name`."""
        module = types.ModuleType(name)
        vars(module).update(attributes)
        sys.modules[name] = module
        return module


class Order(ImportTest):
    """Statements take effect from top to bottom, each name being bound by its own line."""

    def record(self):
        """Import; return a list of (what happened, names bound by then)."""
        events = []

        def note(what):
            names = vars(sys.modules["Kelvaro"]) if "Kelvaro" in sys.modules else ()
            events.append((what, set(name for name in names if name[:2] != "__")))

        # UpgradeZirk is a file beside the module that nobody has loaded.
        saved = {"UpgradeZirk": imp.new_module("UpgradeZirk")}
        saved["UpgradeZirk"].UpdatePlugin = object
        for _, name, _ in IMPORTS:
            if name not in saved:
                __import__(name)
        for _, name, _ in IMPORTS:
            if name in sys.modules:
                saved[name] = sys.modules.pop(name)

        class Finder(object):
            """Notes the search for each module that the module imports."""

            @staticmethod
            def find_module(name, path=None):
                if name in saved:
                    note(name)
                    return Finder

            @staticmethod
            def load_module(name):
                sys.modules[name] = saved[name]
                return saved[name]

        class Hardware(object):
            def __init__(self):
                note("HardwareInfoVu()")

            def get_device_name(self):
                note("get_device_name()")
                return "uno4kse"

        def version():
            note("getZirkVersionString()")
            return "4"

        class Meta(type):
            def __new__(mcs, name, bases, namespace):
                if name != "Screen":
                    note("class " + name)
                return type.__new__(mcs, name, bases, namespace)

        self.box.patch(Tools.HardwareInfoVu, "HardwareInfoVu", Hardware)
        self.box.patch(enigma, "getZirkVersionString", version)
        self.box.patch(Screens.Screen, "Screen", Meta("Screen", (object,), {}))
        sys.meta_path.insert(0, Finder)
        try:
            self.box.load()
        finally:
            sys.meta_path.remove(Finder)
        return events

    def test_is_that_of_the_lines(self):
        star = [name for name in vars(Tools.Directories) if not name.startswith("_")]
        lines = bound_by_line(star)

        def names_before(line):
            return set(sum((names for number, names in lines if number < line), []))

        found = [(line, name) for line, name, _ in IMPORTS if line != 32]
        expected = [(name, names_before(line)) for line, name in found] + [
            ("HardwareInfoVu()", names_before(38)),
            ("get_device_name()", names_before(38)),
            ("getZirkVersionString()", names_before(86)),
            ("class AllNews", names_before(176)),
            ("class ZirkUpdateInfo", names_before(351))]
        events = self.record()
        self.assertEqual([what for what, _ in events], [what for what, _ in expected])
        for (what, names), (_, wanted) in zip(events, expected):
            self.assertEqual(names, wanted, what)

    def test_puts_the_model_and_the_version_asked_for_once_into_the_header(self):
        self.record()
        self.assertEqual(self.box.module.vumodel, "uno4kse")
        self.assertEqual(self.box.module.header, "Zirk 4 (Vu+ Uno 4K SE)\n")

    def test_lets_a_failing_model_query_leave_everything_later_undone(self):
        calls = []
        error = KeyError("model")

        def device_name(_):
            calls.append("get_device_name")
            raise error

        self.box.patch(Tools.HardwareInfoVu.HardwareInfoVu, "get_device_name", device_name)
        self.box.patch(enigma, "getZirkVersionString", lambda: calls.append("version"))
        with self.assertRaises(KeyError) as caught:
            self.box.load()
        self.assertIs(caught.exception, error)
        self.assertEqual(calls, ["get_device_name"])
        self.assertNotIn("Kelvaro", sys.modules)


class Star(ImportTest):
    """Line 23 takes from Tools.Directories what any star import would."""

    def load_with(self, **attributes):
        attributes.setdefault("fileExists", None)
        self.stand_in("Tools.Directories", **attributes)
        return vars(self.box.load())

    def test_takes_all_names_without_leading_underscore(self):
        names = self.load_with(resolveFilename=1, SCOPE_PLUGINS=2, _private=3, __dunder__=4)
        self.assertEqual((names["resolveFilename"], names["SCOPE_PLUGINS"]), (1, 2))
        self.assertNotIn("_private", names)
        self.assertNotIn("__dunder__", names)

    def test_takes_exactly_what_all_lists_underscores_included(self):
        names = self.load_with(one=1, two=2, _three=3, __all__=["one", "_three"])
        self.assertEqual((names["one"], names["_three"]), (1, 3))
        for name in ("two", "fileExists", "__all__"):
            self.assertNotIn(name, names)

    def test_fails_when_all_lists_a_name_that_is_not_there(self):
        with self.assertRaises(AttributeError) as caught:
            self.load_with(one=1, __all__=("one", "two"))
        self.assertEqual(str(caught.exception), "'module' object has no attribute 'two'")
        self.assertNotIn("Kelvaro", sys.modules)

    def test_replaces_names_of_earlier_lines_and_is_replaced_by_later_ones(self):
        names = self.load_with(Label="its own", remove="its own", cache_file="its own",
                               parse_xml="its own", AllNews="its own")
        self.assertEqual(names["Label"], "its own")
        self.assertIs(names["remove"], os.remove)
        self.assertEqual(names["cache_file"], "/tmp/.updatecache")
        self.assertTrue(callable(names["parse_xml"]))
        self.assertIsInstance(names["AllNews"], type)

    def test_takes_any_object_with_a_namespace(self):
        sys.modules["Tools.Directories"] = Blank(fileExists=5)
        self.assertEqual(self.box.load().fileExists, 5)


class Bases(ImportTest):
    """The screens are what a class statement makes of the host's Screen."""

    def load_with(self, screen):
        self.box.patch(Screens.Screen, "Screen", screen)
        return self.box.load()

    def test_classic_makes_classic_classes(self):
        class Screen:
            pass

        module = self.load_with(Screen)
        for name in ("AllNews", "ZirkUpdateInfo"):
            self.assertIs(type(getattr(module, name)), types.ClassType)
            self.assertEqual(getattr(module, name).__bases__, (Screen,))

    def test_classic_is_constructed_and_fails_as_it_is_no_dictionary(self):
        class Screen:
            def __init__(self, session):
                self.sessions = [session]

        module = self.load_with(Screen)
        with self.assertRaises(AttributeError) as caught:
            module.AllNews("session", "/path")
        # The screen's own part is done; registering the first source needs a dictionary.
        self.assertEqual(str(caught.exception),
                         "AllNews instance has no attribute '__setitem__'")
        self.assertEqual(trail(), ["AllNews.__init__:183"])

    def test_metaclass_makes_the_classes(self):
        made = []

        class Meta(type):
            def __init__(cls, name, bases, namespace):
                super(Meta, cls).__init__(name, bases, namespace)
                if name in ("AllNews", "ZirkUpdateInfo"):
                    made.append((name, bases, sorted(namespace)))

        screen = Meta("Screen", (dict,), {})
        module = self.load_with(screen)
        self.assertIs(type(module.AllNews), Meta)
        self.assertEqual([(name, bases) for name, bases, _ in made],
                         [("AllNews", (screen,)), ("ZirkUpdateInfo", (screen,))])
        for _, _, names in made:
            self.assertIn("__module__", names)
            self.assertIn("__init__", names)
            self.assertNotIn("__metaclass__", names)

    def test_metaclass_sees_functions_that_are_not_bound_yet(self):
        namespaces = {}

        class Meta(type):
            def __new__(mcs, name, bases, namespace):
                namespaces[name] = namespace
                return type.__new__(mcs, name, bases, namespace)

        self.load_with(Meta("Screen", (dict,), {}))
        self.assertEqual(namespaces["AllNews"]["__module__"], "Kelvaro")
        self.assertIs(type(namespaces["AllNews"]["keyCancel"]),
                      type(self.box.module.getInstalled))

    def test_any_callable_type_of_the_base_makes_whatever_it_makes(self):
        class Odd(object):
            def __init__(self, *arguments):
                self.arguments = arguments

        base = Odd()
        module = self.load_with(base)
        self.assertIs(type(module.AllNews), Odd)
        self.assertEqual(module.AllNews.arguments[:2], ("AllNews", (base,)))


class Packages(unittest.TestCase):
    """Within a package each import looks there first, then at the top level."""

    COUNT = 0

    def setUp(self):
        self.box = Receiver(load=False)
        self.addCleanup(self.box.close)
        self.root = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.root)
        Packages.COUNT += 1
        self.name = "panel%d" % Packages.COUNT
        os.mkdir(os.path.join(self.root, self.name))
        self.write("__init__.py", "")
        shutil.copyfile(os.environ["KELVARO_MODULE"],
                        os.path.join(self.root, self.name, "Kelvaro.so"))
        sys.path.insert(0, self.root)
        self.addCleanup(sys.path.remove, self.root)
        self.addCleanup(self.forget)

    def write(self, name, text):
        path = os.path.join(self.root, self.name, name)
        if not os.path.isdir(os.path.dirname(path)):
            os.mkdir(os.path.dirname(path))
        with open(path, "w") as stream:
            stream.write(text)

    def load(self):
        __import__(self.name + ".Kelvaro")
        return sys.modules[self.name + ".Kelvaro"]

    def forget(self):
        for name in list(sys.modules):
            if name.split(".")[0] in (self.name, "UpgradeZirk"):
                del sys.modules[name]

    def test_find_UpgradeZirk_beside_the_module(self):
        self.write("UpgradeZirk.py", "class UpdatePlugin: pass")
        module = self.load()
        self.assertEqual(module.UpdatePlugin.__module__, self.name + ".UpgradeZirk")
        self.assertNotIn("UpgradeZirk", sys.modules)

    def test_find_UpgradeZirk_at_the_top_level_otherwise(self):
        with open(os.path.join(self.root, "UpgradeZirk.py"), "w") as stream:
            stream.write("class UpdatePlugin: pass")
        self.assertEqual(self.load().UpdatePlugin.__module__, "UpgradeZirk")

    def test_prefer_their_own_UpgradeZirk(self):
        self.write("UpgradeZirk.py", "UpdatePlugin = 'beside'")
        with open(os.path.join(self.root, "UpgradeZirk.py"), "w") as stream:
            stream.write("UpdatePlugin = 'above'")
        self.assertEqual(self.load().UpdatePlugin, "beside")

    def test_prefer_their_own_modules_to_those_of_host_and_library(self):
        self.write("UpgradeZirk.py", "UpdatePlugin = None")
        self.write("skin.py", "loadSkin = 'beside'")
        self.write("urllib2.py", "")
        module = self.load()
        self.assertEqual(module.loadSkin, "beside")
        self.assertEqual(module.urllib2.__name__, self.name + ".urllib2")

    def test_prefer_their_own_subpackages_as_a_whole(self):
        self.write("UpgradeZirk.py", "UpdatePlugin = None")
        self.write("Tools/__init__.py", "")
        with self.assertRaises(ImportError) as caught:
            self.load()
        self.assertEqual(trail(), ["init Kelvaro:22"])
        self.assertEqual(str(caught.exception), "No module named BoundFunction")

    def test_hold_a_module_under_its_full_name(self):
        self.write("UpgradeZirk.py", "UpdatePlugin = None")
        module = self.load()
        self.assertEqual(module.__name__, self.name + ".Kelvaro")
        self.assertEqual(module.__package__, self.name)
        self.assertNotIn("Kelvaro", sys.modules)
        for value in (module.getHeader, module.AllNews, module.UpdateNotification,
                      vars(module.AllNews)["keyCancel"]):
            self.assertEqual(value.__module__, self.name + ".Kelvaro")

    def test_keep_nothing_of_a_failed_import_and_can_import_again(self):
        self.write("UpgradeZirk.py", "")
        with self.assertRaises(ImportError) as caught:
            self.load()
        self.assertEqual(str(caught.exception), "cannot import name UpdatePlugin")
        self.assertEqual(trail(), ["init Kelvaro:28"])
        self.assertNotIn(self.name + ".Kelvaro", sys.modules)
        self.assertFalse(hasattr(sys.modules[self.name], "Kelvaro"))
        sys.modules[self.name + ".UpgradeZirk"].UpdatePlugin = "mended"
        self.assertEqual(self.load().UpdatePlugin, "mended")
        self.assertIs(sys.modules[self.name].Kelvaro, self.load())
