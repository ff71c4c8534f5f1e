# -*- coding: utf-8 -*-
"""Nothing is left behind by screens and checks, however often they come."""

import collections
import errno
import gc
import os
import sys
import threading
import time
import unittest
import weakref

from tests.support.balance import memory
from tests.support.receiver import BLUE, CACHE, ReceiverTest, document, entry

from Components.Console import Console
from Screens.MessageBox import MessageBox
from Screens.Screen import Screen

WARM_UP = 5  # rounds: caches of the interpreter and of the host fill
SMALL = [None, True, False, NotImplemented, (), "", u"", "\n", 0, 1, 2, 3, -1]


class LeakTest(ReceiverTest):

    statistics = "EXTENSIONS\nfoo;12\nSYSTEMPLUGINS\nbaz;5\nSKINS\nbar-hd;3\nnone\n"

    def setUp(self):
        self.threads = threading.active_count()
        ReceiverTest.setUp(self)
        self.notifier = self.module.update_notification
        self.install_opkg(BLUE, installed="enigma2-plugin-skin-bar-hd - 1\n")

    def tidy(self):
        """Drop what the simulator and the feed server note down, and all garbage."""
        for notes in (self.box.commands, self.box.errors, self.feed.requests):
            del notes[:]
        vars(self.notifier).clear()
        deadline = time.time() + 10
        while threading.active_count() > self.threads:  # the server's connections end
            self.assertLess(time.time(), deadline, "a connection stays open")
            time.sleep(0.001)
        sys.exc_clear()
        gc.collect()

    def counts(self):
        """How many there are of each kind: objects by type, references to what is everywhere."""
        self.tidy()
        counts = collections.Counter("object of type " + type(one).__name__
                                     for one in gc.get_objects())
        for name, value in vars(self.module).items():
            counts["reference to " + name] = sys.getrefcount(value)
        for value in SMALL:
            counts["reference to %r" % (value,)] = sys.getrefcount(value)
        # As floats, which no other object shares: small integers are among what is counted.
        return dict((name, float(count)) for name, count in counts.items())

    def exact(self):
        return {
            "descriptors": sorted(os.listdir("/proc/self/fd")),
            "timers": self.box.timers(),
            "screens": len(self.box.stack),
            "notifications": self.box.notifications,
        }

    def assertFlat(self, one_round, rounds=25):
        """Rounds leave objects, references, descriptors, timers and children as they were."""
        for _ in range(WARM_UP):
            one_round()
        before, exact = self.counts(), self.exact()
        for _ in range(rounds):
            one_round()
        after = self.counts()
        self.assertEqual(self.exact(), exact)
        # Measuring itself moves a few; what every round leaves or takes moves by all the rounds.
        moved = dict((name, after.get(name, 0) - before.get(name, 0))
                     for name in set(before) | set(after)
                     if abs(after.get(name, 0) - before.get(name, 0)) >= rounds)
        self.assertFalse(moved, "%d rounds moved %r" % (rounds, moved))
        with self.assertRaises(OSError) as caught:
            os.waitpid(-1, os.WNOHANG)
        self.assertEqual(caught.exception.errno, errno.ECHILD)


class Rounds(LeakTest):

    def test_of_the_browser(self):
        def one_round():
            self.box.open_news()
            self.box.pass_time(0.1)
            self.assertEqual(len(self.box.rows()), 3)
            self.box.press("down", "up", "green", "cancel", "red")
        self.assertFlat(one_round)

    def test_of_a_browser_that_closes_before_its_news_come(self):
        def one_round():
            self.box.open_news()
            self.box.press("cancel")
            self.box.pass_time(1)
        self.assertFlat(one_round)

    def test_of_the_detail_screen(self):
        def one_round():
            self.open_news()
            self.box.press("ok", "left", "left", "left", "right", "yellow", "pageDown", "up", "red")
            self.box.press("ok", "green", "cancel", "red", "red")
        self.assertFlat(one_round)

    def test_of_the_updates_view(self):
        def one_round():
            self.open_news()
            self.box.press("blue")
            self.box.settle()
            self.assertIn("Package :", self.box.text("update"))
            self.box.press("yellow", "blue", "red", "red")
        self.assertFlat(one_round)

    def test_of_an_updates_view_that_closes_while_opkg_runs(self):
        def one_round():
            self.open_news()
            self.box.press("blue", "red")
            self.box.press("ok", "blue", "blue", "red")
            self.settle_all()
            self.box.press("red")
        self.assertFlat(one_round)

    def settle_all(self):
        """Wait for what runs on a runner that was replaced; its callback finds no screen."""
        while self.box.running:
            try:
                self.box.settle()
            except AttributeError:
                pass

    def test_of_top_20(self):
        def one_round():
            self.open_news()
            self.box.press("yellow")
            for category in ("Extensions", "Systemplugins", "Skins"):
                self.box.choose(category)
                self.box.press("cancel")
            self.box.choose("Skins")
            self.box.press("ok")
            self.box.settle()
            self.box.press("ok", "cancel", "red")
            self.assertIsNone(self.box.screen)
        self.assertFlat(one_round)

    def test_of_checks_with_both_answers_and_in_silence(self):
        usage = self.box.config.usage

        def one_round():
            for listing, show, yes in [("", True, None), (BLUE, True, True), (BLUE, True, False),
                                       (BLUE, False, None)]:
                usage.show_notification_for_updates.value = show
                self.install_opkg(listing)
                self.box.start_plugin()
                self.box.pass_time(60)
                if yes is not None:
                    self.box.answer(yes)
                if yes:
                    self.box.pass_time(0.1)
                    self.box.press("red")
                self.assertIsNone(self.box.screen)
        self.assertFlat(one_round, rounds=15)

    def test_of_messages(self):
        def one_round():
            for status in (404, 200):
                self.feed.fault("zirknews.xml", status=status, body="no xml")
                self.open_news()
                self.box.press("ok", "blue", "red")
        self.assertFlat(one_round)


