"""The module and its model agree: operation by operation, failure by failure, name by name.

Both run the same scenarios on a host that notes every operation (`recording`). A difference
prints the scenario with its seed and failure; `twins.run` repeats it.
"""

import __builtin__
import contextlib
import inspect
import itertools
import os
import random
import re
import sys
import types
import unittest
import warnings

from tests.receiver import recording, scenarios, twins
from tests.receiver.recording import HOST_MODULES, HostModules, Recorder, function
from tests.receiver.twins import Comparison, ERRORS, Twin

SEEDS = range(120)
ARGUMENT_SEEDS = range(60)

_twins = {}


def setUpModule():
    # Comparisons of odd texts warn, and name a line of the implementation's own file.
    warnings.simplefilter("ignore", UnicodeWarning)
    _twins["model"] = Twin(twins.load_model)
    _twins["module"] = Twin(twins.load_module)


def tearDownModule():
    _twins.clear()
    warnings.resetwarnings()


def comparison():
    return Comparison(_twins["model"], _twins["module"])


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


class Agreement(unittest.TestCase):
    """Base: each test works with a comparison of its own and may not find a difference."""

    def setUp(self):
        self.comparison = comparison()

    def tearDown(self):
        leak = self.comparison.leak()
        if leak is not None and sys.exc_info()[0] is None:
            self.fail(leak)

    def agree(self, text):
        if text is not None:
            self.fail(text)


def add_tests(case, name, scenario_list, body):
    """Give the test case a test `name % scenario` for each scenario."""
    for scenario in scenario_list:
        def test(self, scenario=scenario):
            body(self, scenario)
        test.__name__ = name % re.sub(r"\W+", "_", scenario.__name__)
        setattr(case, test.__name__, test)


class FailuresAgree(Agreement):
    """Every operation of every walk fails in turn, with errors of changing kinds."""


def every_operation_fails(self, scenario):
    self.agree(self.comparison.failures(scenario))


add_tests(FailuresAgree, "test_each_failing_operation_of_%s", scenarios.FIXED,
          every_operation_fails)


class GeneratedAgree(Agreement):
    """Generated inputs, host answers and call orders, in both default encodings."""


def generated_cases(self, scenario):
    for encoding in ("ascii", "utf-8"):
        with default_encoding(encoding):
            for seed in SEEDS:
                self.agree(self.comparison.case(scenario, seed=seed))
                self.agree(self.comparison.case(
                    scenario, seed=seed, fail_at=1 + seed * 7 % 90,
                    error=ERRORS[seed % len(ERRORS)], in_handler=bool(seed % 2)))


add_tests(GeneratedAgree, "test_%s", scenarios.GENERATED, generated_cases)


def global_names():
    """The names that the model's functions look up in the module and the builtins."""
    names = set()
    for function_ in model_functions().values():
        names.update(function_.__code__.co_names)
    known = set(_twins["model"].pristine) | set(recording.SUBSTITUTES) | set(vars(__builtin__))
    # True and False are looked up too, but no one replaces them.
    return sorted(name for name in names & known
                  if name not in ("True", "False") and not name.startswith("__"))


def model_functions():
    """Full name -> function of everything that the model defines."""
    found = {}
    for name, thing in _twins["model"].pristine.items():
        if isinstance(thing, types.FunctionType) and thing.__module__ == "Kelvaro":
            found[name] = thing
        elif isinstance(thing, (type, types.ClassType)) and thing.__module__ == "Kelvaro":
            for method_name, method in vars(thing).items():
                if isinstance(method, types.FunctionType):
                    found[name + "." + method_name] = method
    return dict((name, thing) for name, thing in found.items() if not name.startswith("__os"))


