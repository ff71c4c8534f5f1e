# -*- coding: utf-8 -*-
"""The simulated host itself behaves as hosts do."""

import __builtin__
import gc
import os
import pty
import select
import shutil
import struct
import subprocess
import sys
import termios
import time
import unittest
import weakref

from simulator.receiver import Receiver, StillRunning, run_fresh

from Components.ActionMap import ActionMap
from Components.Console import Console
from Components.Ipkg import IpkgComponent
from Components.Label import Label
from Components.ScrollLabel import ScrollLabel
from Components.Sources.List import List
from Components.Sources.StaticText import StaticText
from Screens.ChoiceBox import ChoiceBox
from Screens.Ipkg import Ipkg
from Screens.MessageBox import MessageBox
from Screens.Screen import Screen
from Tools.BoundFunction import boundFunction
from Tools.Notifications import AddNotification, AddNotificationWithCallback
from enigma import eTimer


class News(Screen):
    """A screen that is drawn as the skin's AllNews."""

    def __init__(self, session, rows=None, header="header"):
        Screen.__init__(self, session)
        self.skinName = ["AllNews", "BackupSuite"]
        self["header"] = Label(header)
        self["title"] = StaticText("title")
        self["menu"] = List([("key", "one", None)] if rows is None else rows)


class SimulatorTest(unittest.TestCase):

    options = {}

    def setUp(self):
        self.box = Receiver(**dict({"load": False}, **self.options))
        self.addCleanup(self.box.close)
        self.log = []

    def note(self, *values):
        self.log.append(values)

    def noting(self, *values):
        return lambda: self.note(*values)

    def timer(self, milliseconds, single=True, *values):
        timer = eTimer()
        timer.callback.append(self.noting(*values))
        timer.start(milliseconds, single)
        return timer


class Timers(SimulatorTest):

    def test_fire_in_the_order_of_their_times_and_then_of_their_starts(self):
        kept = [self.timer(ms, True, name) for ms, name in
                [(200, "late"), (100, "first"), (100, "second"), (0, "now")]]
        self.box.pass_time(0.199)
        self.assertEqual(self.log, [("now",), ("first",), ("second",)])
        self.box.pass_time(0.001)
        self.assertEqual(self.log[3:], [("late",)])
        self.assertEqual([timer.isActive() for timer in kept], [False] * 4)

    def test_live_as_long_as_their_owner_keeps_them(self):
        self.timer(100, True, "dropped")
        self.box.pass_time(1)
        self.assertEqual(self.log, [])

    def test_one_dropped_by_another_ones_callback_does_not_fire(self):
        kept = [self.timer(100, True, "dropped")]
        dropper = eTimer()
        dropper.callback.append(kept.pop)
        dropper.start(50, True)
        self.box.pass_time(1)
        self.assertEqual(self.log, [])

    def test_one_dropped_at_the_instant_it_was_due_does_not_fire(self):
        kept = []
        dropper = eTimer()
        dropper.callback.append(lambda: kept.pop())
        dropper.start(100, True)
        kept.append(self.timer(100, True, "dropped"))
        self.box.pass_time(1)
        self.assertEqual(self.log, [])

    def test_fire_once_or_again_and_again(self):
        kept = [self.timer(100, True, "once"), self.timer(300, False, "again")]
        self.box.pass_time(1)
        self.assertEqual(self.log, [("once",)] + [("again",)] * 3)
        kept[1].stop()
        self.box.pass_time(1)
        self.assertEqual(len(self.log), 4)

    def test_a_second_start_replaces_the_first(self):
        timer = self.timer(100, True, "fired")
        timer.start(5000, True)
        self.assertEqual(self.box.timers(), [5000])
        self.box.pass_time(4.9)
        self.assertEqual(self.log, [])
        self.box.pass_time(0.1)
        self.assertEqual(self.log, [("fired",)])

    def test_take_whole_milliseconds_only(self):
        self.assertRaises(TypeError, eTimer().start, 1.5, True)
        self.assertRaises(TypeError, eTimer().start, None, True)

    def test_commands_take_no_virtual_time(self):
        timer = self.timer(10, True, "timer")
        Console().ePopen("sleep 0.1; echo x", lambda *result: self.note("command", result[0]))
        self.box.pass_time(0.010)
        self.assertEqual(self.log, [("command", "x\n"), ("timer",)])
        self.assertFalse(timer.isActive())


