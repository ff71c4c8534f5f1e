# -*- coding: utf-8 -*-
"""The detail screen when something fails: the guarded title, and everything else."""

import os
import sys
import unittest

from tests.support.receiver import (
    BLUE, CACHE, LISTING, WAIT, Broken, Old, breaking_at, document, entry, raising, refusing,
    write)
from tests.plugin.test_update_info import DetailTest, HEADER, UPDATES_KEYS, WIDGETS

from Components.ScrollLabel import ScrollLabel
from Components.Sources.StaticText import StaticText
from Screens.Screen import Screen

INIT = "ZirkUpdateInfo.__init__:%d"
NO_EXCEPTIONS = [KeyboardInterrupt, SystemExit, GeneratorExit, Old]


class TitleGuard(DetailTest):

    def test_swallows_anything_while_the_screen_is_made(self):
        for error in [Broken, MemoryError] + NO_EXCEPTIONS:
            for name in ("StaticText", "ZirkUpdateInfo"):
                self.boot()
                self.open_browser()
                screen = self.module.ZirkUpdateInfo
                if name == "StaticText":
                    self.break_static_text(error)
                else:
                    screen = refusing(screen, widget="title", error=error)
                screen = self.open_detail(screen=screen)
                self.assertEqual(set(screen), set(WIDGETS) - {"title"})
                self.assertEqual(self.box.text("header"), HEADER + "One")
                self.assertEqual(sys.exc_info(), (None, None, None))

    def break_static_text(self, error):
        """The first StaticText made raises, the others work."""
        calls = []

        def make(*args):
            calls.append(args)
            if len(calls) == 1:
                raise error
            return StaticText(*args)
        self.replace(StaticText=make)

    def test_a_screen_without_it_switches_its_views_all_the_same(self):
        self.install_opkg(BLUE)
        self.open_detail(screen=refusing(self.module.ZirkUpdateInfo, widget="title"))
        self.box.press("blue")
        self.box.settle()
        self.assertIn("enigma2-skin-blue", self.box.text("update"))
        self.assertEqual(self.labels(), UPDATES_KEYS)
        self.box.press("yellow")
        self.assertIn("* Do it\n", self.box.text("update"))

    def test_of_the_views_swallows_only_what_is_an_exception(self):
        self.install_opkg()
        for key, line in [("blue", 399), ("yellow", 409)]:
            name = "ZirkUpdateInfo.%sPressed:%d" % (key, line)
            screen = self.open_detail(1)
            screen["key_yellow"].setText("kept")
            for error in NO_EXCEPTIONS:
                screen["title"].setText = raising(error)
                self.assertFails(error, [name], getattr(screen, key + "Pressed"))
                self.assertEqual(screen["key_yellow"].getText(), "kept")
            for error in (Broken, MemoryError, StopIteration):
                screen["title"].setText = raising(error)
                self.box.press(key)
                self.assertNotEqual(screen["key_yellow"].getText(), "kept")
            self.assertEqual(self.box.text("title"), "News about ZIRK")
            self.box.press("red")

    def test_covers_the_translation_of_the_views_titles_but_not_of_the_first(self):
        self.install_opkg()
        self.box.press("ok")
        self.note_texts(broken="Upgradable Packages")
        self.box.press("blue")
        self.assertEqual(self.labels(), UPDATES_KEYS)
        self.note_texts(broken="News about ZIRK")
        self.box.press("yellow")
        self.assertEqual(self.box.text("key_blue"), "show Updates")
        self.box.press("red")
        self.assertFails(Broken, ["AllNews.runMenuEntry:339", INIT % 356], self.box.press, "ok")

    def test_leaves_an_exception_that_is_being_handled_as_it_was(self):
        screen = self.open_detail()
        write(LISTING, "")
        del screen["title"]
        try:
            raise Broken
        except Broken:
            handled = sys.exc_info()
            screen.bluePressed()
            self.assertEqual(sys.exc_info(), handled)
            screen.yellowPressed()
            self.assertEqual(sys.exc_info(), handled)
            refusing(self.module.ZirkUpdateInfo, widget="title", error=Old)(self.box.session)
            self.assertEqual(sys.exc_info(), handled)


