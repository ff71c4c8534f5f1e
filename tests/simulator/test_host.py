"""The simulated host behaves as hosts do, wherever a module could notice."""

import gc
import os
import time
import unittest
import weakref

from simulator.receiver import Receiver, run_fresh

from Components.ActionMap import ActionMap
from Components.Console import Console
from Components.Ipkg import IpkgComponent
from Components.Label import Label
from Components.Sources.List import List
from Components.Sources.StaticText import StaticText
from Screens.ChoiceBox import ChoiceBox
from Screens.Ipkg import Ipkg
from Screens.MessageBox import MessageBox
from Screens.Screen import Screen
from Tools.Notifications import AddNotificationWithCallback
from enigma import eTimer


class News(Screen):
    """A screen that is drawn as the skin's AllNews."""

    def __init__(self, session, rows=("one",), header="header"):
        Screen.__init__(self, session)
        self.skinName = ["AllNews", "BackupSuite"]
        self["header"] = Label(header)
        self["title"] = StaticText("title")
        self["menu"] = List([("key", row, None) for row in rows])


class HostTest(unittest.TestCase):

    def setUp(self):
        self.boot()
        self.log = []

    def boot(self, **options):
        self.box = Receiver(load=False, **options)
        self.addCleanup(self.box.close)

    def note(self, *values):
        self.log.append(values[0] if len(values) == 1 else values)

    def noting(self, value):
        return lambda *_: self.note(value)

    def timer(self, milliseconds, single=True, value="fired"):
        timer = eTimer()
        timer.callback.append(self.noting(value))
        timer.start(milliseconds, single)
        return timer

    def open(self, *arguments):
        return self.box.session.openWithCallback(self.note, *arguments)


class Timers(HostTest):

    def test_fire_in_the_order_of_their_times_and_then_of_their_starts(self):
        kept = [self.timer(ms, True, name) for ms, name in
                [(200, "late"), (100, "first"), (100, "second"), (0, "now")]]
        self.box.pass_time(0.199)
        self.assertEqual(self.log, ["now", "first", "second"])
        kept[0].start(5000, True)  # replaces the first start
        self.assertEqual(self.box.timers(), [5000])
        self.box.pass_time(4.9)
        self.assertEqual(len(self.log), 3)

    def test_live_as_long_as_their_owner_keeps_them_even_at_the_instant_they_are_due(self):
        self.timer(100)
        for earlier in (50, 0):
            kept = []
            dropper = eTimer()
            dropper.callback.append(lambda: kept.pop())
            dropper.start(100 - earlier, True)
            kept.append(self.timer(100))
            self.box.pass_time(1)
        self.assertEqual(self.log, [])

    def test_take_whole_milliseconds_only(self):
        for wrong in (1.5, None):
            self.assertRaises(TypeError, eTimer().start, wrong, True)


class Keys(HostTest):

    def keyed(self, *maps):
        """Open a screen with action maps: (contexts, action names, priority, name, result)."""
        class Keyed(Screen):
            def __init__(screen, session):
                Screen.__init__(screen, session)
                for number, (contexts, names, priority, label, result) in enumerate(maps):
                    actions = dict(
                        (name, lambda value=label + name, result=result: self.note(value) or result)
                        for name in names)
                    screen[str(number)] = ActionMap(contexts, actions, priority)
        return self.box.session.open(Keyed)

    def test_travel_through_the_maps_by_priority_and_then_by_age(self):
        colour = ["ColorActions"]
        for maps, heard in [
                ([(1, "high ", None), (-2, "low ", None)], ["low red"]),
                ([(-1, "first ", None), (-1, "second ", None)], ["first red"]),
                ([(-2, "a ", False), (-1, "b ", None), (0, "c ", None)], ["a red", "b red"])]:
            self.keyed(*[(colour, ["red"]) + each for each in maps])
            self.assertTrue(self.box.press("red"))
            self.assertEqual(self.log, heard)
            del self.log[:]

    def test_red_is_cancel_where_the_setup_context_comes_first(self):
        for contexts, heard in [(["SetupActions", "ColorActions"], ["cancel", "cancel"]),
                                (["ColorActions", "SetupActions"], ["red", "cancel"])]:
            self.keyed((contexts, ["red", "cancel"], 0, "", None))
            self.box.press("red", "cancel")
            self.assertEqual(self.log, heard)
            del self.log[:]

    def test_the_arrows_step_through_events_and_page(self):
        names = ["prevEvent", "nextEvent", "pageUp", "pageDown"]
        self.keyed((["ColorActions", "SetupActions", "EventViewActions"], names, 0, "", None))
        self.box.press("left", "right", "up", "down", "pageUp", "pageDown")
        self.assertEqual(self.log, names + names[2:])

    def test_only_the_front_screen_hears_and_a_closing_one_is_deaf(self):
        self.keyed((["ColorActions"], ["red"], 0, "below ", None))
        front = self.keyed((["ColorActions"], ["green"], 0, "front ", None))
        self.assertFalse(self.box.press("red"))
        front.close()
        self.assertFalse(self.box.press("green"))
        self.assertTrue(self.box.press("red"))
        self.assertEqual(self.log, ["below red"])


