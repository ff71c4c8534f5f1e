"""The notifier: its cycle of waiting and judging listings, the question that it asks."""

from tests.support.receiver import (
    BLUE, ERRORS, LISTING, NOISE, read, write)
from tests.support.screens import ScreenTest

from Screens.MessageBox import MessageBox
from enigma import eTimer

HOUR = 3600000  # milliseconds
COMMANDS = ["opkg update", "opkg list-upgradable"]
QUESTION = "There are updates available.\nDo you want to open Software Update menu ?"


class NotifierTest(ScreenTest):
    """self.notifier is the module's notifier. It checks every other hour."""

    options = {"check_for_updates": 2}

    def boot(self, **options):
        super(NotifierTest, self).boot(**options)
        self.notifier = self.module.update_notification
        self.usage = self.box.config.usage

    def check(self, listing="", **options):
        """Start the plug-in and let the first check happen; opkg prints this listing."""
        self.install_opkg(listing, **options)
        self.box.start_plugin()
        self.box.pass_time(60)


class Start(NotifierTest):

    def test_first_check_comes_after_60_seconds(self):
        self.install_opkg()
        self.box.start_plugin()
        self.assertEqual(self.box.timers(), [60000])
        self.box.pass_time(59.999)
        self.assertEqual(self.box.commands, [])
        self.box.pass_time(0.001)
        self.assertEqual(self.box.commands, COMMANDS)


class Cycle(NotifierTest):

    def test_updates_then_lists_on_one_new_runner(self):
        self.install_opkg()
        self.box.start_plugin()
        self.box.hold()
        self.box.pass_time(60)
        console = self.notifier.Console
        self.assertEqual(list(console.appContainers), ["opkg update"])
        self.assertEqual(self.box.timers(), [])
        self.box.finish()
        self.assertIs(self.notifier.Console, console)
        self.assertEqual(list(console.appContainers), ["opkg list-upgradable"])
        self.box.finish()
        self.assertEqual(self.box.timers(), [2 * HOUR])
        self.box.release()
        self.box.pass_time(2 * 3600)
        self.assertIsNot(self.notifier.Console, console)
        self.assertEqual(self.box.commands, COMMANDS * 2)

    def test_without_an_update_comes_again_after_the_set_hours(self):
        self.boot(check_for_updates=6)
        self.check(NOISE)
        self.assertEqual(self.box.timers(), [6 * HOUR])
        for count in (2, 3):
            self.box.pass_time(6 * 3600)
            self.assertEqual(self.box.commands, COMMANDS * count)

    def test_at_0_or_less_happens_once(self):
        for hours in (0, -1):
            self.boot(check_for_updates=hours)
            self.check()
            self.assertEqual((self.box.commands, self.box.timers()), (COMMANDS, []))
            self.notifier.init_timer()
            self.box.pass_time(60)
            self.assertEqual(self.box.commands, COMMANDS * 2)

    def test_of_a_huge_number_of_hours_is_armed_exactly(self):
        self.notifier.init_timer()
        for hours in (24, 10 ** 4, 2 ** 31, 10 ** 15, 10 ** 40):
            self.usage.check_for_updates.value = hours
            self.notifier.opkg_upgrade_finished("", 0)
            self.assertEqual(self.box.timers(), [hours * HOUR])

    def test_reads_the_hours_when_it_ends(self):
        self.check()
        self.usage.check_for_updates.value = 3
        self.assertEqual(self.box.timers(), [2 * HOUR])
        self.box.pass_time(2 * 3600)
        self.assertEqual(self.box.timers(), [3 * HOUR])
        self.usage.check_for_updates.value = 0
        self.box.pass_time(3 * 3600)
        self.assertEqual(self.box.timers(), [])

    def test_lowers_the_flag_and_does_not_save_it(self):
        self.usage.update_available.value = True
        self.usage.update_available.saved_value = True
        self.check("a - 1\n")
        self.assertIs(self.usage.update_available.value, False)
        self.assertIs(self.usage.update_available.saved_value, True)


