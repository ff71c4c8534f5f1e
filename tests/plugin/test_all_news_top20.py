"""Top 20: the choosers, installing and removing, and the loop they form."""

import shutil
import tempfile

from simulator import packages
from simulator.feedserver import FeedServer
from simulator.packages import Package
from tests.support.leaks import once
from tests.support.receiver import ReceiverTest, SCRATCH, raising
from tests.support.screens import ScreenTest

from Components.Ipkg import IpkgComponent
from Screens.ChoiceBox import ChoiceBox
from Screens.Ipkg import Ipkg

PREFIX = "enigma2-plugin-"
SKIN = PREFIX + "skin-bar-hd"


class Top20Test(ScreenTest):
    """self.screen is the browser with its news."""

    def setUp(self):
        super(Top20Test, self).setUp()
        self.install_opkg(installed=SKIN + " - 1.0-r0\nother - 2\n")
        self.screen = self.open_news()

    def lists(self, statistics, installed=()):
        """Build the lists from these statistics; return the screen."""
        self.replace(getDownloadStats=lambda: statistics)
        self.replace(getInstalled=lambda: installed)
        self.screen.selectTop = lambda: None
        self.screen.keyYellow()
        del self.screen.selectTop
        return self.screen


class Lists(Top20Test):

    def test_offer_to_install_and_to_remove(self):
        self.box.press("yellow")
        self.assertEqual(self.screen.extensions,
                         [("Foo   (12) - Install", PREFIX + "extensions-foo_install")])
        self.assertEqual(self.screen.systemplugins, [])
        self.assertEqual(self.screen.skins, [("Bar-Hd   (3) - Remove", SKIN + "_installed")])
        self.assertEqual(self.screen.c_l, [("Extensions", "extensions"), ("Skins", "skins")])
        self.assertFiles(absent=[SCRATCH])

    def test_leave_out_records_before_the_first_section_but_ask_whether_they_are_installed(self):
        asked = []

        class Installed(object):
            def __contains__(self, name):
                asked.append(name)
                return False
        screen = self.lists("early;1\nEXTENSIONS\ne;2\nSYSTEMPLUGINS\ns;3\nSKINS\nk;4",
                            Installed())
        self.assertEqual(asked, [PREFIX + name for name in
                                 ("early", "extensions-e", "systemplugins-s", "skin-k")])
        self.assertEqual([screen.extensions, screen.systemplugins, screen.skins], [
            [("E   (2) - Install", PREFIX + "extensions-e_install")],
            [("S   (3) - Install", PREFIX + "systemplugins-s_install")],
            [("K   (4) - Install", PREFIX + "skin-k_install")]])

    def test_name_every_category_in_a_fixed_order(self):
        screen = self.lists("SKINS\na;1\nSYSTEMPLUGINS\nb;2\nEXTENSIONS\nc;3\n")
        self.assertEqual(screen.c_l, [("Extensions", "extensions"),
                                      ("Systemplugins", "systemplugins"), ("Skins", "skins")])

    def test_follow_the_records_order_through_repeated_sections(self):
        screen = self.lists("EXTENSIONS\nz;1\na;9\nSKINS\nEXTENSIONS\nm;5\nz;1")
        self.assertEqual([label for label, _ in screen.extensions],
                         [name + " - Install" for name in
                          ("Z   (1)", "A   (9)", "M   (5)", "Z   (1)")])
        self.assertEqual(screen.c_l, [("Extensions", "extensions")])

    def test_compare_section_lines_whole_and_case_sensitively(self):
        for line in ["extensions", "EXTENSIONS ", " EXTENSIONS", "EXTENSIONS\r", "EXTENSION",
                     "EXTENSIONS\0", "\xef\xbb\xbfEXTENSIONS"]:
            self.assertEqual(self.lists(line + "\nfoo;1").c_l, [])
        screen = self.lists("SKINS\nEXTENSIONS;7\r\nx;1")
        self.assertEqual([label for label, _ in screen.skins],
                         ["Extensions   (7\r) - Install", "X   (1) - Install"])

    def test_skip_lines_without_a_semicolon_and_ignore_further_fields(self):
        screen = self.lists("SKINS\n\nnothing\na;1;more;fields\n;5\nb;\n")
        self.assertEqual(screen.skins, [("A   (1) - Install", PREFIX + "skin-a_install"),
                                        ("   (5) - Install", PREFIX + "skin-_install"),
                                        ("B   () - Install", PREFIX + "skin-b_install")])

    def test_title_case_the_label_and_keep_the_name_in_the_package(self):
        screen = self.lists("SKINS\nfull-HD_skin 4k's;1\n\xc3\xbcber;2")
        self.assertEqual(screen.skins, [
            ("Full-Hd_Skin 4K'S   (1) - Install", PREFIX + "skin-full-HD_skin 4k's_install"),
            ("\xc3\xbcBer   (2) - Install", PREFIX + "skin-\xc3\xbcber_install")])

    def test_take_an_installed_package_by_its_full_name_only(self):
        screen = self.lists("SKINS\nbar\nbar;1\n", [SKIN, "bar", PREFIX + "skin-ba"])
        self.assertEqual(screen.skins, [("Bar   (1) - Install", PREFIX + "skin-bar_install")])

    def test_are_made_anew_each_time(self):
        first = self.lists("SKINS\na;1").skins
        self.lists("EXTENSIONS\nb;1")
        self.assertEqual(len(first), 1)
        self.assertEqual((self.screen.skins, self.screen.c_l),
                         ([], [("Extensions", "extensions")]))

    def test_stay_when_the_statistics_cannot_be_fetched(self):
        self.box.press("yellow", "cancel")
        before = [self.screen.extensions, self.screen.skins, self.screen.c_l]
        self.replace(getInstalled=raising())
        for status in (404, 500):
            self.feed.fault("zirkdlstat.txt", status=status)
            self.box.press("yellow")
            self.assertIs(self.box.screen, self.screen)
        with open("/etc/opkg/all-feed.conf", "w") as configuration:
            configuration.write("src/gz Zirk-all http://127.0.0.1:1/feed/all\n")
        self.box.press("yellow")
        self.assertIs(self.box.screen, self.screen)
        for old, new in zip(before, [self.screen.extensions, self.screen.skins, self.screen.c_l]):
            self.assertIs(old, new)

    def test_are_empty_without_statistics_and_the_chooser_opens_all_the_same(self):
        for statistics in ("", "foo;1\nbar;2\n", "EXTENSIONS\ra;1\rb;2", "EXTENSIONS\r\na;1\r\n"):
            self.serve(statistics, "zirkdlstat.txt")
            self.box.press("yellow")
            self.assertIsInstance(self.box.screen, ChoiceBox)
            self.assertEqual((self.box.rows(), self.screen.c_l), ([], []))
            self.box.press("ok")
            self.assertIs(self.box.screen, self.screen)

    def test_show_and_install_what_odd_statistics_say_as_it_stands(self):
        counts = ["-1", "0x7f", str(2 ** 63), "9" * 5000, "1e400", "nan", " 7 ", "%s%n",
                  "\xe2\x82\xac", "\0"]
        for lines in [["a;" + count for count in counts],
                      ["a" + "b" * 10 ** 6 + ";" + "1" * 10 ** 6],
                      ["a;1" + ";" * 100000],
                      ["a;1"] * 100,
                      ["a\0b;1", "\xff\xfe;2"]]:
            self.serve("\n".join(["EXTENSIONS"] + lines + ["SKINS", ""]), "zirkdlstat.txt")
            self.box.press("yellow")
            self.box.choose("Extensions")
            fields = [line.split(";") for line in lines]
            self.assertEqual(self.box.rows(), [
                "%s   (%s) - Install" % (field[0].title(), field[1]) for field in fields])
            self.box.press("cancel", "cancel")
            self.assertIs(self.box.screen, self.screen)
            self.assertEqual(self.screen.extensions[-1][1],
                             PREFIX + "extensions-" + fields[-1][0] + "_install")

    def test_take_three_thousand_sections(self):
        sections = ["EXTENSIONS", "SKINS", "SYSTEMPLUGINS"]
        screen = self.lists("\n".join(
            "%s\na%d;%d" % (sections[number % 3], number, number) for number in range(3001)))
        self.assertEqual([label for label, _ in screen.extensions],
                         ["A%d   (%d) - Install" % (number, number)
                          for number in range(0, 3001, 3)])
        self.assertEqual((len(screen.skins), len(screen.systemplugins)), (1000, 1000))