class Construction(DetailTest):

    def assertConstructionFails(self, entries, widgets, error=Broken, make=None, args=()):
        """Making the screen fails and leaves so many widgets made. Returns the screen."""
        make = make or self.module.ZirkUpdateInfo
        screen = make.__new__(make)
        entries = [INIT % entries] if isinstance(entries, int) else entries
        self.assertFails(error, entries, screen.__init__, self.box.session, *args)
        self.assertEqual(set(screen), set(WIDGETS[:widgets]))
        return screen

    def test_fails_at_each_step_and_leaves_the_later_ones_undone(self):
        for name, count, line, widgets in [
                ("load_cache", 1, 362, 1), ("ScrollLabel", 1, 365, 1), ("Label", 1, 366, 2),
                ("StaticText", 2, 367, 3), ("StaticText", 3, 368, 4), ("StaticText", 4, 369, 5),
                ("StaticText", 5, 370, 6), ("ActionMap", 1, 371, 7)]:
            self.boot()
            self.open_browser()
            self.replace(**{name: breaking_at(count, getattr(self.module, name))})
            screen = self.assertConstructionFails(line, widgets)
            self.assertIsNone(screen.Console)

    def test_fails_at_each_text(self):
        for text, line, widgets in [("News about ZIRK", 356, 0), ("Close", 367, 3),
                                    ("Update", 368, 4), (" ", 369, 5), ("show Updates", 370, 6)]:
            self.boot()
            self.open_browser()
            self.note_texts(broken=text)
            self.assertConstructionFails(line, widgets)

    def test_fails_at_each_registration_but_the_titles(self):
        for count, name in enumerate(WIDGETS[1:]):
            make = refusing(self.module.ZirkUpdateInfo, widget=name)
            self.assertConstructionFails(365 + count, count + 1, make=make)

    def test_fails_at_each_attribute(self):
        for name, line, widgets in [("session", 353, 0), ("skinName", 355, 0), ("title", 356, 0),
                                    ("Console", 361, 1), ("list", 362, 1), ("idx", 363, 1),
                                    ("infotxt", 364, 1)]:
            make = refusing(self.module.ZirkUpdateInfo, attribute=name)
            self.assertConstructionFails(line, widgets, make=make)

    def test_stores_the_session_before_the_base_class_is_initialised(self):
        self.box.patch(Screen, "__init__", raising())
        screen = self.assertConstructionFails(354, 0)
        self.assertEqual(vars(screen), {"session": self.box.session})

    def test_needs_the_cache(self):
        os.remove(CACHE)
        screen = self.assertConstructionFails([INIT % 362, "load_cache:99"], 1, error=IOError)
        self.assertFalse(hasattr(screen, "idx"))
        write(CACHE, "no pickle")
        self.assertConstructionFails([INIT % 362, "load_cache:100"], 1,
                                     error=sys.modules["cPickle"].UnpicklingError)

    def test_needs_an_index_within_the_list_in_both_views(self):
        for index in (4, -5, 10 ** 30):
            screen = self.assertConstructionFails(364, 1, error=IndexError, args=(index, True))
            self.assertEqual((screen.idx, len(screen.list)), (index, 4))
        for index in (None, "1", 1.0):
            self.assertConstructionFails(364, 1, error=TypeError, args=(index,))
        self.assertEqual(self.box.commands, [])

    def test_needs_an_entry_of_the_expected_shape(self):
        for entries, error, trail, widgets in [
                ([()], IndexError, [INIT % 365, "ZirkUpdateInfo.getNews:452"], 1),
                ([("t",)], IndexError, [INIT % 365, "ZirkUpdateInfo.getNews:452"], 1),
                ([("t", [()])], IndexError, [INIT % 365, "ZirkUpdateInfo.getNews:454"], 1),
                ([("t", [("i",)])], IndexError, [INIT % 365, "ZirkUpdateInfo.getNews:455"], 1),
                ([(5, [])], TypeError, [INIT % 366, "ZirkUpdateInfo.getHeaderWithDate:462"], 2)]:
            self.replace(load_cache=lambda: entries)
            self.assertConstructionFails(trail, widgets, error=error)

    def test_fails_in_the_updates_view_when_all_is_made(self):
        self.replace(fileExists=raising())
        screen = self.assertConstructionFails(
            [INIT % 384, "ZirkUpdateInfo.bluePressed:405", "ZirkUpdateInfo.getUpdates:466"], 8,
            args=(0, True))
        self.assertEqual(screen["update"].getText(), WAIT)

    def test_tests_the_view_wanted_for_truth(self):
        class Odd(object):
            __nonzero__ = raising()
        self.assertConstructionFails(383, 8, args=(0, Odd()))


class Encodings(DetailTest):

    news = document(entry("Gr\xc3\xbcn", None, [("\xc3\xa4", ["\xc3\xb6"])]),
                    entry("plain", None, [("plain", ["\xc3\xb6"])]), entry("\xc3\xa4"))

    def open_browser(self):
        self.replace(AllNews=type("Quiet", (self.module.AllNews,), {"setMenu": lambda _: 0}))
        self.box.open_news()
        self.assertEqual(self.module.parse_xml(), 1)

    def test_utf_8_texts_are_shown(self):
        self.open_detail()
        self.assertEqual(self.box.text("header"), HEADER + "Gr\xc3\xbcn")
        self.assertEqual(self.box.text("update"), "* \xc3\xa4\n    - \xc3\xb6\n\n")

    def test_ascii_fails_at_item_description_and_title(self):
        self.boot(encoding="ascii")
        self.open_browser()
        for index, line, inner in [(0, 365, "getNews:454"), (1, 365, "getNews:457"),
                                   (2, 366, "getHeaderWithDate:463")]:
            self.assertFails(UnicodeEncodeError, [INIT % line, "ZirkUpdateInfo." + inner],
                             self.open_detail, index)

    def test_a_header_that_is_not_ascii_fails_at_the_joining(self):
        self.boot(encoding="ascii")
        self.open_browser()
        self.replace(header="\xc3\xa4")
        self.replace(load_cache=lambda: [(u"title", [])])
        self.assertFails(UnicodeDecodeError,
                         [INIT % 366, "ZirkUpdateInfo.getHeaderWithDate:462"], self.open_detail)


