# -*- coding: utf-8 -*-
"""The detail screen: one entry as text, stepping through the entries, the two views, closing."""

import unittest

from tests.support.receiver import BLUE, LISTING, WAIT, ReceiverTest, document, entry, write

from Screens.Screen import Screen

HEADER = "Zirk 3.1.0 (Vu+ Duo2)\n"
WIDGETS = ["title", "update", "header", "key_red", "key_green", "key_yellow", "key_blue",
           "actions"]
NEWS_KEYS = {"red": "Close", "green": "Update", "yellow": " ", "blue": "show Updates"}
UPDATES_KEYS = {"red": "Close", "green": "Update", "yellow": "show News", "blue": " "}


class DetailTest(ReceiverTest):
    """self.browser is the browser with four entries in its list."""

    news = document(
        entry("One", "urgent", [("Do it", ["today", "twice"]), ("Thanks", []), (None, ["why"])]),
        entry("Two", None, [("Faster", [])]),
        entry("Three", "info"),
        entry("Four", None, [(None, [])]))

    def setUp(self):
        ReceiverTest.setUp(self)
        self.open_browser()

    def open_browser(self):
        self.browser = self.open_news()

    def open_detail(self, *args, **kwargs):
        """Open the screen, as a subclass if the keyword argument `screen` says so."""
        return self.open_screen(kwargs.pop("screen", self.module.ZirkUpdateInfo), *args, **kwargs)

    def labels(self):
        return dict((key, self.box.text("key_" + key)) for key in NEWS_KEYS)