class Choosing(Top20Test):

    def test_a_category_then_a_package(self):
        self.box.press("yellow", "1")  # number keys choose nothing
        self.assertEqual(self.box.text("text"), "Top 20")
        self.assertEqual(self.box.rows(), ["Extensions", "Skins"])
        self.box.choose("Skins")
        self.assertEqual(self.box.text("text"), "Top 20 - Skins")
        self.assertEqual(self.box.rows(), ["Bar-Hd   (3) - Remove"])

    def test_cancel_leads_back_step_by_step_over_the_same_lists(self):
        self.box.press("yellow")
        self.box.choose("Extensions")
        lists = self.screen.c_l, self.screen.extensions
        self.box.press("cancel")
        self.assertEqual(self.box.rows(), ["Extensions", "Skins"])
        self.assertIs(self.screen.c_l, lists[0])
        self.assertIs(self.screen.extensions, lists[1])
        self.box.press("cancel")
        self.assertIs(self.box.screen, self.screen)

    def test_no_category_an_unknown_or_an_empty_one_opens_nothing(self):
        screen = self.lists("EXTENSIONS\na;1")
        calls = self.note_openings()
        for ret in (None, ("x", "other"), ("x", None), ("extensions", "Extensions"),
                    ("x", "skins"), ("x", "systemplugins")):
            screen.gotTopSelection(ret)
        self.assertEqual(calls, [])
        screen.gotTopSelection(["x", "extensions", "skins"])  # the second element counts
        self.assertEqual(len(calls), 1)