class NamesAgree(Agreement):
    """Any name can be missing or replaced, in the module's namespace and in the builtins."""

    def test_missing_names(self):
        for name in global_names():
            for scenario in scenarios.FIXED:
                self.agree(self.comparison.case(scenario, without=name))

    def test_names_bound_to_something_that_cannot_be_used(self):
        for name in global_names():
            for scenario in scenarios.FIXED:
                self.agree(self.comparison.case(scenario, replaced=name, by=None))

    def test_builtins_replaced_in_the_module(self):
        for name, replacement in (
                ("str", function("str", lambda thing: u"[%s]" % (thing,))),
                ("len", function("len", lambda thing: len(thing) + 1))):
            for scenario in scenarios.FIXED:
                self.agree(self.comparison.case(scenario, replaced=name, by=replacement))

    def test_exceptions_replaced_in_the_module(self):
        for scenario in (scenarios.cache_is_written_to_a_new_directory,
                         scenarios.detail_opens_with_updates, scenarios.detail_shows_news):
            for name, replacement in (("Exception", KeyError), ("Exception", None),
                                      ("OSError", (RuntimeError, KeyboardInterrupt)),
                                      ("OSError", "no class")):
                self.agree(self.comparison.failures(
                    scenario, kinds=3, replaced=name, by=replacement))

    def test_names_of_the_module_itself_replaced(self):
        replacements = {
            "header": u"unicode ", "vumodel": u"uno4kse", "cache_file": u"/tmp/.updatecache",
            "packagetmpfile": u"/tmp/.package.tmp", "packageinstalledfile": u"/tmp/.installed",
            "AllNews": "another", "ZirkUpdateInfo": "another",
            "newsURL": function("newsURL", u"http://other/"),
            "getInstalled": function("getInstalled", ("a",)),
            "skip_entry": function("skip_entry", lambda entry: 0),
            "write_cache": function("write_cache"),
            "load_cache": function("load_cache", lambda: list(scenarios.NEWS)),
            "getDownloadStats": function("getDownloadStats", "SKINS\na;1"),
            "parse_xml": function("parse_xml", 3),
            "_": function("_", lambda text: unicode(text)),
        }
        for name, replacement in sorted(replacements.items()):
            for scenario in scenarios.FIXED:
                self.agree(self.comparison.case(scenario, replaced=name, by=replacement))

    def test_system_and_mkdir_come_from_os_when_no_name_is_bound(self):
        saved = os.system, os.mkdir
        os.system = recording.run_recorded_command
        os.mkdir = recording.make_recorded_directory
        try:
            for name in ("system", "mkdir"):
                for scenario in scenarios.FIXED[:7]:
                    self.agree(self.comparison.failures(scenario, without=name))
        finally:
            os.system, os.mkdir = saved


class ArgumentsAgree(Agreement):
    """Too few, too many, doubled, unknown and odd arguments, however a function is reached."""

    def arguments(self, rng, names):
        """Random positional and keyword arguments for a function with these parameters."""
        positional = [rng.choice([None, 0, "", "text", ("x", "skins")])
                      for _ in range(rng.randint(0, len(names) + 2))]
        keywords = {}
        for _ in range(rng.choice([0, 0, 1, 1, 2, 3])):
            keywords[rng.choice(names + ["unknown", u"f_name", u"\xe4", 1, None])] = rng.choice(
                [None, 0, "text"])
        return positional, keywords

    def compare(self, reach, name, seed):
        def scenario(case):
            names = inspect.getargspec(model_functions()[name]).args
            positional, keywords = self.arguments(random.Random(seed), names)
            function_ = reach(case)
            case.do(lambda: function_(*positional, **keywords))
        scenario.__name__ = "%s with arguments of seed %d" % (name, seed)
        self.agree(self.comparison.case(scenario))

    def test_of_module_functions(self):
        for name in sorted(model_functions()):
            if "." not in name:
                for seed in ARGUMENT_SEEDS:
                    self.compare(lambda case: getattr(case.module, name), name, seed)

    def test_of_methods_of_an_object(self):
        def reach(case):
            class_ = getattr(case.module, class_name)
            thing = class_.__new__(class_) if isinstance(class_, type) else class_()
            return getattr(thing, method_name)
        for name in sorted(model_functions()):
            if "." in name:
                class_name, method_name = name.split(".")
                for seed in ARGUMENT_SEEDS:
                    self.compare(reach, name, seed)

    def test_of_constructors(self):
        for class_name in ("AllNews", "ZirkUpdateInfo"):
            for seed in ARGUMENT_SEEDS:
                self.compare(lambda case: getattr(case.module, class_name),
                             class_name + ".__init__", seed)
        for arguments in ((), (1,), (1, 2)):
            self.agree(self.comparison.case(
                lambda case: case.do(case.module.UpdateNotification, *arguments)))

    def test_of_methods_of_a_class(self):
        def reach(case):
            class_ = getattr(case.module, class_name)
            method = getattr(class_, method_name)
            first = random.Random(seed).choice(["own", "none", "other"])
            if first == "own":
                thing = class_.__new__(class_) if isinstance(class_, type) else class_()
                return lambda *args, **kwargs: method(thing, *args, **kwargs)
            if first == "other":
                return lambda *args, **kwargs: method("other", *args, **kwargs)
            return method
        for name in sorted(model_functions()):
            if "." in name:
                class_name, method_name = name.split(".")
                for seed in ARGUMENT_SEEDS:
                    self.compare(reach, name, seed)