class Freed(LeakTest):

    def assertFreed(self, *references):
        self.tidy()
        self.assertEqual([reference() for reference in references], [None] * len(references))

    def test_are_closed_screens_and_their_timers(self):
        browser = weakref.ref(self.open_news())
        timer = weakref.ref(browser().delayTimer)
        self.box.press("ok")
        detail = weakref.ref(self.box.screen)
        self.box.press("red")
        self.assertFreed(detail)
        self.assertIsNotNone(browser())
        self.box.press("red")
        self.assertFreed(browser, timer)

    def test_is_a_screen_whose_command_was_killed(self):
        self.install_opkg(hang="update")
        self.open_news()
        self.box.press("blue")
        detail = weakref.ref(self.box.screen)
        self.box.press("red")
        self.assertFreed(detail)

    def test_is_a_screen_whose_command_ended(self):
        self.open_news()
        self.box.press("blue")
        self.box.settle()
        detail = weakref.ref(self.box.screen)
        console = weakref.ref(detail().Console)
        self.box.press("red")
        self.assertFreed(detail, console)

    def test_are_screens_that_could_not_be_made(self):
        made = []

        def note(screen, session):
            made.append(weakref.ref(screen))
            return original(screen, session)
        original = Screen.__init__
        self.box.patch(Screen, "__init__", note)
        self.open_news()
        os.remove(CACHE)
        self.assertFails(IOError, ["AllNews.runMenuEntry:339", "ZirkUpdateInfo.__init__:362",
                                   "load_cache:99"], self.box.press, "ok")
        self.assertEqual(len(made), 2)
        self.assertFreed(made[1])

    def test_are_choosers_installers_and_boxes(self):
        self.open_news()
        seen = []
        self.box.press("yellow")
        seen.append(weakref.ref(self.box.screen))
        self.box.choose("Skins")
        seen.append(weakref.ref(self.box.screen))
        self.box.press("ok")
        seen.append(weakref.ref(self.box.screen))
        self.box.settle()
        self.box.press("ok", "cancel")
        self.assertFreed(*seen)

    def test_are_the_question_and_earlier_runners_of_the_notifier(self):
        self.box.start_plugin()
        self.box.pass_time(60)
        self.assertIsInstance(self.box.screen, MessageBox)
        question = weakref.ref(self.box.screen)
        console = weakref.ref(self.notifier.Console)
        self.box.answer(False)
        self.box.hold()
        self.box.pass_time(24 * 3600)
        self.assertIsInstance(self.notifier.Console, Console)
        gc.collect()
        self.assertIsNone(question())
        self.assertIsNone(console())

    def test_are_subclasses_and_their_screens(self):
        class Mine(self.module.AllNews):
            pass
        references = [weakref.ref(Mine), weakref.ref(self.open_screen(Mine, "/path"))]
        self.box.press("red")
        del Mine
        self.assertFreed(*references)


class Memory(LeakTest):
    """Long texts show what counting objects cannot: strings are none of the collector's."""

    text = "long " * 40000  # 200 kB

    news = document(entry("First", "urgent", [("item", [text])]), entry("Second"))

    def test_does_not_grow_with_long_texts(self):
        listing = "a - 1 - 2\n" + "b - %s\n" % self.text * 2
        self.serve("SKINS\nfoo;%s\n" % self.text, "zirkdlstat.txt")
        self.install_opkg(listing, installed="x" * 200000 + "\n")

        def one_round():
            self.open_news()
            self.box.press("ok", "left", "right", "yellow", "blue")
            self.box.settle()
            self.box.press("blue", "red", "yellow", "ok", "cancel", "cancel", "red")
            self.notifier.setSession(self.box.session, "/path")
            self.notifier.init_timer()
            self.notifier.opkg_upgrade_finished(listing[:-1] + " ", 0)
            self.box.settle()
            self.box.answer(True)
            self.box.press("red")
        for _ in range(8):
            one_round()
        self.tidy()
        before = memory()
        for _ in range(40):
            one_round()
        self.tidy()
        # A single text of the round that stays each time is 8 MB.
        self.assertLess(memory() - before, 4 * 1024 * 1024)


if __name__ == "__main__":
    unittest.main()
