# -*- coding: utf-8 -*-
"""Top 20 when a part of the host fails: where it stops, and what it had done so far."""

import unittest

from tests.support.receiver import Broken, raising, refusing
from tests.plugin.test_all_news_top20 import Top20Test

from Screens.ChoiceBox import ChoiceBox
from Screens.Ipkg import Ipkg


class Failures(Top20Test):

    statistics = "EXTENSIONS\nfoo;12\nSYSTEMPLUGINS\nbaz;5\nSKINS\nbar-hd;3\n"
    LISTS = ("extensions", "systemplugins", "skins", "c_l")

    def lengths(self):
        return [len(getattr(self.screen, name)) if hasattr(self.screen, name) else None
                for name in self.LISTS]

    def test_of_the_statistics_come_before_any_list(self):
        self.replace(getDownloadStats=raising())
        self.assertFails(Broken, ["AllNews.keyYellow:216"], self.box.press, "yellow")
        self.replace(getDownloadStats=lambda: 7)
        self.assertFails(AttributeError, ["AllNews.keyYellow:219"], self.box.press, "yellow")
        self.assertEqual(self.lengths(), [None] * 4)
        self.assertIs(self.box.screen, self.screen)

    def test_of_a_missing_feed_configuration(self):
        self.boot(feed_url=None)
        self.box.open_news()
        self.assertFails(IOError, ["AllNews.keyYellow:216", "getDownloadStats:120",
                                   "newsURL:105"], self.box.press, "yellow")

    def test_of_the_installed_list_come_after_three_empty_lists(self):
        self.replace(getInstalled=raising())
        self.assertFails(Broken, ["AllNews.keyYellow:223"], self.box.press, "yellow")
        self.assertEqual(self.lengths(), [0, 0, 0, None])

    def test_of_its_scratch_file(self):
        self.replace(remove=raising())
        self.assertFails(Broken, ["AllNews.keyYellow:223", "getInstalled:48"],
                         self.box.press, "yellow")
        self.assertEqual(self.lengths(), [0, 0, 0, None])

    def test_of_what_is_no_collection(self):
        self.replace(getInstalled=lambda: None)
        self.assertFails(TypeError, ["AllNews.keyYellow:247"], self.box.press, "yellow")
        self.assertEqual(self.lengths(), [0, 0, 0, None])

    def test_of_each_part_of_a_record(self):
        class Field(str):
            pass

        class Line(str):
            def split(self, separator):
                return [Field("name"), Field("count")]

        class Text(str):
            def split(self, separator):
                return [Line(line) for line in str.split(self, separator)]
        self.replace(getDownloadStats=lambda: Text("EXTENSIONS\nany;1"))
        for method, line in [("__str__", 252), ("__radd__", 244), ("title", 236)]:
            setattr(Field, method, raising())  # each fails before the one set earlier
            self.assertFails(Broken, ["AllNews.keyYellow:%d" % line], self.box.press, "yellow")
            self.assertEqual(self.lengths(), [0, 0, 0, None])

    def test_of_each_list(self):
        for count, name in enumerate(self.LISTS):
            make = refusing(self.module.AllNews, attribute=name)
            self.screen = make(self.box.session, "/path")
            line = 259 if name == "c_l" else 220 + count
            self.assertFails(Broken, ["AllNews.keyYellow:%d" % line], self.screen.keyYellow)
            made = 1 if name == "c_l" else 0
            self.assertEqual(self.lengths(), [made] * count + [None] * (4 - count))

    def test_of_each_text(self):
        for text, entries, lengths in [
                ("Remove", ["AllNews.keyYellow:246"], [0, 0, 0, None]),
                ("Install", ["AllNews.keyYellow:248"], [0, 0, 0, None]),
                ("Extensions", ["AllNews.keyYellow:261"], [1, 1, 1, 0]),
                ("Systemplugins", ["AllNews.keyYellow:263"], [1, 1, 1, 1]),
                ("Skins", ["AllNews.keyYellow:265"], [1, 1, 1, 2]),
                ("Top 20", ["AllNews.keyYellow:266", "AllNews.selectTop:270"], [1, 1, 1, 3])]:
            self.boot()
            self.screen = self.open_news()
            self.note_texts(broken=text)
            self.assertFails(Broken, entries, self.box.press, "yellow")
            self.assertEqual(self.lengths(), lengths)
            self.assertIs(self.box.screen, self.screen)

    def test_of_the_chooser(self):
        self.box.patch(ChoiceBox, "__init__", raising())
        self.assertFails(Broken, ["AllNews.keyYellow:266", "AllNews.selectTop:270"],
                         self.box.press, "yellow")

    def test_of_the_package_chooser(self):
        self.box.press("yellow")
        self.box.patch(ChoiceBox, "__init__", raising())
        self.assertFails(Broken, ["AllNews.gotTopSelection:286"], self.box.press, "ok")
        self.assertIs(self.box.screen, self.screen)

    def test_of_a_suffix(self):
        self.box.press("yellow", "cancel")
        for key, line in [("extensions", 278), ("skins", 281), ("systemplugins", 284)]:
            self.note_texts(broken=key.title())
            self.assertFails(Broken, ["AllNews.gotTopSelection:%d" % line],
                             self.screen.gotTopSelection, ("title", key))

    def test_of_a_category_before_there_are_any(self):
        for key, line in [("extensions", 277), ("skins", 280), ("systemplugins", 283)]:
            self.assertFails(AttributeError, ["AllNews.gotTopSelection:%d" % line],
                             self.screen.gotTopSelection, ("title", key))
        self.assertFails(IndexError, ["AllNews.gotTopSelection:276"],
                         self.screen.gotTopSelection, ("short",))
        self.assertFails(AttributeError, ["AllNews.exitChoiceBox:290", "AllNews.selectTop:270"],
                         self.screen.exitChoiceBox, None)

    def test_of_a_package_choice(self):
        self.assertFails(TypeError, ["AllNews.exitChoiceBox:289"], self.screen.exitChoiceBox, 5)
        self.assertFails(AttributeError, ["AllNews.exitChoiceBox:293"],
                         self.screen.exitChoiceBox, ("label", 5))

    def test_of_each_command_code(self):
        for name, key, line in [("CMD_UPDATE", "a", 292), ("CMD_REMOVE", "a_installed", 294),
                                ("CMD_INSTALL", "a_install", 296)]:
            codes = dict(CMD_UPDATE=1, CMD_REMOVE=2, CMD_INSTALL=3)
            del codes[name]
            self.replace(IpkgComponent=type("Codes", (), codes))
            self.assertFails(AttributeError, ["AllNews.exitChoiceBox:%d" % line],
                             self.screen.exitChoiceBox, ("label", key))

    def test_of_the_installer(self):
        self.box.patch(Ipkg, "__init__", raising())
        self.box.press("yellow", "ok")
        self.assertFails(Broken, ["AllNews.exitChoiceBox:297"], self.box.press, "ok")

    def test_after_the_installation(self):
        self.box.press("yellow", "ok", "ok")
        self.box.settle()
        self.replace(getInstalled=raising())
        self.assertFails(Broken, ["AllNews.ipkg_action_finished:300", "AllNews.keyYellow:223"],
                         self.box.press, "ok")

    def test_the_action_finished_calls_an_overridden_yellow_key_whatever_it_is_given(self):
        calls = []
        self.screen.keyYellow = lambda: calls.append("yellow")
        self.screen.ipkg_action_finished()
        self.screen.ipkg_action_finished(False)
        self.assertIsNone(self.screen.ipkg_action_finished(ret="any"))
        self.assertEqual(calls, ["yellow"] * 3)

    def test_wrong_arguments_are_refused(self):
        for name in ("gotTopSelection", "exitChoiceBox"):
            method = getattr(self.screen, name)
            self.assertRaises(TypeError, method)
            self.assertRaises(TypeError, method, 1, 2)
            self.assertRaises(TypeError, method, choice=None)
        self.assertRaises(TypeError, self.screen.ipkg_action_finished, 1, 2)
        self.assertRaises(TypeError, self.screen.keyYellow, 1)
        self.assertRaises(TypeError, self.screen.selectTop, 1)


if __name__ == "__main__":
    unittest.main()
