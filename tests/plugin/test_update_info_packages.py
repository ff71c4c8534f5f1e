"""The detail screen's updates view: running opkg, reading its listing, showing it."""

from tests.support.receiver import (
    BLUE, ERRORS, LISTING, NOISE, NO_CONNECTION, WAIT, read, write)
from tests.support.screens import DetailTest, UP_TO_DATE, block

UPGRADE = "opkg list-upgradable > " + LISTING


class Listing(DetailTest):

    def listing(self, content):
        """The text shown for this content of the listing file."""
        write(LISTING, content)
        self.open_detail(0, True)
        text = self.box.text("update")
        self.box.press("red")
        return text

    def assertLists(self, content, *packages_):
        """The blocks of these packages are shown: (name, old version, new version)."""
        self.assertEqual(self.listing(content), "".join(block(*each) for each in packages_))

    def test_skips_lines_of_two_parts_and_those_without_a_name(self):
        self.assertLists("two - parts\n\nnone\n - 1 - 2\n  \t - 1 - 2\na - 1 - 2\n- - 1\n",
                         ("a", "1", "2"))

    def test_strips_each_part(self):
        self.assertLists("  a\t -  1  -   2 \r\n", ("a", "1", "2"))

    def test_takes_empty_versions_and_a_last_line_without_a_line_end(self):
        self.assertLists("a -  - \nb - 1 - 2", ("a", "", ""), ("b", "1", "2"))

    def test_splits_only_at_a_hyphen_between_blanks(self):
        self.assertLists("a-b -c - 1-r0 - 2-r1\nx-1-2\nx -1 -2\nx\t-\t1\t-\t2\n",
                         ("a-b -c", "1-r0", "2-r1"))

    def test_keeps_the_order_and_repetitions_of_the_file(self):
        names = ["zeta", "Beta", "alpha", "zeta"]
        self.assertLists("".join("%s - 1 - 2\n" % name for name in names),
                         *[(name, "1", "2") for name in names])

    def test_has_no_limit_of_lines_and_skips_the_noise_of_real_opkg(self):
        listed = [("package%d" % n, "1.%02d+git7-r0" % n, "2.%02d+git9+abcdef0-r1" % n)
                  for n in range(300)]
        self.assertLists(NOISE * 12 + "".join("%s - %s - %s\n" % each for each in listed) + ERRORS,
                         *listed)

    def test_without_packages_reads_as_up_to_date_and_leaves_the_flag_as_it_was(self):
        for content in ("", "\n", NOISE, ERRORS, "a - 1\n", " - 1 - 2\n"):
            for value in (True, False, "anything"):
                self.box.config.usage.update_available.value = value
                self.assertEqual(self.listing(content), UP_TO_DATE)
                self.assertIs(self.flag, value)
        self.assertEqual(self.box.commands, [])

    def test_with_packages_raises_the_flag_and_does_not_save_it(self):
        self.listing(BLUE)
        self.assertIs(self.flag, True)
        self.assertIs(self.box.config.usage.update_available.saved_value, False)


class Running(DetailTest):

    def test_updates_the_index_and_then_redirects_the_listing_on_the_same_runner(self):
        self.install_opkg(BLUE)
        self.box.hold()
        self.box.press("ok", "blue")
        console = self.box.screen.Console
        self.assertEqual((self.box.running, self.box.text("update")), (["opkg update"], WAIT))
        self.box.finish()
        self.assertIs(self.box.screen.Console, console)
        self.assertEqual((self.box.running, self.box.text("update")), ([UPGRADE], WAIT))
        self.box.finish()
        self.assertEqual(self.box.text("update"), block("enigma2-skin-blue", "3.4-r5", "3.5-r0"))
        self.assertEqual(read(LISTING), BLUE)

    def test_keeps_the_first_listing_until_the_browser_closes(self):
        self.install_opkg(BLUE)
        self.box.press("ok", "blue")
        self.box.settle()
        self.install_opkg("other - 1 - 2\n")
        self.box.press("yellow", "blue", "blue", "red", "blue")
        self.assertIn("enigma2-skin-blue", self.box.text("update"))
        self.assertEqual(self.box.commands, ["opkg update", UPGRADE])
        self.box.press("red", "red")
        self.open_browser()
        self.box.press("blue")
        self.assertEqual(self.box.text("update"), WAIT)
        self.box.settle()
        self.assertEqual(self.box.text("update"), block("other", "1", "2"))

    def test_without_a_place_for_the_listing_reads_as_no_connection(self):
        self.install_opkg(BLUE)
        self.replace(packagetmpfile="/tmp/nowhere/listing")
        self.mark_texts()
        for flag in (True, False):
            self.box.config.usage.update_available.value = flag
            self.box.press("ok", "blue")
            self.box.settle()
            self.assertEqual(self.box.text("update"), "<%s>" % NO_CONNECTION)
            self.assertIs(self.flag, flag)
            self.assertEqual(self.box.commands[-1], "opkg list-upgradable > /tmp/nowhere/listing")
            self.box.press("red")

    def test_with_blue_pressed_twice_makes_two_passes_on_two_runners(self):
        self.install_opkg("first - 1 - 2\n")
        self.box.hold()
        self.box.press("ok", "blue")
        console = self.box.screen.Console
        self.box.press("blue")
        self.assertIsNot(self.box.screen.Console, console)
        self.assertEqual(self.box.running, ["opkg update"] * 2)
        self.box.finish()
        # The first pass goes on on the runner of the second.
        self.assertEqual(len(console.appContainers), 0)
        self.assertEqual(sorted(self.box.screen.Console.appContainers), [UPGRADE, "opkg update"])
        self.box.finish(UPGRADE)
        self.assertEqual(self.box.text("update"), block("first", "1", "2"))
        self.install_opkg("later - 1 - 2\n")
        self.box.finish("opkg update")
        self.box.finish(UPGRADE)
        self.assertEqual(self.box.text("update"), block("later", "1", "2"))
        self.assertEqual(self.box.running, [])

    def test_replaces_the_news_that_are_shown_meanwhile_and_no_more(self):
        self.install_opkg(BLUE)
        self.box.press("ok", "blue", "yellow")
        self.assertIn("* Do it", self.box.text("update"))
        self.box.settle()
        self.assertIn("enigma2-skin-blue", self.box.text("update"))
        self.assertEqual(self.box.text("title"), "News about ZIRK")
        self.assertEqual(self.labels(), self.news_keys)