class Opening(DetailTest):

    def test_shows_the_entry_under_the_header(self):
        self.box.press("ok")
        self.assertEqual(self.box.layout, "ZirkUpdateInfo")
        self.assertEqual(self.box.text("header"), HEADER + "One")
        self.assertEqual(self.box.text("update"), "* Do it\n    - today\n    - twice\n\n"
                                                  "* Thanks\n* None\n    - why\n\n")
        self.assertEqual(self.box.text("title"), "News about ZIRK")
        self.assertEqual(self.box.title, "News about ZIRK")
        self.assertEqual(self.labels(), NEWS_KEYS)
        self.assertEqual(self.box.commands, [])

    def test_sets_its_attributes(self):
        screen = self.open_detail(1)
        self.assertEqual(screen.skinName, ["ZirkUpdateInfo"])
        self.assertIs(screen.session, self.box.session)
        self.assertIsNone(screen.Console)
        self.assertEqual(len(screen.list), 4)
        self.assertEqual(screen.idx, 1)
        self.assertIs(screen.infotxt, screen.list[1])
        self.assertFalse(hasattr(screen, "what"))

    def test_takes_index_0_and_the_news_by_default_and_arguments_by_keyword(self):
        self.open_detail()
        self.assertEqual(self.box.text("header"), HEADER + "One")
        self.box.press("red")
        self.open_detail(show_upgradable=False, idx=2)
        self.assertEqual(self.box.text("header"), HEADER + "Three")

    def test_refuses_wrong_arguments(self):
        make = self.module.ZirkUpdateInfo
        for args, kwargs in [((), {}), ((1, 2, 3, 4), {}), ((1,), {"index": 0}),
                             ((1, 2), {"idx": 0})]:
            self.assertRaises(TypeError, make, *args, **kwargs)

    def test_takes_any_index_that_a_list_takes(self):
        for index, title in [(-1, "Four"), (True, "Two"), (2 ** 70 - 2 ** 70, "One")]:
            screen = self.open_detail(index)
            self.assertEqual(self.box.text("header"), HEADER + title)
            self.assertIs(screen.idx, index)
            self.box.press("red")

    def test_without_items_the_body_is_empty(self):
        self.open_detail(2)
        self.assertEqual(self.box.text("update"), "")
        self.assertEqual(self.box.text("header"), HEADER + "Three")

    def test_an_item_without_text_reads_none(self):
        self.open_detail(3)
        self.assertEqual(self.box.text("update"), "* None\n")

    def test_registers_widgets_and_sets_attributes_in_a_fixed_order(self):
        order = []

        class Noting(self.module.ZirkUpdateInfo):
            def __setattr__(self, name, value):
                order.append(name)
                Screen.__setattr__(self, name, value)

            def __setitem__(self, name, value):
                order.append([name, type(value).__name__])
                Screen.__setitem__(self, name, value)
        self.open_detail(screen=Noting)
        mine = ["skinName", "title", ["title", "StaticText"], "Console", "list", "idx", "infotxt",
                ["update", "ScrollLabel"], ["header", "Label"], ["key_red", "StaticText"],
                ["key_green", "StaticText"], ["key_yellow", "StaticText"],
                ["key_blue", "StaticText"], ["actions", "ActionMap"]]
        self.assertEqual(order[0], "session")
        self.assertEqual([name for name in order if name in mine][-len(mine):], mine)

    def test_listens_with_priority_minus_one_in_three_contexts(self):
        keys = self.open_detail()["actions"]
        self.assertEqual(keys.contexts, ["ColorActions", "SetupActions", "EventViewActions"])
        self.assertEqual(keys.prio, -1)
        self.assertEqual(sorted(keys.actions), [
            "blue", "cancel", "green", "nextEvent", "pageDown", "pageUp", "prevEvent", "red",
            "yellow"])
        self.assertEqual(keys.actions["nextEvent"], self.box.screen.prevUpdate)
        self.assertEqual(keys.actions["prevEvent"], self.box.screen.nextUpdate)

    def test_shows_the_translations(self):
        write(LISTING, "")
        self.mark_texts()
        self.open_detail(2)
        self.assertEqual(self.labels(), dict((key, "<%s>" % text)
                                             for key, text in NEWS_KEYS.items()))
        self.assertEqual(self.box.text("title"), "<News about ZIRK>")
        self.box.press("blue")
        self.assertEqual(self.labels()["yellow"], "<show News>")
        self.assertEqual(self.labels()["blue"], "< >")
        self.assertEqual(self.box.text("title"), "<Upgradable Packages>")
        self.assertEqual(self.box.text("update"), "<\nYour System is up to date>")
        for key in ("yellow", "left"):
            self.box.press(key)
            self.assertEqual(self.labels()["yellow"], "< >")
            self.assertEqual(self.labels()["blue"], "<show Updates>")
            self.box.press("blue")

    def test_translates_nothing_else(self):
        texts = self.note_texts()
        self.open_detail()
        self.assertEqual(texts, ["News about ZIRK", "Close", "Update", " ", "show Updates"])
        del texts[:]
        self.box.press("blue")
        self.assertEqual(texts, ["Upgradable Packages", " ", "show News", WAIT])
        del texts[:]
        self.box.press("yellow")
        self.assertEqual(texts, ["News about ZIRK", "show Updates", " "])
        del texts[:]
        self.box.press("left")
        self.assertEqual(texts, ["show Updates", " "])

    def test_in_the_updates_view_shows_please_wait_and_runs_opkg_before_the_layout(self):
        self.box.hold()
        running = []

        class Noting(self.module.ZirkUpdateInfo):
            def __init__(self, *args):
                self.__class__.__bases__[0].__init__(self, *args)
                self.onLayoutFinish.append(lambda: running.extend(self.Console.appContainers))
        self.open_detail(1, "yes", screen=Noting)
        self.assertEqual(running, ["opkg update"])
        self.assertEqual(self.box.text("update"), WAIT)
        self.assertEqual(self.box.text("header"), HEADER + "Two")
        self.assertEqual(self.box.text("title"), "Upgradable Packages")
        self.assertEqual(self.labels(), UPDATES_KEYS)

    def test_uses_the_names_bound_in_the_module_then(self):
        made = []

        def noting(name, original):
            return lambda *args: made.append(name) or original(*args)
        for name in ("StaticText", "ScrollLabel", "Label", "ActionMap", "load_cache"):
            self.replace(**{name: noting(name, getattr(self.module, name))})

        class Base(object):
            __init__ = staticmethod(noting("Screen", Screen.__init__))
        self.replace(Screen=Base)
        self.replace(header="H: ")
        self.open_detail(1)
        self.assertEqual(made, ["Screen", "StaticText", "load_cache", "ScrollLabel", "Label"]
                         + ["StaticText"] * 4 + ["ActionMap"])
        self.assertEqual(self.box.text("header"), "H: Two")

    def test_a_subclass_gives_its_own_texts(self):
        class Mine(self.module.ZirkUpdateInfo):
            def getNews(self):
                return "my news"

            def getHeaderWithDate(self):
                return "my header"
        self.open_detail(screen=Mine)
        for keys in ([], ["left"], ["yellow"]):
            self.box.press(*keys)
            self.assertEqual(self.box.text("update"), "my news")
            self.assertEqual(self.box.text("header"), "my header")