class ClassesAgree(Agreement):
    """What can be seen of functions and classes, and how subclasses take part."""

    def test_functions_and_classes_look_alike(self):
        def scenario(case):
            for name in sorted(vars(case.module)):
                if not name.startswith("__"):
                    case.do(lambda: (name, getattr(case.module, name)))
            for class_ in (case.module.AllNews, case.module.ZirkUpdateInfo,
                           case.module.UpdateNotification):
                case.do(lambda: (class_.__name__, class_.__module__, class_.__bases__,
                                 type(class_)))
                names = sorted(name for name, value in vars(class_).items()
                               if callable(value) or not name.startswith("__"))
                case.do(lambda: names)
                for name in names:
                    method = getattr(class_, name)
                    case.do(lambda: (name, type(method).__name__, method.__name__,
                                     method.im_class, method.im_self, method.__module__,
                                     callable(method), re.sub("0x[0-9a-f]+", "", repr(method))))
            for name in ("getHeader", "newsURL", "parse_xml"):
                function_ = getattr(case.module, name)
                case.do(lambda: (function_.__name__, function_.__module__))
        self.agree(self.comparison.case(scenario))

    def test_bound_methods_are_equal_and_hash_alike(self):
        def scenario(case):
            one, other = case.module.UpdateNotification(), case.module.UpdateNotification()
            case.do(lambda: one.init_timer == one.init_timer)
            case.do(lambda: one.init_timer == other.init_timer)
            case.do(lambda: one.init_timer == one.check_updates)
            case.do(lambda: hash(one.init_timer) == hash(one.init_timer))
            case.do(lambda: one.init_timer.im_self is one)
            case.do(lambda: one.init_timer.im_func is other.init_timer.im_func)
            case.do(lambda: re.sub("0x[0-9a-f]+", "", repr(one.init_timer)))
        self.agree(self.comparison.case(scenario))

    def test_methods_can_be_borrowed_by_other_classes(self):
        def scenario(case):
            class New(object):
                plain = case.module.__dict__["newsURL"]
                borrowed = vars(case.module.AllNews)["setMenuIndex"]

            class Old:
                borrowed = vars(case.module.ZirkUpdateInfo)["nextUpdate"]
            case.do(lambda: New().borrowed(3))
            case.do(lambda: New().plain())
            case.do(lambda: New.borrowed())
            case.do(lambda: Old().borrowed())
            case.do(lambda: Old.borrowed())
        self.agree(self.comparison.case(scenario))

    def test_every_overridden_method_is_honoured(self):
        walks = [("AllNews", scenarios.browser_shows_news),
                 ("AllNews", scenarios.popular_packages),
                 ("ZirkUpdateInfo", scenarios.detail_shows_news),
                 ("ZirkUpdateInfo", scenarios.detail_opens_with_updates),
                 ("ZirkUpdateInfo", scenarios.detail_lists_updates)]
        for class_name, walk in walks:
            names = [name.split(".")[1] for name in model_functions()
                     if name.startswith(class_name) and "__init__" not in name]
            for name in sorted(names):
                def scenario(case):
                    class_ = getattr(case.module, class_name)
                    override = recording.operation(name, "overridden")
                    case.replace(**{class_name: type("Sub", (class_,), {name: override})})
                    walk(case)
                scenario.__name__ = "%s with %s overridden" % (walk.__name__, name)
                self.agree(self.comparison.failures(scenario, kinds=1, step=23))


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
        recorder.outcomes.append("Kelvaro" in sys.modules)
        with recorder:
            recorder.fail_at = 0
            if module is not None:
                names = vars(module)
                recorder.outcomes.append([(name, recorder.describe(names[name]))
                                          for name in sorted(names) if name[:2] != "__"])
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
                   if entry[0] == "Kelvaro"]
        recorder.outcomes.append((kind.__name__, recorder.describe(value), entries))
        return None
    recorder.outcomes.append(recorder.describe_state(sys.exc_info()) is None)
    return module


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

    def agree(self, **how):
        expected = record_import(twins.load_model, **how)
        found = record_import(twins.load_module, **how)
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
            lines.add(outcome[2][-1][2])
            for name in names:
                if not (path == "Tools.Directories" or name.startswith("_")):
                    outcome = self.agree(changes={path: {name: None}}).outcomes[0]
                    self.assertEqual(outcome[1][1], "ImportError")
                    lines.add(outcome[2][-1][2])
        self.assertEqual(sorted(lines), [line for line in range(8, 31) if line != 27])

    def test_a_missing_standard_module_or_name_fails_on_its_line(self):
        for path, name, line in (
                ("os", "path", 27), ("os", "remove", 27), ("xml", None, 31), ("xml.dom", None, 31),
                ("xml.dom.minidom", None, 31), ("xml.dom.minidom", "Node", 32),
                ("cPickle", None, 33), ("cPickle", "dump", 33), ("cPickle", "load", 33),
                ("urllib2", None, 34)):
            outcome = self.agree(hidden={path: name}).outcomes[0]
            self.assertEqual((outcome[0], outcome[2][-1][2]), ("ImportError", line), path)

    def test_each_failing_operation(self):
        operations = len(self.agree().log)
        self.assertGreater(operations, 60)
        for fail_at, kind in itertools.product(range(1, operations + 1), range(2)):
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

    def test_a_screen_class_that_cannot_be_a_base_fails_on_the_class_line(self):
        for base in (None, 5, "text", recording.translate, object(), bool, types.ModuleType,
                     twins.OldStyleError, recording.MessageBox):
            self.agree(changes={"Screens.Screen": {"Screen": base}}
                       if base is not None else {"Screens.Screen": None})


