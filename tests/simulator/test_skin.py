"""The layout that a screen gets of the skin (simulator/host/skin.py), and what is told of it."""

import unittest

from simulator import view
from simulator.receiver import Receiver

from Components.Label import Label
from Components.Sources.List import List
from Components.Sources.StaticText import StaticText
from Screens.ChoiceBox import ChoiceBox
from Screens.Screen import Screen


class News(Screen):

    def __init__(self, session):
        Screen.__init__(self, session)
        self.skinName = ["AllNews", "BackupSuite"]
        self["menu"] = List([("key", "row %d" % number, None) for number in range(20)])
        self["header"] = Label("header")
        self["key_red"] = StaticText("Exit")


class SkinTest(unittest.TestCase):

    def setUp(self):
        self.box = Receiver(load=False)
        self.addCleanup(self.box.close)
        self.screen = self.box.session.open(News)

    def element(self, name):
        """What is told of an element of the screen in front."""
        found, = [one for one in view.describe(self.box.screen)["elements"] if one["name"] == name]
        return found

    def test_elements_stand_where_the_skin_has_them_in_its_order(self):
        names = [one["name"] for one in view.describe(self.screen)["elements"]]
        self.assertEqual([None, "header", "menu", None, None, None, None, "key_red"], names)
        self.assertEqual({
            "kind": "text", "name": "key_red", "text": "Exit", "position": [82, 646],
            "size": [260, 36], "font": {"family": "Regular", "size": 22}, "halign": "left",
            "valign": "center", "colour": "#ffffffff", "background": None}, self.element("key_red"))
        self.assertEqual(("AllNews", "#101820ff", None), (
            self.screen.layout, self.screen.look["background"], self.screen.look["frame"]))

    def test_a_window_without_a_place_of_its_own_is_centred_and_has_a_frame(self):
        look = self.box.session.open(ChoiceBox, "Title", [("a", 1)]).look
        self.assertEqual(([190, 136], [900, 448], [22, 10]),
                         (look["position"], look["size"], look["frame"]["position"]))

    def test_a_list_shows_the_page_of_its_selected_row(self):
        self.box.press(*["down"] * 10)
        menu = self.element("menu")
        self.assertEqual((20, [9 / 20.0, 9 / 20.0]), (len(menu["rows"]), menu["scrollbar"]))
        self.assertEqual([[0, 50 * row] for row in range(9)],
                         [item["position"] for item in menu["items"]])
        self.assertEqual([1], [row for row in range(9) if menu["items"][row]["selected"]])
        self.assertEqual(("#285078ff", None), (menu["items"][1]["background"],
                                               menu["items"][0]["background"]))
        icon, text = menu["items"][1]["cells"]
        self.assertEqual((None, [10, 5]), (icon["file"], list(icon["position"])))
        self.assertEqual(("row 10", [66, 0], 24, "left", "center"), (
            text["text"], list(text["position"]), text["font"]["size"], text["halign"],
            text["valign"]))

    def test_an_open_screen_takes_another_size_or_layout_and_keeps_its_selection(self):
        self.box.press("down")
        self.box.use_skin(1920)
        self.assertEqual(([96, 225], [1920, 1080], 1, 1), (
            self.element("menu")["position"], self.screen.look["size"], self.screen.look["scale"],
            self.box.cursor))
        self.box.use_skin(1920, ["BackupSuite"])  # which is meant for the smaller picture
        self.assertEqual(("BackupSuite", [1000, 500], 1.5, 1), (
            self.box.layout, self.screen.look["size"], self.screen.look["scale"], self.box.cursor))
        self.screen["header"].setText(u"not shown, so not checked")
        self.screen["header"].setText("header")
        self.box.press("down")
        self.box.use_skin(1280)
        self.assertEqual(("AllNews", 2), (self.box.layout, self.box.cursor))
        self.assertRaises(TypeError, self.screen["header"].setText, u"shown")
        self.box.press("up")
        self.assertEqual(1, self.box.cursor)


if __name__ == "__main__":
    unittest.main()
