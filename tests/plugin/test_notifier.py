# -*- coding: utf-8 -*-
"""The question that a found update leads to, its answers, and doing without it."""

import os
import unittest

from tests.support.receiver import BLUE, LISTING, NEWS, Broken, breaking_at, raising, read, write
from tests.plugin.test_notifier_check import COMMANDS, HOUR, NotifierTest

from Screens.MessageBox import MessageBox
from Screens.Screen import Screen
from Tools.BoundFunction import boundFunction
from enigma import eTimer

QUESTION = "There are updates available.\nDo you want to open Software Update menu ?"
SHOW = "UpdateNotification.show_Kelvaro:%d"
FINISHED = "UpdateNotification.opkg_upgrade_finished:%d"


class Question(NotifierTest):

    news = NEWS

    def test_is_asked_once_an_update_was_found(self):
        self.check(BLUE)
        self.assertIsInstance(self.box.screen, MessageBox)
        self.assertEqual(self.box.text("text"), QUESTION)
        self.assertEqual(self.box.screen.type, MessageBox.TYPE_YESNO)
        self.assertEqual(self.box.rows(), ["yes", "no"])
        self.assertIs(self.usage.update_available.value, True)
        self.assertFiles(absent=[LISTING])

    def test_has_no_time_out_and_suspends_the_checking(self):
        self.check(BLUE)
        self.assertIsNone(self.box.seconds_left)
        self.assertEqual(self.box.timers(), [])
        self.box.pass_time(10 ** 6)
        self.assertIsInstance(self.box.screen, MessageBox)
        self.assertEqual(self.box.commands, COMMANDS)
        self.box.answer(False)
        self.assertEqual(self.box.timers(), [24 * HOUR])

    def test_waits_while_another_screen_is_open(self):
        browser = self.box.open_news()
        self.check(BLUE)
        self.assertIs(self.box.screen, browser)
        self.assertEqual(self.box.notifications, 1)
        self.assertEqual(self.box.timers(), [])
        self.box.press("red")
        self.assertIsInstance(self.box.screen, MessageBox)
        self.box.answer(True)
        self.assertIsInstance(self.box.screen, self.module.AllNews)

    def test_goes_to_the_host_with_a_bound_callback_and_the_time_out(self):
        calls = []
        self.replace(
            AddNotificationWithCallback=lambda *args, **kwargs: calls.append((args, kwargs)))
        self.assertIsNone(self.notifier.opkg_upgrade_finished(BLUE, 0))
        (callback, screen, text), kwargs = calls.pop()
        self.assertIs(type(callback), boundFunction)
        self.assertEqual((callback.fnc, callback.args, callback.kwargs),
                         (self.notifier.show_Kelvaro, (), {}))
        self.assertIs(screen, MessageBox)
        self.assertEqual((text, kwargs), (QUESTION, {"timeout": 0}))

    def test_is_shown_in_the_users_language(self):
        self.mark_texts()
        self.check(BLUE)
        self.assertEqual(self.box.text("text"), "<%s>" % QUESTION)

    def test_is_translated_and_the_names_are_those_of_the_module(self):
        class Box(MessageBox):
            pass
        bound = []
        texts = self.note_texts()
        self.replace(MessageBox=Box)
        self.replace(boundFunction=lambda function: bound.append(function) or function)
        self.check(BLUE)
        self.assertIs(type(self.box.screen), Box)
        self.assertEqual(texts, [QUESTION])
        self.assertEqual(bound, [self.notifier.show_Kelvaro])

    def test_asked_again_at_the_next_check(self):
        self.check(BLUE)
        for count in range(2, 6):
            self.box.answer(False)
            self.assertIsNone(self.box.screen)
            self.box.pass_time(24 * 3600)
            self.assertIsInstance(self.box.screen, MessageBox)
            self.assertEqual(self.box.commands, COMMANDS * count)
            self.assertEqual(self.box.timers(), [])