class Screens(HostTest):

    def test_closing_calls_back_on_the_next_turn_with_the_values_of_the_first_close(self):
        below = self.box.session.open(News)
        for values in [(7,), (None,), (1, 2)]:
            front = self.open(News)
            front.close(*values)
            front.close("again")
            self.assertIs(self.box.screen, front)
            self.assertEqual(self.log, [])
            self.box.settle()
            self.assertIs(self.box.screen, below)
            self.assertEqual(self.log, [values[0] if len(values) == 1 else values])
            del self.log[:]

    def test_a_close_in_the_background_waits_for_the_front(self):
        below = self.open(News)
        front = self.box.session.open(News)
        below.close("soon")
        self.box.settle()
        self.assertEqual((self.log, self.box.screen), ([], front))
        front.close()
        self.box.settle()
        self.assertEqual((self.log, self.box.screen), (["soon"], None))

    def test_a_closed_screen_is_freed_at_once_with_its_elements(self):
        gc.disable()
        self.addCleanup(gc.enable)
        for opening in [(News,), (MessageBox, "text"), (ChoiceBox, "title", [("a", 1)]),
                        (Ipkg, [(IpkgComponent.CMD_UPDATE, None)])]:
            screen = self.box.session.open(*opening)
            screen["own"] = ActionMap(["ColorActions"], {"blue": screen.close})
            screen.timer = eTimer()
            screen.timer.callback.append(screen.close)
            self.box.settle()
            watched = map(weakref.ref, [screen, screen.timer] + screen.values())
            screen.timer.start(1000)
            screen.close()
            del screen
            self.box.settle()
            self.assertEqual([one() for one in watched], [None] * len(watched), opening)
            self.assertEqual(self.box.timers(), [])

    def test_what_can_not_open_leaves_the_screen_in_front(self):
        below = self.box.session.open(News)
        self.assertRaises(TypeError, self.box.session.open, News, no_such_argument=1)
        self.assertTrue(below.execing)
        below.close()
        self.assertRaises(RuntimeError, self.box.session.open, News)
        self.assertIs(self.box.screen, below)

    def test_assigning_the_title_sets_the_windows_title(self):
        self.box.session.open(News).title = "Window"
        self.assertEqual(self.box.title, "Window")


