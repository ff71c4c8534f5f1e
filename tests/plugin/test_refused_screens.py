"""The host's session opens no screen: what asked for it fails as the host does, and all goes on."""

import unittest

from tests.support.receiver import BLUE, LISTING, ReceiverTest, raising, read
from tests.support.faults import descriptors_at_rest

REFUSAL = RuntimeError("only the screen in front can open another")


class RefusedScreens(ReceiverTest):

    def setUp(self):
        ReceiverTest.setUp(self)
        self.install_opkg(BLUE)

    def check_refused(self, entries, front, function, *arguments):
        """Check the way of the refusal, and that the screen `front` is the one in front then."""
        open_files, timers = descriptors_at_rest(), len(self.box.timers())
        session_open = self.box.patch(self.box.session, "_open", raising(REFUSAL))
        self.assertIs(self.assertFails(RuntimeError, entries, function, *arguments), REFUSAL)
        self.box.session._open = session_open
        self.box.settle()
        self.assertIs(self.box.screen, front)
        self.assertEqual((descriptors_at_rest(), self.box.running), (open_files, []))
        self.assertLessEqual(len(self.box.timers()), max(timers, 1))

    def check_open(self, key):
        """Check that a key opens what it is to open, after all; and go back."""
        front = self.box.screen
        self.box.press(key)
        self.assertIsNot(self.box.screen, front)
        self.box.press("cancel")
        self.box.settle()
        self.assertIs(self.box.screen, front)

    def test_for_the_browsers_keys(self):
        browser = self.open_news()
        for key, entries in [("ok", ["AllNews.runMenuEntry:339"]),
                             ("blue", ["AllNews.blueKey:306", "AllNews.runMenuEntry:339"]),
                             ("green", ["AllNews.greenKey:303"]),
                             ("yellow", ["AllNews.keyYellow:266", "AllNews.selectTop:270"])]:
            self.check_refused(entries, browser, self.box.press, key)
            self.check_open(key)

    def test_for_what_is_chosen_end_the_loop_of_choosers(self):
        browser = self.open_news()
        for choices, entries in [
                (["Skins"], ["AllNews.gotTopSelection:286"]),
                (["Skins", "Bar-Hd"], ["AllNews.exitChoiceBox:297"])]:
            self.box.press("yellow")
            for choice in choices[:-1]:
                self.box.choose(choice)
            self.check_refused(entries, browser, self.box.choose, choices[-1])
        self.box.press("yellow")
        self.box.choose("Skins")
        self.check_refused(["AllNews.exitChoiceBox:290", "AllNews.selectTop:270"], browser,
                           self.box.press, "cancel")
        self.check_open("yellow")

    def test_for_the_detail_screens_key(self):
        self.open_news()
        self.box.press("ok")
        self.check_refused(["ZirkUpdateInfo.greenPressed:440"], self.box.screen,
                           self.box.press, "green")
        self.check_open("green")

    def test_for_the_error_box_leave_an_empty_list(self):
        self.serve("no document")
        browser = self.box.open_news()
        self.check_refused(["AllNews.createMenu:332"], browser, self.box.pass_time, 0.1)
        self.assertEqual(self.box.rows(), [])
        self.box.press("ok", "blue")
        self.assertIs(self.box.screen, browser)
        self.check_open("green")

    def test_for_the_browser_leave_listing_and_timer_after_a_yes(self):
        self.box.start_plugin()
        self.box.pass_time(60)
        self.check_refused(["UpdateNotification.show_Kelvaro:517"], None, self.box.answer, True)
        self.assertEqual(read(LISTING), BLUE)
        self.assertEqual(self.box.timers(), [24 * 3600 * 1000])
        self.box.pass_time(24 * 3600)
        self.box.answer(True)
        self.assertIsInstance(self.box.screen, self.module.AllNews)

    def test_above_another_screen_the_error_box_opens_all_the_same(self):
        self.serve("no document")
        browser = self.box.open_news()
        self.box.press("green")
        above = self.box.screen
        self.box.pass_time(0.1)  # the news come, behind it
        self.assertIsNot(self.box.screen, above)
        self.box.press("ok")
        self.assertIs(self.box.screen, above)
        self.box.press("cancel")
        self.assertIs(self.box.screen, browser)
        self.assertEqual(self.box.rows(), [])


if __name__ == "__main__":
    unittest.main()
