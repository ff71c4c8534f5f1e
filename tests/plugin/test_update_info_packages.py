# -*- coding: utf-8 -*-
"""The detail screen's updates view: running opkg, reading its listing, showing it."""

import os
import sys
import unittest

from simulator import packages
from simulator.packages import Package
from tests.support.receiver import (
    BLUE, LISTING, NO_CONNECTION, WAIT, Broken, breaking_at, raising, read, write)
from tests.plugin.test_update_info import DetailTest

from Components.Console import Console

UP_TO_DATE = "\nYour System is up to date"
NOISE = "Package other-arch version 2.0-r0 has no valid architecture, ignoring.\n"
ERRORS = ("Collected errors:\n * opkg_conf_load: Could not lock /usr/lib/opkg/lock: "
          "Resource temporarily unavailable.\n")


def block(name, old, new):
    return "\nPackage : %s \nold version : %s \nnew version : %s\n" % (name, old, new)


class UpdatesTest(DetailTest):

    @property
    def flag(self):
        return self.box.config.usage.update_available.value

    def listing(self, content):
        """The text shown for this content of the listing file."""
        write(LISTING, content)
        self.open_detail(0, True)
        text = self.box.text("update")
        self.box.press("red")
        return text


class Listing(UpdatesTest):

    def test_of_one_package_is_one_block(self):
        self.assertEqual(self.listing("name - 1.0 - 2.0\n"), block("name", "1.0", "2.0"))

    def test_skips_lines_of_two_parts_and_those_without_a_name(self):
        text = self.listing("two - parts\n\nnone\n - 1 - 2\n  \t - 1 - 2\na - 1 - 2\n- - 1\n")
        self.assertEqual(text, block("a", "1", "2"))

    def test_ignores_a_fourth_part(self):
        self.assertEqual(self.listing("a - 1 - 2 - 3 - 4\n"), block("a", "1", "2"))

    def test_strips_each_part(self):
        self.assertEqual(self.listing("  a\t -  1  -   2 \r\n"), block("a", "1", "2"))

    def test_takes_empty_versions_and_a_last_line_without_a_line_end(self):
        self.assertEqual(self.listing("a -  - \nb - 1 - 2"), block("a", "", "") +
                         block("b", "1", "2"))

    def test_splits_only_at_a_hyphen_between_blanks(self):
        self.assertEqual(self.listing("a-b -c - 1-r0 - 2-r1\nx-1-2\nx -1 -2\nx\t-\t1\t-\t2\n"),
                         block("a-b -c", "1-r0", "2-r1"))

    def test_keeps_the_order_and_repetitions_of_the_file(self):
        lines = ["zeta - 1 - 2\n", "Beta - 1 - 2\n", "alpha - 1 - 2\n", "zeta - 1 - 2\n"]
        self.assertEqual(self.listing("".join(lines)),
                         "".join(block(line.split()[0], "1", "2") for line in lines))

    def test_has_no_limit_of_lines(self):
        names = ["package%d" % number for number in range(300)]
        text = self.listing(NOISE * 12 + "".join("%s - 1 - 2\n" % name for name in names))
        self.assertEqual(text, "".join(block(name, "1", "2") for name in names))

    def test_of_what_real_opkg_prints(self):
        line = "enigma2-plugin-extensions-demo%02d - 1.%02d+git7-r0 - 2.%02d+git9+abcdef0-r1\n"
        text = self.listing(NOISE + "".join(line % (n, n, n) for n in range(1, 13)) + ERRORS)
        self.assertEqual(text, "".join(
            block("enigma2-plugin-extensions-demo%02d" % n, "1.%02d+git7-r0" % n,
                  "2.%02d+git9+abcdef0-r1" % n) for n in range(1, 13)))

    def test_keeps_bytes_that_are_no_text(self):
        self.assertEqual(self.listing("\xff\0 - \x80 - 2\n"), block("\xff\0", "\x80", "2"))

    def test_without_packages_reads_as_up_to_date(self):
        for content in ("", "\n", NOISE, ERRORS, "a - 1\n", " - 1 - 2\n"):
            self.assertEqual(self.listing(content), UP_TO_DATE)
            self.assertFalse(self.flag)
        self.assertEqual(self.box.commands, [])

    def test_translates_the_block_for_every_package(self):
        texts = self.note_texts()
        self.listing("a - 1 - 2\nb - 1\nc - 3 - 4\n")
        form = "\nPackage : %s \nold version : %s \nnew version : %s\n"
        self.assertEqual(texts[-2:], [form, form])
        self.assertEqual(texts.count(form), 2)
        self.listing("")
        self.assertEqual(texts[-1], UP_TO_DATE)
        self.mark_texts()
        self.assertEqual(self.listing("a - 1 - 2\n"), "<%s>" % block("a", "1", "2"))


