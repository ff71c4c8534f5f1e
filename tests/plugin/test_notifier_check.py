# -*- coding: utf-8 -*-
"""The notifier's cycle: waiting, the two commands, judging the listing, waiting again."""

import types
import unittest

from tests.support.receiver import BLUE, Broken, ReceiverTest, breaking_at, raising

from Components.Console import Console
from enigma import eTimer

HOUR = 3600000  # milliseconds
COMMANDS = ["opkg update", "opkg list-upgradable"]
NOISE = "Package other-arch version 2.0-r0 has no valid architecture, ignoring.\n"
ERRORS = ("Collected errors:\n * opkg_conf_load: Could not lock /usr/lib/opkg/lock: "
          "Resource temporarily unavailable.\n")


class NotifierTest(ReceiverTest):
    """self.notifier is the module's notifier."""

    news = None

    def boot(self, **options):
        ReceiverTest.boot(self, **options)
        self.notifier = self.module.update_notification
        self.usage = self.box.config.usage
        return self.box

    def check(self, listing=""):
        """Start the plug-in and let the first check happen; opkg prints this listing."""
        self.install_opkg(listing)
        self.box.start_plugin()
        self.box.pass_time(60)

    def judge(self, text):
        """True if the notifier finds an update in this text."""
        self.usage.update_available.value = None
        self.notifier.update_timer = eTimer()
        self.notifier.show_Kelvaro = lambda res=None: None
        self.usage.show_notification_for_updates.value = False
        self.notifier.opkg_upgrade_finished(text, 0)
        found = self.usage.update_available.value
        self.assertIs(type(found), bool)
        return found


class Start(NotifierTest):

    def test_leaves_the_notifier_without_attributes(self):
        self.assertEqual(vars(self.notifier), {})
        self.assertIsInstance(self.module.UpdateNotification, types.ClassType)
        self.assertIs(self.notifier.__class__, self.module.UpdateNotification)

    def test_set_session_keeps_session_and_path_and_no_more(self):
        order = []

        class Noting(self.module.UpdateNotification):
            def __setattr__(self, name, value):
                order.append((name, value))
        self.assertIsNone(Noting().setSession(plugin_path="/path", session="session"))
        self.assertEqual(order, [("session", "session"), ("plugin_path", "/path")])
        for args in ((), (1,), (1, 2, 3)):
            self.assertRaises(TypeError, self.notifier.setSession, *args)

    def test_first_check_comes_after_60_seconds(self):
        self.install_opkg()
        self.box.start_plugin()
        self.assertEqual(self.box.timers(), [60000])
        self.assertEqual(self.notifier.plugin_path, self.box.plugin_path)
        self.box.pass_time(59.999)
        self.assertEqual(self.box.commands, [])
        self.box.pass_time(0.001)
        self.assertEqual(self.box.commands, COMMANDS)

    def test_names_the_callback_before_it_starts_the_timer(self):
        log = []

        class Timer(eTimer):
            def start(self, *args):
                log.append((args, list(self.callback)))
        self.replace(eTimer=Timer)
        self.assertIsNone(self.notifier.init_timer())
        self.assertEqual(log, [((60000, True), [self.notifier.check_updates])])

    def test_a_second_init_timer_replaces_the_first_timer(self):
        self.notifier.init_timer()
        self.box.pass_time(30)
        self.notifier.init_timer()
        self.assertEqual(self.box.timers(), [60000])

    def test_methods_need_the_right_arguments(self):
        for name in ("init_timer", "check_updates"):
            self.assertRaises(TypeError, getattr(self.notifier, name), 1)
        for name in ("opkg_update_finished", "opkg_upgrade_finished"):
            for args, kwargs in [((), {}), ((1,), {}), ((1, 2, 3, 4), {}), ((1, 2), {"x": 1})]:
                self.assertRaises(TypeError, getattr(self.notifier, name), *args, **kwargs)
        self.assertRaises(TypeError, self.module.UpdateNotification, 1)