class Keys(SimulatorTest):

    def open_with(self, *maps):
        class Keyed(Screen):
            def __init__(self, session):
                Screen.__init__(self, session)
                for number, one in enumerate(maps):
                    self[str(number)] = ActionMap(*one)
        return self.box.session.open(Keyed)

    def test_a_lower_priority_number_sees_a_key_first(self):
        self.open_with((["ColorActions"], {"red": self.noting("high")}, 1),
                       (["ColorActions"], {"red": self.noting("low")}, -2))
        self.assertTrue(self.box.press("red"))
        self.assertEqual(self.log, [("low",)])

    def test_at_equal_priority_the_map_made_first_sees_it_first(self):
        self.open_with((["ColorActions"], {"red": self.noting("first")}, -1),
                       (["ColorActions"], {"red": self.noting("second")}, -1))
        self.box.press("red")
        self.assertEqual(self.log, [("first",)])

    def test_a_false_result_hands_the_key_on_and_None_does_not(self):
        self.open_with((["ColorActions"], {"red": lambda: self.note("a") or False}, -2),
                       (["ColorActions"], {"red": self.noting("b")}, -1),
                       (["ColorActions"], {"red": self.noting("c")}, 0))
        self.box.press("red")
        self.assertEqual(self.log, [("a",), ("b",)])

    def test_red_is_cancel_where_the_setup_context_comes_first(self):
        actions = {"red": self.noting("red"), "cancel": self.noting("cancel")}
        self.open_with((["SetupActions", "ColorActions"], actions))
        self.box.press("red", "cancel")
        self.open_with((["ColorActions", "SetupActions"], actions))
        self.box.press("red", "cancel")
        self.assertEqual(self.log, [("cancel",), ("cancel",), ("red",), ("cancel",)])

    def test_the_arrows_step_through_events_and_page(self):
        names = ["prevEvent", "nextEvent", "pageUp", "pageDown"]
        self.open_with((["ColorActions", "SetupActions", "EventViewActions"],
                        dict((name, self.noting(name)) for name in names)))
        self.box.press("left", "right", "up", "down", "pageUp", "pageDown")
        self.assertEqual([entry[0] for entry in self.log], names + names[2:])

    def test_only_the_front_screen_hears(self):
        self.open_with((["ColorActions"], {"red": self.noting("below")}))
        front = self.open_with((["ColorActions"], {"green": self.noting("front")}))
        self.assertFalse(self.box.press("red"))
        self.assertEqual(self.log, [])
        front.close()
        self.assertFalse(self.box.press("green"), "a closing screen is deaf")
        self.assertTrue(self.box.press("red"))

    def test_what_no_map_takes_moves_the_list(self):
        self.box.session.open(News, [("k", str(number), None) for number in range(30)])
        self.box.press("down", "down", "up", "right")
        self.assertEqual(self.box.cursor, 11)
        self.box.press("pageDown", "pageDown", "down")
        self.assertEqual(self.box.cursor, 29)
        self.box.press("left")
        self.assertEqual(self.box.cursor, 19)

    def test_the_remote_control_has_no_other_keys(self):
        self.assertRaises(ValueError, self.box.press, "purple")


