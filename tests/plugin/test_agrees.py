"""The module and its model agree: operation by operation, failure by failure, name by name.

Both run the same scenarios on a host that notes every operation (`recording`). A difference
prints the scenario with its seed and failure; `twins.run` repeats it.
"""

import __builtin__
import collections
import dis
import os
import random
import re
import shutil
import tempfile
import types
import unittest

from tests.support import recording, scenarios, twins
from tests.support.model import HANDLED
from tests.support.recording import function
from tests.support.sampling import sampled
from tests.support.twins import Comparison, ERRORS, default_encoding

SEEDS = sampled(range(150))


class Agreement(unittest.TestCase):
    """Base: each test works with a comparison of its own and may not find a difference."""

    def setUp(self):
        self.comparison = Comparison()
        self.addCleanup(lambda: self.agree(self.comparison.leak()))

    def agree(self, text):
        if text is not None:
            self.fail(text)


class FailuresAgree(Agreement):
    """Every operation of every walk fails in turn, with errors of changing kinds."""

    def check(self, scenario):
        self.agree(self.comparison.case(scenario, in_handler=True))
        self.agree(self.comparison.failures(scenario, twins.failing_operations(scenario)))


twins.add_tests(FailuresAgree, "test_each_failing_operation_of_%s", scenarios.FIXED)


class GeneratedAgree(Agreement):
    """Generated inputs, host answers and call orders, in both default encodings."""

    def test_every_status_of_parse_xml(self):
        for scenario in scenarios.STATUSES:
            self.agree(self.comparison.case(scenario))

    def check(self, scenario):
        for encoding in ("ascii", "utf-8"):
            with default_encoding(encoding):
                for seed in SEEDS:
                    self.agree(self.comparison.case(scenario, seed=seed))
                    self.agree(self.comparison.case(
                        scenario, seed=seed, fail_at=1 + seed * 7 % 90,
                        error=ERRORS[seed % len(ERRORS)], in_handler=bool(seed % 2)))


twins.add_tests(GeneratedAgree, "test_%s", scenarios.GENERATED)


def walks_by_name():
    """Return pairs of a global name of the model's functions and a walk that looks it up.

    For each function that has the name it is the first walk that enters the function, and one in
    ONE_IN of the others.
    """
    known = set(twins.model().pristine) | set(recording.SUBSTITUTES) | set(vars(__builtin__))
    pairs = collections.OrderedDict()
    for function_ in model_functions().values():
        code = function_.__code__
        lines = set(line for _, line in dis.findlinestarts(code))
        walks = [walk for walk in scenarios.FIXED
                 if lines.intersection(line for line, _ in twins.reached(walk))]
        for name in code.co_names:
            # True and False are looked up too, but no one replaces them.
            if name in known and name not in ("True", "False", "__os_function__"):
                for walk in sampled(walks):
                    pairs[name, walk] = None
    return list(pairs)


def model_functions():
    """Full name -> function of everything that the model defines."""
    found = {}
    for name, thing in twins.model().pristine.items():
        if isinstance(thing, types.FunctionType) and thing.__module__ == "Kelvaro":
            found[name] = thing
        elif isinstance(thing, (type, types.ClassType)) and thing.__module__ == "Kelvaro":
            for method_name, method in vars(thing).items():
                if isinstance(method, types.FunctionType):
                    found[name + "." + method_name] = method
    del found["__os_function__"]
    return found


