"""The news browser: what it shows at once, what its keys do, how it closes."""

import os

from tests.support.receiver import BLUE, CACHE, LISTING, WAIT, write
from tests.support.screens import ScreenTest


class Opening(ScreenTest):

    def test_shows_one_row_please_wait_with_the_info_icon(self):
        screen = self.box.open_news()
        self.assertEqual(self.box.layout, "AllNews")
        self.assertEqual((self.box.rows(), self.box.icons()), ([WAIT], ["info"]))
        self.assertEqual(screen.list, [("loading", WAIT, screen.png_info)])
        self.assertIs(screen["menu"].list, screen.list)
        self.assertEqual(self.feed.requests, [])
        self.assertFiles(absent=[CACHE])

    def test_shows_header_title_and_key_labels(self):
        self.box.open_news()
        self.assertEqual(self.box.text("header"), "Zirk 3.1.0 (Vu+ Duo2)\n")
        self.assertEqual((self.box.text("title"), self.box.title), ("News about ZIRK",) * 2)
        self.assertEqual(self.box.text("status"), "")
        self.assertEqual([self.box.text("key_" + key) for key in
                          ("red", "green", "blue", "yellow", "info")],
                         ["Exit", "Update", "show Updates", "Top 20", ""])

    def test_translates_what_it_shows_and_nothing_else(self):
        texts = self.note_texts()
        self.box.open_news()
        self.assertEqual(texts, ["News about ZIRK", WAIT, "Exit", "Update", "show Updates",
                                 "Top 20"])
        self.mark_texts()
        self.box.open_news()
        self.assertEqual(self.box.rows(), ["<%s>" % WAIT])
        self.assertEqual(self.box.text("title"), "<News about ZIRK>")
        self.assertEqual([self.box.text("key_" + key) for key in
                          ("red", "green", "blue", "yellow", "info")],
                         ["<Exit>", "<Update>", "<show Updates>", "<Top 20>", ""])


class Layout(ScreenTest):

    def test_is_that_of_backup_suite_when_the_skin_has_no_other(self):
        self.boot(screens=("BackupSuite", "ZirkUpdateInfo"))
        self.open_news()
        self.assertEqual(self.box.layout, "BackupSuite")
        self.assertEqual(self.box.rows(), ["Update now", "Release 3.1", "Meeting"])
        self.box.press("down", "ok")
        self.assertEqual(self.box.text("update"), "* Faster\n")

    def test_is_blank_with_neither_and_then_no_row_can_be_opened(self):
        self.boot(screens=("ZirkUpdateInfo",))
        screen = self.open_news()
        self.assertIsNone(self.box.layout)
        self.assertEqual(len(screen.list), 3)
        self.assertFails(TypeError, ["AllNews.runMenuEntry:339", "ZirkUpdateInfo.__init__:364"],
                         self.box.press, "ok")
        self.box.press("red")
        self.assertIsNone(self.box.screen)


class Keys(ScreenTest):

    def setUp(self):
        super(Keys, self).setUp()
        self.install_opkg(BLUE)
        self.screen = self.open_news()

    def test_ok_opens_the_news_of_the_selected_row(self):
        self.box.press("down", "ok")
        self.assertIsInstance(self.box.screen, self.module.ZirkUpdateInfo)
        self.assertEqual(self.box.text("header"), "Zirk 3.1.0 (Vu+ Duo2)\nRelease 3.1")
        self.assertEqual(self.box.commands, [])

    def test_blue_opens_the_updates_whatever_row_is_selected(self):
        for row in range(3):
            self.box.press(*["down"] * row + ["blue"])
            self.assertIsInstance(self.box.screen, self.module.ZirkUpdateInfo)
            self.assertEqual(self.box.screen.idx, row)
            self.assertEqual(self.box.text("update"), WAIT)
            self.box.settle()
            self.assertIn("Package : enigma2-skin-blue", self.box.text("update"))
            self.box.press("cancel")
            self.screen.setMenuIndex(0)
            os.remove(LISTING)

    def test_green_opens_the_systems_update_and_nothing_follows_its_end(self):
        self.box.press("green")
        self.assertIs(type(self.box.screen), self.module.UpdatePlugin)
        self.box.press("cancel")
        self.assertIs(self.box.screen, self.screen)
        self.assertEqual(self.box.cursor, 0)


class Closing(ScreenTest):

    def test_with_red_or_cancel_removes_both_files_and_misses_none(self):
        for key in ("red", "cancel"):
            for present in ([CACHE, LISTING], [CACHE], [LISTING], []):
                self.box.open_news()
                for path in present:
                    write(path, "")
                self.box.press(key)
                self.assertIsNone(self.box.screen)
                self.assertFiles(absent=[CACHE, LISTING])

    def test_before_the_timer_fires_downloads_nothing_any_more(self):
        self.box.open_news()
        self.box.press("cancel")
        self.assertEqual(self.box.timers(), [])
        self.box.pass_time(1)
        self.assertEqual(self.feed.requests, [])

    def test_reads_both_names_before_it_removes_the_first_file(self):
        self.open_news()
        self.replace(packagetmpfile="/tmp/other.listing")
        self.replace(cache_file="/tmp/other.cache")
        removed = []
        self.replace(fileExists=lambda path: True)
        self.replace(remove=lambda path: removed.append(path) or setattr(
            self.module, "cache_file", "too late"))
        self.box.press("red")
        self.assertEqual(removed, ["/tmp/other.listing", "/tmp/other.cache"])