class Screens(SimulatorTest):

    def test_layout_is_finished_before_the_screen_comes_to_the_front(self):
        def finished(screen):
            self.note(screen.layout, screen.execing, screen["menu"].getIndex())

        class Mine(News):
            def __init__(self, session):
                News.__init__(self, session)
                self.onLayoutFinish.append(lambda: finished(self))

        self.box.session.open(Mine)
        self.assertEqual(self.log, [("AllNews", False, 0)])

    def test_closing_calls_back_with_the_values_on_the_next_turn(self):
        below = self.box.session.open(News)
        for values in [(), (7,), (None,), (1, 2)]:
            front = self.box.session.openWithCallback(self.note, News)
            front.close(*values)
            self.assertIs(self.box.screen, front)
            self.assertEqual(self.log, [])
            self.box.settle()
            self.assertIs(self.box.screen, below)
            self.assertEqual(self.log, [values])
            del self.log[:]

    def test_the_screen_below_is_in_front_when_the_callback_runs(self):
        below = self.box.session.open(News)
        front = self.box.session.openWithCallback(
            lambda: self.note(self.box.session.open(News)), News)
        front.close()
        self.box.settle()
        self.assertEqual(len(self.box.stack), 2)
        self.assertIs(self.box.stack[0], below)

    def test_a_second_close_is_ignored(self):
        self.box.session.open(News)
        front = self.box.session.openWithCallback(self.note, News)
        front.close(1)
        front.close(2)
        self.box.settle()
        self.assertEqual((self.log, len(self.box.stack)), ([(1,)], 1))

    def test_a_close_in_the_constructor_waits_for_the_front(self):
        class Closing(Screen):
            def __init__(self, session):
                Screen.__init__(self, session)
                self.close("soon")

        self.box.session.openWithCallback(self.note, Closing)
        self.assertEqual(self.log, [])
        self.box.settle()
        self.assertEqual((self.log, self.box.screen), ([("soon",)], None))

    def test_a_closed_screen_is_freed_at_once_with_its_elements(self):
        gc.disable()
        self.addCleanup(gc.enable)
        screen = self.box.session.open(News)
        screen["actions"] = ActionMap(["ColorActions"], {"blue": screen.close})
        screen.timer = eTimer()
        screen.timer.callback.append(screen.close)
        screen.timer.start(1000)
        watched = map(weakref.ref, [screen, screen.timer] + screen.values())
        screen.close()
        del screen
        self.box.settle()
        self.assertEqual([one() for one in watched], [None] * len(watched))
        self.assertEqual(self.box.timers(), [])

    def test_every_dialog_of_the_host_is_freed_too(self):
        gc.disable()
        self.addCleanup(gc.enable)
        for opening in [(MessageBox, "text"), (ChoiceBox, "title", [("a", 1)]),
                        (Ipkg, [(IpkgComponent.CMD_UPDATE, None)])]:
            watched = weakref.ref(self.box.session.open(*opening))
            self.box.settle()
            self.box.press("cancel")
            self.assertIsNone(self.box.screen)
            self.assertIsNone(watched(), opening)

    def test_a_failing_constructor_leaves_the_old_screen_in_front(self):
        below = self.box.session.open(News)
        self.assertRaises(TypeError, self.box.session.open, News, no_such_argument=1)
        self.assertIs(self.box.screen, below)
        self.assertTrue(below.execing)

    def test_a_closing_screen_cannot_open_another(self):
        front = self.box.session.open(News)
        front.close()
        self.assertRaises(RuntimeError, self.box.session.open, News)

    def test_assigning_the_title_sets_the_windows_title(self):
        screen = self.box.session.open(News)
        screen.title = "Window"
        self.assertEqual((self.box.title, screen.getTitle()), ("Window", "Window"))
        self.assertIsInstance(vars(Screen)["title"], property)


class Skins(SimulatorTest):

    def test_the_first_known_name_is_taken(self):
        self.box.session.open(News)
        self.assertEqual(self.box.layout, "AllNews")

    def test_without_it_the_next_one_is(self):
        box = Receiver(load=False, screens=["BackupSuite"])
        box.session.open(News)
        self.assertEqual((box.layout, box.cursor), ("BackupSuite", 0))

    def test_without_any_the_screen_stays_blank_and_its_list_has_no_index(self):
        box = Receiver(load=False, screens=[])
        screen = box.session.open(News)
        self.assertEqual((box.layout, box.rows()), (None, []))
        self.assertIsNone(screen["menu"].getIndex())
        self.assertIn("no screen", box.show())


class Widgets(SimulatorTest):

    def test_a_label_takes_byte_strings_only(self):
        self.box.session.open(News)
        for bad in [u"text", 5, None]:
            self.assertRaises(TypeError, self.box.screen["header"].setText, bad)
            self.assertRaises(TypeError, self.box.screen["title"].setText, bad)

    def test_a_unicode_text_given_before_fails_when_the_layout_is_made(self):
        self.assertRaises(TypeError, self.box.session.open, News, None, u"header")
        self.assertIsNone(self.box.screen)

    def test_what_the_skin_does_not_draw_is_not_checked(self):
        box = Receiver(load=False, screens=[])
        box.session.open(News, None, u"header")
        self.assertEqual(box.text("header"), u"header")

    def test_a_list_has_an_index_only_while_a_skin_renders_it(self):
        menu = List([("k", "a", None), ("k", "b", None)])
        self.assertIsNone(menu.getIndex())
        menu.setIndex(1)
        self.assertIsNone(menu.getIndex())
        screen = self.box.session.open(News, [("k", "a", None), ("k", "b", None)])
        menu = screen["menu"]
        menu.setIndex(1)
        self.assertEqual((menu.getIndex(), self.box.cursor), (1, 1))
        menu.setIndex(99)
        self.assertEqual(menu.getIndex(), 1)
        screen.close()
        self.box.settle()
        self.assertIsNone(menu.getIndex())

    def test_an_empty_rendered_list_has_the_index_0(self):
        self.box.session.open(News, [])
        self.assertEqual(self.box.cursor, 0)

    def test_updating_a_list_keeps_the_selection_and_tells_nobody(self):
        screen = self.box.session.open(News, [("k", "a", None), ("k", "b", None)])
        screen["menu"].setIndex(1)
        screen["menu"].onSelectionChanged.append(self.noting("changed"))
        screen["menu"].updateList([("k", "c", None), ("k", "d", None)])
        self.assertEqual((self.box.rows(), self.box.cursor, self.log), (["c", "d"], 1, []))

    def test_updating_asserts_the_length_except_in_optimised_code(self):
        code = ("import simulator\nfrom Components.Sources.List import List\n"
                "List([1]).updateList([1, 2])")
        self.assertEqual(run_fresh(code).status, 0)
        plain = run_fresh(code, optimised=False)
        self.assertEqual((plain.status, plain.stderr.split("\n")[-2]), (1, "AssertionError"))

    def test_a_unicode_row_is_not_drawn(self):
        self.box.session.open(News, [("k", u"a", None)])
        self.assertEqual(self.box.rows(), ["<not-a-string>"])

    def test_a_long_text_is_paged(self):
        label = ScrollLabel("\n".join("line %d" % number for number in range(30)))
        label.pageUp()
        self.assertEqual(label.visibleLines()[0], "line 0")
        label.pageDown()
        self.assertEqual(label.visibleLines()[0], "line %d" % ScrollLabel.LINES)
        self.assertEqual(label.pageNumber(), (2, 3))
        for _ in range(5):
            label.pageDown()
        self.assertTrue(label.isAtLastPage())
        self.assertEqual(label.visibleLines()[-1], "line 29")
        label.setText("short")
        self.assertEqual(label.visibleLines(), ["short"])

    def test_long_lines_are_wrapped_by_characters_and_not_by_bytes(self):
        label = ScrollLabel("ä" * ScrollLabel.COLUMNS)
        self.assertEqual(label.visibleLines(), ["ä" * ScrollLabel.COLUMNS])