class Flag(UpdatesTest):

    def test_is_raised_by_packages_and_not_saved(self):
        self.listing(BLUE)
        self.assertIs(self.flag, True)
        self.assertIs(self.box.config.usage.update_available.saved_value, False)

    def test_stays_as_it_was_without_packages(self):
        for value in (True, False, "anything"):
            self.box.config.usage.update_available.value = value
            self.listing(NOISE)
            self.assertIs(self.flag, value)

    def test_stays_as_it_was_without_a_listing(self):
        self.box.config.usage.update_available.value = True
        self.open_detail().opkg_upgrade_finished("", 0)
        self.assertEqual(self.box.text("update"), NO_CONNECTION)
        self.assertIs(self.flag, True)

    def test_is_that_of_the_config_which_the_module_names(self):
        class Anything(object):
            pass
        config = Anything()
        config.usage = Anything()
        config.usage.update_available = Anything()
        self.replace(config=config)
        self.listing(BLUE)
        self.assertIs(config.usage.update_available.value, True)
        self.assertFalse(self.flag)


class Running(UpdatesTest):

    def test_updates_the_index_and_then_redirects_the_listing(self):
        self.install_opkg(BLUE)
        self.box.press("ok", "blue")
        self.assertEqual(self.box.commands, ["opkg update"])
        self.assertEqual(self.box.text("update"), WAIT)
        self.box.settle()
        self.assertEqual(self.box.commands, ["opkg update", "opkg list-upgradable > " + LISTING])
        self.assertEqual(self.box.text("update"), block("enigma2-skin-blue", "3.4-r5", "3.5-r0"))
        self.assertEqual(read(LISTING), BLUE)

    def test_shows_please_wait_until_the_second_command_ends(self):
        self.install_opkg(BLUE)
        self.box.hold()
        self.box.press("ok", "blue")
        console = self.box.screen.Console
        self.box.finish()
        self.assertEqual(self.box.text("update"), WAIT)
        self.assertIs(self.box.screen.Console, console)
        self.assertEqual(self.box.running, ["opkg list-upgradable > " + LISTING])
        self.box.finish()
        self.assertNotEqual(self.box.text("update"), WAIT)

    def test_works_with_the_stand_in_for_opkg(self):
        packages.build_feed(self._directory, [Package("enigma2-skin-blue", "3.5-r0"),
                                              Package("same", "1.0-r0")])
        packages.install_initial_state([Package("enigma2-skin-blue", "3.4-r5"),
                                        Package("same", "1.0-r0")])
        self.addCleanup(packages.install_initial_state, [])
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), block("enigma2-skin-blue", "3.4-r5", "3.5-r0"))
        self.assertTrue(self.flag)

    def test_with_a_listing_there_never_runs_opkg(self):
        self.install_opkg("other - 1 - 2\n")
        write(LISTING, BLUE)
        self.box.press("ok", "blue", "yellow", "blue", "blue")
        self.box.press("red", "blue")
        self.assertEqual(self.box.commands, [])
        self.assertEqual(self.box.text("update"), block("enigma2-skin-blue", "3.4-r5", "3.5-r0"))

    def test_keeps_the_first_listing_until_the_browser_closes(self):
        self.install_opkg(BLUE)
        self.box.press("ok", "blue")
        self.box.settle()
        self.install_opkg("other - 1 - 2\n")
        self.box.press("blue", "red", "blue")
        self.assertIn("enigma2-skin-blue", self.box.text("update"))
        self.box.press("red", "red")
        self.open_browser()
        self.box.press("blue")
        self.assertEqual(self.box.text("update"), WAIT)
        self.box.settle()
        self.assertEqual(self.box.text("update"), block("other", "1", "2"))

    def test_ignores_failing_commands(self):
        for status in (1, 255):
            self.install_opkg(BLUE, update="failed", status=status)
            self.box.press("ok", "blue")
            self.box.settle()
            self.assertIn("enigma2-skin-blue", self.box.text("update"))
            self.box.press("red")
            os.remove(LISTING)

    def test_without_opkg_reads_as_up_to_date(self):
        self.remove_opkg()
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), UP_TO_DATE)
        self.assertFiles(present=[LISTING])  # the shell has made it

    def test_without_a_place_for_the_listing_reads_as_no_connection(self):
        self.install_opkg(BLUE)
        self.replace(packagetmpfile="/tmp/nowhere/listing")
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), NO_CONNECTION)
        self.assertFalse(self.flag)
        self.assertEqual(self.box.commands[1], "opkg list-upgradable > /tmp/nowhere/listing")

    def test_blue_pressed_twice_runs_two_passes_on_two_runners(self):
        self.install_opkg("first - 1 - 2\n")
        self.box.hold()
        self.box.press("ok", "blue")
        console = self.box.screen.Console
        self.box.press("blue")
        self.assertIsNot(self.box.screen.Console, console)
        self.assertEqual(self.box.running, ["opkg update"] * 2)
        self.box.finish()
        # The first pass goes on on the runner of the second.
        listing = "opkg list-upgradable > " + LISTING
        self.assertEqual(len(console.appContainers), 0)
        self.assertEqual(sorted(self.box.screen.Console.appContainers), [listing, "opkg update"])
        self.box.finish(listing)
        self.assertEqual(self.box.text("update"), block("first", "1", "2"))
        self.install_opkg("later - 1 - 2\n")
        self.box.finish("opkg update")
        self.box.finish(listing)
        self.assertEqual(self.box.text("update"), block("later", "1", "2"))
        self.assertEqual(self.box.running, [])

    def test_a_result_replaces_the_news_that_are_shown_meanwhile(self):
        self.install_opkg(BLUE)
        self.box.press("ok", "blue", "yellow")
        self.assertIn("* Do it", self.box.text("update"))
        self.box.settle()
        self.assertIn("enigma2-skin-blue", self.box.text("update"))
        self.assertEqual(self.box.text("title"), "News about ZIRK")
        self.assertEqual(self.box.text("key_blue"), "show Updates")


