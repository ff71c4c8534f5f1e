# -*- coding: utf-8 -*-
"""What the host makes of a skin: files, places, faults and what they cost."""

import json
import os
import shutil
import unittest

from simulator import ROOT, skins
from simulator.receiver import Receiver
from tests.support.machine import run

import enigma
import skin
import skin_layout
from Components.Converter.TemplatedMultiContent import MemoryFault
from Components.Label import Label
from Components.ScrollLabel import ScrollLabel
from Components.Slider import Slider
from Components.Sources.List import List
from Components.Sources.StaticText import StaticText
from Screens.ChoiceBox import ChoiceBox
from Screens.MessageBox import MessageBox
from Screens.Screen import Screen
from painting.fonts import DEBIAN, faces
from painting.pictures import picture

REFERENCE = os.path.join(ROOT, "tests", "simulator", "recorded", "reference")
FOLDER = "/tmp/skins/Try"
TEMPLATE = ('<convert type="TemplatedMultiContent">{"template": [MultiContentEntryText(text=0)], '
            '"fonts": [gFont("Regular", 20)], "itemHeight": 30}</convert>')


class Probe(Screen):

    def __init__(self, session):
        Screen.__init__(self, session)
        self["text"] = Label("words")
        self["bar"] = Slider(0, 10)
        self["scroll"] = ScrollLabel("one\ntwo")
        self["source"] = StaticText("more words")
        self["blank"] = StaticText("")
        self["rows"] = List([("row %d" % number,) for number in range(7)])


class SkinTest(unittest.TestCase):

    def setUp(self):
        self.box = Receiver(load=False)
        self.addCleanup(self.box.close)
        enigma.typeset = enigma.typeset_evenly
        shutil.rmtree(os.path.dirname(FOLDER), ignore_errors=True)
        os.makedirs(FOLDER)

    def write(self, text, name="skin.xml"):
        with open(os.path.join(FOLDER, name), "w") as stream:
            stream.write("<skin>%s</skin>" % text)

    def load(self, text="", **options):
        """Start the host with a skin of this text."""
        self.write('<output id="0"><resolution xres="1000" yres="600"/></output>' + text)
        skins.use(FOLDER, **options)

    def lay_out(self, body, attributes='position="0,0" size="1000,600"', top=""):
        """The layout of a screen with these elements, in a window of 1000 by 600."""
        self.load('%s<screen name="Probe" %s>%s</screen>' % (top, attributes, body))
        return skin_layout.layout(self.box.session.instantiateDialog(Probe))

    def places(self, body, top=""):
        """The rectangles of the labels in `body`, in the order of the XML."""
        elements = self.lay_out(body, top=top)["elements"]
        return [one["rect"] for one in elements if one["kind"] == "eLabel"]


class Recorded(unittest.TestCase):

    def test_a_layout_file_is_what_a_receiver_makes_of_the_skin(self):
        found = json.loads(run("python2.7", "-O", "-m", "simulator.layout", "--skin",
                               REFERENCE).stdout)
        with open(REFERENCE + ".json") as stream:
            expected = json.load(stream)
        self.assertHolds(found, expected, "layout")

    def assertHolds(self, found, expected, where):
        """All that is expected is there; a dictionary may have more keys."""
        if isinstance(expected, dict):
            self.assertLessEqual(set(expected), set(found), where)
            for key in expected:
                self.assertHolds(found[key], expected[key], "%s/%s" % (where, key))
        elif isinstance(expected, list):
            self.assertEqual(len(found), len(expected), where)
            for number, (one, other) in enumerate(zip(found, expected)):
                self.assertHolds(one, other, "%s/%d" % (where, number))
        else:
            self.assertEqual(found, expected, where)


