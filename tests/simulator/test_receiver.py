# -*- coding: utf-8 -*-
"""The class Receiver: each one is a fresh boot, and is driven in virtual time."""

import os
import unittest

from simulator.receiver import Receiver
from tests.support.machine import run

from Components.Console import Console
from Screens.ChoiceBox import ChoiceBox
from Screens.MessageBox import MessageBox
from Tools.Notifications import AddNotificationWithCallback
from enigma import eTimer


class ReceiverTest(unittest.TestCase):

    def setUp(self):
        self.box = Receiver(load=False)
        self.addCleanup(self.box.close)
        self.log = []

    def run_commands(self, *names):
        for name in names:
            Console().ePopen("echo " + name, lambda text, *_: self.log.append(text.strip()))

    def failing_timer(self):
        def failing():
            return 1 // 0
        timer = eTimer()
        timer.callback.append(failing)
        timer.start(10, True)
        return timer


class Driving(ReceiverTest):

    def test_while_it_lives_commands_run_on_and_a_hold_around_it_lasts(self):
        self.run_commands("first")
        self.box.live(0)
        self.assertEqual((self.log, self.box.loop.held), ([], False))
        self.box.settle()
        self.box.hold()
        self.run_commands("second")
        timer = self.failing_timer()
        self.assertRaises(ZeroDivisionError, self.box.live, 5)
        self.box.live(5)
        self.box.settle()
        self.assertEqual((self.log, self.box.running), (["first"], ["echo second"]))
        del timer


class Boot(ReceiverTest):

    def test_a_new_receiver_starts_afresh(self):
        self.box.session.open(ChoiceBox)
        self.run_commands("first")
        AddNotificationWithCallback(None, MessageBox, "?")
        timer = self.failing_timer()
        self.box.config.usage.update_available.value = True
        for name in ("/tmp/.updatecache", "/tmp/.package.tmp", "/tmp/.installed"):
            open(name, "w").close()
        box = Receiver(load=False, check_for_updates=3)
        self.assertEqual((box.screen, box.running, box.notifications, box.timers(), box.commands),
                         (None, [], 0, [], []))
        self.assertEqual(box.config.usage.check_for_updates.value, 3)
        self.assertIs(box.config.usage.update_available.value, False)
        self.assertEqual([name for name in os.listdir("/tmp") if name.startswith(".")], [])
        box.pass_time(10)
        self.assertEqual(self.log, [])
        del timer

    def test_the_default_encoding_is_the_one_asked_for(self):
        self.assertEqual(str(u"ä"), "ä")
        Receiver(load=False, encoding="ascii")
        self.assertRaises(UnicodeEncodeError, str, u"ä")

    def test_outside_the_sandbox_it_refuses_to_touch_the_machine(self):
        tour = run("python2.7", "-O", "-m", "simulator", "--tour", KELVARO_ROOT=None)
        self.assertIn("only inside the sandbox", tour.stderr)
        self.assertEqual(tour.status, 2)


class Instances(unittest.TestCase):

    def test_the_same_combination_gives_the_same_module_as_it_was(self):
        with Receiver() as box:
            module = box.module
            parse, key = module.parse_xml, vars(module.AllNews)["blueKey"]
            module.parse_xml = None
            module.new_name = 1
            del module.cache_file
            module.AllNews.blueKey = None
            module.update_notification.session = 1
        with Receiver() as box:
            self.assertIs(box.module, module)
            self.assertIs(module.parse_xml, parse)
            self.assertIs(vars(module.AllNews)["blueKey"], key)
            self.assertEqual(module.cache_file, "/tmp/.updatecache")
            self.assertFalse(hasattr(module, "new_name"))
            self.assertEqual(vars(module.update_notification), {})

    def test_it_lies_in_the_plug_ins_package_or_at_the_top_level(self):
        with Receiver() as box:
            self.assertEqual(box.module.__name__, "Plugins.SystemPlugins.ZIRKPanel.Kelvaro")
        with Receiver(plugin_package=False) as box:
            self.assertEqual((box.module.__name__, box.plugin), ("Kelvaro", None))
            box.start_plugin()
            self.assertEqual(box.timers(), [60000])
