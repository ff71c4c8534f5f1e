# -*- coding: utf-8 -*-
"""The browser's list: filling it, opening a row, coming back to it."""

import unittest

from tests.support.receiver import (
    CACHE, NOT_ANALYZED, NO_CONNECTION, WAIT, Broken, ReceiverTest, document, entry)

from Components.Sources.List import List
from Screens.MessageBox import MessageBox
from Screens.Screen import Screen
from enigma import eTimer

TITLES = ["Update now", "Release 3.1", "Meeting"]
KINDS = ["urgent", "normal", "info"]


class Filling(ReceiverTest):

    def setUp(self):
        del self.feed.requests[:]
        ReceiverTest.setUp(self)

    def test_replaces_the_placeholder_after_100_milliseconds(self):
        self.box.open_news()
        self.box.pass_time(0.099)
        self.assertEqual(self.box.rows(), [WAIT])
        self.assertEqual(self.feed.requests.count("/feed/zirknews.xml"), 0)
        self.box.pass_time(0.001)
        self.assertEqual(self.box.rows(), TITLES)
        self.assertEqual(self.box.icons(), KINDS)

    def test_happens_once(self):
        self.open_news()
        self.assertEqual(self.box.timers(), [])
        self.box.pass_time(3600)
        self.assertEqual(self.feed.requests, ["/feed/zirknews.xml"])

    def test_starts_the_timer_before_it_names_the_callback(self):
        log = []

        class Timer(eTimer):
            def start(self, *args):
                log.append((args, list(self.callback)))
                eTimer.start(self, *args)
        self.replace(eTimer=Timer)
        screen = self.box.open_news()
        self.assertEqual(log, [((100, True), [])])
        self.assertIs(type(screen.delayTimer), Timer)
        self.assertEqual(screen.delayTimer.callback, [screen.createMenu])

    def test_a_second_call_of_set_menu_replaces_the_timer(self):
        screen = self.box.open_news()
        first = screen.delayTimer
        screen.setMenu()
        self.assertIsNot(screen.delayTimer, first)
        del first
        self.assertEqual(self.box.timers(), [100])

    def test_keeps_the_whole_entry_as_the_key_of_its_row(self):
        screen = self.open_news()
        rows = screen["menu"].list
        self.assertIs(rows, screen.list)
        self.assertEqual(rows[1], ((u"Release 3.1", [(u"Faster", [])], "normal"), "Release 3.1",
                                   screen.png_normal))
        self.assertEqual([type(row[1]) for row in rows], [str] * 3)
        self.assertEqual([row[2] for row in rows],
                         [screen.png_urgent, screen.png_normal, screen.png_info])

    def test_compares_kinds_exactly(self):
        kinds = ["Urgent", "urgent", "URGENT", "info", "Info", " info", "", "other", "normal"]
        self.serve(document(*[entry(repr(kind), kind) for kind in kinds]))
        self.open_news()
        self.assertEqual(self.box.rows(), [repr(kind) for kind in kinds])
        self.assertEqual(self.box.icons(), ["normal", "urgent", "normal", "info", "normal",
                                            "normal", "normal", "normal", "normal"])

    def test_takes_the_string_form_of_titles_and_kinds(self):
        class Kind(object):
            def __str__(self):
                return "urgent"
        rows = [(17, [], Kind()), (None, [], "info"), ("bytes", [], None)]
        self.replace(parse_xml=lambda: 1)
        self.replace(load_cache=lambda: iter(rows))
        self.open_news()
        self.assertEqual(self.box.rows(), ["17", "None", "bytes"])
        self.assertEqual(self.box.icons(), ["urgent", "info", "normal"])

    def test_finds_a_replaced_str_in_the_module(self):
        self.replace(str=lambda value: "urgent" if value == "normal" else repr(value))
        self.open_news()
        self.assertEqual(self.box.rows(), ["u'Update now'", "u'Release 3.1'", "u'Meeting'"])
        self.assertEqual(self.box.icons(), ["normal", "urgent", "normal"])

    def test_an_empty_document_gives_an_empty_list_and_no_message(self):
        self.serve(document())
        screen = self.open_news()
        self.assertEqual(self.box.rows(), [])
        self.assertIs(self.box.screen, screen)
        self.assertFiles(present=[CACHE])

    def test_an_overridden_create_menu_is_the_timers_callback(self):
        calls = []

        class Mine(self.module.AllNews):
            def createMenu(self):
                calls.append(self)
        screen = self.open_screen(Mine, self.box.plugin_path)
        self.box.pass_time(0.1)
        self.assertEqual(calls, [screen])
        self.assertEqual(self.box.rows(), [WAIT])

    def test_an_overridden_set_menu_waits_for_the_layout(self):
        calls = []

        class Mine(self.module.AllNews):
            def setMenu(self):
                calls.append((self.layout, self["menu"].list))
        screen = self.open_screen(Mine, self.box.plugin_path)
        self.assertEqual(calls, [("AllNews", [("loading", WAIT, screen.png_info)])])


