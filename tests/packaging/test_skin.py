"""The skin parts and the icons: no text over another, the icons as they are drawn."""
import os
import re
import struct
import unittest
from xml.etree import ElementTree

from simulator import ROOT, plugin_files

from enigma import PICTURES  # of the simulated host, which is on the path now


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
        for size in sorted(PICTURES.items()):
            part = ElementTree.fromstring(plugin_files.skin_for(size[0]))
            for screen in part.findall("screen"):
                yield size, screen

    def test_the_list_has_the_status_too_in_which_nothing_is_shown(self):
        for _, screen in self.each_screen():
            if screen.get("name") == "AllNews":
                self.assertIsNotNone(screen.find("widget[@name='status']"))

    def test_no_text_overlaps_another_and_televisions_cut_none_off(self):
        for (width, height), screen in self.each_screen():
            widgets = [rectangle(widget) for widget in screen.findall("widget")]
            for at, one in enumerate(widgets):
                self.assertFalse(any(overlap(one, other) for other in widgets[at + 1:]))
                # The outer twentieth of the width, and the outermost lines, may be out of sight.
                self.assertTrue(one[0] * 20 >= width and (width - one[2]) * 20 >= width)
                self.assertTrue(one[1] * 40 >= height and (height - one[3]) * 40 >= height)


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