class MessageBoxes(SimulatorTest):

    def test_a_question_is_answered_with_yes_or_no(self):
        for answer in (True, False):
            self.box.session.openWithCallback(self.note, MessageBox, "Really?")
            self.assertEqual(self.box.text("text"), "Really?")
            self.box.answer(answer)
        self.box.session.openWithCallback(self.note, MessageBox, "Really?")
        self.box.press("cancel")
        self.assertEqual(self.log, [(True,), (False,), (False,)])

    def test_the_question_is_the_default_type(self):
        self.assertEqual(self.box.session.open(MessageBox, "?").type, MessageBox.TYPE_YESNO)

    def test_a_time_out_counts_its_first_second_at_once(self):
        self.box.session.openWithCallback(
            self.note, MessageBox, "Error", MessageBox.TYPE_ERROR, timeout=30)
        self.assertEqual((self.box.seconds_left, self.box.title), (29, "Error (29)"))
        self.box.pass_time(1)
        self.assertEqual((self.box.seconds_left, self.box.title), (28, "Error (28)"))
        self.box.pass_time(27.999)
        self.assertEqual((self.box.seconds_left, self.log), (1, []))
        self.box.pass_time(0.001)
        self.assertEqual((self.box.screen, self.log), (None, [(True,)]))

    def test_an_arrow_key_ends_the_count(self):
        self.box.session.open(MessageBox, "Error", MessageBox.TYPE_ERROR, timeout=5)
        self.box.press("down")
        self.assertEqual((self.box.seconds_left, self.box.title), (None, "Error"))
        self.box.pass_time(100)
        self.assertIsInstance(self.box.screen, MessageBox)

    def test_without_a_time_out_it_stays(self):
        self.box.session.open(MessageBox, "?", timeout=0)
        self.box.pass_time(100000)
        self.assertIsInstance(self.box.screen, MessageBox)


class Notifications(SimulatorTest):

    def test_they_open_one_after_the_other_when_no_dialog_is_open(self):
        front = self.box.session.open(News)
        AddNotificationWithCallback(boundFunction(self.note, "first"), MessageBox, "1", timeout=0)
        AddNotification(MessageBox, "2", type=MessageBox.TYPE_INFO, timeout=10)
        self.box.pass_time(100)
        self.assertIs(self.box.screen, front)
        self.assertEqual(self.box.notifications, 2)
        front.close()
        self.box.settle()
        self.assertEqual((self.box.text("text"), self.box.seconds_left), ("1", None))
        self.box.answer(False)
        self.assertEqual(self.log, [("first", False)])
        self.assertEqual((self.box.text("text"), self.box.seconds_left), ("2", 9))

    def test_it_waits_for_what_the_closing_dialogs_callback_opens(self):
        first = self.box.session.openWithCallback(
            lambda: self.note(self.box.session.open(News)), News)
        AddNotification(MessageBox, "later")
        first.close()
        self.box.settle()
        self.assertIsInstance(self.box.screen, News)
        self.assertEqual(self.box.notifications, 1)


