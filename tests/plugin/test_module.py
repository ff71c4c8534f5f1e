"""Importing the module: the order of effects, the names it binds, base classes, packages."""

import __builtin__
import imp
import itertools
import os
import shutil
import struct
import sys
import tempfile
import types
import unittest

from simulator.receiver import Receiver, run_fresh  # before the host's modules
from tests.support import importing, recording, twins
from tests.support.leaks import once
from tests.support.model import IMPORTS
from tests.support.receiver import Blank, ModuleTest, trail, write
from tests.support.recording import HOST_MODULES
from tests.support.sampling import ONE_IN, sampled
from tests.support.twins import ERRORS

#: All failures of the import, which take a second; fewer where every one takes longer.
some = list if ONE_IN <= 8 else sampled


class ImportsAgree(unittest.TestCase):
    """The import runs from top to bottom, and fails where the failing statement stands.

    Both the module and its model are imported, and do the same to the host, in the same order.
    """

    def agree(self, loads=(twins.load_model, twins.load_module), **how):
        expected, found = [importing.record_import(load, **how) for load in loads]
        text = twins.difference(expected, found)
        if text is not None:
            self.fail("import, %s:\n%s" % (twins.describe_how(how), text))
        return expected

    def test_an_undisturbed_import_binds_the_same_names_in_the_same_order(self):
        self.agree()
        self.agree(in_handler=True)

    def test_a_missing_module_or_name_fails_on_its_line(self):
        missing = []
        for path, names in sorted(HOST_MODULES.items()):
            missing.append(dict(changes={path: None}))
            missing += [dict(changes={path: {name: None}}) for name in names
                        if path != "Tools.Directories" and not name.startswith("_")]
        for line, path, names in IMPORTS:
            if line == 27 or line > 30:  # those of the interpreter
                missing += [dict(hidden={path: name and name.split(" as ")[0]})
                            for name in names or [None]]
        lines = set()
        for how in some(missing):
            kind, _, entries = self.agree(**how).outcomes[0]
            self.assertEqual(kind, "ImportError")
            lines.update(line for _, name, line in entries if name == "init Kelvaro")
        self.assertEqual(lines if some is list else set(range(8, 35)), set(range(8, 35)))

    def test_each_failing_operation(self):
        operations = len(self.agree().log)
        self.assertGreater(operations, 60)
        for fail_at in some(range(1, operations + 1)):
            self.agree(fail_at=fail_at, error=ERRORS[fail_at % len(ERRORS)],
                       in_handler=bool(fail_at % 2))

    def test_star_import_honours_all_and_leading_underscores(self):
        for names in ({"__all__": ["fileExists", "_private"]}, {"__all__": ("resolveFilename",)},
                      {"__all__": ["missing"]}, {"__all__": 3}, {"__all__": []}, {"header": 1},
                      {"__all__": [1]}, {"__all__": "ab"},
                      {"_": 1, "__x": 2, "x_": 3, "vumodel": "x", "Screen": 5, "open": 1},
                      {"Label": 1, "remove": 2, "cache_file": 3, "parse_xml": 4, "AllNews": 5},
                      {"str": 5}, {"mkdir": 1, "system": 2}):
            self.agree(changes={"Tools.Directories": names})

    def test_the_version_and_the_model_make_the_header(self):
        class HardwareInfoVu(object):
            get_device_name = staticmethod(lambda: model)

        for version, model in (("4.1", "duo"), (u"4.1", u"zero"), ("4.1", "other"), ("4", None),
                               ("4.1", Blank()), (None, "duo4kse")):
            self.agree(changes={"enigma": {"getZirkVersionString": lambda: version},
                                "Tools.HardwareInfoVu": {"HardwareInfoVu": HardwareInfoVu}})

    def test_the_metaclass_of_the_screen_makes_the_classes(self):
        class Meta(type):
            def __new__(mcs, name, bases, names):
                recording.note("class", name, bases, names["__module__"], [
                    (member, type(names[member]).__name__) for member in sorted(names)])
                return type.__new__(mcs, name, bases, names)
        base = Meta("Screen", (dict,), {"__module__": "host"})
        changes = {"Screens.Screen": {"Screen": base}}
        log = self.agree(changes=changes).log
        made = [(number, entry[1][0][1]) for number, entry in enumerate(log, 1)
                if entry[0] == "class"]
        self.assertEqual([name for _, name in made], ["AllNews", "ZirkUpdateInfo"])
        for number, _ in made:
            self.agree(changes=changes, fail_at=number)

    def test_whatever_the_screen_is_a_class_statement_decides(self):
        class Classic:
            def __init__(self, session):
                recording.note("session", session)

        class Odd(object):
            def __init__(self, *arguments):
                recording.note("made of", arguments[:2])

        class Refusing(object):
            __class__ = struct.pack  # its error has a text, but is no TypeError

        def use(module):
            recording.note("types", type(module.AllNews).__name__, type(module.AllNews).__module__)
            module.AllNews("session", "/path")

        for base in (5, "text", recording.translate, object(), bool, types.ModuleType,
                     recording.MessageBox, Classic, Odd(), Refusing()):
            self.agree(changes={"Screens.Screen": {"Screen": base}}, then=use)

    def test_inside_a_package_its_own_modules_come_first(self):
        loads = [lambda: twins.load_in_package(twins.load_model),
                 lambda: twins.load_in_package(twins.load_module)]
        operations = len(self.agree(loads).log)
        beside = {"plugins.UpgradeZirk": {"UpdatePlugin": recording.ChoiceBox}}
        bound = self.agree(loads, changes=beside).outcomes[2][1]
        self.assertIn(("UpdatePlugin", ("class", recording.__name__, "ChoiceBox")),
                      [row[:2] for row in bound])
        self.agree(loads, changes={"UpgradeZirk": None})
        self.agree(loads, changes=dict(beside, UpgradeZirk=None))
        for fail_at in sampled(range(1, operations + 1, 3)):
            self.agree(loads, fail_at=fail_at, error=ERRORS[fail_at % len(ERRORS)])