class Cycle(NotifierTest):

    def test_updates_then_lists_on_one_new_runner(self):
        self.install_opkg()
        self.box.start_plugin()
        self.box.hold()
        self.box.pass_time(60)
        console = self.notifier.Console
        self.assertEqual(list(console.appContainers), ["opkg update"])
        self.assertEqual(self.box.timers(), [])
        self.box.finish()
        self.assertIs(self.notifier.Console, console)
        self.assertEqual(list(console.appContainers), ["opkg list-upgradable"])
        self.box.finish()
        self.assertEqual(self.box.timers(), [24 * HOUR])
        self.box.release()
        self.box.pass_time(24 * 3600)
        self.assertIsNot(self.notifier.Console, console)
        self.assertEqual(self.box.commands, COMMANDS * 2)

    def test_without_an_update_comes_again_after_the_set_hours(self):
        self.boot(check_for_updates=6)
        self.check(NOISE)
        self.assertEqual(self.box.timers(), [6 * HOUR])
        for count in range(2, 12):
            self.box.pass_time(6 * 3600)
            self.assertEqual(self.box.commands, COMMANDS * count)
        self.assertIs(self.usage.update_available.value, False)

    def test_at_24_hours_is_armed_for_86400000_milliseconds(self):
        self.check()
        self.assertEqual(self.box.timers(), [86400000])

    def test_at_0_or_less_happens_once(self):
        for hours in (0, -1, -24):
            self.boot(check_for_updates=hours)
            self.check()
            self.assertEqual(self.box.commands, COMMANDS)
            self.assertEqual(self.box.timers(), [])
            self.box.pass_time(10 ** 6)
            self.assertEqual(self.box.commands, COMMANDS)
            self.notifier.init_timer()
            self.box.pass_time(60)
            self.assertEqual(self.box.commands, COMMANDS * 2)

    def test_of_a_huge_number_of_hours_is_armed_exactly(self):
        for hours in (10 ** 4, 2 ** 31, 10 ** 15, 10 ** 40):
            self.boot(check_for_updates=hours)
            self.check()
            self.assertEqual(self.box.timers(), [hours * HOUR])

    def test_reads_the_hours_when_it_ends(self):
        self.check()
        self.usage.check_for_updates.value = 3
        self.assertEqual(self.box.timers(), [24 * HOUR])
        self.box.pass_time(24 * 3600)
        self.assertEqual(self.box.timers(), [3 * HOUR])
        self.usage.check_for_updates.value = 0
        self.box.pass_time(3 * 3600)
        self.assertEqual(self.box.timers(), [])

    def test_multiplies_by_1000_and_then_by_3600(self):
        log = []

        class Hours(object):
            def __init__(self, name):
                self.name = name

            def __gt__(self, other):
                log.append(("gt", self.name, other))
                return True

            def __mul__(self, other):
                log.append(("mul", self.name, other))
                return Hours("product") if self.name == "value" else 7
        self.usage.check_for_updates.value = Hours("value")
        self.check()
        self.assertEqual(log, [("gt", "value", 0), ("mul", "value", 1000),
                               ("mul", "product", 3600)])
        self.assertEqual(self.box.timers(), [7])

    def test_ignores_failing_commands(self):
        self.install_opkg(NOISE, update=ERRORS, status=255)
        self.box.start_plugin()
        self.box.pass_time(60)
        self.assertEqual(self.box.commands, COMMANDS)
        self.assertEqual(self.box.timers(), [24 * HOUR])

    def test_without_opkg_counts_as_no_update(self):
        self.remove_opkg()
        self.usage.update_available.value = True
        self.box.start_plugin()
        self.box.pass_time(60)
        self.assertIs(self.usage.update_available.value, False)
        self.assertEqual(self.box.timers(), [24 * HOUR])

    def test_that_hangs_is_not_joined_by_another(self):
        self.install_opkg()
        self.box.start_plugin()
        self.box.hold()
        self.box.pass_time(10 ** 6)
        self.assertEqual(self.box.running, ["opkg update"])
        self.assertEqual(self.box.timers(), [])

    def test_comes_once_after_a_jump_of_the_clock_and_late_after_one_back(self):
        year, month = 365 * 24 * HOUR, 30 * 24 * HOUR
        self.check()
        self.box.loop.now += year
        self.box.settle()
        self.assertEqual(self.box.commands, COMMANDS * 2)
        self.assertEqual(self.box.timers(), [24 * HOUR])
        self.box.loop.now -= month
        self.box.settle()
        self.assertEqual(self.box.timers(), [24 * HOUR + month])
        self.box.pass_time(31 * 24 * 3600)
        self.assertEqual(self.box.commands, COMMANDS * 3)
        self.assertEqual(self.box.timers(), [24 * HOUR])

    def test_finds_the_flag_to_lower_and_does_not_save_it(self):
        self.usage.update_available.value = True
        self.usage.update_available.saved_value = True
        self.check("a - 1\n")
        self.assertIs(self.usage.update_available.value, False)
        self.assertIs(self.usage.update_available.saved_value, True)