class ChoiceBoxes(SimulatorTest):

    ROWS = [("Alpha", 1), ("Beta", 2), ("Beta two", 3)]

    def choose(self, **arguments):
        return self.box.session.openWithCallback(self.note, ChoiceBox, title="Pick", **arguments)

    def test_it_closes_with_the_chosen_tuple(self):
        self.choose(list=self.ROWS, keys=False)
        self.assertEqual((self.box.title, self.box.rows()), ("Pick", ["Alpha", "Beta", "Beta two"]))
        self.box.choose("Beta")
        self.assertIs(self.log[0][0], self.ROWS[1])

    def test_it_closes_with_None_when_cancelled(self):
        self.choose(list=self.ROWS, keys=False)
        self.box.press("cancel")
        self.assertEqual(self.log, [(None,)])

    def test_an_empty_list_gives_None(self):
        self.choose(list=[], keys=False)
        self.assertEqual(self.box.rows(), [])
        self.box.press("ok")
        self.assertEqual(self.log, [(None,)])

    def test_quick_keys_choose_unless_they_are_switched_off(self):
        self.choose(list=self.ROWS, keys=False)
        self.assertFalse(self.box.press("2"))
        self.box.press("cancel")
        self.choose(list=self.ROWS)
        self.box.press("2")
        self.choose(list=self.ROWS, keys=["red"])
        self.box.press("red")
        self.assertEqual(self.log[1:], [(self.ROWS[1],), (self.ROWS[0],)])

    def test_choosing_what_is_not_there_fails(self):
        self.choose(list=self.ROWS, keys=False)
        self.assertRaises(LookupError, self.box.choose, "Gamma")


class Commands(SimulatorTest):

    def test_both_outputs_come_together_with_the_status_and_an_empty_list(self):
        Console().ePopen("echo a; echo b >&2; echo c; exit 3", self.note)
        self.assertEqual(self.log, [])
        self.box.settle()
        self.assertEqual(self.log, [("a\nb\nc\n", 3, [])])
        self.assertEqual(self.box.commands, ["echo a; echo b >&2; echo c; exit 3"])

    def test_extra_arguments_are_handed_on(self):
        extra = object()
        Console().ePopen("true", self.note, extra)
        self.box.settle()
        self.assertIs(self.log[0][2], extra)

    def test_the_callback_is_optional(self):
        Console().ePopen("true")
        self.box.settle()

    def test_a_running_command_is_in_appContainers_by_its_name(self):
        console = Console()
        console.ePopen("true", lambda *_: self.note(console.appContainers.keys()))
        self.assertEqual(console.appContainers.keys(), ["true"])
        self.box.settle()
        self.assertEqual(self.log, [([],)])

    def test_the_same_command_twice_gets_two_names(self):
        console = Console()
        console.ePopen("true", self.note)
        console.ePopen("true", self.note)
        self.assertEqual(len(console.appContainers), 2)
        self.box.settle()
        self.assertEqual(len(self.log), 2)

    def test_killing_ends_the_process_and_its_children_without_a_callback(self):
        console = Console()
        console.ePopen("(sleep 1; echo survived > /tmp/survivor) | cat; sleep 60", self.note)
        console.kill("no such name")
        console.kill(console.appContainers.keys()[0])
        self.assertEqual(self.box.running, [])
        self.box.pass_time(10)
        time.sleep(1.2)
        self.assertFalse(os.path.exists("/tmp/survivor"))
        self.assertEqual(self.log, [])
        self.assertEqual(len(console.appContainers), 1)

    def test_on_some_images_a_killed_commands_callback_still_comes(self):
        box = Receiver(load=False, late_callbacks=True)
        console = Console()
        console.ePopen("echo begun; sleep 60", self.note)
        console.kill("echo begun; sleep 60")
        self.assertEqual(self.log, [])
        box.settle()
        self.assertEqual([entry[1:] for entry in self.log], [(-1, [])])
        self.assertEqual(console.appContainers, {})

    def test_ends_are_delivered_in_the_order_of_the_starts(self):
        Console().ePopen("sleep 0.2", self.noting_result("slow"))
        Console().ePopen("true", self.noting_result("quick"))
        self.box.settle()
        self.assertEqual(self.log, [("slow",), ("quick",)])

    def noting_result(self, name):
        return lambda *_: self.note(name)

    def test_while_held_time_passes_and_commands_hang(self):
        timer = self.timer(1000, True, "timer")
        for name in ("first", "second"):
            Console().ePopen("echo " + name, self.noting_result(name))
        self.box.hold()
        self.box.pass_time(5)
        self.assertEqual(self.log, [("timer",)])
        self.box.finish("echo second")
        self.assertEqual(self.box.running, ["echo first"])
        self.assertRaises(LookupError, self.box.finish, "echo second")
        self.box.release()
        self.box.settle()
        self.assertEqual(self.log, [("timer",), ("second",), ("first",)])
        self.assertFalse(timer.isActive())

    def test_a_command_without_an_end_fails_clearly(self):
        self.box.patience = 0.1
        Console().ePopen("sleep 60", self.note)
        with self.assertRaises(StillRunning) as caught:
            self.box.settle()
        self.assertIn("'sleep 60' is still running after 0.1 seconds", str(caught.exception))

    def test_it_runs_even_when_its_console_was_dropped(self):
        Console().ePopen("echo x", self.note)
        gc.collect()
        self.box.settle()
        self.assertEqual(self.log, [("x\n", 0, [])])

    def test_a_large_output_arrives_whole(self):
        Console().ePopen("yes 123456789 | head -n 50000", self.note)
        self.box.settle()
        self.assertEqual(self.log, [("123456789\n" * 50000, 0, [])])

    def test_a_missing_shell_is_the_status_minus_1(self):
        self.box.patch(os, "environ", {"PATH": "/nowhere"})
        Console().ePopen("true", self.note)
        self.assertEqual(self.log, [("", -1, [])])