class Messages(ReceiverTest):

    def assertMessage(self, screen, text):
        self.assertIsInstance(self.box.screen, MessageBox)
        self.assertEqual(self.box.text("text"), text)
        self.assertEqual(self.box.screen.type, MessageBox.TYPE_ERROR)
        self.assertEqual(screen.list, [])
        self.assertEqual(screen["menu"].list, [])

    def test_an_http_error_reads_as_no_connection(self):
        self.feed.fault("zirknews.xml", status=404)
        self.assertMessage(self.open_news(), NO_CONNECTION)

    def test_an_unreachable_server_reads_as_a_file_that_cannot_be_analyzed(self):
        self.boot(feed_url="http://127.0.0.1:1/feed/all")
        self.assertMessage(self.open_news(), NOT_ANALYZED)

    def test_so_does_a_document_that_is_not_well_formed(self):
        self.serve("no xml at all")
        self.assertMessage(self.open_news(), NOT_ANALYZED)

    def test_is_translated(self):
        self.mark_texts()
        self.serve("no xml at all")
        self.assertMessage(self.open_news(), "<%s>" % NOT_ANALYZED)
        self.box.press("ok", "red")
        self.feed.fault("zirknews.xml", status=404)
        self.assertMessage(self.open_news(), "<%s>" % NO_CONNECTION)

    def test_closes_by_itself_after_30_seconds_and_the_keys_keep_working(self):
        self.feed.fault("zirknews.xml", status=500)
        screen = self.open_news()
        self.assertEqual(self.box.seconds_left, 29)
        self.box.pass_time(28.9)
        self.assertIsInstance(self.box.screen, MessageBox)
        self.box.pass_time(0.1)
        self.assertIs(self.box.screen, screen)
        self.assertEqual(self.box.rows(), [])
        self.box.press("ok", "blue")
        self.assertIs(self.box.screen, screen)
        self.box.press("green")
        self.assertEqual(type(self.box.screen).__name__, "UpdatePlugin")
        self.box.press("cancel", "red")
        self.assertIsNone(self.box.screen)

    def test_opens_the_box_without_a_callback(self):
        calls = []
        self.box.patch(self.box.session, "open",
                       lambda *args, **kwargs: calls.append((args, kwargs)))
        for code, text in [(2, NO_CONNECTION), (3, NOT_ANALYZED)]:
            self.replace(parse_xml=lambda: code)
            screen = self.module.AllNews(self.box.session, "/path")
            self.assertIsNone(screen.createMenu())
            self.assertEqual(calls.pop(), ((MessageBox, text, MessageBox.TYPE_ERROR),
                                           {"timeout": 30}))

    def test_translates_the_message_before_it_empties_the_list(self):
        screen = self.box.open_news()
        for code, line, text in [(2, 327, NO_CONNECTION), (3, 329, NOT_ANALYZED)]:
            self.replace(parse_xml=lambda: code)
            texts = self.note_texts(broken=text)
            self.assertFails(Broken, ["AllNews.createMenu:%d" % line], screen.createMenu)
            self.assertEqual(texts, [text])
            self.assertEqual(self.box.rows(), [WAIT])
            self.assertEqual(screen.list, [])

    def test_other_codes_below_two_empty_the_list_silently(self):
        for code in (0, -1, None, False, 0.5):
            self.replace(parse_xml=lambda: code)
            screen = self.open_news()
            self.assertEqual(self.box.rows(), [])
            self.assertIs(self.box.screen, screen)
            self.box.press("red")

    def test_codes_above_three_empty_the_list_and_have_no_message(self):
        for code in (4, 99, 2.5, 10 ** 30, "1"):
            self.replace(parse_xml=lambda: code)
            self.box.open_news()
            self.assertFails(UnboundLocalError, ["AllNews.createMenu:332"],
                             self.box.pass_time, 0.1)
            self.assertEqual(self.box.rows(), [])
            self.box.press("red")

    def test_codes_that_equal_one_two_or_three_will_do(self):
        self.open_news()  # leaves a cache
        screen = self.box.screen
        for code, text in [(True, None), (1.0, None), (2.0, NO_CONNECTION), (3, NOT_ANALYZED)]:
            self.replace(parse_xml=lambda: code)
            screen.createMenu()
            if text is None:
                self.assertEqual(self.box.rows(), TITLES)
            else:
                self.assertMessage(screen, text)
                self.box.press("ok")