class Places(SkinTest):

    def test_are_numbers_or_arithmetic_with_the_extent_of_the_area(self):
        for attributes, rectangle in [
                ('position="center,center" size="100,50"', [450, 275, 100, 50]),
                ('position="e-100,e-50" size="100,50"', [900, 550, 100, 50]),
                ('position="10%,25%" size="50%,10%"', [100, 150, 500, 60]),
                ('position="center-10,center+5" size="100,50"', [440, 280, 100, 50]),
                ('position="3*(e-c/2),e/3" size="e/3,e/7"', [2250, 200, 333, 85]),
                ('position="2w,3h" size="10w,2h" font="Small"', [16, 60, 80, 40]),
                ('position="-20,-30" size="100,50"', [0, 0, 100, 50]),
                ('position="center,center" size="1200,10"', [0, 295, 1200, 10]),
                ('position="10.9,5" size="30,40"', [10, 5, 30, 40]),
                ('size="100,e"', [0, 0, 100, 600]), ("", [0, 0, 0, 0])]:
            self.assertEqual(self.places("<eLabel %s/>" % attributes, '<fonts><alias name="Small" '
                             'font="Regular" size="16" height="20" width="8"/></fonts>'),
                             [rectangle])

    def test_docked_elements_and_panels_take_their_part_of_the_area(self):
        fill = 2 * '<eLabel position="fill"/>'
        self.assertEqual(self.places(
            '<eLabel position="top" size="*,50"/><eLabel position="bottom" size="*,40"/>'
            '<eLabel position="left" size="100,*"/><eLabel position="right" size="80,*"/>'
            '<eLabel position="0,0" size="5,5"/><eLabel position="center,center" size="10,10"/>'
            '<panel position="top" size="*,100"><eLabel position="left" size="50%%,*"/>%s</panel>'
            '<panel position="fill" layout="stack">%s</panel>' % (fill, fill)), [
                [0, 0, 1000, 50], [0, 560, 1000, 40], [0, 50, 100, 510], [920, 50, 80, 510],
                [100, 50, 5, 5], [505, 300, 10, 10], [100, 50, 409, 100], [509, 50, 411, 100],
                [509, 50, 0, 0], [100, 150, 820, 410], [100, 150, 820, 410]])

    def test_a_named_panel_puts_the_other_screens_elements_into_the_outer_area(self):
        other = ('<screen name="Other" position="7,7" size="9,9">'
                 '<eLabel position="e-5,0" size="5,5"/></screen>')
        panel = '<panel name="Other" position="10,10" size="20,20">%s</panel>'
        self.assertEqual(self.places(panel % '<eLabel position="0,0" size="1,1"/>', other),
                         [[995, 0, 5, 5], [10, 10, 1, 1]])
        layout = self.lay_out('<panel name="Lacking"/><eLabel/>')
        self.assertEqual(len(layout["elements"]), 1)
        self.assertIn("[Skin] Unable to find screen 'Lacking' referred in screen 'Probe'!",
                      layout["log"])

    def test_margins_and_borders_lie_around_windows(self):
        self.assertEqual(self.lay_out(
            "", 'position="0,0" size="100,50"',
            '<margin id="0" left="30" top="20" right="10" bottom="40"/>')["rect"],
            [30, 20, 100, 50])
        layout = self.lay_out("", 'position="fill" title="Hello"')
        self.assertEqual((layout["rect"], layout["frame"], layout["title"]),
                         ([0, 0, 1000, 600], [-2, -40, 1004, 642], "Hello"))
        layout = self.lay_out("", 'position="5,5" size="10,10" flags="wfNoBorder,wfOdd"')
        self.assertEqual((layout["frame"], layout["flags"]), ([5, 5, 10, 10], ["wfNoBorder"]))
        self.assertIn("illegal flag wfOdd!", layout["log"])


