# -*- coding: utf-8 -*-
"""The browser's list when something fails: what is raised, what is shown then."""

import os
import unittest

from tests.support.receiver import (
    CACHE, WAIT, Broken, ReceiverTest, breaking_at, document, entry, raising, read, write)

from Components.Sources.List import List
from Screens.MessageBox import MessageBox

TITLES = ["Update now", "Release 3.1", "Meeting"]


class Filling(ReceiverTest):

    def assertFillingFails(self, error, *entries):
        """The filling fails; what is shown stays the placeholder. Returns the screen."""
        screen = self.box.open_news()
        self.assertFails(error, list(entries), self.box.pass_time, 0.1)
        self.assertIs(self.box.screen, screen)
        self.assertEqual(self.box.rows(), [WAIT])
        return screen

    def test_of_the_timer(self):
        class Dumb(object):
            start = staticmethod(lambda *args: None)
        for timer, line, kept in [(raising(), 309, False), (object, 310, True), (Dumb, 311, True)]:
            self.boot()
            self.replace(eTimer=timer)
            screen = self.module.AllNews(self.box.session, "/path")
            error = Broken if line == 309 else AttributeError
            self.assertFails(error, ["AllNews.setMenu:%d" % line], screen.setMenu)
            self.assertEqual(hasattr(screen, "delayTimer"), kept)

    def test_of_parsing(self):
        self.serve("<news><update/></news>")
        screen = self.assertFillingFails(IndexError, "AllNews.createMenu:316", "parse_xml:150")
        self.assertEqual(screen.list, [])

    def test_of_parsing_without_a_feed_configuration(self):
        self.boot(feed_url=None)
        self.assertFillingFails(IOError, "AllNews.createMenu:316", "parse_xml:132", "newsURL:105")

    def test_of_reading_the_cache(self):
        self.replace(parse_xml=lambda: 1)
        screen = self.assertFillingFails(IOError, "AllNews.createMenu:318", "load_cache:99")
        self.assertEqual(screen.list, [])
        write(CACHE, "")
        self.assertFails(EOFError, ["AllNews.createMenu:318", "load_cache:100"],
                         screen.createMenu)

    def test_of_writing_the_cache(self):
        os.mkdir(CACHE)
        self.addCleanup(os.rmdir, CACHE)
        self.assertFillingFails(IOError, "AllNews.createMenu:316", "parse_xml:168",
                                "write_cache:94")

    def test_of_an_entry_that_is_too_short(self):
        self.replace(parse_xml=lambda: 1)
        for short in [(), ("title",), ("title", [])]:
            self.replace(load_cache=lambda: [("first", [], "info"), short])
            screen = self.assertFillingFails(IndexError, "AllNews.createMenu:319")
            self.assertEqual(screen.list, [(("first", [], "info"), "first", screen.png_info)])
            self.box.press("red")

    def test_of_what_is_no_list(self):
        self.replace(parse_xml=lambda: 1)
        self.replace(load_cache=lambda: None)
        self.assertFillingFails(TypeError, "AllNews.createMenu:318")

    def test_of_a_later_entry_keeps_the_earlier_rows_to_the_screen(self):
        def entries():
            yield ("first", [], "urgent")
            raise Broken
        self.replace(parse_xml=lambda: 1)
        self.replace(load_cache=entries)
        screen = self.assertFillingFails(Broken, "AllNews.createMenu:318")
        self.assertEqual(screen.list, [(("first", [], "urgent"), "first", screen.png_urgent)])

    def test_of_a_missing_icon(self):
        for icon, kind, line in [("png_normal", "info", 320), ("png_urgent", "urgent", 322),
                                 ("png_info", "info", 324)]:
            self.serve(document(entry("fine", "normal"), entry("missing", kind)))
            screen = self.box.open_news()
            delattr(screen, icon)
            self.assertFails(AttributeError, ["AllNews.createMenu:%d" % line],
                             self.box.pass_time, 0.1)
            self.assertEqual(len(screen.list), 0 if line == 320 else 1)
            self.assertEqual(self.box.rows(), [WAIT])
            self.box.press("red")

    def test_of_showing_the_list(self):
        self.box.patch(List, "updateList", raising())
        for code in (1, 2):
            if code == 2:
                self.feed.fault("zirknews.xml", status=404)
            screen = self.assertFillingFails(Broken, "AllNews.createMenu:330")
            self.assertEqual(len(screen.list), 3 if code == 1 else 0)
            self.box.press("red")

    def test_of_the_message_box(self):
        self.feed.fault("zirknews.xml", status=404)
        self.box.patch(MessageBox, "__init__", raising())
        screen = self.box.open_news()
        self.assertFails(Broken, ["AllNews.createMenu:332"], self.box.pass_time, 0.1)
        self.assertEqual(self.box.rows(), [])
        self.unbind("MessageBox")
        self.assertFails(NameError, ["AllNews.createMenu:332"], screen.createMenu)