class Judging(NotifierTest):

    def test_finds_an_update_in_the_first_line(self):
        self.assertTrue(self.judge(BLUE))
        self.assertTrue(self.judge("a - 1 - 2"))
        self.assertTrue(self.judge("a - 1 - 2 - 3\nb\n"))

    def test_finds_none_in_nothing_and_in_lines_of_two_parts(self):
        for text in ("", "\n", "a - 1\n", "a - 1\n" * 10, NOISE, ERRORS, "a-1-2", "a\t- 1\t- 2"):
            self.assertFalse(self.judge(text))

    def test_does_not_look_at_names_or_versions(self):
        self.assertTrue(self.judge(" -  - "))
        self.assertTrue(self.judge("\n\n - 1 - 2\n"))

    def test_splits_ten_lines_off_and_takes_the_rest_as_one(self):
        for lines in (8, 9):
            self.assertTrue(self.judge("a - 1\n" * lines + "b - 1 - 2\n"))
            self.assertFalse(self.judge("a - 1\n" * lines + "b - 1\n"))
        # From the eleventh line on two separators anywhere are enough.
        self.assertFalse(self.judge("a - 1\n" * 10 + "b - 1\n"))
        self.assertTrue(self.judge("a - 1\n" * 10 + "b - 1\nc - 2\n"))
        self.assertTrue(self.judge("x\n" * 10 + "b - 1\n" + "x\n" * 50 + "c - 2"))
        self.assertFalse(self.judge("a - 1\n" * 9 + "b - 1\nc - 2"))

    def test_finds_an_update_behind_the_noise_of_real_opkg(self):
        for count in (1, 9, 10, 11, 12, 40):
            self.assertTrue(self.judge(NOISE * count + BLUE))
            self.assertFalse(self.judge(NOISE * count))
            self.assertFalse(self.judge(NOISE * count + ERRORS))

    def test_splits_at_the_line_feed_only(self):
        self.assertTrue(self.judge("a - 1\rb - 2"))
        self.assertTrue(self.judge("a - 1\x0bb - 2\n"))

    def test_asks_for_ten_splits_and_stops_at_the_first_update(self):
        asked = []

        class Piece(str):
            def split(self, *args):
                asked.append((str(self),) + args)
                return str.split(self, *args)

        class Text(str):
            def split(self, *args):
                asked.append(args)
                return [Piece(piece) for piece in str.split(self, *args)]
        self.assertTrue(self.judge(Text("a - 1\nb - 1 - 2\nc - 1 - 2")))
        self.assertEqual(asked, [("\n", 10), ("a - 1", " - "), ("b - 1 - 2", " - ")])

    def test_keeps_the_whole_text_only_when_it_found_one(self):
        self.judge("a - 1\n")
        self.assertFalse(hasattr(self.notifier, "upgradable_packages"))
        text = NOISE * 12 + BLUE
        self.judge(text)
        self.assertIs(self.notifier.upgradable_packages, text)
        self.judge("")
        self.assertIs(self.notifier.upgradable_packages, text)

    def test_ignores_the_exit_status(self):
        self.notifier.update_timer = eTimer()
        self.usage.show_notification_for_updates.value = False
        self.notifier.opkg_upgrade_finished(extra_args="any", retval=255, result=BLUE)
        self.assertIs(self.usage.update_available.value, True)
        self.notifier.opkg_upgrade_finished("", 0, ["any"])
        self.assertIs(self.usage.update_available.value, False)


class Names(NotifierTest):

    def test_are_looked_up_when_they_are_used(self):
        calls = []

        class Runner(object):
            def ePopen(self, *args):
                calls.append(args)
        self.replace(Console=Runner)
        notifier = self.module.UpdateNotification()
        self.assertIsNone(notifier.check_updates())
        self.assertIs(type(notifier.Console), Runner)
        self.assertIsNone(notifier.opkg_update_finished("text", 1))
        notifier.Console = None
        notifier.opkg_update_finished("text", 1, extra_args=0)
        self.assertIs(type(notifier.Console), Runner)
        self.assertEqual(calls, [
            ("opkg update", notifier.opkg_update_finished),
            ("opkg list-upgradable", notifier.opkg_upgrade_finished),
            ("opkg list-upgradable", notifier.opkg_upgrade_finished)])

    def test_of_overridden_methods_are_those_called(self):
        calls = []

        class Mine(self.module.UpdateNotification):
            def check_updates(self):
                calls.append("check")
                self.base.check_updates(self)

            def opkg_update_finished(self, *args):
                calls.append(("update",) + args)
                self.base.opkg_update_finished(self, *args)

            def opkg_upgrade_finished(self, *args):
                calls.append(("upgrade",) + args)
        Mine.base = self.module.UpdateNotification
        self.install_opkg(BLUE, update="text", status=4)
        notifier = Mine()
        notifier.init_timer()
        self.box.pass_time(60)
        self.assertEqual(calls, ["check", ("update", "text", 4, []), ("upgrade", BLUE, 4, [])])
        self.assertEqual(self.box.timers(), [])

    def test_of_a_runner_that_is_false_lead_to_a_new_one(self):
        class Empty(Console):
            def __len__(self):
                return 0
        self.box.hold()
        for runner in (Empty(), 0, ""):
            self.notifier.Console = runner
            self.notifier.opkg_update_finished("", 0)
            self.assertIs(type(self.notifier.Console), Console)