class Commands(Top20Test):

    def assertRuns(self, key, *commands):
        """The choice of `key` has the installer run the update, and then these commands."""
        calls = self.note_openings()
        self.screen.exitChoiceBox(ret=("label", key))
        self.assertEqual(calls, [((self.screen.ipkg_action_finished, Ipkg), {
            "cmdList": [(IpkgComponent.CMD_UPDATE, None)]
            + [(code, {"package": package}) for code, package in commands]})])

    def test_install_gets_the_bare_name(self):
        self.assertRuns("pack_install", (IpkgComponent.CMD_INSTALL, "pack"))

    def test_remove_gets_options_and_a_blank_before_the_name(self):
        self.assertRuns("pack_installed",
                        (IpkgComponent.CMD_REMOVE, "--force-depends --autoremove pack"))

    def test_every_occurrence_of_the_suffix_is_taken_out(self):
        for key, code, package in [
                ("my_installer_install", IpkgComponent.CMD_INSTALL, "myer"),
                ("x_installed_install", IpkgComponent.CMD_INSTALL, "xed"),
                ("x_installed-y_installed", IpkgComponent.CMD_REMOVE,
                 "--force-depends --autoremove x-y"),
                ("my_installer_installed", IpkgComponent.CMD_REMOVE,
                 "--force-depends --autoremove my_installer")]:
            self.assertRuns(key, (code, package))

    def test_another_key_runs_the_update_alone(self):
        for key in ("pack", "", "pack_Install", "_install "):
            self.assertRuns(key)


@once("each run of the package manager takes a second")
class WithARealPackageManager(ReceiverTest):
    """Installing and removing with the stand-in of opkg and a feed that offers the packages."""

    def setUp(self):
        super(WithARealPackageManager, self).setUp()
        directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, directory)
        packages.build_feed(
            directory,
            [Package(PREFIX + "extensions-foo", "1.0-r0", depends=["libfoo"]),
             Package("libfoo", "1.0-r0"), Package(SKIN, "3.5-r0")],
            news=self.news, statistics=self.statistics)
        self.server = FeedServer(directory).start()
        self.addCleanup(self.server.stop)
        packages.install_initial_state([Package(SKIN, "3.4-r5")])
        self.addCleanup(packages.install_initial_state, [])

    def open_chooser(self, **options):
        self.boot(feed_url=self.server.url, **options)
        self.screen = self.open_news()
        self.box.press("yellow")

    def run_installer(self, category, package):
        self.box.choose(category)
        self.box.choose(package)
        self.assertIsInstance(self.box.screen, Ipkg)
        self.box.settle()
        self.box.press("ok")

    def test_a_package_comes_and_goes_in_one_loop_of_screens(self):
        self.open_chooser()
        self.run_installer("Extensions", "Foo")
        self.assertEqual(sorted(packages.installed_packages()),
                         sorted([PREFIX + "extensions-foo", "libfoo", SKIN]))
        self.assertEqual(self.box.text("text"), "Top 20")
        self.box.choose("Extensions")
        self.assertEqual(self.box.rows(), ["Foo   (12) - Remove"])
        self.box.press("cancel")
        self.run_installer("Extensions", "Foo")
        self.assertEqual(packages.installed_packages(), {SKIN: "3.4-r5"})
        self.assertEqual(self.box.commands, [
            "opkg update", "opkg install enigma2-plugin-extensions-foo",
            "opkg update",
            "opkg remove --force-depends --autoremove enigma2-plugin-extensions-foo"])
        self.assertEqual(self.box.text("text"), "Top 20")
        self.box.press("cancel")
        self.assertIs(self.box.screen, self.screen)

    def test_an_installer_that_closes_without_a_value_leads_on_too(self):
        self.open_chooser(ipkg_result=False)
        self.run_installer("Skins", "Bar-Hd")
        self.assertEqual(self.box.text("text"), "Top 20")
        self.box.choose("Skins")
        self.assertEqual(self.box.rows(), ["Bar-Hd   (3) - Install"])

    def test_the_loop_ends_silently_when_the_statistics_are_gone(self):
        self.open_chooser()
        self.server.fault("zirkdlstat.txt", status=404)
        self.run_installer("Skins", "Bar-Hd")
        self.assertIs(self.box.screen, self.screen)
        self.assertEqual(packages.installed_packages(), {})