class Installer(SimulatorTest):

    COMMANDS = [(IpkgComponent.CMD_UPDATE, None),
                (IpkgComponent.CMD_REMOVE, {"package": "--force-depends name"}),
                (IpkgComponent.CMD_INSTALL, {"package": "other"})]

    def setUp(self):
        SimulatorTest.setUp(self)
        os.rename("/usr/bin/opkg", "/usr/bin/opkg.away")
        self.addCleanup(os.rename, "/usr/bin/opkg.away", "/usr/bin/opkg")
        with open("/usr/bin/opkg", "w") as script:
            script.write("#!/bin/sh\necho opkg \"$@\"\n[ \"$1\" != remove ]\n")
        os.chmod("/usr/bin/opkg", 0o755)

    def install(self, commands):
        self.box.session.openWithCallback(self.note, Ipkg, cmdList=commands)

    def test_commands_run_one_after_the_other_and_a_failure_stops_none(self):
        self.install(self.COMMANDS)
        self.assertEqual(self.box.running, ["opkg update"])
        self.box.settle()
        lines = ["opkg update", "opkg remove --force-depends name", "opkg install other"]
        self.assertEqual(self.box.commands, lines)
        self.assertEqual(self.box.text("output"), "\n".join(lines) + "\n")
        self.assertEqual(self.box.text("status"), "Done, with errors")
        self.box.press("ok")
        self.assertEqual(self.log, [(False,)])

    def test_it_stays_while_a_command_runs(self):
        self.install(self.COMMANDS[:1])
        self.box.press("cancel")
        self.assertIsInstance(self.box.screen, Ipkg)
        self.box.settle()
        self.box.press("cancel")
        self.assertEqual(self.log, [(True,)])

    def test_on_some_images_it_closes_without_a_value(self):
        self.box.patch(Ipkg, "closes_with_value", False)
        self.install([])
        self.box.press("ok")
        self.assertEqual(self.log, [()])


