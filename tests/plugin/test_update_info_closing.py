# -*- coding: utf-8 -*-
"""The detail screen closes: opkg is stopped, the index handed back, late callbacks come."""

import os
import time
import unittest

from tests.support.receiver import BLUE, LISTING, Broken, raising, read, write
from tests.plugin.test_update_info import DetailTest

from Components.Console import Console


class Closing(DetailTest):

    def close_with(self, *keys):
        values = []
        self.box.session.openWithCallback(lambda *args: values.append(args),
                                          self.module.ZirkUpdateInfo, 1)
        self.box.press(*keys)
        return values

    def test_hands_back_the_index_shown_last(self):
        self.assertEqual(self.close_with("red"), [(1,)])
        self.assertEqual(self.close_with("cancel"), [(1,)])
        self.assertEqual(self.close_with("left", "left", "red"), [(3,)])
        self.assertEqual(self.close_with("right", "blue", "cancel"), [(0,)])

    def test_drops_the_list_before_it_closes(self):
        screen = self.open_detail(2)
        log = []
        screen.close = lambda *args: log.append((args, screen.list))
        screen.closeNews()
        self.assertEqual(log, [((2,), None)])

    def test_leaves_the_listing_and_the_cache_to_the_browser(self):
        write(LISTING, "")
        self.box.press("ok", "red")
        self.assertFiles(present=[LISTING, self.module.cache_file])

    def test_kills_a_hanging_update(self):
        self.install_opkg(hang="update")
        self.box.press("ok", "blue")
        pid = self.hanging()
        self.box.press("left", "cancel")
        self.assertEqual(self.box.running, [])
        self.assertRaises(OSError, os.kill, pid, 0)
        self.assertEqual(self.box.cursor, 1)

    def test_kills_a_hanging_listing(self):
        self.install_opkg(hang="list-upgradable")
        self.box.hold()
        self.box.press("ok", "blue")
        self.box.finish("opkg update")
        pid = self.hanging()
        self.box.press("red")
        self.assertRaises(OSError, os.kill, pid, 0)
        self.assertIs(self.box.screen, self.browser)

    def hanging(self):
        """Wait until the script runs; its process id."""
        path = "/tmp/opkg.pid"
        self.addCleanup(os.remove, path)
        deadline = time.time() + 10
        while not (os.path.exists(path) and read(path).endswith("\n")):
            self.assertLess(time.time(), deadline, "opkg does not start")
            time.sleep(0.005)
        return int(read(path))

    def test_kills_every_name_even_if_killing_takes_it_away(self):
        class Runner(object):
            def __init__(self):
                self.appContainers = {"a": 1, "b": 2, "c": 3}
                self.killed = []

            def kill(self, name):
                self.killed.append(name)
                del self.appContainers[name]
        screen = self.open_detail()
        runner = screen.Console = Runner()
        self.box.press("red")
        self.assertEqual(sorted(runner.killed), ["a", "b", "c"])

    def test_kills_nothing_once_nothing_runs(self):
        self.install_opkg()
        self.box.patch(Console, "kill", raising())
        self.box.press("ok", "blue")
        self.box.settle()
        self.box.press("red")
        self.assertIs(self.box.screen, self.browser)

    def test_twenty_times_in_both_views_leads_back_each_time(self):
        self.install_opkg(BLUE)
        for count in range(20):
            self.box.press("ok", "blue")
            if count % 2:
                self.box.settle()
            self.box.press("yellow", "left" if count % 4 < 2 else "right", "red")
            self.assertIs(self.box.screen, self.browser)
        self.assertEqual(self.box.running, [])

    def test_of_closing_come_in_order(self):
        class Runner(object):
            appContainers = {"name": 1}
            kill = raising()
        self.box.hold()
        for console, line in [(object(), 444), (Runner(), 446)]:
            screen = self.open_detail()
            screen.Console = console
            self.assertFails(AttributeError if line == 444 else Broken,
                             ["ZirkUpdateInfo.closeNews:%d" % line], self.box.press, "red")
            self.assertIsNotNone(screen.list)
            screen.Console = None
            screen.close = raising()
            self.assertFails(Broken, ["ZirkUpdateInfo.closeNews:448"], self.box.press, "red")
            self.assertIsNone(screen.list)
            del screen.close
            self.box.press("red")

    def test_a_console_that_is_false_is_asked_when_closing_and_replaced_when_running(self):
        class Empty(Console):
            killed = []

            def __len__(self):
                return 0

            def kill(self, name):
                self.killed.append(name)
        screen = self.open_detail()
        console = screen.Console = Empty()
        console.appContainers["name"] = None
        self.box.press("red")
        self.assertEqual(console.killed, ["name"])
        screen = self.open_detail()
        screen.Console = console
        self.box.hold()
        screen.opkg_update_finished("", 0)
        self.assertIsNot(screen.Console, console)
        self.assertEqual(list(screen.Console.appContainers), ["opkg list-upgradable > " + LISTING])


class LateCallbacks(DetailTest):
    """Some images deliver the end of a killed command after the screen has been freed."""

    options = {"late_callbacks": True}

    def close_while_running(self, command, error, *entries):
        self.install_opkg(BLUE, hang=command)
        self.box.hold()
        self.box.press("ok", "blue")
        if command != "update":
            self.box.finish("opkg update")
        self.box.press("red")
        self.assertIs(self.box.screen, self.browser)
        self.assertFails(error, list(entries), self.box.finish)
        self.assertEqual(self.box.running, [])

    def test_of_an_update_find_no_console(self):
        self.close_while_running("update", AttributeError,
                                 "ZirkUpdateInfo.opkg_update_finished:474")

    def test_of_a_listing_find_no_text_to_set(self):
        self.close_while_running("list-upgradable", KeyError,
                                 "ZirkUpdateInfo.opkg_upgrade_finished:501")
        self.assertFalse(self.box.config.usage.update_available.value)

    def test_of_a_listing_with_packages_raise_the_flag_before_they_fail(self):
        write(LISTING, BLUE)
        screen = self.open_detail()
        callback = screen.opkg_upgrade_finished
        self.box.press("red")
        self.assertFails(KeyError, ["ZirkUpdateInfo.opkg_upgrade_finished:501"], callback, "", 0)
        self.assertTrue(self.box.config.usage.update_available.value)

    def test_of_another_passes_console_are_not_asked_for(self):
        self.install_opkg(BLUE)
        self.box.hold()
        self.box.press("ok", "blue", "blue")
        self.assertEqual(self.box.running, ["opkg update"] * 2)
        self.box.press("red")
        self.box.release()
        # The second runner was killed; the first one's update still ends, and finds no screen.
        self.assertFails(AttributeError, ["ZirkUpdateInfo.opkg_update_finished:474"],
                         self.box.settle)


if __name__ == "__main__":
    unittest.main()