class Answers(NotifierTest):

    news = NEWS

    def test_yes_opens_the_browser_with_the_listing_at_hand(self):
        self.check(BLUE)
        self.box.answer(True)
        browser = self.box.screen
        self.assertIsInstance(browser, self.module.AllNews)
        self.assertEqual(browser.skin_path, self.box.plugin_path)
        self.assertEqual(read(LISTING), BLUE)
        self.assertEqual(sorted(self.box.timers()), [100, 24 * HOUR])
        self.box.pass_time(0.1)
        self.box.press("blue")
        self.assertIn("enigma2-skin-blue", self.box.text("update"))
        self.assertEqual(self.box.commands, COMMANDS)
        self.box.press("red", "red")
        self.assertFiles(absent=[LISTING])

    def test_no_only_arms_the_timer(self):
        self.check(BLUE)
        for answer in (False, None):
            if answer is None:
                self.box.pass_time(24 * 3600)
                self.box.press("cancel")
            else:
                self.box.answer(answer)
            self.assertIsNone(self.box.screen)
            self.assertFiles(absent=[LISTING])
            self.assertEqual(self.box.timers(), [24 * HOUR])
            self.assertIs(self.usage.update_available.value, True)

    def test_after_a_no_the_flag_falls_when_nothing_is_found_any_more(self):
        self.check(BLUE)
        self.box.answer(False)
        self.install_opkg("")
        self.box.pass_time(24 * 3600)
        self.assertIs(self.usage.update_available.value, False)
        self.assertIsNone(self.box.screen)

    def test_at_0_hours_yes_still_opens_the_browser_and_no_check_follows(self):
        self.boot(check_for_updates=0)
        self.check(BLUE)
        self.box.answer(True)
        self.assertIsInstance(self.box.screen, self.module.AllNews)
        self.assertEqual(read(LISTING), BLUE)
        self.assertEqual(self.box.timers(), [100])

    def test_the_file_holds_exactly_the_listing_however_long_the_question_waited(self):
        for listing in (BLUE, "x\n" * 12 + "\n\n a - 1 - 2 \r\n\0\xff no end", BLUE * 2000):
            self.boot()
            self.check(listing)
            self.install_opkg("newer - 1 - 2\n")
            write(LISTING, "an older and much longer file" * 10000)
            self.box.pass_time(10 ** 6)
            self.box.answer(True)
            self.assertEqual(read(LISTING), listing)
            self.box.press("red")

    def test_the_hours_are_read_when_the_answer_comes(self):
        self.check(BLUE)
        self.usage.check_for_updates.value = 5
        self.box.answer(False)
        self.assertEqual(self.box.timers(), [5 * HOUR])
        for hours, timers in [(0, []), (-5, []), (10 ** 20, [10 ** 20 * HOUR])]:
            self.notifier.update_timer.stop()
            self.usage.check_for_updates.value = hours
            self.notifier.show_Kelvaro(False)
            self.assertEqual(self.box.timers(), timers)

    def test_any_value_is_taken_for_its_truth(self):
        self.notifier.update_timer = eTimer()
        self.notifier.upgradable_packages = "text"
        opened = []
        self.notifier.plugin_path = "/path"
        session = type("Session", (), {"open": lambda _, *args: opened.append(args)})
        self.notifier.session = session()
        for res in (False, None, 0, "", []):
            self.assertIsNone(self.notifier.show_Kelvaro(res))
        self.assertEqual(opened, [])
        self.assertFiles(absent=[LISTING])
        for res in (True, 1, "no"):
            self.assertIsNone(self.notifier.show_Kelvaro(res=res))
        self.assertEqual(opened, [(self.module.AllNews, "/path")] * 3)
        self.assertEqual(read(LISTING), "text")

    def test_yes_opens_the_class_and_writes_the_file_that_the_module_names(self):
        class Mine(Screen):
            def __init__(self, *args):
                Screen.__init__(self, args[0])
                self.arguments = args
        self.replace(AllNews=Mine)
        self.replace(packagetmpfile="/tmp/other.listing")
        self.addCleanup(os.remove, "/tmp/other.listing")
        self.check(BLUE)
        self.box.answer(True)
        self.assertEqual(self.box.screen.arguments, (self.box.session, self.box.plugin_path))
        self.assertEqual(read("/tmp/other.listing"), BLUE)
        self.assertFiles(absent=[LISTING])

    def test_yes_writes_through_a_replaced_open_of_the_module(self):
        calls = []

        class Stream(object):
            def write(self, text):
                calls.append(text)

            def close(self):
                calls.append("close")
        self.replace(open=lambda *args: calls.append(args) or Stream())
        self.check(BLUE)
        self.box.answer(True)
        self.assertEqual(calls, [(LISTING, "w+"), BLUE, "close"])

    def test_show_needs_its_argument(self):
        for args, kwargs in [((), {}), ((1, 2), {}), ((), {"answer": 1})]:
            self.assertRaises(TypeError, self.notifier.show_Kelvaro, *args, **kwargs)


class Silence(NotifierTest):

    options = {"show_notification": False}

    def test_records_the_update_shows_nothing_and_goes_on(self):
        self.check(BLUE)
        self.assertIs(self.usage.update_available.value, True)
        self.assertIsNone(self.box.screen)
        self.assertEqual(self.box.notifications, 0)
        self.assertFiles(absent=[LISTING])
        self.assertEqual(self.box.timers(), [24 * HOUR])
        self.assertEqual(self.notifier.upgradable_packages, BLUE)
        for count in range(2, 5):
            self.box.pass_time(24 * 3600)
            self.assertEqual(self.box.commands, COMMANDS * count)

    def test_at_0_hours_ends_the_checking(self):
        self.boot(check_for_updates=0)
        self.check(BLUE)
        self.assertEqual(self.box.timers(), [])
        self.assertIs(self.usage.update_available.value, True)

    def test_goes_on_through_an_overridden_show_with_res_by_keyword(self):
        calls = []
        self.notifier.show_Kelvaro = lambda *args, **kwargs: calls.append((args, kwargs))
        self.assertIsNone(self.notifier.opkg_upgrade_finished(BLUE, 0))
        self.assertEqual(calls, [((), {"res": None})])

    def test_is_decided_by_the_setting_at_the_time_of_the_check(self):
        self.check(BLUE)
        self.usage.show_notification_for_updates.value = True
        self.box.pass_time(24 * 3600)
        self.assertIsInstance(self.box.screen, MessageBox)
        self.usage.show_notification_for_updates.value = False
        self.box.answer(False)
        self.box.pass_time(24 * 3600)
        self.assertIsNone(self.box.screen)