class Surroundings(SimulatorTest):

    def test_the_default_encoding_is_the_one_asked_for(self):
        self.assertEqual(str(u"ä"), "ä")
        Receiver(load=False, encoding="ascii")
        self.assertRaises(UnicodeEncodeError, str, u"ä")

    def test_texts_are_translated_by_a_catalogue(self):
        write_catalogue("/tmp/test.mo", "Yes", "Ja, möglich")
        Receiver(load=False, language="/tmp/test.mo")
        translate = __builtin__._
        self.assertEqual((translate("Yes"), translate("No")), ("Ja, möglich", "No"))
        Receiver(load=False)
        self.assertEqual(__builtin__._("Yes"), "Yes")

    def test_an_exception_leaves_with_its_own_traceback_and_is_noted(self):
        self.timer_calls_failing()
        with self.assertRaises(ZeroDivisionError):
            self.box.pass_time(1)
        self.assertIn("in failing", self.box.errors[0])

    def test_or_is_only_noted(self):
        self.box.loop.raise_errors = False
        self.timer_calls_failing()
        self.box.pass_time(1)
        self.assertEqual(len(self.box.errors), 1)

    def timer_calls_failing(self):
        def failing():
            return 1 // 0

        self.failing_timer = eTimer()
        self.failing_timer.callback.append(failing)
        self.failing_timer.start(10, True)

    def test_patches_end_with_the_receiver(self):
        old = vars(Label)["setText"]
        self.box.patch(Label, "setText", None)
        self.box.patch(Label, "newName", 1)
        self.box.patch(Label, "setText", 5)
        self.box.close()
        self.assertIs(vars(Label)["setText"], old)
        self.assertFalse(hasattr(Label, "newName"))

    def test_a_new_receiver_starts_afresh(self):
        self.box.session.open(News)
        Console().ePopen("sleep 60", self.note)
        AddNotification(MessageBox, "?")
        timer = self.timer(1000, True, "fired")
        self.box.config.usage.update_available.value = True
        box = Receiver(load=False, check_for_updates=3)
        self.assertEqual((box.screen, box.running, box.notifications, box.timers(), box.commands),
                         (None, [], 0, [], []))
        self.assertEqual(box.config.usage.check_for_updates.value, 3)
        self.assertIs(box.config.usage.update_available.value, False)
        box.pass_time(10)
        self.assertEqual(self.log, [])
        self.assertFalse(timer.isActive())


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

    def test_another_model_or_version_gives_another_instance(self):
        with Receiver(model="solo4k", image_version="9") as box:
            self.assertEqual((box.module.vumodel, box.module.header),
                             ("solo4k", "Zirk 9 (Vu+ Solo 4K)\n"))
        with Receiver(model="duo") as box:
            self.assertEqual(box.module.vumodel, "duo")

    def test_a_fresh_instance_shares_nothing(self):
        with Receiver() as box:
            shared = box.module
        with Receiver(fresh=True) as box:
            self.assertIsNot(box.module, shared)
            box.module.header = "changed\n"
            box.module.cache_file = "/tmp/other"
            box.module.write_cache([("t", [], "normal")])
            self.assertTrue(os.path.exists("/tmp/other"))
            os.remove("/tmp/other")
            self.assertNotEqual(shared.header, "changed\n")
            self.assertEqual(shared.cache_file, "/tmp/.updatecache")

    def test_the_plugin_lies_where_a_receiver_has_it(self):
        with Receiver(fresh=True) as box:
            self.assertEqual(box.module.__name__, "Plugins.SystemPlugins.ZIRKPanel.Kelvaro")
            self.assertEqual(sorted(os.listdir(box.plugin_path + "/pictures")),
                             ["update_info.png", "update_normal.png", "update_urgent.png"])

    def test_it_may_be_a_top_level_module(self):
        with Receiver(plugin_package=False) as box:
            self.assertEqual(box.module.__name__, "Kelvaro")
            self.assertIsNone(box.plugin)
            box.start_plugin()
            self.assertEqual(box.timers(), [60000])


def write_catalogue(name, text, translation):
    """Write a gettext catalogue of one entry, in UTF-8, and its head."""
    entries = [("", "Content-Type: text/plain; charset=UTF-8\n"), (text, translation)]
    tables, strings = ["", ""], ""
    start = 28 + 16 * len(entries)
    for number in (0, 1):
        for entry in entries:
            tables[number] += struct.pack("<II", len(entry[number]), start + len(strings))
            strings += entry[number] + "\0"
    with open(name, "wb") as catalogue:
        catalogue.write(struct.pack("<7I", 0x950412de, 0, len(entries), 28, 28 + 8 * len(entries),
                                    0, 0) + "".join(tables) + strings)


def make_feed(news):
    """Make a feed with this news document; return its directory."""
    directory = "/tmp/test-simulator-feed"
    if not os.path.isdir(directory):
        os.makedirs(directory + "/all")
    with open(directory + "/zirknews.xml", "w") as document:
        document.write(news)
    return directory