def hardware(model):
    class HardwareInfoVu(object):
        def get_device_name(self):
            return model
    return HardwareInfoVu


# Ways of being wrong that the comparison must find: text of the model, and what to put there.
MISTAKES = [
    ('"Zirk " + imageversion', '"Zirk" + imageversion'),
    ('"zero)\\n"', '"Zero)\\n"'),
    ('elif vumodel == "duo2"', 'elif vumodel == "duo3"'),
    ("fd.read().splitlines()", 'fd.read().split("\\n")'),
    ("        remove(packageinstalledfile)\n", "        pass\n"),
    ('"w")\n    dump', '"wb")\n    dump'),
    ("dump(cache_data, fd, -1)", "dump(cache_data, fd, 2)"),
    ("except OSError:", "except EnvironmentError:"),
    ('.strip("src/gz Zirk-all ")', '.replace("src/gz Zirk-all ", "")'),
    ("    url = url.strip()\n", "    url = url.rstrip()\n"),
    ('url.replace("all", f_name)', 'url.replace("all", f_name, 1)'),
    ("vumodel not in require", "vumodel not in [key.strip() for key in require]"),
    ("if require and vumodel", 'if require != [""] and vumodel'),
    ("url, None, 5.0", "url, None, 5"),
    ("    except urllib2.HTTPError:\n        return 2\n", "    except KeyError:\n        return 2\n"),
    ("    except urllib2.URLError:\n        return 3\n",
     "    except EnvironmentError:\n        return 3\n"),
    ('        update_type = "normal"', '        update_type = u"normal"'),
    ("title[0].firstChild", "title[-1].firstChild"),
    ("topic.firstChild and not skip_entry(topic)", "not skip_entry(topic) and topic.firstChild"),
    ("    xmldoc.unlink()\n    write_cache(list)", "    write_cache(list)\n    xmldoc.unlink()"),
    ('self.skinName = ["AllNews", "BackupSuite"]', 'self.skinName = ("AllNews", "BackupSuite")'),
    ("        self.skin_path = plugin_path\n        self.session = session\n",
     "        self.session = session\n        self.skin_path = plugin_path\n"),
    ('StaticText(_("Top 20"))', 'StaticText("Top 20")'),
    ('self["menu"] = List(self.list)', 'self["menu"] = List(list(self.list))'),
    ("}, -2)", "}, -1)"),
    ('"red": self.keyCancel', '"red": self.greenKey'),
    ("        if stats is None:", "        if not stats:"),
    ('stats.split("\\n")', "stats.splitlines()"),
    ("if len(fields) < 2", "if len(fields) < 3"),
    ("fields[0].title()", "fields[0].capitalize()"),
    ("str(count)", "str(count).strip()"),
    ("keys=False", "keys=[]"),
    ("ret is None or len(ret) != 2", "not ret or len(ret) != 2"),
    ('ret[1].replace("_install", "")', 'ret[1][:-len("_install")]'),
    ("(100, True)", "(100, 1)"),
    ("        self.delayTimer.start(100, True)\n"
     "        self.delayTimer.callback.append(self.createMenu)\n",
     "        self.delayTimer.callback.append(self.createMenu)\n"
     "        self.delayTimer.start(100, True)\n"),
    ("kind = str(entry[2])", "kind = entry[2]"),
    ("        if code > 1:\n            self", "        if code in (2, 3):\n            self"),
    ("timeout=30", "timeout=30.0"),
    ("if idx or len(self.list) != 0", "if len(self.list) != 0"),
    ("ZirkUpdateInfo, idx, show_upgradable)", "ZirkUpdateInfo, idx or 0, show_upgradable)"),
    ("for path in (packagetmpfile, cache_file)", "for path in (cache_file, packagetmpfile)"),
    ("        self.session = session\n        Screen.__init__(self, session)\n",
     "        Screen.__init__(self, session)\n        self.session = session\n"),
    ("        except:\n", "        except Exception:\n"),
    ("        except Exception:\n", "        except:\n"),
    ('"nextEvent": self.prevUpdate', '"nextEvent": self.nextUpdate'),
    ("        if show_upgradable:", "        if show_upgradable is True:"),
    ('        elif self.what == "header":', "        else:"),
    ("self.idx + 1 < len(self.list)", "self.idx < len(self.list)"),
    ("if self.idx != 0", "if self.idx > 0"),
    ("if self.Console is not None", "if self.Console"),
    ("        self.list = None\n        self.close(self.idx)\n",
     "        self.close(self.idx)\n        self.list = None\n"),
    ('str(item[0])', 'str(item[0] or "")'),
    ('"    - "', '"   - "'),
    ("return str(text)", "return text"),
    ("result=None, retval=0", "None, 0"),
    ("oldversion = parts[1].strip()", "oldversion = parts[1]"),
    ('                if name == "":', '                if newversion == "":'),
    ("len(parts) < 3", "len(parts) != 3"),
    ('result.split("\\n", 10)', 'result.split("\\n")'),
    ('result.split("\\n", 10)', 'result.split("\\n", 9)'),
    (">= 3", "> 3"),
    ("* 1000 * 3600", "* 3600000"),
    ("check_for_updates.value > 0", "check_for_updates.value"),
    ("timeout=0)", "timeout=-1)"),
    ("self.show_Kelvaro(res=None)", "self.show_Kelvaro(None)"),
    ('"w+"', '"w"'),
    ("        if res:", "        if res is True:"),
    ("(60000, True)", "(6000, True)"),
    ("ret=None):", "ret):"),
    ('f_name="zirknews.xml"', 'f_name=u"zirknews.xml"'),
]