class Texts(DetailTest):

    def detail(self, *entry):
        screen = self.open_detail()
        screen.infotxt = entry
        return screen

    def test_convert_items_and_descriptions_to_strings(self):
        screen = self.detail("T", [(7, [None, 1.5, u"u"]), (u"x", ["b"]), (("a",), [])])
        self.assertEqual(screen.getNews(), "* 7\n    - None\n    - 1.5\n    - u\n\n"
                                           "* x\n    - b\n\n* ('a',)\n")
        self.assertIs(type(screen.getNews()), str)

    def test_are_made_by_a_replaced_str_of_the_module(self):
        screen = self.detail("T", [("item", ["more"])])
        self.replace(header="H")
        self.replace(str=lambda text: "str of " + text)
        self.assertEqual(screen.getNews(), "* str of item\n    - str of more\n\n")
        self.assertEqual(screen.getHeaderWithDate(), "str of HT")

    def test_join_the_header_and_the_title_without_a_separator(self):
        screen = self.detail(u"T", [])
        self.replace(header="H")
        self.assertEqual(screen.getHeaderWithDate(), "HT")
        self.assertIs(type(screen.getHeaderWithDate()), str)

    def test_are_given_by_their_kind_which_is_kept(self):
        screen = self.detail("T", [("item", [])])
        for what, text in [("news", "* item\n"), (u"header", HEADER + "T")]:
            self.assertEqual(screen.getText(what), text)
            self.assertIs(screen.what, what)
        self.assertEqual(screen.getText(what="news"), "* item\n")

    def test_of_the_updates_start_the_listing_and_are_none(self):
        self.box.hold()
        screen = self.detail("T", [])
        self.assertIsNone(screen.getText("updates"))
        self.assertEqual(self.box.running, ["opkg update"])
        self.assertEqual(screen.what, "updates")

    def test_of_another_kind_are_an_unbound_local(self):
        screen = self.detail("T", [])
        for what in ("other", "", "News", None, 5):
            error = self.assertFails(UnboundLocalError, ["ZirkUpdateInfo.getText:395"],
                                     screen.getText, what)
            self.assertEqual(str(error), "local variable 'ret' referenced before assignment")
            self.assertIs(screen.what, what)

    def test_come_from_overridden_methods(self):
        class Mine(self.module.ZirkUpdateInfo):
            def getUpdates(self):
                return "my updates"

            def getHeaderWithDate(self):
                return "my header"
        screen = self.open_detail(screen=Mine)
        self.assertEqual(screen.getText("updates"), "my updates")
        self.assertEqual(screen.getText("header"), "my header")


class Stepping(DetailTest):

    def test_left_leads_to_the_next_entry_and_right_back(self):
        self.box.press("ok")
        for key, title in [("left", "Two"), ("left", "Three"), ("right", "Two"), ("right", "One")]:
            self.box.press(key)
            self.assertEqual(self.box.text("header"), HEADER + title)

    def test_stops_at_both_ends(self):
        self.box.press("ok", "right", "right")
        screen = self.box.screen
        self.assertEqual((screen.idx, self.box.text("header")), (0, HEADER + "One"))
        self.box.press(*["left"] * 9)
        self.assertEqual((screen.idx, self.box.text("header")), (3, HEADER + "Four"))
        self.box.press(*["right"] * 9)
        self.assertEqual((screen.idx, self.box.text("header")), (0, HEADER + "One"))

    def test_at_an_end_renders_nothing_anew(self):
        class Mine(self.module.ZirkUpdateInfo):
            calls = 0

            def updateText(self):
                Mine.calls += 1
        screen = self.open_detail(screen=Mine)
        screen.prevUpdate()
        self.assertEqual((screen.idx, Mine.calls), (0, 0))
        screen.nextUpdate()
        screen.nextUpdate()
        screen.prevUpdate()
        self.assertEqual((screen.idx, Mine.calls), (1, 3))
        screen.idx = 3
        screen.nextUpdate()
        self.assertEqual((screen.idx, Mine.calls), (3, 3))

    def test_back_from_a_negative_index_goes_on_downwards(self):
        screen = self.open_detail(-1)
        self.box.press("right")
        self.assertEqual((screen.idx, self.box.text("header")), (-2, HEADER + "Three"))
        self.box.press("left", "left")
        self.assertEqual((screen.idx, self.box.text("header")), (0, HEADER + "One"))

    def test_from_the_updates_view_restores_all_but_the_title(self):
        self.install_opkg()
        self.box.press("ok", "blue")
        self.box.settle()
        self.box.press("left")
        self.assertEqual(self.box.text("update"), "* Faster\n")
        self.assertEqual(self.box.text("header"), HEADER + "Two")
        self.assertEqual(self.labels(), NEWS_KEYS)
        self.assertEqual(self.box.text("title"), "Upgradable Packages")
        self.box.press("yellow")
        self.assertEqual(self.box.text("title"), "News about ZIRK")

    def test_shows_the_whole_entry_of_the_new_index(self):
        screen = self.open_detail(1)
        screen.nextUpdate()
        self.assertIs(screen.infotxt, screen.list[2])
        screen.idx = 0
        self.assertIsNone(screen.updateText())
        self.assertEqual(self.box.text("header"), HEADER + "One")
        self.assertIn("* Do it\n", self.box.text("update"))