class Painting(SkinTest):

    def test_sources_come_first_then_widgets_then_decoration_unless_a_position_says_otherwise(self):
        layout = self.lay_out(
            '<eLabel position="0,0" size="9,9"/><widget name="text" position="0,0" size="9,9"/>'
            '<eLabel position="0,0" size="9,9" zPosition="-1"/>'
            '<widget source="source" render="Label" position="0,0" size="9,9"/>')
        self.assertEqual([(one["kind"], one["paint"]) for one in layout["elements"]],
                         [("source", 1), ("widget", 2), ("eLabel", 3), ("eLabel", 0)])
        self.assertEqual([one["covered"] for one in layout["elements"]], [True, True, False, True])

    def test_only_what_is_opaque_covers(self):
        shutil.copy(os.path.join(REFERENCE, "soft.png"), FOLDER)  # 64 by 64
        for above, covers in [
                ('eLabel position="0,0" size="64,64" backgroundColor="#80000000"', True),
                ('eLabel position="0,0" size="64,64" transparent="1"', False),
                ('eLabel position="1,0" size="64,64"', False),
                ('ePixmap position="0,0" size="64,64" pixmap="soft.png"', True),
                ('ePixmap position="0,0" size="64,64" pixmap="soft.png" alphatest="on"', False),
                ('ePixmap position="0,0" size="65,65" pixmap="soft.png"', False)]:
            layout = self.lay_out('<eLabel position="0,0" size="64,64"/><%s/>' % above)
            self.assertEqual(layout["elements"][0]["covered"], covers, above)