class Host(unittest.TestCase):
    """The simulated receiver, into which the module has not been imported yet."""

    def setUp(self):
        self.box = Receiver(fresh=True, load=False, plugin_package=False)
        self.addCleanup(self.box.close)
        saved = sys.modules["Tools.Directories"] = __import__("Tools.Directories").Directories
        self.addCleanup(sys.modules.__setitem__, "Tools.Directories", saved)

    def test_may_have_any_object_in_the_place_of_a_module(self):
        sys.modules["Tools.Directories"] = Blank(fileExists=5)
        self.assertEqual(self.box.load().fileExists, 5)

    def test_may_name_the_metaclass_of_the_class_without_bases(self):
        sys.modules["Tools.Directories"] = Blank(__all__=["__metaclass__"], __metaclass__=type)
        self.assertIs(type(self.box.load().UpdateNotification), type)

    def test_gives_its_own_objects_to_all_the_imports(self):
        module = self.box.load()
        for _, path, names in IMPORTS:
            for name in names or ():
                name, _, bound = name.partition(" as ")
                self.assertIs(getattr(module, bound or name), getattr(sys.modules[path], name))
        self.assertIs(module.fileExists, sys.modules["Tools.Directories"].fileExists)
        for name in ("xml", "urllib2"):
            self.assertIs(getattr(module, name), sys.modules[name])

    def test_calls_the_builtin_import_as_the_statements_do(self):
        calls = []

        def import_(path, *others):
            if others and others[0]["__name__"] == "Kelvaro":
                calls.append((path, others[2]))
                self.assertEqual(len(others), 3)
            return own(path, *others)

        own = self.box.patch(__builtin__, "__import__", import_)
        self.box.load()
        self.assertEqual(calls, [
            (path, None if names == () else tuple(name.split(" as ")[0] for name in names or "*"))
            for _, path, names in IMPORTS])

    def outcome(self, statement="import Kelvaro", **names):
        """Run a statement that fails; return the text and the entries of the module."""
        with self.assertRaises(ImportError) as caught:
            exec(statement, dict(names, __builtins__=__builtin__))
        self.assertNotIn("Kelvaro", sys.modules)
        return str(caught.exception), trail()

    def test_that_has_no_import_fails_the_first_statement(self):
        saved = __builtin__.__import__
        del __builtin__.__import__
        try:
            plain = self.outcome("from Components.ActionMap import ActionMap")
            own = self.outcome("load('Kelvaro', path)", load=imp.load_dynamic,
                               path=os.environ["KELVARO_MODULE"])
        finally:
            __builtin__.__import__ = saved
        self.assertEqual(plain, ("__import__ not found", []))
        self.assertEqual(own, (plain[0], ["init Kelvaro:8"]))

    def test_without_any_names_for_a_star_fails_the_statement(self):
        sys.modules["Tools.Directories"] = object()
        plain = self.outcome("from Tools.Directories import *")
        self.assertEqual(plain, ("from-import-* object has no __dict__ and no __all__", []))
        self.assertEqual(self.outcome(), (plain[0], ["init Kelvaro:23"]))

    def test_keeps_what_it_has_put_in_the_place_of_a_module_that_fails(self):
        class Names(object):
            __all__ = ["name"]

            @property
            def name(self):
                sys.modules["Kelvaro"] = other

        other = types.ModuleType("other")
        other.left = 1
        sys.modules["Tools.Directories"] = Names()
        self.addCleanup(sys.modules.__setitem__, "skin", sys.modules["skin"])
        sys.modules["skin"] = None
        self.assertEqual(self.outcome(), ("No module named skin", ["init Kelvaro:26"]))
        self.assertEqual(other.left, 1)


class Names(ModuleTest):

    def test_of_the_values_have_what_the_host_and_the_receiver_give_at_the_import(self):
        for name, value in [("packagetmpfile", "/tmp/.package.tmp"), ("vumodel", "duo2"),
                            ("cache_file", "/tmp/.updatecache"),
                            ("packageinstalledfile", "/tmp/.installed"),
                            ("header", "Zirk 3.1.0 (Vu+ Duo2)\n")]:
            found = getattr(self.module, name)
            self.assertEqual((type(found), found), (str, value))
        self.assertIs(self.module.update_notification.__class__, self.module.UpdateNotification)
        self.assertEqual(vars(self.module.update_notification), {})

    @once("an imported module stays")
    def test_of_the_model_is_the_very_object_that_the_host_gives(self):
        class Key(str):
            pass

        key = Key("solo")
        self.assertIs(self.boot(model=key, fresh=True).module.vumodel, key)


