"""The detail screen: one entry as text, stepping through the entries, the two views, closing."""

import __builtin__
import sys

from tests.support.receiver import (
    BLUE, Broken, CACHE, LISTING, Old, WAIT, document, entry, raising, trail, write)
from tests.support.screens import DetailTest

from Components.Console import Console

INIT = "ZirkUpdateInfo.__init__:%d"


class Opening(DetailTest):

    def test_shows_the_entry_under_the_header(self):
        self.box.press("ok")
        self.assertEqual(self.box.layout, "ZirkUpdateInfo")
        self.assertEqual(self.box.text("header"), self.header + "One")
        self.assertEqual(self.box.text("update"), "* Do it\n    - today\n    - twice\n\n"
                                                  "* Thanks\n* None\n    - why\n\n")
        self.assertEqual((self.box.text("title"), self.box.title), ("News about ZIRK",) * 2)
        self.assertEqual(self.labels(), self.news_keys)
        self.assertEqual(self.box.commands, [])

    def test_takes_index_0_and_the_news_by_default_and_arguments_by_keyword(self):
        self.open_detail()
        self.assertEqual(self.box.text("header"), self.header + "One")
        self.open_detail(show_upgradable=False, idx=2)
        self.assertEqual(self.box.text("header"), self.header + "Three")

    def test_takes_any_index_that_a_list_takes(self):
        for index, title in [(-1, "Four"), (True, "Two"), (2 ** 70 - 2 ** 70, "One")]:
            screen = self.open_detail(index)
            self.assertEqual(self.box.text("header"), self.header + title)
            self.assertIs(screen.idx, index)

    def test_shows_an_empty_body_without_items(self):
        self.open_detail(2)
        self.assertEqual(self.box.text("update"), "")
        self.assertEqual(self.box.text("header"), self.header + "Three")

    def test_shows_an_item_without_text_as_none(self):
        self.open_detail(3)
        self.assertEqual(self.box.text("update"), "* None\n")

    def test_translates_what_is_shown_and_nothing_else(self):
        write(LISTING, "")
        texts = self.note_texts()
        self.open_detail(2)
        self.box.press("blue", "yellow", "left")
        self.assertEqual(texts, [
            "News about ZIRK", "Close", "Update", " ", "show Updates",
            "Upgradable Packages", " ", "show News", WAIT, "\nYour System is up to date",
            "News about ZIRK", "show Updates", " ",
            "show Updates", " "])
        self.mark_texts()
        self.open_detail(2)

        def marked(labels):
            return dict((key, "<%s>" % text) for key, text in labels.items())
        self.assertEqual((self.box.text("title"), self.labels()),
                         ("<News about ZIRK>", marked(self.news_keys)))
        self.box.press("blue")
        self.assertEqual((self.box.text("title"), self.labels()),
                         ("<Upgradable Packages>", marked(self.updates_keys)))
        self.assertEqual(self.box.text("update"), "<\nYour System is up to date>")
        self.box.press("left")
        self.assertEqual(self.labels(), marked(self.news_keys))

    def test_in_the_updates_view_shows_please_wait_and_runs_opkg_before_the_layout(self):
        self.box.hold()
        screen = self.module.ZirkUpdateInfo(self.box.session, 1, "yes")
        self.assertEqual(self.box.running, ["opkg update"])
        self.assertEqual([screen[name].getText() for name in ("update", "header", "title")],
                         [WAIT, self.header + "Two", "Upgradable Packages"])
        self.assertEqual([screen["key_" + key].getText() for key in sorted(self.updates_keys)],
                         [text for _, text in sorted(self.updates_keys.items())])

    def test_hands_its_actions_over_in_the_order_of_a_literal(self):
        own, given = self.module.ActionMap, []

        def action_map(contexts, actions, priority):
            given.extend(actions)
            return own(contexts, actions, priority)
        self.replace(ActionMap=action_map)
        self.open_detail()
        self.assertEqual(given, list({
            "red": 0, "green": 0, "yellow": 0, "blue": 0, "cancel": 0, "nextEvent": 0,
            "prevEvent": 0, "pageUp": 0, "pageDown": 0}))

    def test_needs_an_index_within_the_list_in_both_views(self):
        for index, error in [(4, IndexError), (-5, IndexError), (10 ** 30, IndexError),
                             (None, TypeError), ("1", TypeError), (1.0, TypeError)]:
            for updates in (False, True):
                self.assertFails(error, [INIT % 364], self.open_detail, index, updates)
        self.assertEqual(self.box.commands, [])

    def test_needs_an_entry_of_the_expected_shape(self):
        for shape, error, entries in [
                ((), IndexError, [INIT % 365, "ZirkUpdateInfo.getNews:452"]),
                (("t",), IndexError, [INIT % 365, "ZirkUpdateInfo.getNews:452"]),
                (("t", [()]), IndexError, [INIT % 365, "ZirkUpdateInfo.getNews:454"]),
                (("t", [("i",)]), IndexError, [INIT % 365, "ZirkUpdateInfo.getNews:455"]),
                ((5, []), TypeError, [INIT % 366, "ZirkUpdateInfo.getHeaderWithDate:462"])]:
            self.replace(load_cache=lambda: [shape])
            self.assertFails(error, entries, self.open_detail)


