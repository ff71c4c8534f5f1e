"""The module's import and its model's agree: order, names, failures, packages.

Both import on a host whose modules note each search, loading and attribute read, and what the
module has bound by then. Each of these operations fails in turn.
"""

import cPickle
import contextlib
import itertools
import os
import sys
import types
import unittest
import urllib2
import xml.dom.minidom

from tests.support import recording, twins
from tests.support.recording import HOST_MODULES, HostModules, Recorder
from tests.support.sampling import sampled
from tests.support.twins import ERRORS


def record_import(load, changes=(), hidden=(), fail_at=0, error=ERRORS[0], in_handler=False):
    """Import one implementation on the recording host; returns the Recorder."""
    recorder = Recorder(fail_at, error)
    module = None
    with HostModules(changes), recording.Translation(), hide(hidden):
        if in_handler:
            try:
                raise LookupError("being handled")
            except LookupError:
                module = attempt_import(recorder, load)
        else:
            module = attempt_import(recorder, load)
        recorder.outcomes.append(sorted(
            path for path in sys.modules if path.split(".")[0] in ("Kelvaro", "plugins")))
        if module is not None:
            names = vars(module)
            recorder.outcomes.append((module.__name__, [
                (name, recorder.describe(names[name]), getattr(names[name], "__module__", None))
                for name in sorted(names) if name[:2] != "__"]))
    module = None
    sys.exc_clear()
    recorder.forget()
    return recorder


def attempt_import(recorder, load):
    """Import and record the outcome; returns the module or None."""
    try:
        with recorder:
            module = load()
    except:  # noqa: E722 - every kind of failure is an outcome
        kind, value, traceback = sys.exc_info()
        entries = [entry for entry in recording.traceback_entries(traceback)
                   if entry[0] in ("Kelvaro", "recording.py")]
        recorder.outcomes.append((kind.__name__, recorder.describe(value), entries))
        return None
    recorder.outcomes.append(recorder.describe_state(sys.exc_info()) is None)
    return module


def line_of(outcome):
    """The line of the import that a recorded failure names."""
    return [line for _, name, line in outcome[2] if name == "init Kelvaro"][0]


@contextlib.contextmanager
def hide(modules):
    """Within it, standard modules lack names: path -> name, or None for the whole module."""
    saved = dict(sys.modules)
    for path, name in dict(modules).items():
        replacement = None
        if name is not None:
            replacement = types.ModuleType(path)
            vars(replacement).update(vars(sys.modules[path]))
            delattr(replacement, name)
        sys.modules[path] = replacement
    try:
        yield
    finally:
        for path in dict(modules):
            sys.modules[path] = saved[path]


class ImportsAgree(unittest.TestCase):
    """The import runs from top to bottom, and fails where the failing statement stands."""

    def agree(self, loads=(twins.load_model, twins.load_module), **how):
        expected, found = [record_import(load, **how) for load in loads]
        text = twins.difference(expected, found)
        if text is not None:
            self.fail("import, %s:\n%s" % (twins.describe_how(how), text))
        return expected

    def test_an_undisturbed_import_binds_the_same_names_in_the_same_order(self):
        self.agree()
        self.agree(in_handler=True)

    def test_a_missing_module_or_name_fails_on_its_line(self):
        lines = set()
        for path, names in sorted(HOST_MODULES.items()):
            outcome = self.agree(changes={path: None}).outcomes[0]
            lines.add(line_of(outcome))
            for name in names:
                if not (path == "Tools.Directories" or name.startswith("_")):
                    outcome = self.agree(changes={path: {name: None}}).outcomes[0]
                    self.assertEqual(outcome[1][1], "ImportError")
                    lines.add(line_of(outcome))
        self.assertEqual(sorted(lines), [line for line in range(8, 31) if line != 27])

    def test_a_missing_standard_module_or_name_fails_on_its_line(self):
        minidom = xml.dom.minidom
        for module, name, line in (
                (os, "path", 27), (os, "remove", 27), (xml, None, 31), (xml.dom, None, 31),
                (minidom, None, 31), (minidom, "Node", 32), (cPickle, None, 33),
                (cPickle, "dump", 33), (cPickle, "load", 33), (urllib2, None, 34)):
            outcome = self.agree(hidden={module.__name__: name}).outcomes[0]
            self.assertEqual((outcome[0], line_of(outcome)), ("ImportError", line), module)

    def test_each_failing_operation(self):
        operations = len(self.agree().log)
        self.assertGreater(operations, 60)
        for fail_at, kind in itertools.product(sampled(range(1, operations + 1)), range(2)):
            error = ERRORS[(fail_at * 2 + kind) % len(ERRORS)]
            self.agree(fail_at=fail_at, error=error, in_handler=bool((fail_at + kind) % 2))

    def test_star_import_honours_all_and_leading_underscores(self):
        for names in ({"__all__": ["fileExists", "_private"]}, {"__all__": ("resolveFilename",)},
                      {"__all__": ["missing"]}, {"__all__": 3}, {"__all__": []}, {"header": 1},
                      {"__all__": [1]}, {"__all__": "ab"},
                      {"_": 1, "__x": 2, "x_": 3, "vumodel": "x", "Screen": 5, "open": 1},
                      {"str": 5}, {"mkdir": 1, "system": 2}):
            self.agree(changes={"Tools.Directories": names})

    def test_the_version_and_the_model_make_the_header(self):
        for version in ("4.1", u"4.1", None):
            for model in ("duo", "duo4kse", u"zero", "other", None):
                self.agree(changes={
                    "enigma": {"getZirkVersionString": lambda: version},
                    "Tools.HardwareInfoVu": {"HardwareInfoVu": hardware(model)}})

    def test_the_metaclass_of_the_screen_makes_the_classes(self):
        class Meta(type):
            def __new__(mcs, name, bases, names):
                recording.note("class", name, bases, names["__module__"], sorted(
                    member for member in names if member == "__init__" or member[:2] != "__"))
                return type.__new__(mcs, name, bases, names)
        base = Meta("Screen", (dict,), {"__module__": "host"})
        log = self.agree(changes={"Screens.Screen": {"Screen": base}}).log
        self.assertEqual([entry[1][0][1] for entry in log if entry[0] == "class"],
                         ["AllNews", "ZirkUpdateInfo"])

    def test_a_screen_class_that_cannot_be_a_base_fails_on_the_class_line(self):
        for base in (None, 5, "text", recording.translate, object(), bool, types.ModuleType,
                     twins.OldStyleError, recording.MessageBox):
            self.agree(changes={"Screens.Screen": {"Screen": base}}
                       if base is not None else {"Screens.Screen": None})

    def test_inside_a_package_its_own_modules_come_first(self):
        loads = [lambda: twins.load_in_package(twins.load_model),
                 lambda: twins.load_in_package(twins.load_module)]
        operations = len(self.agree(loads).log)
        beside = {"plugins.UpgradeZirk": {"UpdatePlugin": recording.ChoiceBox}}
        self.assertIn(("UpdatePlugin", ("class", recording.__name__, "ChoiceBox"),
                       recording.__name__), self.agree(loads, changes=beside).outcomes[2][1])
        self.agree(loads, changes={"UpgradeZirk": None})
        self.agree(loads, changes=dict(beside, UpgradeZirk=None))
        for fail_at in sampled(range(1, operations + 1, 3)):
            self.agree(loads, fail_at=fail_at, error=ERRORS[fail_at % len(ERRORS)])


def hardware(model):
    class HardwareInfoVu(object):
        def get_device_name(self):
            return model
    return HardwareInfoVu


if __name__ == "__main__":
    unittest.main()