class Widgets(HostTest):

    def test_the_skins_first_known_name_is_drawn_and_without_any_nothing(self):
        for screens, layout, cursor, rows in [
                (("AllNews", "BackupSuite"), "AllNews", 0, ["one"]),
                (("BackupSuite",), "BackupSuite", 0, ["one"]), ((), None, None, [])]:
            self.boot(screens=screens)
            self.box.session.open(News)
            self.assertEqual((self.box.layout, self.box.cursor, self.box.rows()),
                             (layout, cursor, rows))
        self.assertIn("no screen", self.box.show())

    def test_those_that_are_compiled_take_byte_strings_only(self):
        screen = self.box.session.open(News)
        for wrong in (u"text", 5, None):
            self.assertRaises(TypeError, screen["header"].setText, wrong)
            self.assertRaises(TypeError, screen["title"].setText, wrong)
        self.assertRaises(TypeError, self.box.session.open, News, [], u"header")
        self.boot(screens=[])  # made they are without a layout, too
        self.assertRaises(TypeError, self.box.session.open, News, [], u"header")

    def test_a_list_has_an_index_only_while_a_skin_renders_it(self):
        screen = self.box.session.open(News, ["a", "b"])
        menu = screen["menu"]
        for index in (1, 99):
            menu.setIndex(index)
            self.assertEqual((menu.getIndex(), self.box.cursor), (1, 1))
        screen.close()
        self.box.settle()
        self.assertIsNone(menu.getIndex())
        menu.setIndex(1)
        self.assertIsNone(menu.getIndex())
        self.box.session.open(News, [])
        self.assertEqual(self.box.cursor, 0)

    def test_updating_a_list_keeps_the_selection_and_tells_nobody(self):
        menu = self.box.session.open(News, ["a", "b"])["menu"]
        menu.setIndex(1)
        menu.onSelectionChanged.append(self.noting("changed"))
        menu.updateList([("k", "c", None), ("k", u"d", None)])
        self.assertEqual((self.box.rows(), self.box.cursor, self.log),
                         (["c", "<not-a-string>"], 1, []))

    def test_updating_asserts_the_length_except_in_optimised_code(self):
        code = ("import simulator\nfrom Components.Sources.List import List\n"
                "List([1]).updateList([1, 2])")
        self.assertEqual(run_fresh(code).status, 0)
        plain = run_fresh(code, optimised=False)
        self.assertEqual((plain.status, plain.stderr.split("\n")[-2]), (1, "AssertionError"))


class Dialogs(HostTest):

    ROWS = [("Alpha", 1), ("Beta", 2), ("Beta two", 3)]

    def test_a_message_box_is_a_question_answered_with_yes_or_no(self):
        for answer in (True, False):
            self.assertEqual(self.open(MessageBox, "Really?").type, MessageBox.TYPE_YESNO)
            self.box.answer(answer)
        self.open(MessageBox, "Really?")
        self.box.press("cancel")
        self.assertEqual(self.log, [True, False, False])

    def test_its_time_out_counts_the_first_second_at_once(self):
        self.open(MessageBox, "text", MessageBox.TYPE_ERROR, 30)
        for seconds, left in [(0, 29), (1, 28), (27.999, 1)]:
            self.box.pass_time(seconds)
            self.assertEqual((self.box.seconds_left, self.box.title), (left, "Error (%d)" % left))
        self.box.pass_time(0.001)
        self.assertEqual((self.box.screen, self.log), (None, [True]))

    def test_without_a_time_out_or_after_an_arrow_key_it_stays(self):
        for timeout, keys in [(0, []), (-1, []), (5, ["down"])]:
            self.open(MessageBox, "text", MessageBox.TYPE_ERROR, timeout)
            self.box.press(*keys)
            self.box.pass_time(100000)
            self.assertEqual((self.box.seconds_left, self.box.title), (None, "Error"))
            self.box.press("ok")

    def test_notifications_open_one_after_the_other_when_no_dialog_is_open(self):
        # What the callback of a closing dialog opens comes first.
        first = self.box.session.openWithCallback(lambda: self.box.session.open(News), News)
        AddNotificationWithCallback(self.note, MessageBox, "1", timeout=0)
        AddNotificationWithCallback(None, MessageBox, "2", type=MessageBox.TYPE_ERROR, timeout=10)
        first.close()
        self.box.pass_time(100)
        self.assertIsInstance(self.box.screen, News)
        self.assertEqual(self.box.notifications, 2)
        self.box.screen.close()
        self.box.settle()
        self.assertEqual((self.box.text("text"), self.box.seconds_left), ("1", None))
        self.assertEqual(self.box.layout, "MessageBoxSimple")
        self.box.answer(False)
        self.assertEqual(self.log, [False])
        self.assertEqual((self.box.text("text"), self.box.seconds_left), ("2", 9))

    def test_a_chooser_closes_with_the_chosen_tuple_or_None(self):
        for rows, keys, press, chosen in [
                (self.ROWS, False, ["down", "ok"], self.ROWS[1]),
                (self.ROWS, False, ["2", "ok"], self.ROWS[0]),  # no quick keys
                (self.ROWS, None, ["2"], self.ROWS[1]),
                (self.ROWS, ["red"], ["red"], self.ROWS[0]),
                (self.ROWS, False, ["cancel"], None),
                ([], False, ["ok"], None)]:
            self.open(ChoiceBox, "Pick", rows, keys)
            self.assertEqual((self.box.text("text"), self.box.rows()),
                             ("Pick", [row[0] for row in rows]))
            self.box.press(*press)
            self.assertIs(self.log.pop(), chosen)
            self.assertIsNone(self.box.screen)


