# -*- coding: utf-8 -*-
"""Top 20: the choosers, installing and removing, and the loop they form."""

import shutil
import tempfile
import unittest

from simulator import packages
from simulator.feedserver import FeedServer
from simulator.packages import Package
from tests.support.receiver import SCRATCH, ReceiverTest, raising

from Components.Ipkg import IpkgComponent
from Screens.ChoiceBox import ChoiceBox
from Screens.Ipkg import Ipkg
from Screens.Screen import Screen

PREFIX = "enigma2-plugin-"
SKIN = PREFIX + "skin-bar-hd"


class Top20Test(ReceiverTest):
    """self.screen is the browser with its news. What it opens is noted by note_openings()."""

    def setUp(self):
        ReceiverTest.setUp(self)
        self.install_opkg(installed=SKIN + " - 1.0-r0\nother - 2\n")
        self.screen = self.open_news()

    def lists(self, statistics, installed=()):
        """Build the lists from these statistics; return the screen."""
        self.replace(getDownloadStats=lambda: statistics)
        self.replace(getInstalled=lambda: installed)
        self.screen.selectTop = lambda: None
        self.screen.keyYellow()
        return self.screen

    def note_openings(self):
        """Note the arguments of every openWithCallback in the list returned; open nothing."""
        calls = []
        self.box.patch(self.box.session, "openWithCallback",
                       lambda *args, **kwargs: calls.append((args, kwargs)))
        return calls