class Failures(NotifierTest):

    def assertMethodFails(self, error, method, line, *args):
        self.assertFails(error, ["UpdateNotification.%s:%d" % (method, line)],
                         getattr(self.notifier, method), *args)

    def test_of_the_first_timer(self):
        self.replace(eTimer=raising())
        self.assertMethodFails(Broken, "init_timer", 556)
        self.assertEqual(vars(self.notifier), {})
        self.replace(eTimer=object)
        self.assertMethodFails(AttributeError, "init_timer", 557)
        self.assertEqual(list(vars(self.notifier)), ["update_timer"])
        self.replace(eTimer=type("Timer", (eTimer,), {"start": raising()}))
        self.assertMethodFails(Broken, "init_timer", 558)
        self.assertEqual(self.notifier.update_timer.callback, [self.notifier.check_updates])

    def test_of_the_commands_end_the_checking(self):
        self.install_opkg()
        for name, count, method, line in [("Console", 1, "check_updates", 520),
                                          ("ePopen", 1, "check_updates", 522),
                                          ("ePopen", 2, "opkg_update_finished", 528)]:
            self.boot()
            if name == "Console":
                self.replace(Console=raising())
            else:
                self.box.patch(Console, "ePopen", breaking_at(count, Console.ePopen))
            self.box.start_plugin()
            self.assertFails(Broken, ["UpdateNotification.%s:%d" % (method, line)],
                             self.box.pass_time, 60)
            self.assertEqual(hasattr(self.notifier, "Console"), name == "ePopen")
            self.assertEqual(self.box.timers(), [])
            self.assertEqual(self.box.commands, COMMANDS[:count - 1])

    def test_of_a_missing_runner(self):
        self.assertMethodFails(AttributeError, "opkg_update_finished", 525, "", 0)
        self.notifier.Console = None
        self.replace(Console=raising())
        self.assertMethodFails(Broken, "opkg_update_finished", 526, "", 0)

    def test_of_a_result_that_is_no_text(self):
        self.assertMethodFails(AttributeError, "opkg_upgrade_finished", 533, 5, 0)
        self.assertIs(self.usage.update_available.value, False)
        text = type("Text", (str,), {"split": lambda *_: [5]})("x")
        self.assertMethodFails(AttributeError, "opkg_upgrade_finished", 536, text, 0)

    def test_of_the_settings_without_an_update(self):
        self.notifier.update_timer = eTimer()
        del self.usage.check_for_updates
        self.assertMethodFails(AttributeError, "opkg_upgrade_finished", 549, "", 0)
        self.assertIs(self.usage.update_available.value, False)
        del self.usage.update_available
        self.assertMethodFails(AttributeError, "opkg_upgrade_finished", 548, "", 0)

    def test_of_arming_the_timer_again(self):
        self.assertMethodFails(AttributeError, "opkg_upgrade_finished", 551, "", 0)
        self.notifier.update_timer = type("Timer", (), {"start": raising()})()
        self.assertMethodFails(Broken, "opkg_upgrade_finished", 551, "", 0)
        self.assertIs(self.usage.update_available.value, False)
        self.usage.check_for_updates.value = type("Hours", (int,), {"__mul__": raising()})(1)
        self.assertMethodFails(Broken, "opkg_upgrade_finished", 550, "", 0)

    def test_of_the_settings_with_an_update(self):
        del self.usage.show_notification_for_updates
        self.assertMethodFails(AttributeError, "opkg_upgrade_finished", 542, BLUE, 0)
        self.assertIs(self.usage.update_available.value, True)
        self.assertEqual(self.notifier.upgradable_packages, BLUE)
        del self.usage.update_available
        self.assertMethodFails(AttributeError, "opkg_upgrade_finished", 541, "a - b - c", 0)
        self.assertEqual(self.notifier.upgradable_packages, "a - b - c")
        self.assertEqual(self.box.notifications, 0)

    def test_of_a_class_that_cannot_keep_the_listing(self):
        class Full(self.module.UpdateNotification):
            def __setattr__(self, name, value):
                raise Broken
        self.notifier = Full()
        self.assertMethodFails(Broken, "setSession", 506, 1, 2)
        self.assertMethodFails(Broken, "check_updates", 520)
        self.assertMethodFails(Broken, "opkg_upgrade_finished", 540, BLUE, 0)
        self.assertIs(self.usage.update_available.value, False)


if __name__ == "__main__":
    unittest.main()