class FromTheCommandLine(unittest.TestCase):

    def run_simulator(self, *arguments, **environment):
        process = subprocess.Popen(
            [sys.executable, "-O", "-m", "simulator"] + list(arguments),
            env=dict(os.environ, **environment), stdin=open(os.devnull), stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, close_fds=True)
        stdout, stderr = process.communicate()
        return process.returncode, stdout, stderr

    def test_the_tour_passes_for_an_old_and_a_new_model(self):
        for model in ("solo", "duo4kse"):
            status, stdout, stderr = self.run_simulator("--tour", "--model", model)
            self.assertEqual((status, stderr), (0, ""), stdout)
            self.assertIn("The tour is complete", stdout)

    def test_the_tour_notices_a_module_that_is_wrong(self):
        with open(os.path.join(os.environ["KELVARO_ROOT"], "plugin/model/Kelvaro.py")) as model:
            source = model.read()
        for old, new, complaint in [
                ('"show Updates"', '"Updates"', "At step 1 the list of key labels is"),
                ("for path in (packagetmpfile, cache_file)", "for path in ()",
                 "the presence of /tmp/.updatecache is True and must be False"),
                (", idx, show_upgradable)\n", ", idx + 99, show_upgradable)\n", "IndexError")]:
            self.assertIn(old, source)
            with open("/tmp/Kelvaro.py", "w") as wrong:
                wrong.write(source.replace(old, new))
            status, stdout, _ = self.run_simulator(KELVARO_MODULE="/tmp/Kelvaro.py")
            self.assertEqual(status, 1)
            self.assertIn(complaint, stdout)
            self.assertIn("\nWRONG: ", stdout)

    def test_a_wrong_argument_gets_one_sentence(self):
        for arguments, sentence in [
                (["--model", "duo9"], "there is no model 'duo9'; see --help."),
                (["--feed", "/nowhere"], "there is no feed folder '/nowhere'; see --help."),
                (["--loud"], "unrecognized arguments: --loud; see --help.")]:
            self.assertEqual(self.run_simulator(*arguments),
                             (2, "", "run: %s\n" % sentence))

    def test_a_missing_module_gets_one_sentence(self):
        status, _, stderr = self.run_simulator("--tour", KELVARO_MODULE="/nowhere/Kelvaro.so")
        self.assertEqual((status, stderr.count("\n")), (2, 1))
        self.assertIn("there is no module at /nowhere/Kelvaro.so", stderr)

    def test_it_refuses_to_touch_the_machine_itself(self):
        environment = dict(os.environ)
        del environment["KELVARO_ROOT"]
        process = subprocess.Popen([sys.executable, "-O", "-m", "simulator", "--tour"],
                                   env=environment, stderr=subprocess.PIPE, close_fds=True)
        self.assertIn("only inside the sandbox", process.communicate()[1])
        self.assertEqual(process.returncode, 2)


class AtATerminal(unittest.TestCase):

    def start(self, news):
        self.feed = make_feed(news)
        self.addCleanup(shutil.rmtree, self.feed)
        self.master, self.slave = pty.openpty()
        self.addCleanup(os.close, self.master)
        self.addCleanup(os.close, self.slave)
        self.mode = termios.tcgetattr(self.slave)
        self.seen = ""
        self.process = subprocess.Popen(
            [sys.executable, "-O", "-m", "simulator", "--feed", self.feed],
            stdin=self.slave, stdout=self.slave, stderr=self.slave, close_fds=True)
        self.addCleanup(self.end)

    def end(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    def wait_for(self, text):
        """Read until `text` is drawn; what came before it is not looked at again."""
        deadline = time.time() + 20
        while text not in self.seen:
            self.assertLess(time.time(), deadline, "no %r in %r" % (text, self.seen))
            if select.select([self.master], [], [], 0.1)[0]:
                self.seen += os.read(self.master, 65536)
        self.seen = self.seen.split(text, 1)[1]

    def press(self, key):
        os.write(self.master, key)

    def test_keys_work_and_the_mode_is_put_back(self):
        self.start("<news><update type='urgent'><title>Erste</title></update>"
                   "<update><title>Zweite</title></update></news>")
        self.wait_for("> [!] Erste")
        self.press("\x1b[B")
        self.wait_for("> [ ] Zweite")
        self.press("\r")
        self.wait_for("(red) Close")
        self.press("b")
        self.wait_for("Upgradable Packages")
        self.wait_for("up to date")
        self.press("\x1b")
        self.wait_for("Top 20")
        self.press("g")
        self.wait_for("Software update")
        self.press("q")
        self.wait_for("> [ ] Zweite")
        self.press("h")
        self.wait_for("up for 1:00:")
        self.press("q")
        self.wait_for("(television picture)")
        self.assertNotEqual(termios.tcgetattr(self.slave), self.mode)
        self.press("q")
        self.assertEqual(self.process.wait(), 0)
        self.assertEqual(termios.tcgetattr(self.slave), self.mode)

    def test_the_mode_is_put_back_after_a_signal(self):
        self.start("<news><update type='urgent'><title>Erste</title></update></news>")
        self.wait_for("> [!] Erste")
        self.process.terminate()
        self.assertEqual(self.process.wait(), 128 + 15)
        self.assertEqual(termios.tcgetattr(self.slave), self.mode)

    def test_an_uncaught_exception_is_shown_and_called_a_restart(self):
        self.start("<news><update/></news>")
        self.wait_for("A receiver would restart its GUI here:")
        self.wait_for("IndexError")
        self.press("qq")
        self.assertEqual(self.process.wait(), 0)


if __name__ == "__main__":
    unittest.main()