class Faults(SkinTest):

    AFTER = '<eLabel text="after"/>'

    def test_that_cost_an_attribute_leave_the_element_and_a_line(self):
        usual = "[Skin] Attribute not implemented: %s value: %s"
        error = "[Skin] Error: {Try/skin.xml}: %s"
        for element, line in [
                ('eLabel odd="1"', usual % ("odd", "1")),
                ('widget source="rows" render="Listbox" halign="left"', usual % ("halign", "left")),
                ('widget name="text" render="Label"', usual % ("render", "Label")),
                ('widget source="source" render="Label"', None),
                ('widget name="bar" alphatest="on"', usual % ("alphatest", "on")),
                ('widget name="scroll" scrollbarMode="odd"', usual % ("scrollbarMode", "odd")),
                ('eLabel backgroundColor="odd"',
                 error % "color 'odd' must be #aarrggbb or valid named color"),
                ('ePixmap pixmap="ödd.png"',
                 error % "pixmap file /usr/share/enigma2/ödd.png not found!"),
                ('eLabel halign="odd"', "halign must be either left, center, right or block!")]:
            inner = TEMPLATE if "Listbox" in element else ""
            layout = self.lay_out("<%s>%s</%s>" % (element, inner, element.split()[0]))
            found, = layout["elements"]
            self.assertEqual(found["log"], [line] if line else [], element)

    def test_that_cost_the_element_leave_those_after_it(self):
        error = "[Skin] Error in screen 'Probe' widget 'widget': {Try/skin.xml}: %s"
        for element, line in [
                ('<widget name="odd"/>', error %
                 "component with name 'odd' was not found in skin of screen 'Probe'!"),
                ('<widget source="odd" render="Label"/>', error %
                 "source 'odd' was not found in screen 'Probe'!"),
                ('<widget/>', error % "widget has no name and no source!"),
                ('<widget source="source"/>', "you must define a renderer"),
                ('<applet type="onLayoutFinish">1 +</applet>', "applet failed to compile"),
                ('<odd/>', None), ('<widget name="source"/>', None),
                ('<eLabel conditional="odd"/>', None),
                ('<eLabel objectTypes="text,ScrollLabel"/>', None)]:
            layout = self.lay_out(element + self.AFTER)
            self.assertEqual([one["text"] for one in layout["elements"]], ["after"], element)
            lines = [one for one in layout["log"] if "missing element" not in one]
            self.assertEqual(len(lines), line is not None, lines)
            self.assertIn(line or "", lines[0] if lines else "")

    def test_that_cost_the_rest_of_the_screen_leave_what_stands_before(self):
        listbox = '<widget source="%s" render="Listbox" position="0,0" size="9,9">%s</widget>'
        for element, line in [
                ('<widget source="source" render="Odd"/>', "No module named Odd"),
                ('<widget source="source" render="Label"><convert type="Odd"/></widget>',
                 "No module named Odd"),
                ('<eLabel position="0,0"/>', ""), ('<eLabel position="0,odd" size="1,1"/>', ""),
                ('<eLabel position="2w,0" size="1,1" font="Regular;20"/>', ""),
                ('<eLabel position="top" size="*,*"/>', ""), ('<panel name="Probe"/>', ""),
                ('<panel><eLabel position="0,0" size="1,1"/></panel>', ""),
                (listbox % ("rows", TEMPLATE.replace("itemHeight", "odd")), ""),
                (listbox % ("rows", ""), ""), (listbox % ("source", TEMPLATE), ""),
                ('<widget source="rows" render="Label"/>', "")]:
            layout = self.lay_out('<eLabel text="before"/>' + element + self.AFTER)
            self.assertNotIn("after", [one["text"] for one in layout["elements"]], element)
            self.assertIn("before", [one["text"] for one in layout["elements"]])
            self.assertIn("[Skin] Error in Probe: %s" % line, "\n".join(layout["log"]), element)

    def test_that_cost_the_screen_end_the_gui(self):
        for element in ['eLabel zPosition="odd"', 'eLabel transparent=""', 'eLabel font="Regular"',
                        'eLabel backgroundColor="#odd"', 'eLabel backgroundColor=""',
                        'ePixmap alphatest="odd"', 'ePixmap pixmap="odd.gif"',
                        'eLabel position="0,0" size="*,9"']:
            self.assertRaises(Exception, self.lay_out, "<%s/>" % element)
        self.assertRaises(Exception, self.lay_out, '<applet type="onLayoutFinish">odd</applet>')
        self.assertRaises(Exception, self.lay_out, "", 'position="0,0"')

    def test_that_cost_the_start_are_told_in_one_sentence(self):
        style = '<windowstyle id="0">%s</windowstyle>'
        for top in ['<colors><color name="a" value="odd"/></colors>',
                    '<colors><color name="a"/></colors>',
                    style % '<color name="Odd" color="#0"/>', style % '<title offset="1,1"/>',
                    style % '<borderset name="a"><pixmap pos="b" filename="odd.png"/></borderset>',
                    '<switchpixmap><pixmap name="a" filename="odd.png"/></switchpixmap>',
                    '<fonts><font filename="odd.ttf"/></fonts>', '<include filename="odd.xml"/>']:
            self.write("<screen", "odd.xml")
            with self.assertRaises(skins.SkinFailed) as caught:
                self.load(top)
            self.assertRegexpMatches(str(caught.exception),
                                     r"The skin 'Try' does not start: .*/Try/skin\.xml\.$")

    def test_a_screen_without_a_layout_is_an_empty_window_that_runs(self):
        self.load()
        screen = self.box.session.open(Probe)
        layout = skin_layout.layout(screen)
        self.assertEqual((layout["layout"], layout["rect"], layout["elements"]),
                         (None, [0, 0, 0, 0], []))
        self.assertEqual(layout["missing"], ["bar", "scroll", "text"])
        self.assertTrue(screen.execing)

    def test_a_stand_in_takes_the_place_of_what_only_some_images_have(self):
        self.load('<screen name="Probe" position="0,0" size="9,9">'
                  '<widget source="source" render="Odd" position="0,0" size="9,9"/>'
                  '<widget source="source" render="Label"><convert type="Strange"/></widget>%s'
                  '</screen>' % self.AFTER, stand_ins=True)
        layout = skin_layout.layout(self.box.session.instantiateDialog(Probe))
        self.assertEqual([one["text"] for one in layout["elements"]], ["Odd", "Strange", "after"])
        self.assertEqual(skin.stand_ins, set(["Renderer Odd", "Converter Strange"]))