class Commands(HostTest):

    def test_both_outputs_come_together_with_the_status_and_the_arguments(self):
        console = Console()
        extra = object()
        console.ePopen("echo a; echo b >&2; echo c; exit 3", self.note)
        console.ePopen("true", lambda *result: self.note(console.appContainers.keys(), *result),
                       extra)
        console.ePopen("echo none waits")
        self.assertEqual((len(console.appContainers), self.log), (3, []))
        self.box.settle()
        self.assertEqual(self.log, [("a\nb\nc\n", 3, []), (["echo none waits"], "", 0, extra)])
        self.assertEqual(console.appContainers, {})

    def test_take_no_virtual_time_and_run_without_their_console(self):
        timer = self.timer(10, value="timer")
        Console().ePopen("sleep 0.1; echo x", lambda *result: self.note(result[0]))
        gc.collect()
        self.box.pass_time(0.010)
        self.assertEqual(self.log, ["x\n", "timer"])
        del timer

    def test_end_in_the_order_of_their_starts_also_when_they_are_the_same(self):
        console = Console()
        for command in ("sleep 0.2", "true", "true"):
            console.ePopen(command, self.noting(command))
        self.assertEqual(len(console.appContainers), 3)
        self.box.settle()
        self.assertEqual(self.log, ["sleep 0.2", "true", "true"])

    def test_killing_ends_the_process_and_its_children_without_a_callback(self):
        console = Console()
        console.ePopen("(sleep 1; echo survived > /tmp/survivor) | cat; sleep 60", self.note)
        console.kill("no such name")
        console.kill(console.appContainers.keys()[0])
        self.assertEqual(self.box.running, [])
        self.box.pass_time(10)
        time.sleep(1.2)
        self.assertFalse(os.path.exists("/tmp/survivor"))
        self.assertEqual((self.log, len(console.appContainers)), ([], 1))

    def test_on_some_images_a_killed_commands_callback_still_comes(self):
        self.boot(late_callbacks=True)
        console = Console()
        console.ePopen("echo begun; sleep 60", self.note)
        console.kill("echo begun; sleep 60")
        self.assertEqual(self.log, [])
        self.box.settle()
        self.assertEqual([entry[1:] for entry in self.log], [(-1, [])])
        self.assertEqual(console.appContainers, {})


class Installer(HostTest):

    def setUp(self):
        HostTest.setUp(self)
        os.rename("/usr/bin/opkg", "/usr/bin/opkg.away")
        self.addCleanup(os.rename, "/usr/bin/opkg.away", "/usr/bin/opkg")
        with open("/usr/bin/opkg", "w") as script:
            script.write("#!/bin/sh\necho opkg \"$@\"\n[ \"$1\" != remove ]\n")
        os.chmod("/usr/bin/opkg", 0o755)

    def test_commands_run_one_after_the_other_and_a_failure_stops_none(self):
        self.open(Ipkg, [(IpkgComponent.CMD_UPDATE, None),
                         (IpkgComponent.CMD_REMOVE, {"package": "--force-depends name"}),
                         (IpkgComponent.CMD_INSTALL, {"package": "other"})])
        self.assertEqual(self.box.running, ["opkg update"])
        self.box.press("cancel")
        self.assertIsInstance(self.box.screen, Ipkg)  # while a command runs
        self.box.settle()
        lines = ["opkg update", "opkg remove --force-depends name", "opkg install other"]
        self.assertEqual(self.box.commands, lines)
        self.assertEqual(self.box.text("package"), "other")
        self.assertEqual(self.box.text("status"), "Done, with errors")
        self.box.press("ok")
        self.assertEqual(self.log, [False])

    def test_on_some_images_it_closes_without_a_value(self):
        for result, values in [(True, [True]), (False, [()])]:
            self.boot(ipkg_result=result)
            self.open(Ipkg, [(IpkgComponent.CMD_UPDATE, None)])
            self.box.settle()
            self.box.press("ok")
            self.assertEqual(self.log, values)
            del self.log[:]