class Judging(NotifierTest):

    def judge(self, text):
        """True if the notifier finds an update in this text."""
        self.usage.update_available.value = None
        self.notifier.update_timer = eTimer()
        self.notifier.show_Kelvaro = lambda res=None: None
        self.usage.show_notification_for_updates.value = False
        self.notifier.opkg_upgrade_finished(text, 0)
        found = self.usage.update_available.value
        self.assertIs(type(found), bool)
        return found

    def assertJudged(self, update, *texts):
        self.assertEqual([text for text in texts if self.judge(text) != update], [])

    def test_finds_an_update_in_a_line_of_three_parts_whatever_they_are(self):
        self.assertJudged(True, BLUE, "a - 1 - 2", "a - 1 - 2 - 3\nb\n", " -  - ",
                          "\n\n - 1 - 2\n")

    def test_finds_none_in_nothing_and_in_lines_of_two_parts(self):
        self.assertJudged(False, "", "\n", "a - 1\n", "a - 1\n" * 10, NOISE, ERRORS, "a-1-2",
                          "a\t- 1\t- 2")

    def test_splits_ten_lines_off_and_takes_the_rest_as_one(self):
        for lines in (8, 9):
            self.assertJudged(True, "a - 1\n" * lines + "b - 1 - 2\n")
            self.assertJudged(False, "a - 1\n" * lines + "b - 1\n")
        self.assertJudged(False, "a - 1\n" * 9 + "b - 1\nc - 2")
        # From the eleventh line on two separators anywhere are enough.
        self.assertJudged(False, "a - 1\n" * 10 + "b - 1\n")
        self.assertJudged(True, "a - 1\n" * 10 + "b - 1\nc - 2\n",
                          "x\n" * 10 + "b - 1\n" + "x\n" * 50 + "c - 2")

    def test_finds_an_update_after_the_noise_of_real_opkg(self):
        for count in (1, 9, 10, 11, 12, 40):
            self.assertJudged(True, NOISE * count + BLUE)
            self.assertJudged(False, NOISE * count, NOISE * count + ERRORS)

    def test_splits_at_the_line_feed_only(self):
        self.assertJudged(True, "a - 1\rb - 2", "a - 1\x0bb - 2\n")

    def test_keeps_the_whole_text_only_when_it_found_one(self):
        self.judge("a - 1\n")
        self.assertFalse(hasattr(self.notifier, "upgradable_packages"))
        text = NOISE * 12 + BLUE
        for judged in (text, ""):
            self.judge(judged)
            self.assertIs(self.notifier.upgradable_packages, text)


class Question(NotifierTest):

    def test_is_asked_once_an_update_was_found(self):
        self.check(BLUE)
        self.assertIsInstance(self.box.screen, MessageBox)
        self.assertEqual(self.box.text("text"), QUESTION)
        self.assertEqual(self.box.screen.type, MessageBox.TYPE_YESNO)
        self.assertEqual(self.box.rows(), ["yes", "no"])
        self.assertIs(self.usage.update_available.value, True)
        self.assertFiles(absent=[LISTING])

    def test_has_no_time_out_and_suspends_the_checking(self):
        self.check(BLUE)
        self.assertIsNone(self.box.seconds_left)
        self.assertEqual(self.box.timers(), [])
        self.box.pass_time(10 ** 4)
        self.assertIsInstance(self.box.screen, MessageBox)
        self.assertEqual(self.box.commands, COMMANDS)

    def test_waits_while_another_screen_is_open(self):
        browser = self.box.open_news()
        self.check(BLUE)
        self.assertIs(self.box.screen, browser)
        self.assertEqual((self.box.notifications, self.box.timers()), (1, []))
        self.box.press("red")
        self.assertIsInstance(self.box.screen, MessageBox)
        self.box.answer(True)
        self.assertIsInstance(self.box.screen, self.module.AllNews)