class Files(SkinTest):

    def test_later_ones_win_and_included_ones_only_lend_their_screens(self):
        self.write('<colors><color name="lost" value="#1"/></colors><screen name="A" size="1,1"/>'
                   '<screen name="MessageBox" size="1,1"/><screen name="B" size="1,1"/>',
                   "more.xml")
        self.write('<colors><color name="b" value="#2"/></colors><windowstyle id="0">'
                   '<color name="Background" color="#7"/></windowstyle>', "user.xml")
        self.load('<include filename="more.xml"/><include filename="lacking.xml"/>'
                  '<screen name="B" size="2,2"/><screen name="B" size="3,3"/>'
                  '<screen name="C" id="0"/>'
                  '<colors><color name="b" value="#1"/><color name="c" value="b"/></colors>',
                  user_file=os.path.join(FOLDER, "user.xml"))
        self.assertEqual([skin.dom_screens[name].get("size") for name in ("A", "B", "MessageBox")],
                         ["1,1", "3,3", "600,10"])
        self.assertNotIn("C", skin.dom_screens)
        self.assertEqual([skin.colors.get(name) for name in ("b", "c", "lost")],
                         ["#00000002", "#00000001", None])
        self.assertEqual((skin.windowstyle["colors"]["Background"], skin.windowstyle["pictures"],
                          skin.windowstyle["colors"]["LabelForeground"]),
                         ("#00000007", {}, "#00000000"))

    def test_are_looked_for_in_the_skin_and_then_in_what_it_falls_back_to(self):
        self.load()
        for name in ("a.png", "b.png"):
            open(os.path.join(FOLDER, name), "w").close()
        for name, path in [
                ("a.png", "Try/a.png"), ("deep/b.png", "Try/b.png"), ("Try/a.png", "Try/a.png"),
                ("skin_default/top.png", "skin_default/top.png"), ("/x/y.png", "/x/y.png"),
                ("icons/input_info.png", "skin_default/icons/input_info.png"),
                ("~/z.png", "Try/z.png"), ("Try/deep/a.png", "Try/deep/a.png")]:
            self.assertEqual(skin.from_share(skin.find(name)), path)
        self.assertEqual(skin.find("~/z.png", "/plugin"), "/plugin/z.png")

    def test_fonts_of_the_skins_folder_are_its_own(self):
        for name in ("flat.ttf", "fonts/deep.ttf"):
            path = os.path.join(FOLDER, name)
            if not os.path.isdir(os.path.dirname(path)):
                os.makedirs(os.path.dirname(path))
            shutil.copy(os.path.join(DEBIAN, "LiberationSerif-Regular.ttf"), path)
            self.load('<fonts><font name="Own" filename="%s"/></fonts>' % name)
            self.assertEqual([face.path for face in faces(skin.described(), "Own", 20)],
                             [os.path.join(skin.SHARE, "Try", name)])

    def test_a_folder_beside_the_skin_adds_to_what_it_falls_back_to(self):
        for name in ("icons/input_info.png", "new.png"):
            path = os.path.join(os.path.dirname(FOLDER), "skin_default", name)
            if not os.path.isdir(os.path.dirname(path)):
                os.makedirs(os.path.dirname(path))
            shutil.copy(os.path.join(REFERENCE, "soft.png"), path)
        for _ in range(2):
            self.load()
            self.assertEqual([picture(skin.find(name))[1:3] for name in (
                "icons/input_info.png", "icons/input_error.png", "new.png", "top.png")],
                [(64, 64), (53, 53), (64, 64), (2, 40)])

    def test_a_skin_that_cannot_be_read_leaves_the_default_one_and_a_line(self):
        self.load('<screen name="Probe"')
        self.assertNotIn("Probe", skin.dom_screens)
        self.assertIn("MessageBox", skin.dom_screens)
        self.assertIn("Try/skin.xml cannot be read", skin.log[0])


