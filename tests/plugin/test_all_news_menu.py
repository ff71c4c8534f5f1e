"""The browser's list: filling it, opening a row, coming back to it."""


from tests.support.receiver import (
    Broken, CACHE, NOT_ANALYZED, NO_CONNECTION, WAIT, document, entry, raising, read, write)
from tests.support.screens import ScreenTest

from Components.Sources.List import List
from Screens.MessageBox import MessageBox

TITLES = ["Update now", "Release 3.1", "Meeting"]


class Filling(ScreenTest):

    def test_replaces_the_placeholder_once_after_100_milliseconds(self):
        self.box.open_news()
        self.assertEqual(self.box.timers(), [100])
        self.box.pass_time(0.099)
        self.assertEqual((self.box.rows(), self.feed.requests), ([WAIT], []))
        self.box.pass_time(0.001)
        self.assertEqual(self.box.rows(), TITLES)
        self.assertEqual(self.box.icons(), ["urgent", "normal", "info"])
        self.box.pass_time(1)
        self.assertEqual(self.feed.requests, ["/feed/zirknews.xml"])

    def test_keeps_the_whole_entry_as_the_key_of_its_row(self):
        screen = self.open_news()
        self.assertIs(screen["menu"].list, screen.list)
        self.assertEqual(screen.list[1], (
            (u"Release 3.1", [(u"Faster", [])], "normal"), "Release 3.1", screen.png_normal))
        self.assertEqual([type(row[1]) for row in screen.list], [str] * 3)
        self.assertEqual([row[2] for row in screen.list],
                         [screen.png_urgent, screen.png_normal, screen.png_info])

    def test_compares_kinds_exactly(self):
        kinds = ["Urgent", "urgent", "URGENT", "info", "Info", " info", "", "other", "normal"]
        self.serve(document(*[entry(repr(kind), kind) for kind in kinds]))
        self.open_news()
        self.assertEqual(self.box.rows(), [repr(kind) for kind in kinds])
        self.assertEqual(self.box.icons(), ["normal", "urgent", "normal", "info", "normal",
                                            "normal", "normal", "normal", "normal"])

    def test_with_an_empty_document_gives_an_empty_list_and_no_message(self):
        self.serve(document())
        screen = self.open_news()
        self.assertEqual((self.box.screen, self.box.rows()), (screen, []))
        self.assertFiles(present=[CACHE])
        self.box.press("ok", "blue")
        self.assertIs(self.box.screen, screen)

    def test_downloads_the_news_anew_at_the_next_opening(self):
        self.open_news()
        self.serve(document(entry("newer")))
        self.box.press("ok", "cancel")
        self.assertEqual(self.box.rows(), TITLES)
        self.box.press("red")
        self.open_news()
        self.assertEqual(self.box.rows(), ["newer"])


class Messages(ScreenTest):

    def assertMessage(self, screen, text):
        self.assertIsInstance(self.box.screen, MessageBox)
        self.assertEqual(self.box.text("text"), text)
        self.assertEqual(self.box.screen.type, MessageBox.TYPE_ERROR)
        self.assertEqual((screen.list, screen["menu"].list), ([], []))

    def test_are_translated(self):
        self.mark_texts()
        for code, text in [(2, NO_CONNECTION), (3, NOT_ANALYZED)]:
            self.replace(parse_xml=lambda: code)
            self.assertMessage(self.open_news(), "<%s>" % text)
            self.box.press("ok", "red")

    def test_close_by_themselves_after_30_seconds_and_the_keys_keep_working(self):
        self.feed.fault("zirknews.xml", status=500)
        screen = self.open_news()
        self.box.pass_time(28.9)
        self.assertIsInstance(self.box.screen, MessageBox)
        self.box.pass_time(0.1)
        self.assertEqual((self.box.screen, self.box.rows()), (screen, []))
        self.box.press("ok", "blue")
        self.assertIs(self.box.screen, screen)
        self.box.press("green")
        self.assertIsNot(self.box.screen, screen)
        self.box.press("cancel")
        self.box.settle()
        self.assertIs(self.box.screen, screen)
        self.box.press("red")
        self.assertIsNone(self.box.screen)