class Steps(DetailTest):

    def test_of_the_text_come_in_order(self):
        for broken, line in [
                ("list", 433), ("update", 434), ("header", 435), ("key_blue", 436),
                ("key_yellow", 437)]:
            screen = self.open_detail()
            for name in WIDGETS[1:-1]:
                screen[name].setText("old")
            if broken == "list":
                screen.list = [0]
                screen.idx = 1
            else:
                screen[broken].setText = raising()
            self.assertFails(IndexError if broken == "list" else Broken,
                             ["ZirkUpdateInfo.updateText:%d" % line], screen.updateText)
            order = ["update", "header", "key_blue", "key_yellow"]
            self.assertEqual([screen[name].getText() == "old" for name in order],
                             [434 + number >= line for number in range(4)])
            self.box.press("red")

    def test_of_stepping_leave_the_index_moved(self):
        for key, start, after, method, line in [("left", 1, 2, "nextUpdate", 425),
                                                ("right", 2, 1, "prevUpdate", 430)]:
            screen = self.open_detail(start)
            screen["update"].setText = raising()
            self.assertFails(Broken, ["ZirkUpdateInfo.%s:%d" % (method, line),
                                      "ZirkUpdateInfo.updateText:434"], self.box.press, key)
            self.assertEqual(screen.idx, after)
            self.assertIs(screen.infotxt, screen.list[after])
            self.box.press("red")

    def test_of_stepping_fail_at_their_tests_and_sums(self):
        class Index(object):
            __ne__ = __eq__ = raising()
        screen = self.open_detail()
        for idx, entry_list, method, line, error in [
                (0, None, "nextUpdate", 423, TypeError), ("0", [], "nextUpdate", 423, TypeError),
                (Index(), [], "prevUpdate", 428, Broken), ("x", [], "prevUpdate", 429, TypeError)]:
            screen.idx, screen.list = idx, entry_list
            self.assertFails(error, ["ZirkUpdateInfo.%s:%d" % (method, line)],
                             getattr(screen, method))
            self.assertIs(screen.idx, idx)

    def test_of_the_views_come_in_order(self):
        self.install_opkg()
        for key, lines in [("blue", {"key_blue": 402, "key_yellow": 403, "update": 404}),
                           ("yellow", {"key_blue": 412, "key_yellow": 413, "update": 414})]:
            for name, line in lines.items():
                screen = self.open_detail()
                for other in lines:
                    screen[other].setText("old")
                screen[name].setText = raising()
                self.assertFails(Broken, ["ZirkUpdateInfo.%sPressed:%d" % (key, line)],
                                 self.box.press, key)
                self.assertEqual(
                    dict((other, screen[other].getText() == "old") for other in lines),
                    dict((other, at >= line) for other, at in lines.items()))
                self.assertEqual(self.box.commands, [])
                self.box.press("red")

    def test_of_get_text_are_in_the_trail(self):
        screen = self.open_detail()
        screen.infotxt = ()
        self.assertFails(IndexError, ["ZirkUpdateInfo.yellowPressed:414",
                                      "ZirkUpdateInfo.getText:390", "ZirkUpdateInfo.getNews:452"],
                         self.box.press, "yellow")
        self.assertFails(IndexError, ["ZirkUpdateInfo.getText:394",
                                      "ZirkUpdateInfo.getHeaderWithDate:462"],
                         screen.getText, "header")
        self.replace(fileExists=raising())
        self.assertFails(Broken, ["ZirkUpdateInfo.getText:392", "ZirkUpdateInfo.getUpdates:466"],
                         screen.getText, "updates")

        class Odd(object):
            __eq__ = raising()
        self.assertFails(Broken, ["ZirkUpdateInfo.getText:389"], screen.getText, Odd())

    def test_of_scrolling_and_of_the_systems_update(self):
        self.box.patch(ScrollLabel, "pageUp", raising())
        self.box.patch(ScrollLabel, "pageDown", raising())
        self.box.patch(self.module.UpdatePlugin, "__init__", raising())
        self.box.press("ok")
        for key, entry_ in [("up", "pageUp:417"), ("down", "pageDown:420"),
                            ("green", "greenPressed:440")]:
            self.assertFails(Broken, ["ZirkUpdateInfo." + entry_], self.box.press, key)


if __name__ == "__main__":
    unittest.main()