class Lists(Top20Test):

    def test_offer_to_install_and_to_remove(self):
        self.box.press("yellow")
        self.assertEqual(self.screen.extensions,
                         [("Foo   (12) - Install", PREFIX + "extensions-foo_install")])
        self.assertEqual(self.screen.systemplugins, [])
        self.assertEqual(self.screen.skins, [("Bar-Hd   (3) - Remove", SKIN + "_installed")])
        self.assertEqual(self.screen.c_l, [("Extensions", "extensions"), ("Skins", "skins")])
        self.assertFiles(absent=[SCRATCH])

    def test_leave_out_records_before_the_first_section(self):
        screen = self.lists("early;1\nalso;2\nSKINS\nlate;3")
        self.assertEqual((screen.extensions, screen.systemplugins), ([], []))
        self.assertEqual([key for _, key in screen.skins], [PREFIX + "skin-late_install"])

    def test_ask_even_for_those_whether_they_are_installed(self):
        asked = []

        class Installed(object):
            def __contains__(self, name):
                asked.append(name)
                return False
        self.lists("early;1\nEXTENSIONS\ne;2\nSYSTEMPLUGINS\ns;3\nSKINS\nk;4", Installed())
        self.assertEqual(asked, [PREFIX + name for name in
                                 ("early", "extensions-e", "systemplugins-s", "skin-k")])

    def test_name_every_category_in_a_fixed_order(self):
        screen = self.lists("SKINS\na;1\nSYSTEMPLUGINS\nb;2\nEXTENSIONS\nc;3\n")
        self.assertEqual(screen.c_l, [("Extensions", "extensions"),
                                      ("Systemplugins", "systemplugins"), ("Skins", "skins")])
        self.assertEqual(screen.systemplugins,
                         [("B   (2) - Install", PREFIX + "systemplugins-b_install")])

    def test_follow_the_records_order_through_repeated_sections(self):
        screen = self.lists("EXTENSIONS\nz;1\na;9\nSKINS\nEXTENSIONS\nm;5\nz;1")
        self.assertEqual([label for label, _ in screen.extensions],
                         [name + " - Install" for name in
                          ("Z   (1)", "A   (9)", "M   (5)", "Z   (1)")])
        self.assertEqual(screen.c_l, [("Extensions", "extensions")])

    def test_compare_section_lines_whole_and_case_sensitively(self):
        for line in ["extensions", "EXTENSIONS ", " EXTENSIONS", "EXTENSIONS\r", "EXTENSION"]:
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

    def test_show_the_translations(self):
        self.mark_texts()
        screen = self.lists("EXTENSIONS\na;1\nSYSTEMPLUGINS\nb;1\nSKINS\nc;1",
                            [PREFIX + "extensions-a"])
        self.assertEqual([label for label, _ in screen.extensions + screen.skins],
                         ["A   (1) - <Remove>", "C   (1) - <Install>"])
        self.assertEqual([label for label, _ in screen.c_l],
                         ["<Extensions>", "<Systemplugins>", "<Skins>"])
        del screen.selectTop
        screen.selectTop()
        self.assertEqual(self.box.title, "<Top 20>")
        self.box.choose("<Systemplugins>")
        self.assertEqual(self.box.title, "<Top 20> - <Systemplugins>")

    def test_translate_in_the_order_of_the_records(self):
        texts = self.note_texts()
        self.lists("EXTENSIONS\na;1\nSYSTEMPLUGINS\nb;1\nSKINS\nc;1", [PREFIX + "extensions-a"])
        self.assertEqual(texts, ["Remove", "Remove", "Install", "Remove", "Install",
                                 "Extensions", "Systemplugins", "Skins"])

    def test_are_made_anew_each_time(self):
        first = self.lists("SKINS\na;1").skins
        self.lists("EXTENSIONS\nb;1")
        self.assertEqual(len(first), 1)
        self.assertEqual((self.screen.skins, self.screen.c_l),
                         ([], [("Extensions", "extensions")]))

    def test_stay_when_the_statistics_cannot_be_fetched(self):
        self.box.press("yellow", "cancel")
        before = [self.screen.extensions, self.screen.skins, self.screen.c_l]
        del self.feed.requests[:]
        self.replace(getInstalled=raising())
        for status in (404, 500):
            self.feed.fault("zirkdlstat.txt", status=status)
            self.box.press("yellow")
            self.assertIs(self.box.screen, self.screen)
        self.boot_url("http://127.0.0.1:1/feed/all")
        self.box.press("yellow")
        self.assertIs(self.box.screen, self.screen)
        self.assertEqual(self.feed.requests, ["/feed/zirkdlstat.txt"] * 2)
        for old, new in zip(before, [self.screen.extensions, self.screen.skins, self.screen.c_l]):
            self.assertIs(old, new)

    def boot_url(self, url):
        with open("/etc/opkg/all-feed.conf", "w") as configuration:
            configuration.write("src/gz Zirk-all %s\n" % url)

    def test_are_empty_without_statistics_and_the_chooser_opens_all_the_same(self):
        for statistics in ("", "foo;1\nbar;2\n"):
            self.serve(statistics, "zirkdlstat.txt")
            self.box.press("yellow")
            self.assertIsInstance(self.box.screen, ChoiceBox)
            self.assertEqual(self.box.rows(), [])
            self.assertEqual(self.screen.c_l, [])
            self.box.press("ok")
            self.assertIs(self.box.screen, self.screen)