class Packages(unittest.TestCase):
    """Within a package each import looks there first, then at the top level."""

    COUNT = itertools.count()

    def setUp(self):
        self.box = Receiver(load=False)
        self.addCleanup(self.box.close)
        self.root = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.root)
        self.name = "panel%d" % next(self.COUNT)
        os.mkdir(os.path.join(self.root, self.name))
        self.write(__init__="")
        shutil.copyfile(os.environ["KELVARO_MODULE"],
                        os.path.join(self.root, self.name, "Kelvaro.so"))
        sys.path.insert(0, self.root)
        self.addCleanup(sys.path.remove, self.root)
        self.addCleanup(self.forget)

    def write(self, **texts):
        """Write modules of the package."""
        for name, text in texts.items():
            write(os.path.join(self.root, self.name, name + ".py"), text)

    def load(self):
        __import__(self.name + ".Kelvaro")
        return sys.modules[self.name + ".Kelvaro"]

    def forget(self):
        for name in list(sys.modules):
            if name.split(".")[0] in (self.name, "UpgradeZirk"):
                del sys.modules[name]

    def test_lend_the_module_what_lies_beside_it_before_what_lies_above(self):
        write(os.path.join(self.root, "UpgradeZirk.py"), "UpdatePlugin = 'above'")
        self.write(UpgradeZirk="UpdatePlugin = 'beside'", skin="loadSkin = 'beside'", urllib2="")
        module = self.load()
        self.assertEqual((module.UpdatePlugin, module.loadSkin), ("beside", "beside"))
        self.assertEqual(module.urllib2.__name__, self.name + ".urllib2")
        self.assertNotIn("UpgradeZirk", sys.modules)

    def test_lend_it_what_lies_above_otherwise(self):
        write(os.path.join(self.root, "UpgradeZirk.py"), "class UpdatePlugin: pass")
        self.assertEqual(self.load().UpdatePlugin.__module__, "UpgradeZirk")

    def fails_to_load(self, text, *entries):
        with self.assertRaises(ImportError) as caught:
            self.load()
        self.assertEqual((trail(), str(caught.exception)), (list(entries), text))

    def test_hide_a_package_of_the_host_as_a_whole(self):
        os.mkdir(os.path.join(self.root, self.name, "Tools"))
        self.write(**{"UpgradeZirk": "UpdatePlugin = None", "Tools/__init__": ""})
        self.fails_to_load("No module named BoundFunction", "init Kelvaro:22")

    def test_hold_the_module_under_its_full_name_but_for_tracebacks(self):
        self.write(UpgradeZirk="UpdatePlugin = None")
        module = self.load()
        self.assertEqual((module.__name__, module.__package__),
                         (self.name + ".Kelvaro", self.name))
        self.assertNotIn("Kelvaro", sys.modules)
        for value in (module.getHeader, module.AllNews, module.UpdateNotification,
                      vars(module.AllNews)["keyCancel"]):
            self.assertEqual(value.__module__, self.name + ".Kelvaro")
        with self.assertRaises(IOError):
            module.load_cache()
        self.assertEqual(trail(), ["load_cache:99"])

    def test_keep_nothing_of_a_failed_import_and_can_import_again(self):
        self.write(UpgradeZirk="")
        self.fails_to_load("cannot import name UpdatePlugin", "init Kelvaro:28")
        self.assertNotIn(self.name + ".Kelvaro", sys.modules)
        self.assertFalse(hasattr(sys.modules[self.name], "Kelvaro"))
        sys.modules[self.name + ".UpgradeZirk"].UpdatePlugin = "mended"
        self.assertEqual(self.load().UpdatePlugin, "mended")
        self.assertIs(sys.modules[self.name].Kelvaro, self.load())


class Silence(unittest.TestCase):

    def test_is_kept_on_both_outputs_by_import_and_use(self):
        self.assertEqual(run_fresh("\n".join([
            "from simulator.receiver import Receiver",
            "box = Receiver(feed_url='http://127.0.0.1:9/all', raise_errors=False)",
            "box.open_news()",
            "box.pass_time(1)",
            "box.press('ok', 'yellow', 'cancel')",
            "box.start_plugin()",
            "box.pass_time(61)",
            "box.module.getInstalled()",
            "for call in (box.module.load_cache, lambda: box.module.skip_entry(3)):",
            "    try:",
            "        call()",
            "    except Exception:",
            "        pass",
            "box.close()"])), (0, "", ""))

    def test_is_kept_by_a_failing_import(self):
        self.assertEqual(run_fresh("\n".join([
            "import sys",
            "from simulator.receiver import Receiver",
            "sys.modules['urllib2'] = None",
            "try:",
            "    Receiver()",
            "except ImportError:",
            "    pass"])), (0, "", ""))