class Rows(ScreenTest):

    def test_have_the_cursor_on_the_entry_shown_last(self):
        self.open_news()
        for steps, row in [([], 0), (["left"], 1), (["left"], 2), (["right"], 1), ([], 1)]:
            self.box.press(*["ok"] + steps + ["cancel"])
            self.assertEqual(self.box.cursor, row)

    def test_have_the_cursor_on_the_first_when_no_index_comes_back(self):
        screen = self.open_news()
        screen.setMenuIndex(idx=2)
        self.assertEqual(self.box.cursor, 2)
        self.box.press("ok")
        self.box.screen.close()
        self.box.settle()
        self.assertEqual(self.box.cursor, 0)

    def test_open_from_an_empty_list_only_at_an_index_that_is_true(self):
        screen = self.open_news()
        screen.list = []
        calls = self.note_openings()
        for index in (0, None, 1, -1, "x"):
            self.box.patch(List, "getIndex", lambda _: index)
            screen.runMenuEntry()
        self.assertEqual([args[2] for args, _ in calls], [1, -1, "x"])
        screen.list = None  # as after keyCancel: not asked for its length then
        screen.runMenuEntry()
        self.box.patch(List, "getIndex", lambda _: 0)
        self.assertFails(TypeError, ["AllNews.runMenuEntry:338"], screen.runMenuEntry)


class Failures(ScreenTest):

    def assertFillingFails(self, error, *entries):
        """The filling fails; what is shown stays the placeholder. Returns the screen."""
        screen = self.box.open_news()
        self.assertFails(error, list(entries), self.box.pass_time, 0.1)
        self.assertEqual((self.box.screen, self.box.rows()), (screen, [WAIT]))
        return screen

    def test_of_a_later_entry_keep_the_earlier_rows_to_the_screen(self):
        def entries(*second):
            yield ("first", [], "info")
            yield second or raising()()
        self.replace(parse_xml=lambda: 1)
        for second, error, line in [((), Broken, 318), (("title",), IndexError, 319),
                                    (("title", []), IndexError, 319)]:
            self.replace(load_cache=lambda: entries(*second))
            screen = self.assertFillingFails(error, "AllNews.createMenu:%d" % line)
            self.assertEqual(screen.list, [(("first", [], "info"), "first", screen.png_info)])


class Encodings(ScreenTest):

    news = document(entry("plain", "urgent"), entry("Gr\xc3\xbc\xc3\x9fe", "info"))

    def test_utf_8_titles_are_shown(self):
        self.open_news()
        self.assertEqual(self.box.rows(), ["plain", "Gr\xc3\xbc\xc3\x9fe"])

    def test_ascii_fails_at_a_title_or_kind_and_the_placeholder_stays(self):
        for news, line, rows in [(self.news, 325, ["plain"]),
                                 (document(entry("title", "kr\xc3\xa4ftig")), 319, [])]:
            self.serve(news)
            self.boot(encoding="ascii")
            screen = self.box.open_news()
            self.assertFails(UnicodeEncodeError, ["AllNews.createMenu:%d" % line],
                             self.box.pass_time, 0.1)
            self.assertEqual(self.box.rows(), [WAIT])
            self.assertEqual([row[1] for row in screen.list], rows)
            self.assertFiles(present=[CACHE])


class BeforeTheNewsHaveCome(ScreenTest):

    def test_ok_and_blue_fail_with_the_missing_cache(self):
        screen = self.box.open_news()
        entries = ["AllNews.runMenuEntry:339", "ZirkUpdateInfo.__init__:362", "load_cache:99"]
        for key, more in [("ok", []), ("blue", ["AllNews.blueKey:306"])]:
            error = self.assertFails(IOError, more + entries, self.box.press, key)
            self.assertEqual((error.errno, error.filename), (2, CACHE))
            self.assertEqual((self.box.screen, self.box.rows()), (screen, [WAIT]))
        self.assertEqual(self.box.commands, [])
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