class OddStatistics(Top20Test):
    """What a feed could send, through the server and down to the package that is chosen."""

    def check(self, statistics, labels=()):
        """Check the labels of the extensions (without the action), and what the last installs."""
        self.serve(statistics, "zirkdlstat.txt")
        self.box.press("yellow")
        if labels:
            self.box.choose("Extensions")
            self.assertEqual(self.box.rows(), [label + " - Install" for label in labels])
            self.box.press("cancel")
        self.box.press("cancel")
        self.assertIs(self.box.screen, self.screen)
        if labels:
            name = statistics.strip("\n").rpartition("\n")[2].split(";")[0]
            calls = self.note_openings()
            self.screen.exitChoiceBox(self.screen.extensions[-1])
            self.assertEqual(calls[0][1]["cmdList"][-1], (
                IpkgComponent.CMD_INSTALL, {"package": PREFIX + "extensions-" + name}))

    def test_have_counts_that_are_shown_as_they_stand(self):
        counts = ["-1", "0x7f", str(2 ** 63), str(-2 ** 64), "9" * 5000, "1e400", "nan", " 7 ",
                  "%s%n", "\xe2\x82\xac", "\0"]
        self.check("EXTENSIONS\n" + "".join("a;%s\n" % count for count in counts),
                   ["A   (%s)" % count for count in counts])

    def test_have_a_line_of_a_megabyte(self):
        name, count = "a" + "b" * 10 ** 6, "1" * 10 ** 6
        self.check("EXTENSIONS\n%s;%s;%s\n" % (name, count, name),
                   ["A%s   (%s)" % (name[1:], count)])

    def test_have_a_hundred_thousand_separators_in_a_line(self):
        self.check("EXTENSIONS\na;1" + ";" * 100000, ["A   (1)"])

    def test_have_very_many_sections(self):
        sections = ["EXTENSIONS", "SKINS", "SYSTEMPLUGINS"]
        lines = ["%s\na%d;%d" % (sections[number % 3], number, number) for number in range(30001)]
        self.check("\n".join(lines),
                   ["A%d   (%d)" % (number, number) for number in range(0, 30001, 3)])
        self.assertEqual(len(self.screen.skins), 10000)
        self.assertEqual(len(self.screen.systemplugins), 10000)

    def test_have_the_same_record_many_times(self):
        self.check("EXTENSIONS\n" + "a;1\n" * 1000, ["A   (1)"] * 1000)

    def test_have_carriage_returns_for_line_ends(self):
        # One line, which is no section.
        self.check("EXTENSIONS\ra;1\rb;2")
        # Sections with a carriage return behind them are none.
        self.check("EXTENSIONS\r\na;1\r\n")
        self.assertEqual(self.screen.c_l, [])

    def test_have_zero_bytes_a_byte_order_mark_and_no_text(self):
        self.check("\xef\xbb\xbfEXTENSIONS\nEXTENSIONS\0\nx;1\nEXTENSIONS\na\0b;1\n\xff\xfe;2",
                   ["A\0B   (1)", "\xff\xfe   (2)"])


class Choosing(Top20Test):

    def test_a_category_then_a_package(self):
        self.box.press("yellow")
        self.assertEqual(self.box.title, "Top 20")
        self.assertEqual(self.box.rows(), ["Extensions", "Skins"])
        self.box.choose("Skins")
        self.assertEqual(self.box.title, "Top 20 - Skins")
        self.assertEqual(self.box.rows(), ["Bar-Hd   (3) - Remove"])

    def test_cancel_leads_back_step_by_step(self):
        self.box.press("yellow")
        self.box.choose("Extensions")
        lists = self.screen.c_l, self.screen.extensions
        self.box.press("cancel")
        self.assertEqual(self.box.rows(), ["Extensions", "Skins"])
        self.assertIs(self.screen.c_l, lists[0])
        self.assertIs(self.screen.extensions, lists[1])
        self.box.press("cancel")
        self.assertIs(self.box.screen, self.screen)

    def test_quick_keys_are_off(self):
        self.box.press("yellow", "1")
        self.assertEqual(self.box.title, "Top 20")

    def test_the_choosers_get_title_list_and_keys_by_keyword(self):
        screen = self.lists("EXTENSIONS\na;1\nSYSTEMPLUGINS\nb;1\nSKINS\nc;1")
        del screen.selectTop
        calls = self.note_openings()
        self.assertIsNone(screen.selectTop())
        (args, kwargs) = calls.pop()
        self.assertEqual(args, (screen.gotTopSelection, ChoiceBox))
        self.assertEqual(kwargs, {"title": "Top 20", "list": screen.c_l, "keys": False})
        self.assertIs(kwargs["keys"], False)
        self.assertIs(kwargs["list"], screen.c_l)
        for title, key in screen.c_l:
            self.assertIsNone(screen.gotTopSelection(ret=("any", key)))
            (args, kwargs) = calls.pop()
            self.assertEqual(args, (screen.exitChoiceBox, ChoiceBox))
            self.assertEqual(kwargs, {"title": "Top 20 - " + title, "list": getattr(screen, key),
                                      "keys": False})
            self.assertIs(kwargs["list"], getattr(screen, key))

    def test_no_category_an_unknown_or_an_empty_one_opens_nothing(self):
        screen = self.lists("EXTENSIONS\na;1\nSYSTEMPLUGINS\nb;1\nSKINS\nc;1")
        calls = self.note_openings()
        for ret in (None, ("x", "other"), ("x", None), ("extensions", "Extensions")):
            screen.gotTopSelection(ret)
        self.lists("EXTENSIONS\na;1")
        for key in ("skins", "systemplugins"):
            screen.gotTopSelection(("x", key))
        self.assertEqual(calls, [])

    def test_only_the_second_element_of_a_category_counts(self):
        screen = self.lists("EXTENSIONS\na;1")
        calls = self.note_openings()
        screen.gotTopSelection(["x", "extensions", "skins"])
        self.assertEqual(len(calls), 1)

    def test_no_package_or_another_length_leads_back_to_the_categories(self):
        calls = []
        self.screen.selectTop = lambda: calls.append("back")
        openings = self.note_openings()
        for ret in (None, (), ("one",), ("a", "b_install", "c"), "x"):
            self.assertIsNone(self.screen.exitChoiceBox(ret))
        self.assertEqual((calls, openings), (["back"] * 5, []))

    def test_overridden_methods_are_called(self):
        calls = []
        methods = dict.fromkeys(["selectTop", "gotTopSelection", "exitChoiceBox"])
        for name in methods:
            methods[name] = lambda self, ret=None, name=name: calls.append((name, ret))
        mine = type("Mine", (self.module.AllNews,), methods)
        self.box.press("red")
        screen = self.open_screen(mine, self.box.plugin_path)
        screen.keyYellow()
        self.module.AllNews.selectTop.__func__(screen)
        self.box.choose("Extensions")
        self.module.AllNews.gotTopSelection.__func__(screen, screen.c_l[0])
        self.box.choose("Foo")
        self.assertEqual(calls, [("selectTop", None), ("gotTopSelection", screen.c_l[0]),
                                 ("exitChoiceBox", screen.extensions[0])])

    def test_uses_the_choice_box_and_the_installer_that_the_module_names(self):
        class Box(ChoiceBox):
            pass

        class Installer(Ipkg):
            pass
        self.replace(ChoiceBox=Box)
        self.replace(Ipkg=Installer)
        self.box.press("yellow")
        self.assertIs(type(self.box.screen), Box)
        self.box.press("ok")
        self.assertIs(type(self.box.screen), Box)
        self.box.press("ok")
        self.assertIs(type(self.box.screen), Installer)