class TitleGuard(DetailTest):

    def test_swallows_anything_while_the_screen_is_made_which_then_has_no_title(self):
        self.box.hold()
        make = self.module.StaticText
        for error in (Broken, MemoryError, KeyboardInterrupt, SystemExit, GeneratorExit, Old):
            first = iter([raising(error)])
            self.replace(StaticText=lambda *text: next(first, make)(*text))
            screen = self.open_detail()
            self.assertNotIn("title", screen)
            self.assertEqual(self.box.text("header"), self.header + "One")
            self.assertEqual(sys.exc_info(), (None, None, None))
            for key, labels in [("blue", self.updates_keys), ("yellow", self.news_keys)]:
                self.box.press(key)
                self.assertEqual(self.labels(), labels)

    def test_of_the_views_looks_exception_up_once_something_fails(self):
        screen = self.open_detail()
        screen["title"].setText = raising()
        self.box.patch(__builtin__, "Exception", None)
        del __builtin__.Exception
        self.assertFails(NameError, ["ZirkUpdateInfo.bluePressed:400"], screen.bluePressed)
        self.assertFails(NameError, ["ZirkUpdateInfo.yellowPressed:410"], screen.yellowPressed)


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

    def test_join_the_header_and_the_title_without_a_separator(self):
        screen = self.detail(u"T", [])
        self.replace(header="H")
        self.assertEqual(screen.getHeaderWithDate(), "HT")
        self.assertIs(type(screen.getHeaderWithDate()), str)

    def test_are_given_by_their_kind_which_is_kept(self):
        self.box.hold()
        screen = self.detail("T", [("item", [])])
        for what, text in [("news", "* item\n"), (u"header", self.header + "T"),
                           ("updates", None)]:
            self.assertEqual(screen.getText(what=what), text)
            self.assertIs(screen.what, what)
        self.assertEqual(self.box.running, ["opkg update"])

    def test_fail_on_their_line_where_a_method_has_no_level_of_recursion_left(self):
        screen = self.detail("T", [])
        limit = sys.getrecursionlimit()
        for levels in range(1, limit):
            try:
                sys.setrecursionlimit(levels)
                try:
                    screen.getText("header")
                    break
                finally:
                    sys.setrecursionlimit(limit)
            except RuntimeError as e:
                failed = str(e), trail()
        self.assertEqual(
            failed, ("maximum recursion depth exceeded", ["ZirkUpdateInfo.getText:394"]))

    def test_of_another_kind_are_an_unbound_local(self):
        screen = self.detail("T", [])
        for what in ("other", "", "News", None, 5):
            error = self.assertFails(UnboundLocalError, ["ZirkUpdateInfo.getText:395"],
                                     screen.getText, what)
            self.assertEqual(str(error), "local variable 'ret' referenced before assignment")
            self.assertIs(screen.what, what)


class Encodings(DetailTest):

    news = document(entry("Gr\xc3\xbcn", None, [("\xc3\xa4", ["\xc3\xb6"])]),
                    entry("plain", None, [("plain", ["\xc3\xb6"])]), entry("\xc3\xa4"))

    def open_browser(self):
        self.module.parse_xml()

    def test_utf_8_texts_are_shown(self):
        self.open_detail()
        self.assertEqual(self.box.text("header"), self.header + "Gr\xc3\xbcn")
        self.assertEqual(self.box.text("update"), "* \xc3\xa4\n    - \xc3\xb6\n\n")

    def test_ascii_fails_at_item_description_title_and_a_header_that_is_not_ascii(self):
        self.boot(encoding="ascii")
        self.open_browser()
        for index, line, inner in [(0, 365, "getNews:454"), (1, 365, "getNews:457"),
                                   (2, 366, "getHeaderWithDate:463")]:
            self.assertFails(UnicodeEncodeError, [INIT % line, "ZirkUpdateInfo." + inner],
                             self.open_detail, index)
        self.replace(header="\xc3\xa4")
        self.assertFails(UnicodeDecodeError, [INIT % 366, "ZirkUpdateInfo.getHeaderWithDate:462"],
                         self.open_detail, 2)