class ComparisonFinds(unittest.TestCase):
    """The comparison can fail: wrong models are told from the right one."""

    def test_no_difference_between_the_model_and_itself(self):
        comparison_ = Comparison(_twins["model"], Twin(twins.load_model))
        for scenario in scenarios.FIXED + scenarios.GENERATED:
            self.assertIsNone(comparison_.case(scenario))

    def test_each_mistake(self):
        missed = [change for change in MISTAKES if not self.is_found(change)]
        self.assertEqual([], missed, "\n".join(map(repr, missed)))

    def is_found(self, change):
        wrong = Comparison(_twins["model"], Twin(lambda: twins.load_model(change)))
        for scenario in scenarios.FIXED:
            if wrong.case(scenario) is not None:
                return True
        for encoding in ("ascii", "utf-8"):
            with default_encoding(encoding):
                for scenario, seed in itertools.product(scenarios.GENERATED, SEEDS[:30]):
                    if wrong.case(scenario, seed=seed) is not None:
                        return True
        return any(wrong.failures(scenario) is not None for scenario in scenarios.FIXED)

    def test_a_leak(self):
        kept = []

        def leaking(case):
            widget = recording.Label()
            if case.module is leaky.module:
                kept.append(widget)
        leaky = Twin(twins.load_model)
        self.assertIsNotNone(
            [comparison_.case(leaking) or comparison_.leak()
             for comparison_ in [Comparison(_twins["model"], leaky)]][0])


if __name__ == "__main__":
    unittest.main()