class Methods(UpdatesTest):

    def test_use_what_the_module_names_then(self):
        calls = []

        class Runner(object):
            def ePopen(self, *args, **kwargs):
                calls.append((args, kwargs))
        self.replace(Console=Runner)
        self.replace(packagetmpfile="a file")
        self.replace(fileExists=lambda path: calls.append(path))
        screen = self.open_detail()
        self.assertIsNone(screen.getUpdates())
        self.assertIs(type(screen.Console), Runner)
        self.assertIsNone(screen.opkg_update_finished("text", 1))
        self.assertIsNone(screen.opkg_upgrade_finished("text", 1, []))
        self.assertEqual(calls, [
            "a file", (("opkg update", screen.opkg_update_finished), {}),
            (("opkg list-upgradable > a file", screen.opkg_upgrade_finished), {}), "a file"])

    def test_close_the_listing_before_they_show_it(self):
        log = []

        class Stream(type(sys.__stdin__)):
            def close(self):
                log.append(self.name)
                super(Stream, self).close()
        write(LISTING, BLUE)
        screen = self.open_detail()
        screen["update"].setText = lambda text: log.append("found" if BLUE[:9] in text else text)
        self.replace(open=Stream)
        screen.bluePressed()
        self.assertEqual(log, [WAIT, LISTING, "found"])

    def test_show_a_listing_at_once_by_an_overridden_callback(self):
        calls = []

        class Mine(self.module.ZirkUpdateInfo):
            def opkg_upgrade_finished(self, *args, **kwargs):
                calls.append((args, kwargs))
        write(LISTING, "")
        screen = self.open_detail(0, True, screen=Mine)
        self.assertEqual(calls, [((), {"result": None, "retval": 0})])
        self.assertIsNone(screen.Console)

    def test_of_a_subclass_are_the_commands_callbacks(self):
        calls = []

        class Mine(self.module.ZirkUpdateInfo):
            def opkg_update_finished(self, *args):
                calls.append(("update", args))
                self.__class__.__bases__[0].opkg_update_finished(self, *args)

            def opkg_upgrade_finished(self, *args):
                calls.append(("upgrade", args))
        self.install_opkg(BLUE, update="text", status=3)
        self.open_detail(0, True, screen=Mine)
        self.box.settle()
        self.assertEqual(calls, [("update", ("text", 3, [])), ("upgrade", ("", 3, []))])

    def test_take_their_arguments_by_keyword_with_the_last_optional(self):
        self.box.hold()
        screen = self.open_detail()
        screen.opkg_update_finished(retval=0, result="")
        screen.opkg_update_finished(extra_args=1, retval=0, result="")
        screen.opkg_upgrade_finished(retval=0, result="", extra_args=None)
        self.assertEqual(len(screen.Console.appContainers), 2)
        for method in (screen.opkg_update_finished, screen.opkg_upgrade_finished):
            for args, kwargs in [((), {}), ((1,), {}), ((1, 2, 3, 4), {}), ((1, 2), {"x": 3}),
                                 ((1, 2), {"result": 3})]:
                self.assertRaises(TypeError, method, *args, **kwargs)