class Commands(Top20Test):

    def commands(self, key):
        calls = self.note_openings()
        self.assertIsNone(self.screen.exitChoiceBox(ret=("label", key)))
        (args, kwargs), = calls
        self.assertEqual(args, (self.screen.ipkg_action_finished, Ipkg))
        self.assertEqual(list(kwargs), ["cmdList"])
        self.assertEqual([type(command) for command in kwargs["cmdList"]],
                         [tuple] * len(kwargs["cmdList"]))
        self.assertEqual(kwargs["cmdList"][0], (IpkgComponent.CMD_UPDATE, None))
        return kwargs["cmdList"][1:]

    def test_install_gets_the_bare_name(self):
        self.assertEqual(self.commands("pack_install"),
                         [(IpkgComponent.CMD_INSTALL, {"package": "pack"})])

    def test_remove_gets_options_in_front_of_the_name(self):
        self.assertEqual(self.commands("pack_installed"), [
            (IpkgComponent.CMD_REMOVE, {"package": "--force-depends --autoremove pack"})])

    def test_every_occurrence_of_the_suffix_is_taken_out(self):
        self.assertEqual(self.commands("my_installer_install"),
                         [(IpkgComponent.CMD_INSTALL, {"package": "myer"})])
        self.assertEqual(self.commands("x_installed-y_installed"), [
            (IpkgComponent.CMD_REMOVE, {"package": "--force-depends --autoremove x-y"})])
        self.assertEqual(self.commands("my_installer_installed"), [
            (IpkgComponent.CMD_REMOVE,
             {"package": "--force-depends --autoremove my_installer"})])
        self.assertEqual(self.commands("x_installed_install"),
                         [(IpkgComponent.CMD_INSTALL, {"package": "xed"})])

    def test_another_key_runs_the_update_alone(self):
        for key in ("pack", "", "pack_Install", "_install "):
            self.assertEqual(self.commands(key), [])

    def test_uses_the_command_codes_of_the_component_named_then(self):
        class Codes(object):
            CMD_UPDATE, CMD_INSTALL, CMD_REMOVE = "u", "i", "r"
        self.replace(IpkgComponent=Codes)
        calls = self.note_openings()
        for key in ("a_install", "a_installed"):
            self.screen.exitChoiceBox(("label", key))
        self.assertEqual([[code for code, _ in kwargs["cmdList"]] for _, kwargs in calls],
                         [["u", "i"], ["u", "r"]])