class Encodings(ReceiverTest):

    news = document(entry("plain", "urgent"), entry("Gr\xc3\xbc\xc3\x9fe", "info"))

    def test_utf_8_titles_are_shown(self):
        self.open_news()
        self.assertEqual(self.box.rows(), ["plain", "Gr\xc3\xbc\xc3\x9fe"])

    def test_ascii_fails_at_the_title_and_the_placeholder_stays(self):
        self.boot(encoding="ascii")
        screen = self.box.open_news()
        self.assertFails(UnicodeEncodeError, ["AllNews.createMenu:325"],
                         self.box.pass_time, 0.1)
        self.assertEqual(self.box.rows(), [WAIT])
        self.assertEqual([row[1] for row in screen.list], ["plain"])
        self.assertFiles(present=[CACHE])

    def test_ascii_fails_at_a_kind_too(self):
        self.serve(document(entry("title", "kr\xc3\xa4ftig")))
        self.boot(encoding="ascii")
        self.box.open_news()
        self.assertFails(UnicodeEncodeError, ["AllNews.createMenu:319"],
                         self.box.pass_time, 0.1)


class Rows(ReceiverTest):

    def test_failures_reach_the_host(self):
        screen = self.open_news()
        self.box.patch(List, "getIndex", raising())
        self.assertFails(Broken, ["AllNews.runMenuEntry:337"], self.box.press, "ok")
        self.assertFails(Broken, ["AllNews.blueKey:306", "AllNews.runMenuEntry:337"],
                         self.box.press, "blue")
        self.box.patch(List, "setIndex", raising())
        self.assertFails(Broken, ["AllNews.setMenuIndex:342"], screen.setMenuIndex)
        self.box.patch(List, "getIndex", breaking_at(9, lambda _: 1))
        os.remove(CACHE)
        self.assertFails(IOError, ["AllNews.runMenuEntry:339", "ZirkUpdateInfo.__init__:362",
                                   "load_cache:99"], self.box.press, "ok")


class BeforeTheNewsHaveCome(ReceiverTest):

    def test_ok_fails_with_the_missing_cache_through_three_functions(self):
        screen = self.box.open_news()
        error = self.assertFails(IOError, [
            "AllNews.runMenuEntry:339", "ZirkUpdateInfo.__init__:362", "load_cache:99"],
            self.box.press, "ok")
        self.assertEqual((error.errno, error.filename), (2, CACHE))
        self.assertIs(self.box.screen, screen)
        self.assertEqual(self.box.rows(), [WAIT])

    def test_blue_fails_alike_through_four(self):
        self.box.open_news()
        self.assertFails(IOError, [
            "AllNews.blueKey:306", "AllNews.runMenuEntry:339", "ZirkUpdateInfo.__init__:362",
            "load_cache:99"], self.box.press, "blue")
        self.assertEqual(self.box.commands, [])

    def test_the_news_still_come_where_the_host_survives_it(self):
        self.boot(raise_errors=False)
        self.box.open_news()
        self.box.press("ok")
        self.assertEqual(len(self.box.errors), 1)
        self.assertIn('File "plugin/src/Kelvaro", line 99, in Kelvaro.load_cache',
                      self.box.errors[0])
        self.box.pass_time(0.1)
        self.assertEqual(self.box.rows(), TITLES)

    def test_a_cache_that_lies_there_is_opened(self):
        self.open_news()
        content = read(CACHE)
        self.box.press("red")
        self.box.open_news()
        write(CACHE, content)
        self.box.press("ok")
        self.assertEqual(self.box.text("header"), "Zirk 3.1.0 (Vu+ Duo2)\nUpdate now")


if __name__ == "__main__":
    unittest.main()
