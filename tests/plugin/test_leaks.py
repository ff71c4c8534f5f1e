"""The module gives back all that it takes, whichever operation of the host fails.

Debug interpreters look at all references and bytes (see tests/support/leaks.py). Elsewhere these
tests look at what their interpreter can count, and at the memory that long texts take.
"""

import ctypes
import gc
import imp
import os
import shutil
import sys
import unittest
import weakref

from tests.support import leaks, recording, scenarios, twins
from tests.support.importing import record_import
from tests.support.receiver import BLUE, CACHE, ReceiverTest, document, entry
from tests.support.sampling import sampled

import Screens.Screen

MEGABYTE = 1 << 20


class Walks(unittest.TestCase):
    """The module alone goes through what the comparisons with the model go through."""

    def check(self, scenario, ways=({},)):
        """Run a scenario in all these ways of `twins.run`."""
        module = twins.module().module
        watched = [value for owner in (module, module.AllNews, module.ZirkUpdateInfo)
                   for value in vars(owner).values()]

        def attempt():
            for how in ways:
                twins.run(twins.module(), scenario, details=False, **how)
        loss = leaks.loss(attempt, watched)
        if loss is not None:
            for how in ways if len(ways) > 1 else ():
                self.check(scenario, [how])  # tells which it is
            self.fail("%s, %s: %s" % (scenario.__name__, map(twins.describe_how, ways), loss))

    def test_of_every_statement_leave_nothing_whatever_fails(self):
        for scenario in scenarios.STATUSES:
            self.check(scenario)
        for scenario in scenarios.FIXED:
            self.check(scenario, [{}] + [
                dict(fail_at=fail_at, error=errors[fail_at % len(errors)],
                     in_handler=bool(fail_at % 2))
                for fail_at, errors in twins.failing_operations(scenario)])

    def test_of_generated_inputs_leave_nothing(self):
        for scenario in scenarios.GENERATED:
            self.check(scenario, [dict(seed=seed) for seed in sampled(range(20))])

    def test_of_wrong_arguments_leave_nothing(self):
        def scenario(case):
            scenarios.wrong_arguments(case)
            case.replace(open=globals)
            case.call("load_cache")
        self.check(scenario)

    def test_without_builtins_leave_nothing(self):
        for scenario in scenarios.FUNCTIONS:
            self.check(scenario, [dict(replaced="__builtins__", by=None)])

    def test_of_failing_imports_leave_nothing(self):
        directory = twins.directory_for_copies()
        self.addCleanup(shutil.rmtree, directory)
        path = os.path.join(directory, "Kelvaro.so")
        shutil.copy(twins.MODULE, path)

        def check(error, **how):
            def attempt():
                return record_import(lambda: imp.load_dynamic("Kelvaro", path), **how)
            self.assertEqual(attempt().outcomes[0][0], error)
            self.assertIsNone(leaks.loss(attempt, watched), how)
        watched = [value for names in recording.HOST_MODULES.values() for value in names.values()]
        operations = len(record_import(twins.load_model).log)
        self.assertGreater(operations, 60)
        for fail_at in sampled(range(1, operations)) + [operations]:  # when functions are there
            check("InjectedRuntimeError", fail_at=fail_at)
        check("TypeError", changes={"Screens.Screen": {"Screen": 5}})


class Freed(ReceiverTest):
    """What is given up is freed, at once or with the garbage."""

    def assertFreed(self, *references):
        sys.exc_clear()
        gc.collect()
        self.assertEqual([reference() for reference in references], [None] * len(references))

    def test_are_closed_screens_their_timers_and_consoles(self):
        self.install_opkg(BLUE)
        browser = weakref.ref(self.open_news())
        timer = weakref.ref(browser().delayTimer)
        for end in (lambda: None, self.box.settle):  # the command is killed, or has ended
            self.box.press("ok", "blue")
            detail, console = weakref.ref(self.box.screen), weakref.ref(self.box.screen.Console)
            end()
            self.box.press("red")
            self.assertFreed(detail, console)
        self.assertIsNotNone(browser())
        self.box.press("red")
        self.assertFreed(browser, timer)

    def test_are_screens_that_could_not_be_made(self):
        made = []

        def note(screen, session):
            made.append(weakref.ref(screen))
            original(screen, session)
        original = self.box.patch(Screens.Screen.Screen, "__init__", note)
        self.open_news()
        os.remove(CACHE)
        self.assertFails(IOError, ["AllNews.runMenuEntry:339", "ZirkUpdateInfo.__init__:362",
                                   "load_cache:99"], self.box.press, "ok")
        self.assertEqual(len(made), 2)
        self.assertFreed(made[1])

    def test_are_notifiers_and_what_their_bound_methods_keep(self):
        notifier = self.module.UpdateNotification()
        reference = weakref.ref(notifier)
        method = notifier.setSession
        del notifier
        method(1, 2)
        self.assertEqual(vars(reference()), {"session": 1, "plugin_path": 2})
        del method
        self.assertIsNone(reference())

    @leaks.once("a module stays loaded")
    def test_are_the_functions_and_classes_of_a_failed_import(self):
        references = {}

        class Meta(type):
            def __init__(cls, name, bases, namespace):
                type.__init__(cls, name, bases, namespace)
                if name == "ZirkUpdateInfo":
                    for other in ("parse_xml", "newsURL", "AllNews"):
                        references[other] = weakref.ref(getattr(sys.modules["Kelvaro"], other))
                    raise KeyError("host")
        self.boot(fresh=True, load=False, plugin_package=False)
        self.box.patch(Screens.Screen, "Screen", Meta("Screen", (dict,), {}))
        self.assertFails(KeyError, ["init Kelvaro:351"], self.box.load)
        self.assertFreed(*references.values())
        self.assertEqual(len(references), 3)


class LongTexts(ReceiverTest):
    """A text that is kept each time shows in the memory where it is long."""

    text = "long " * (MEGABYTE // 10)

    news = document(entry("First", "urgent", [("item", [text])]), entry("Second", text))
    statistics = "EXTENSIONS\nfoo;%s\n" % text

    @leaks.once("it repeats itself")
    def test_are_not_kept(self):
        listing = "a - 1 - 2\nb - %s\n" % self.text * 2
        notifier = self.module.update_notification
        self.install_opkg(listing, installed=self.text.replace(" ", "-") + "\n")
        self.replace(getZirkVersionString=lambda: self.text)
        self.draw_no_texts()

        def round_of_everything():
            self.module.getHeader()
            self.module.newsURL(self.text)
            self.open_news()
            self.box.press("ok", "left", "right", "yellow", "blue")
            self.box.settle()
            self.box.press("blue", "red", "yellow", "ok", "cancel", "cancel", "red")
            notifier.setSession(self.box.session, "/path")
            notifier.init_timer()
            notifier.opkg_upgrade_finished(listing[:-1] + " ", 0)
            self.box.settle()
            self.box.answer(True)
            self.box.press("red")
            self.assertIsNone(self.box.screen)
            sys.exc_clear()
            gc.collect()

        # Have the C library give back what is as long as that as soon as it is free.
        ctypes.CDLL(None).mallopt(-3, 1 << 17)
        for _ in range(2):
            round_of_everything()
        before = leaks.memory()
        for _ in range(4):
            round_of_everything()
        self.assertLess(leaks.memory() - before, MEGABYTE)