class Stepping(DetailTest):

    def test_with_left_leads_to_the_next_entry_and_with_right_back(self):
        self.box.press("ok")
        for key, title in [("left", "Two"), ("left", "Three"), ("right", "Two"), ("right", "One")]:
            self.box.press(key)
            self.assertEqual(self.box.text("header"), self.header + title)

    def test_stops_at_both_ends_and_renders_nothing_anew(self):
        rendered = []

        class Mine(self.module.ZirkUpdateInfo):
            def updateText(self):
                rendered.append(self.idx)
        screen = self.open_detail(screen=Mine)
        self.box.press(*["right"] * 2 + ["left"] * 9 + ["right"] * 9)
        self.assertEqual((screen.idx, rendered), (0, [1, 2, 3, 2, 1, 0]))

    def test_back_from_a_negative_index_goes_on_downwards(self):
        screen = self.open_detail(-1)
        self.box.press("right")
        self.assertEqual((screen.idx, self.box.text("header")), (-2, self.header + "Three"))
        self.box.press("left", "left")
        self.assertEqual((screen.idx, self.box.text("header")), (0, self.header + "One"))

    def test_from_the_updates_view_restores_all_but_the_title(self):
        self.install_opkg()
        self.box.press("ok", "blue")
        self.box.settle()
        self.box.press("left")
        self.assertEqual(self.box.text("update"), "* Faster\n")
        self.assertEqual(self.box.text("header"), self.header + "Two")
        self.assertEqual(self.labels(), self.news_keys)
        self.assertEqual(self.box.text("title"), "Upgradable Packages")
        self.box.press("yellow")
        self.assertEqual(self.box.text("title"), "News about ZIRK")


class Views(DetailTest):

    def test_blue_shows_the_updates_and_yellow_the_news(self):
        self.install_opkg(BLUE)
        self.box.press("down", "ok", "blue")
        self.assertEqual(self.box.text("title"), "Upgradable Packages")
        self.assertEqual(self.labels(), self.updates_keys)
        self.assertEqual(self.box.text("update"), WAIT)
        self.assertEqual(self.box.text("header"), self.header + "Two")
        self.box.settle()
        self.assertIn("enigma2-skin-blue", self.box.text("update"))
        self.box.press("yellow")
        self.assertEqual(self.box.text("title"), "News about ZIRK")
        self.assertEqual(self.labels(), self.news_keys)
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

    def test_stay_beneath_the_systems_update_that_green_opens(self):
        self.box.press("ok")
        screen = self.box.screen
        self.box.press("green")
        self.assertIs(type(self.box.screen), self.module.UpdatePlugin)
        self.box.press("cancel")
        self.assertIs(self.box.screen, screen)

    def test_scroll_a_page_with_up_and_down(self):
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


class Closing(DetailTest):

    def test_hands_back_the_index_shown_last(self):
        for keys, index in [(["red"], 1), (["cancel"], 1), (["left", "left", "red"], 3),
                            (["right", "blue", "cancel"], 0)]:
            values = []
            self.box.session.openWithCallback(lambda *args: values.append(args),
                                              self.module.ZirkUpdateInfo, 1)
            self.box.press(*keys)
            self.assertEqual(values, [(index,)])

    def test_leaves_the_listing_and_the_cache_to_the_browser(self):
        write(LISTING, "")
        self.box.press("ok", "red")
        self.assertFiles(present=[LISTING, CACHE])

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


class LateCallbacks(DetailTest):
    """Some images deliver the end of a killed command after the screen has been freed."""

    options = {"late_callbacks": True}

    def test_of_an_earlier_pass_find_no_screen(self):
        self.install_opkg(BLUE)
        self.box.hold()
        self.box.press("ok", "blue", "blue", "red")  # kills what the second pass runs only
        self.box.release()
        self.assertFails(AttributeError, ["ZirkUpdateInfo.opkg_update_finished:474"],
                         self.box.settle)