class Views(DetailTest):

    def test_blue_shows_the_updates_and_yellow_the_news(self):
        self.install_opkg(BLUE)
        self.box.press("down", "ok", "blue")
        self.assertEqual(self.box.text("title"), "Upgradable Packages")
        self.assertEqual(self.labels(), UPDATES_KEYS)
        self.assertEqual(self.box.text("update"), WAIT)
        self.assertEqual(self.box.text("header"), HEADER + "Two")
        self.box.settle()
        self.assertIn("enigma2-skin-blue", self.box.text("update"))
        self.box.press("yellow")
        self.assertEqual(self.box.text("title"), "News about ZIRK")
        self.assertEqual(self.labels(), NEWS_KEYS)
        self.assertEqual(self.box.text("update"), "* Faster\n")
        self.assertEqual(self.box.title, "News about ZIRK")

    def test_yellow_in_the_news_view_renders_the_body_but_not_the_header(self):
        screen = self.open_detail(1)
        screen["header"].setText("kept")
        screen["update"].setText("lost")
        self.box.press("yellow")
        self.assertEqual(self.box.text("header"), "kept")
        self.assertEqual(self.box.text("update"), "* Faster\n")
        self.assertEqual(screen.what, "news")

    def test_yellow_asks_an_overridden_get_text_and_blue_an_overridden_get_updates(self):
        class Mine(self.module.ZirkUpdateInfo):
            def getText(self, what):
                return "text of " + what

            def getUpdates(self):
                self["update"].setText("mine")
        self.open_detail(screen=Mine)
        self.box.press("yellow")
        self.assertEqual(self.box.text("update"), "text of news")
        self.box.press("blue")
        self.assertEqual(self.box.text("update"), "mine")

    def test_green_opens_the_systems_update_and_the_detail_stays_beneath(self):
        self.box.press("ok")
        screen = self.box.screen
        self.box.press("green")
        self.assertEqual(type(self.box.screen).__name__, "UpdatePlugin")
        self.box.press("cancel")
        self.assertIs(self.box.screen, screen)

    def test_up_and_down_scroll_a_page(self):
        items = [("line %d" % number, []) for number in range(40)]
        self.serve(document(entry("Long", None, items)))
        self.box.press("red")
        self.open_browser()
        self.box.press("ok")
        text = self.box.text("update")
        first = self.box.page()
        self.assertEqual(first[0], "* line 0")
        self.box.press("down")
        self.assertNotIn("* line 0", self.box.page())
        self.box.press("pageDown", "up", "pageUp")
        self.assertEqual(self.box.page(), first)
        self.assertEqual(self.box.text("update"), text)

    def test_key_methods_take_nothing_and_return_nothing(self):
        screen = self.open_detail()
        write(LISTING, "")
        for name in ("bluePressed", "yellowPressed", "pageUp", "pageDown", "nextUpdate",
                     "prevUpdate", "updateText", "getUpdates", "greenPressed", "closeNews"):
            self.assertRaises(TypeError, getattr(screen, name), 1)
            if name == "greenPressed":
                continue
            self.assertIsNone(getattr(screen, name)())


if __name__ == "__main__":
    unittest.main()