class Failures(NotifierTest):

    news = NEWS

    def asked(self):
        """Let a check find an update; the question is in front."""
        self.boot()
        self.check(BLUE)

    def assertAnswerFails(self, error, line, yes=True, timers=(24 * HOUR,)):
        """The answer fails in this line; these timers are armed then."""
        self.assertFails(error, [SHOW % line], self.box.answer, yes)
        self.assertEqual(self.box.timers(), list(timers))

    def test_of_the_question_leave_the_update_recorded(self):
        for name, line in [("_", 543), ("boundFunction", 544),
                           ("AddNotificationWithCallback", 544)]:
            self.boot()
            self.replace(**{name: raising()})
            self.install_opkg(BLUE)
            self.box.start_plugin()
            self.assertFails(Broken, [FINISHED % line], self.box.pass_time, 60)
            self.assertIs(self.usage.update_available.value, True)
            self.assertEqual(self.notifier.upgradable_packages, BLUE)
            self.assertEqual((self.box.notifications, self.box.timers()), (0, []))
            self.assertIsNone(self.box.screen)

    def test_of_a_name_that_is_gone(self):
        self.unbind("MessageBox")
        self.assertFails(NameError, [FINISHED % 544], self.notifier.opkg_upgrade_finished, BLUE, 0)

    def test_of_the_silent_branch_have_two_entries(self):
        self.usage.show_notification_for_updates.value = False
        self.assertFails(AttributeError, [FINISHED % 546, SHOW % 512],
                         self.notifier.opkg_upgrade_finished, BLUE, 0)

    def test_of_the_hours_end_the_checking(self):
        self.asked()
        del self.usage.check_for_updates
        self.assertAnswerFails(AttributeError, 510, timers=[])
        self.assertFiles(absent=[LISTING])
        self.asked()
        self.usage.check_for_updates.value = type("Hours", (int,), {"__mul__": raising()})(1)
        self.assertAnswerFails(Broken, 511, timers=[])
        self.asked()
        self.notifier.update_timer.start = raising()
        self.assertAnswerFails(Broken, 512, timers=[])
        self.assertIsNone(self.box.screen)

    def test_of_an_odd_answer_come_after_the_timer(self):
        class Odd(object):
            __nonzero__ = raising()
        self.asked()
        self.assertFails(Broken, [SHOW % 513], self.notifier.show_Kelvaro, Odd())
        self.assertEqual(self.box.timers(), [24 * HOUR])

    def test_of_opening_the_file_come_after_the_timer(self):
        os.mkdir(LISTING)
        self.addCleanup(os.rmdir, LISTING)
        self.check(BLUE)
        self.assertAnswerFails(IOError, 514)
        self.assertIsNone(self.box.screen)

    def test_of_a_file_in_a_directory_that_is_missing(self):
        self.asked()
        self.replace(packagetmpfile="/tmp/nowhere/file")
        self.assertAnswerFails(IOError, 514)

    def test_of_writing_open_nothing(self):
        # A full disk: what fits the stream's buffer fails at the close, more fails at the write.
        for listing, line in [(BLUE, 516), (BLUE * 10000, 515)]:
            self.boot()
            self.check(listing)
            self.replace(packagetmpfile="/dev/full")
            self.assertAnswerFails(IOError, line)
            self.assertIsNone(self.box.screen)

    def test_of_a_listing_that_is_missing_or_no_text_leave_an_empty_file(self):
        self.asked()
        for packages in (None, 5):
            if packages is None:
                del self.notifier.upgradable_packages
            else:
                self.notifier.upgradable_packages = packages
            self.assertFails(AttributeError if packages is None else TypeError, [SHOW % 515],
                             self.notifier.show_Kelvaro, True)
            self.assertEqual(read(LISTING), "")

    def test_of_the_browser_come_after_the_file(self):
        self.asked()
        self.box.patch(Screen, "__init__", breaking_at(1, None))
        self.assertFails(Broken, [SHOW % 517, "AllNews.__init__:178"], self.box.answer, True)
        self.assertEqual(read(LISTING), BLUE)
        self.assertEqual(self.box.timers(), [24 * HOUR])
        self.box.pass_time(24 * 3600 - 1)
        self.assertEqual(self.box.commands, COMMANDS)

    def test_of_a_notifier_without_a_session(self):
        self.install_opkg(BLUE)
        self.notifier.init_timer()
        self.box.pass_time(60)
        self.assertAnswerFails(AttributeError, 517)
        self.assertEqual(read(LISTING), BLUE)
        self.notifier.session = self.box.session
        self.assertFails(AttributeError, [SHOW % 517], self.notifier.show_Kelvaro, True)


if __name__ == "__main__":
    unittest.main()