class NamesAgree(Agreement):
    """Any name can be missing or replaced, in the module's namespace and in the builtins."""

    def test_missing_names_and_names_that_cannot_be_used(self):
        for name, scenario in walks_by_name():
            self.agree(self.comparison.case(scenario, without=name))
            self.agree(self.comparison.case(scenario, replaced=name, by=None))

    def test_a_missing_translation(self):
        for name, scenario in walks_by_name():
            if name == "_":
                self.agree(self.comparison.case(scenario, without=name, translation=None))

    def test_exceptions_replaced_in_the_module(self):
        for scenario, name, replacement in (
                (scenarios.detail_opens_with_updates, "Exception", KeyError),
                (scenarios.detail_opens_with_updates, "Exception", None),
                (scenarios.cache_is_written_to_a_new_directory, "OSError", "no class"),
                (scenarios.cache_is_written_to_a_new_directory, "OSError",
                 (RuntimeError, KeyboardInterrupt))):
            handled = [(number, ERRORS) for number, (line, _)
                       in enumerate(twins.reached(scenario), 1) if line in HANDLED]
            self.agree(self.comparison.failures(
                scenario, sampled(handled[::-1]), replaced=name, by=replacement))

    def test_names_replaced_in_the_module(self):
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
            "str": function("str", lambda thing: u"[%s]" % (thing,)),
            "len": function("len", lambda thing: len(thing) + 1),
        }
        for name, scenario in walks_by_name():
            if name in replacements:
                self.agree(self.comparison.case(scenario, replaced=name, by=replacements[name]))

    def test_builtins_replaced_among_the_builtins(self):
        saved = open
        for replacement in (recording.recorded_open, None, function("open")):
            __builtin__.open = replacement
            try:
                for name, scenario in walks_by_name():
                    if name == "open":
                        self.agree(self.comparison.case(scenario, without=name))
            finally:
                __builtin__.open = saved

    def test_system_and_mkdir_come_from_os_when_no_name_is_bound(self):
        saved = os.system, os.mkdir
        os.system = recording.run_recorded_command
        os.mkdir = recording.make_recorded_directory
        try:
            for name, scenario in (
                    ("system", scenarios.FUNCTIONS[0]),
                    ("mkdir", scenarios.cache_is_written_to_a_new_directory)):
                calls = [(number, ERRORS) for number, (_, operation)
                         in enumerate(twins.reached(scenario), 1) if operation == name]
                self.agree(self.comparison.failures(scenario, calls, without=name))
        finally:
            os.system, os.mkdir = saved


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

    def test_endless_recursion_is_an_error_and_no_crash(self):
        def scenario(case):
            class_ = case.module.AllNews
            again = vars(class_)["ipkg_action_finished"]
            screen = type("Sub", (class_,), {"keyYellow": again})(recording.Session(), "/plugin")
            try:
                screen.keyYellow()
            except RuntimeError as e:
                case.recorder.outcomes.append(str(e)[:32])
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
                log = twins.run(twins.model(), scenario, details=False).log
                calls = [(number, ERRORS[:1]) for number, operation in enumerate(log, 1)
                         if operation == name]
                if calls:
                    self.agree(self.comparison.failures(scenario, calls[:2]))


class RealFilesAgree(Agreement):
    """With the interpreter's own files, pickles and os functions, in a directory of the test."""

    def setUp(self):
        Agreement.setUp(self)
        self.directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.directory)

    def case(self, body):
        """Compare a scenario in which the module's files lie in an empty directory."""
        def scenario(case):
            shutil.rmtree(self.directory)
            os.mkdir(self.directory)
            case.use_real_files(self.directory)
            recorder = case.recorder
            body(case)
            recorder.outcomes.append(sorted(os.listdir(self.directory)))
            for name in sorted(os.listdir(self.directory)):
                path = os.path.join(self.directory, name)
                if os.path.isfile(path):
                    with open(path, "rb") as result:
                        recorder.outcomes.append((name, result.read()))
        self.agree(self.comparison.case(scenario))

    def test_cache_bytes_are_equal(self):
        for seed in SEEDS:
            def body(case):
                case.call("write_cache", scenarios.news_list(random.Random(seed)))
                case.call("load_cache")
            self.case(body)

    def test_cache_that_is_no_pickle(self):
        for content in ("", "x", "\x80\x02]q\x01.", "\x80\x02", "cos\nsystem\n.", "N.rest"):
            def body(case):
                with open(os.path.join(self.directory, "cache_file"), "wb") as cache:
                    cache.write(content)
                case.call("load_cache")
            self.case(body)

    def test_cache_that_cannot_be_pickled(self):
        for data in (lambda: None, [u"a", os], [object, (i for i in "ab")]):
            self.case(lambda case: case.call("write_cache", data))

    def test_listings(self):
        for seed in SEEDS:
            def body(case):
                rng = random.Random(seed)
                with open(os.path.join(self.directory, "packagetmpfile"), "wb") as packages:
                    packages.write(scenarios.listing(rng))
                case.call("write_cache", scenarios.NEWS)
                screen = case.call("ZirkUpdateInfo", recording.Session(), 0)
                case.press(screen, "getUpdates")
                watcher = case.notifier()
                case.press(watcher, "setSession", recording.Session(), "/plugin")
                case.press(watcher, "init_timer")
                case.press(watcher, "opkg_upgrade_finished", scenarios.listing(rng), 0)
                case.press(watcher, "show_Kelvaro", rng.choice([True, False]))
                browser = case.call("AllNews", recording.Session(), "/plugin")
                case.press(browser, "keyCancel")
            self.case(body)