class Contents(SkinTest):

    def test_a_scrolling_text_shrinks_to_whole_lines_and_turns_pages_of_them(self):
        layout = self.lay_out('<widget name="scroll" position="0,0" size="200,101" '
                              'font="Regular;20" zPosition="4"/>')
        found, = layout["elements"]  # letters are 18 pixels high, lines 22
        self.assertEqual((found["final"], found["zPosition"]), ([0, 0, 200, 91], 0))
        screen = self.box.session.open(Probe)
        screen["scroll"].setText("\n".join("line %d" % number for number in range(13)))
        tops = []
        for _ in range(4):
            tops.append(screen["scroll"].scrolled())
            screen["scroll"].pageDown()
        self.assertEqual(tops, [0, 88, 176, 198])
        self.assertEqual(screen["scroll"].visibleLines(), ["line %d" % at for at in range(9, 13)])

    def test_the_modes_of_skin_and_template_each_have_their_time(self):
        self.lay_out('<widget source="rows" render="Listbox" position="0,0" size="99,100" '
                     'itemHeight="50" scrollbarMode="showNever">%s</widget>' % TEMPLATE)
        screen = self.box.session.open(Probe)
        rows, = skin_layout.layout(screen)["elements"]
        self.assertEqual((rows["scrollbarMode"], rows["itemHeight"]), ("showNever", 50))
        self.box.press("right", "down")  # a page has two rows
        self.assertEqual(screen["rows"].getIndex(), 3)
        screen["rows"].list = [("row",)]
        rows, = skin_layout.layout(screen)["elements"]
        self.assertEqual((rows["scrollbarMode"], rows["rows"]), ("showOnDemand", 1))

    def test_a_template_that_asks_for_more_than_a_row_has_ends_the_gui_when_it_is_painted(self):
        template = TEMPLATE.replace("text=0", "text=1")
        layout = self.lay_out('<widget source="rows" render="Listbox">%s</widget>' % template)
        self.assertEqual(layout["elements"][0]["rows"], 7)
        self.assertRaises(MemoryFault, self.box.session.open, Probe)
        for before in ("MultiContentEntryPixmap(png=0)", "MultiContentEntryText(text=0, font=1)"):
            self.lay_out('<widget source="rows" render="Listbox">%s</widget>' % template.replace(
                "[Multi", "[%s, Multi" % before))
            self.box.session.open(Probe)  # the rest of each row stays blank

    def test_sources_show_what_converters_make_of_them(self):
        widget = ('<widget source="%s" render="Label" size="9,9">'
                  '<convert type="%s">%s</convert></widget>')
        layout = self.lay_out(
            widget % ("global.CurrentTime", "ClockToText", "Format:now") +
            widget % ("blank", "ConditionalShowHide", "") +
            widget % ("blank", "ConditionalShowHide", "Invert") +
            '<widget source="rows" render="Listbox">%s</widget>' % TEMPLATE +
            widget % ("rows", "StringListSelection", "") +
            widget % ("session.CurrentService", "ServiceName", "Name") +
            '<widget source="text" render="Label" size="9,9"/>')
        self.assertEqual([(one["text"], one["visible"]) for one in layout["elements"]], [
            ("now", True), ("", False), ("", True), (None, True), ("row 0", True),
            ("", True), ("words", True)])

    def test_an_open_screen_is_laid_out_anew_and_keeps_its_selection(self):
        self.box.use_skin(1280)
        box = self.box.session.open(ChoiceBox, "Top 20", [("a",), ("b",), ("c",)], False)
        self.box.press("down")
        self.box.use_skin(1920)
        self.assertEqual((skin_layout.layout(box)["rect"], self.box.cursor),
                         ([285, 177, 1350, 726], 1))
        self.box.press("down")
        self.assertEqual(self.box.cursor, 2)

    def test_an_edit_shows_in_the_screen_that_is_opened_next(self):
        self.write('<screen name="Probe" size="10,10"/>')
        box = Receiver(load=False, skin={"directory": FOLDER})
        sizes = []
        for text in ('<screen name="Probe" size="200,10"/>',
                     '<colors><color name="a" value="odd"/></colors>'):
            sizes.append(box.session.open(Probe).instance.size().width())
            self.write(text)
        self.assertEqual((sizes, box.skin_failure), ([14, 204], None))
        self.assertIsNone(box.session.open(Probe).layout)
        self.assertIn("color 'odd'", box.skin_failure)

    def test_boxes_resize_themselves_in_the_fallback(self):
        self.load('<fonts><font filename="LiberationSans-Bold.ttf"/></fonts>')
        box = self.box.session.open(ChoiceBox, "Top 20", [("a",)] * 12, False)
        layout = skin_layout.layout(box)
        self.assertEqual(layout["rect"], [430, 162, 140, 275])
        self.assertRaises(ValueError, self.box.session.open, ChoiceBox, "Top 20", [])
        for text, rect in [("short", [360, 212, 280, 137]), ("word " * 30, [203, 172, 594, 218])]:
            box = self.box.session.open(MessageBox, text)
            self.assertEqual(skin_layout.layout(box)["rect"], rect)