class WithARealPackageManager(ReceiverTest):
    """Installing and removing with the stand-in of opkg and a feed that offers the packages."""

    def setUp(self):
        ReceiverTest.setUp(self)
        directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, directory)
        packages.build_feed(
            directory,
            [Package(PREFIX + "extensions-foo", "1.0-r0", depends=["libfoo"]),
             Package("libfoo", "1.0-r0"), Package(SKIN, "3.5-r0")],
            news=self.news, statistics=self.statistics)
        server = FeedServer(directory).start()
        self.addCleanup(server.stop)
        packages.install_initial_state([Package(SKIN, "3.4-r5")])
        self.addCleanup(packages.install_initial_state, [])
        self.server = server
        self.boot(feed_url=server.url)
        self.screen = self.open_news()

    def run_installer(self, category, package):
        self.box.choose(category)
        self.box.choose(package)
        self.assertIsInstance(self.box.screen, Ipkg)
        self.box.settle()
        self.box.press("ok")

    def test_a_package_comes_and_goes_in_one_loop_of_screens(self):
        self.box.press("yellow")
        self.run_installer("Extensions", "Foo")
        self.assertEqual(sorted(packages.installed_packages()),
                         sorted([PREFIX + "extensions-foo", "libfoo", SKIN]))
        self.assertEqual(self.box.title, "Top 20")
        self.box.choose("Extensions")
        self.assertEqual(self.box.rows(), ["Foo   (12) - Remove"])
        self.box.press("cancel")
        self.run_installer("Extensions", "Foo")
        self.assertEqual(packages.installed_packages(), {SKIN: "3.4-r5"})
        self.run_installer("Skins", "Bar-Hd")
        self.assertEqual(packages.installed_packages(), {})
        self.assertEqual(self.box.commands, [
            "opkg update", "opkg install enigma2-plugin-extensions-foo",
            "opkg update",
            "opkg remove --force-depends --autoremove enigma2-plugin-extensions-foo",
            "opkg update", "opkg remove --force-depends --autoremove " + SKIN])
        self.assertEqual(self.box.title, "Top 20")
        self.box.press("cancel")
        self.assertIs(self.box.screen, self.screen)

    def test_an_installer_that_closes_without_a_value_leads_on_too(self):
        self.boot(feed_url=self.server.url, ipkg_result=False)
        self.open_news()
        self.box.press("yellow")
        self.run_installer("Skins", "Bar-Hd")
        self.assertEqual(self.box.title, "Top 20")
        self.box.choose("Skins")
        self.assertEqual(self.box.rows(), ["Bar-Hd   (3) - Install"])

    def test_the_loop_ends_silently_when_the_statistics_are_gone(self):
        self.box.press("yellow")
        self.server.fault("zirkdlstat.txt", status=404)
        self.run_installer("Skins", "Bar-Hd")
        self.assertIs(self.box.screen, self.screen)
        self.assertEqual(packages.installed_packages(), {})


class Repeated(Top20Test):

    def test_twenty_rounds_give_the_same_lists(self):
        for _ in range(20):
            self.box.press("yellow")
            self.box.choose("Skins")
            self.assertEqual(self.box.rows(), ["Bar-Hd   (3) - Remove"])
            self.box.press("cancel", "cancel")
            self.assertIs(self.box.screen, self.screen)
        self.assertIsInstance(self.screen, Screen)
        self.assertEqual(len(self.screen.c_l), 2)


if __name__ == "__main__":
    unittest.main()