class Rows(ReceiverTest):

    def test_opening_one_hands_over_the_callback_the_index_and_the_view(self):
        screen = self.open_news()
        calls = []
        self.box.patch(self.box.session, "openWithCallback",
                       lambda *args, **kwargs: calls.append((args, kwargs)))
        self.box.press("down", "ok", "blue")
        self.assertIsNone(screen.runMenuEntry())
        screen.runMenuEntry("any value")
        screen.runMenuEntry(show_upgradable=3)
        self.assertEqual(calls, [
            ((screen.setMenuIndex, self.module.ZirkUpdateInfo, 1, value), {})
            for value in (False, True, False, "any value", 3)])

    def test_opens_whatever_class_bears_the_name_then(self):
        class Mine(Screen):
            def __init__(self, session, idx, show_upgradable):
                Screen.__init__(self, session)
                self.arguments = idx, show_upgradable
        self.replace(ZirkUpdateInfo=Mine)
        self.open_news()
        self.box.press("down", "down", "blue")
        self.assertEqual(self.box.screen.arguments, (2, True))
        self.box.screen.close()  # without a value
        self.box.settle()
        self.assertEqual(self.box.cursor, 0)

    def test_the_cursor_comes_back_to_the_entry_shown_last(self):
        self.open_news()
        for steps, row in [([], 0), (["left"], 1), (["left"], 2), (["right"], 1), ([], 1)]:
            self.box.press(*["ok"] + steps + ["cancel"])
            self.assertEqual(self.box.cursor, row)

    def test_set_menu_index_takes_its_argument_by_keyword_or_not_at_all(self):
        screen = self.open_news()
        screen.setMenuIndex(2)
        self.assertEqual(self.box.cursor, 2)
        screen.setMenuIndex()
        self.assertEqual(self.box.cursor, 0)
        self.assertIsNone(screen.setMenuIndex(idx=1))
        self.assertEqual(self.box.cursor, 1)
        self.assertRaises(TypeError, screen.setMenuIndex, 1, 2)
        self.assertRaises(TypeError, screen.setMenuIndex, index=1)

    def test_ok_on_an_empty_list_opens_nothing(self):
        self.serve(document())
        screen = self.open_news()
        self.assertEqual(self.box.cursor, 0)
        self.box.press("ok", "blue")
        self.assertIs(self.box.screen, screen)

    def test_an_index_that_is_true_opens_even_from_an_empty_list(self):
        screen = self.open_news()
        screen.list = []
        calls = []
        self.box.patch(self.box.session, "openWithCallback", lambda *args: calls.append(args[2]))
        for index in (0, None, 1, -1, "x"):
            self.box.patch(List, "getIndex", lambda _: index)
            screen.runMenuEntry()
        self.assertEqual(calls, [1, -1, "x"])
        screen.list = None  # as after keyCancel
        screen.runMenuEntry()
        self.box.patch(List, "getIndex", lambda _: 0)
        self.assertFails(TypeError, ["AllNews.runMenuEntry:338"], screen.runMenuEntry)

    def test_an_overridden_set_menu_index_is_the_callback(self):
        calls = []

        class Mine(self.module.AllNews):
            def setMenuIndex(self, *args):
                calls.append(args)
        self.open_screen(Mine, self.box.plugin_path)
        self.box.pass_time(0.1)
        self.box.press("down", "ok", "cancel")
        self.assertEqual(calls, [(1,)])


class Repeated(ReceiverTest):

    def test_twenty_openings_download_twenty_times(self):
        del self.feed.requests[:]
        for _ in range(20):
            self.open_news()
            self.assertEqual(self.box.rows(), TITLES)
            self.box.press("red")
            self.assertFiles(absent=[CACHE])
        self.assertEqual(self.feed.requests, ["/feed/zirknews.xml"] * 20)

    def test_a_new_document_is_seen_at_the_next_opening(self):
        self.open_news()
        self.serve(document(entry("newer")))
        self.box.press("ok", "cancel")
        self.assertEqual(self.box.rows(), TITLES)
        self.box.press("red")
        self.open_news()
        self.assertEqual(self.box.rows(), ["newer"])


if __name__ == "__main__":
    unittest.main()
