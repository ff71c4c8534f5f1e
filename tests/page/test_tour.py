"""The whole way through the news browser, with the remote control on the page."""

import unittest

from tests.support.page import ViewerTest

NEWS = """<?xml version="1.0" encoding="UTF-8"?>
<news>
  <update type="urgent"><title>Grüße: update today</title>
    <item><itemtext>First item</itemtext><description>A detail</description></item>
  </update>
  <update type="info"><title>A long entry</title>
    %s
  </update>
  <update require="solo4k"><title>For another model</title></update>
  <update><title>The oldest entry</title></update>
</news>
""" % "".join("<item><itemtext>Line %d</itemtext></item>" % number for number in range(1, 21))
STATISTICS = "EXTENSIONS\nweatherinfo;18342\npodcastbox;7120\nSKINS\npaperwhite;4476\n"
TITLES = ["Grüße: update today", "A long entry", "The oldest entry"]
QUESTION = "There are updates available.\nDo you want to open Software Update menu ?"


class TourTest(ViewerTest):

    def open_news(self):
        """Start a receiver on a feed of our own; return its page, with the list in the picture."""
        viewer = self.start("--feed", self.feed(zirknews_xml=NEWS, zirkdlstat_txt=STATISTICS))
        viewer.open_news()
        self.assert_shows(viewer, screen="AllNews", rows=TITLES)
        return viewer

    def test_the_list_shows_icons_header_and_keys_and_the_cursor_moves(self):
        viewer = self.open_news()
        self.assert_shows(
            viewer, layout="AllNews", icons=["urgent", "info", "normal"], selected=TITLES[:1],
            texts={"title": "News about ZIRK", "header": "Zirk 3.1.0 (Vu+ Duo2)\n",
                   "key_red": "Exit", "key_green": "Update", "key_yellow": "Top 20",
                   "key_blue": "show Updates"})
        viewer.press("down", "down")
        self.assert_shows(viewer, selected=TITLES[2:])
        viewer.press("up")
        self.assert_shows(viewer, selected=TITLES[1:2])

    def test_the_placeholder_is_shown_until_the_news_have_come(self):
        viewer = self.open_news()
        viewer.press("red")
        self.assert_shows(viewer, screen=None)
        # The news take a tenth of a second at least: time for the picture to be seen.
        viewer.driver.execute_script("""
            window.seen = [];
            new MutationObserver(() => {
              const row = document.querySelector("[role=option]");
              if (row) window.seen.push(row.textContent);
            }).observe(document.getElementById("screens"), {childList: true});""")
        viewer.press("news")
        self.assert_shows(viewer, screen="AllNews", rows=TITLES)
        self.assertEqual("Please wait ...", viewer.driver.execute_script("return window.seen[0]"))

    def test_the_detail_screen_steps_and_turns_pages(self):
        viewer = self.open_news()
        viewer.press("ok")
        self.assert_shows(viewer, screen="ZirkUpdateInfo", layout="ZirkUpdateInfo", texts={
            "header": "Zirk 3.1.0 (Vu+ Duo2)\nGrüße: update today",
            "update": "* First item\n    - A detail",
            "key_red": "Close", "key_yellow": " "})
        viewer.press("left")
        first = "\n".join("* Line %d" % number for number in range(1, 15))
        self.assert_shows(viewer, texts={"header": "Zirk 3.1.0 (Vu+ Duo2)\nA long entry",
                                         "update": first})
        viewer.press("down")
        self.assert_shows(viewer, texts={
            "update": "\n".join("* Line %d" % number for number in range(15, 21))})
        viewer.press("up")
        self.assert_shows(viewer, texts={"update": first})
        viewer.press("left", "cancel")
        self.assert_shows(viewer, screen="AllNews", selected=TITLES[2:])

    def test_blue_lists_what_can_be_updated_and_yellow_goes_back(self):
        viewer = self.open_news()
        viewer.press("blue")
        self.assert_shows(viewer, screen="ZirkUpdateInfo", texts={
            "title": "Upgradable Packages", "key_yellow": "show News"})
        viewer.wait("the listing", lambda: "old version : " in viewer.front()["texts"]["update"])
        self.assertEqual(["opkg update", "opkg list-upgradable > /tmp/.package.tmp"],
                         viewer.log("command")[-2:])
        viewer.press("yellow")
        self.assert_shows(viewer, texts={"title": "News about ZIRK",
                                         "update": "* First item\n    - A detail"})
        viewer.press("green")
        self.assert_shows(viewer, screen="UpdatePlugin", title="Software update")
        viewer.press("red", "red")
        self.assert_shows(viewer, screen="AllNews")

    def test_the_top_20_installs_and_removes(self):
        viewer = self.open_news()
        viewer.press("yellow")
        self.assert_shows(viewer, screen="ChoiceBox", rows=["Extensions", "Skins"])
        viewer.press("ok")
        install, remove = ["Podcastbox   (7120) - %s" % verb for verb in ("Install", "Remove")]
        self.assert_shows(viewer, title="Top 20 - Extensions",
                          rows=["Weatherinfo   (18342) - Remove", install])
        viewer.press("down", "ok")
        self.assert_shows(viewer, screen="Ipkg", texts={"status": "Done"})
        self.assertEqual("opkg install enigma2-plugin-extensions-podcastbox",
                         viewer.log("command")[-1])
        viewer.press("ok")
        self.assert_shows(viewer, screen="ChoiceBox", rows=["Extensions", "Skins"])
        viewer.press("ok", "down")
        self.assert_shows(viewer, selected=[remove])
        viewer.press("ok")
        self.assert_shows(viewer, screen="Ipkg", texts={"status": "Done"})
        viewer.press("ok", "ok")
        self.assert_shows(viewer, rows=["Weatherinfo   (18342) - Remove", install])

    def test_closing_removes_the_files_and_the_check_asks_in_the_background(self):
        viewer = self.open_news()
        viewer.press("cancel")
        self.assert_shows(viewer, screen=None)
        viewer.wait("the log", lambda: [text for text in viewer.log("file")
                                        if "/tmp/.updatecache" in text and "removed" in text])
        viewer.pass_time("+ 1 h")
        self.assert_shows(viewer, screen="MessageBox", title="Question", rows=["yes", "no"],
                          texts={"text": QUESTION})
        viewer.press("ok")
        self.assert_shows(viewer, screen="AllNews", rows=TITLES)
        viewer.press("cancel")
        self.assert_shows(viewer, screen=None)
        viewer.pass_time("+ 24 h")
        self.assert_shows(viewer, screen="MessageBox")
        viewer.press("down", "ok")
        self.assert_shows(viewer, screen=None)


if __name__ == "__main__":
    unittest.main()