class Answers(NotifierTest):

    def test_yes_opens_the_browser_with_the_listing_at_hand(self):
        self.check(BLUE)
        self.box.answer(True)
        browser = self.box.screen
        self.assertIsInstance(browser, self.module.AllNews)
        self.assertEqual(browser.skin_path, self.box.plugin_path)
        self.assertEqual(read(LISTING), BLUE)
        self.assertEqual(sorted(self.box.timers()), [100, 2 * HOUR])
        self.box.pass_time(0.1)
        self.box.press("blue")
        self.assertIn("enigma2-skin-blue", self.box.text("update"))
        self.assertEqual(self.box.commands, COMMANDS)
        self.box.press("red", "red")
        self.assertFiles(absent=[LISTING])

    def test_no_only_arms_the_timer(self):
        self.check(BLUE)
        for answer in ("down", "cancel"):
            self.box.press(*["down", "ok"] if answer == "down" else ["cancel"])
            self.assertIsNone(self.box.screen)
            self.assertFiles(absent=[LISTING])
            self.assertEqual(self.box.timers(), [2 * HOUR])
            self.assertIs(self.usage.update_available.value, True)
            self.box.pass_time(2 * 3600)
        self.box.answer(False)
        self.install_opkg("")
        self.box.pass_time(2 * 3600)
        self.assertIs(self.usage.update_available.value, False)
        self.assertIsNone(self.box.screen)

    def test_at_0_hours_yes_still_opens_the_browser_and_no_check_follows(self):
        self.boot(check_for_updates=0)
        self.check(BLUE)
        self.box.answer(True)
        self.assertIsInstance(self.box.screen, self.module.AllNews)
        self.assertEqual(read(LISTING), BLUE)
        self.assertEqual(self.box.timers(), [100])

    def test_the_file_holds_exactly_the_listing_however_long_the_question_waited(self):
        for listing in (BLUE, "x\n" * 12 + "\n\n a - 1 - 2 \r\n\0\xff no end", BLUE * 2000):
            self.boot()
            self.check(listing)
            self.install_opkg("newer - 1 - 2\n")
            write(LISTING, "an older and much longer file" * 10000)
            self.box.pass_time(10 ** 4)
            self.box.answer(True)
            self.assertEqual(read(LISTING), listing)
            self.box.press("red")

    def test_the_hours_are_read_when_the_answer_comes(self):
        self.check(BLUE)
        for hours, timers in [(5, [5 * HOUR]), (0, []), (-5, []), (10 ** 20, [10 ** 20 * HOUR])]:
            self.notifier.update_timer.stop()
            self.usage.check_for_updates.value = hours
            self.notifier.show_Kelvaro(False)
            self.assertEqual(self.box.timers(), timers)

    def test_any_value_is_taken_for_its_truth(self):
        self.notifier.update_timer = eTimer()
        self.notifier.upgradable_packages = "text"
        self.notifier.setSession(self.box.session, "/path")
        opened = self.note_openings("open")
        for res in (False, None, 0, "", []):
            self.notifier.show_Kelvaro(res)
        self.assertEqual(opened, [])
        self.assertFiles(absent=[LISTING])
        for res in (True, 1, "no"):
            self.notifier.show_Kelvaro(res=res)
        self.assertEqual(opened, [((self.module.AllNews, "/path"), {})] * 3)
        self.assertEqual(read(LISTING), "text")


class Silence(NotifierTest):

    options = {"check_for_updates": 2, "show_notification": False}

    def test_records_the_update_shows_nothing_and_goes_on(self):
        self.check(BLUE)
        self.assertIs(self.usage.update_available.value, True)
        self.assertIsNone(self.box.screen)
        self.assertEqual((self.box.notifications, self.box.timers()), (0, [2 * HOUR]))
        self.assertFiles(absent=[LISTING])
        self.assertEqual(self.notifier.upgradable_packages, BLUE)
        self.box.pass_time(2 * 3600)
        self.assertEqual(self.box.commands, COMMANDS * 2)

    def test_is_decided_by_the_setting_at_the_time_of_the_check(self):
        self.check(BLUE)
        self.usage.show_notification_for_updates.value = True
        self.box.pass_time(2 * 3600)
        self.assertIsInstance(self.box.screen, MessageBox)
        self.usage.show_notification_for_updates.value = False
        self.box.answer(False)
        self.box.pass_time(2 * 3600)
        self.assertIsNone(self.box.screen)