class Failures(UpdatesTest):

    def test_of_each_step_before_the_first_command(self):
        for name, line in [("fileExists", 466), ("Console", 467)]:
            self.replace(**{name: raising()})
            screen = self.open_detail()
            self.assertFails(Broken, ["ZirkUpdateInfo.bluePressed:405",
                                      "ZirkUpdateInfo.getUpdates:%d" % line],
                             self.box.press, "blue")
            self.assertIsNone(screen.Console)
            self.assertEqual(self.box.text("update"), WAIT)
            self.assertEqual(self.box.commands, [])
            self.box.press("red")
            self.boot()
            self.open_browser()

    def test_of_starting_each_command(self):
        self.install_opkg()
        self.box.patch(Console, "ePopen", breaking_at(2, Console.ePopen))
        screen = self.open_detail(0, True)
        self.assertFails(Broken, ["ZirkUpdateInfo.opkg_update_finished:477"], self.box.settle)
        self.assertFails(Broken, ["ZirkUpdateInfo.getUpdates:469"], screen.getUpdates)
        self.assertFiles(absent=[LISTING])

    def test_of_a_new_runner_in_the_middle(self):
        screen = self.open_detail()
        self.replace(Console=raising())
        self.assertFails(Broken, ["ZirkUpdateInfo.opkg_update_finished:475"],
                         screen.opkg_update_finished, "", 0)
        self.unbind("packagetmpfile")
        screen.Console = Console()
        self.assertFails(NameError, ["ZirkUpdateInfo.opkg_update_finished:476"],
                         screen.opkg_update_finished, "", 0)
        self.assertEqual(self.box.commands, [])

    def assertShowingFails(self, error, line):
        screen = self.open_detail()
        self.assertFails(error, ["ZirkUpdateInfo.bluePressed:405", "ZirkUpdateInfo.getUpdates:471",
                                 "ZirkUpdateInfo.opkg_upgrade_finished:%d" % line],
                         self.box.press, "blue")
        self.assertIs(self.box.screen, screen)
        self.assertEqual(self.box.text("update"), WAIT)

    def test_of_a_listing_that_is_a_directory(self):
        os.mkdir(LISTING)
        self.addCleanup(os.rmdir, LISTING)
        self.assertShowingFails(IOError, 481)

    def test_of_a_listing_that_is_gone_after_all(self):
        self.replace(fileExists=lambda path: True)
        self.assertShowingFails(IOError, 481)

    def test_of_a_listing_that_cannot_be_read(self):
        self.replace(packagetmpfile="/proc/self/mem")  # opens, but has nothing at its start
        self.assertShowingFails(IOError, 482)

    def test_of_the_second_look_for_the_listing(self):
        self.replace(fileExists=breaking_at(2, lambda path: True))
        self.assertShowingFails(Broken, 480)

    def test_of_each_text_leave_the_flag_alone(self):
        form = "\nPackage : %s \nold version : %s \nnew version : %s\n"
        for content, broken, line in [(BLUE, form, 494), ("", UP_TO_DATE, 496)]:
            write(LISTING, content)
            self.note_texts(broken=broken)
            self.assertShowingFails(Broken, line)
            self.assertFalse(self.flag)
            self.box.press("red")
        self.note_texts(broken=NO_CONNECTION)
        os.remove(LISTING)
        screen = self.open_detail()
        self.assertFails(Broken, ["ZirkUpdateInfo.opkg_upgrade_finished:500"],
                         screen.opkg_upgrade_finished, None, 0)

    def test_of_a_translation_with_another_number_of_places(self):
        write(LISTING, BLUE)
        self.replace(_=lambda text: "%s" if "Package :" in text else text)
        self.assertShowingFails(TypeError, 494)

    def test_of_the_flag_leave_the_text_alone(self):
        write(LISTING, BLUE)
        del self.box.config.usage.update_available
        self.assertShowingFails(AttributeError, 498)

    def test_of_showing_come_after_the_flag(self):
        write(LISTING, BLUE)
        screen = self.open_detail()
        screen["update"].setText = breaking_at(2, lambda text: None)
        self.assertFails(Broken, ["ZirkUpdateInfo.bluePressed:405", "ZirkUpdateInfo.getUpdates:471",
                                  "ZirkUpdateInfo.opkg_upgrade_finished:501"],
                         self.box.press, "blue")
        self.assertTrue(self.flag)


if __name__ == "__main__":
    unittest.main()
