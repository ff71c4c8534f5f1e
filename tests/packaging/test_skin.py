"""The skin parts and the icons: complete, within the screen, nothing over anything else."""
import os
import re
import struct
import unittest
from xml.etree import ElementTree

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SIZES = {"skin_1280.xml": (1280, 720), "skin_1920.xml": (1920, 1080)}
KEYS = ["key_red", "key_green", "key_yellow", "key_blue"]

#: Screen to (elements that render a source, widgets by name).
ELEMENTS = {
    "AllNews": (["title", "menu"] + KEYS, ["header", "status"]),
    "ZirkUpdateInfo": (["title"] + KEYS, ["header", "update"]),
}


def screens(name):
    """Return name to element of a skin part's screens."""
    root = ElementTree.parse(os.path.join(ROOT, "plugin", "skin", name)).getroot()
    return dict((screen.get("name"), screen) for screen in root.findall("screen"))


def pair(text):
    return tuple(int(number) for number in text.split(","))


def rectangle(element):
    """Return left, top, right, bottom of an element."""
    left, top = pair(element.get("position"))
    width, height = pair(element.get("size"))
    return left, top, left + width, top + height


def overlap(one, other):
    return one[0] < other[2] and other[0] < one[2] and one[1] < other[3] and other[1] < one[3]


class SkinPartTest(unittest.TestCase):

    def each_screen(self):
        """Yield the size of the picture, and each screen made for it."""
        for name, size in sorted(SIZES.items()):
            for screen in screens(name).values():
                yield size, screen

    def test_each_holds_both_screens_with_all_elements_once(self):
        for name in SIZES:
            found = screens(name)
            self.assertEqual(sorted(ELEMENTS), sorted(found))
            for screen, (sources, names) in ELEMENTS.items():
                widgets = found[screen].findall("widget")
                self.assertEqual(sorted(sources), sorted(
                    widget.get("source") for widget in widgets if widget.get("source")))
                self.assertEqual(sorted(names), sorted(
                    widget.get("name") for widget in widgets if widget.get("name")))

    def test_sources_are_rendered_and_widgets_are_not(self):
        for _, screen in self.each_screen():
            for widget in screen.findall("widget"):
                renderer = {None: None, "menu": "Listbox"}.get(widget.get("source"), "Label")
                self.assertEqual(renderer, widget.get("render"))

    def test_the_screens_fill_the_picture_and_the_elements_stay_within(self):
        for (width, height), screen in self.each_screen():
            self.assertEqual((0, 0, width, height), rectangle(screen))
            for element in screen:
                left, top, right, bottom = rectangle(element)
                self.assertTrue(0 <= left < right <= width, ElementTree.tostring(element))
                self.assertTrue(0 <= top < bottom <= height, ElementTree.tostring(element))

    def test_no_text_overlaps_another_and_televisions_cut_none_off(self):
        for (width, height), screen in self.each_screen():
            widgets = [rectangle(widget) for widget in screen.findall("widget")]
            for at, one in enumerate(widgets):
                self.assertFalse(any(overlap(one, other) for other in widgets[at + 1:]))
                # The outer twentieth of the width, and the outermost lines, may be out of sight.
                self.assertTrue(one[0] * 20 >= width and (width - one[2]) * 20 >= width)
                self.assertTrue(one[1] * 40 >= height and (height - one[3]) * 40 >= height)

    def test_fonts_fit_their_lines(self):
        for _, screen in self.each_screen():
            for widget in screen.findall("widget"):
                if widget.get("font"):
                    lines = 2 if widget.get("name") == "header" and (
                        screen.get("name") == "ZirkUpdateInfo") else 1
                    font = int(widget.get("font").split(";")[1])
                    self.assertGreaterEqual(pair(widget.get("size"))[1], font * 1.3 * lines)

    def test_list_rows_show_an_icon_and_beside_it_the_text(self):
        for name in SIZES:
            menu, = [widget for widget in screens(name)["AllNews"].findall("widget")
                     if widget.get("source") == "menu"]
            width, height = pair(menu.get("size"))
            template = eval(menu.find("convert").text.strip(), {
                "MultiContentEntryPixmapAlphaTest": lambda **entry: ("icon", entry),
                "MultiContentEntryText": lambda **entry: ("text", entry),
                "gFont": lambda *font: font, "RT_HALIGN_LEFT": 0, "RT_VALIGN_CENTER": 0})
            entries = dict(template["template"])
            self.assertEqual((1, 2), (entries["text"]["text"], entries["icon"]["png"]))
            row = template["itemHeight"]
            self.assertEqual(0, height % row)
            places = {}
            for kind, entry in entries.items():
                places[kind] = entry["pos"] + tuple(
                    at + size for at, size in zip(entry["pos"], entry["size"]))
                self.assertTrue(places[kind][2] <= width and places[kind][3] <= row)
            self.assertLess(places["icon"][2], places["text"][0])
            self.assertEqual((40, 40), entries["icon"]["size"])

    def test_the_larger_part_is_the_smaller_one_and_a_half_times(self):
        for screen, element in screens("skin_1280.xml").items():
            larger = list(screens("skin_1920.xml")[screen])
            self.assertEqual(len(larger), len(element))
            for one, other in zip(element, larger):
                self.assertEqual(tuple(at * 3 // 2 for at in rectangle(one)), rectangle(other))
                self.assertEqual(one.get("backgroundColor"), other.get("backgroundColor"))


class IconTest(unittest.TestCase):

    def test_the_icons_are_40_pixels_with_transparency_and_have_their_drawings_beside(self):
        names = ["update_%s" % kind for kind in ("info", "normal", "urgent")]
        pictures = os.path.join(ROOT, "plugin", "pictures")
        for suffix in (".png", ".svg"):
            self.assertEqual([name + suffix for name in names], sorted(
                name for name in os.listdir(pictures) if name.endswith(suffix)))
        contents = set()
        for name in names:
            with open(os.path.join(pictures, name + ".png"), "rb") as stream:
                content = stream.read()
            self.assertTrue(re.match(r"\x89PNG\r\n\x1a\n....IHDR", content, re.S))
            # Width, height, bits, and the colour type of RGB with alpha.
            self.assertEqual((40, 40, 8, 6), struct.unpack(">IIBB", content[16:26]))
            contents.add(content)
        self.assertEqual(3, len(contents))


if __name__ == "__main__":
    unittest.main()
