"""Where the receiver puts letters, rows and bars: to the pixel, as was measured on receivers."""

import os
import unittest

from simulator import HOST

from painting import screen, text
from painting.fonts import USUAL, Face, faces

SKIN = {
    "desktop": [1280, 720], "find": lambda name: os.path.join(HOST, name),
    "fonts": {"Regular": {"file": "LiberationSans-Bold.ttf", "path": None, "scale": 100,
                          "replacement": 0}},
    "windowstyle": {"colors": {"Background": "#00000001", "ListboxBackground": "#00000002",
                               "LabelForeground": "#00000003"}}}


def element(draws, final, **more):
    """An element as a layout has it, with what the skin does not say left open."""
    silent = dict.fromkeys((
        "font", "foreground", "background", "halign", "valign", "noWrap", "transparent", "pixmap",
        "alphatest", "scale", "scrollbar", "foregroundSelected", "backgroundSelected", "template",
        "selectionPixmap", "backgroundPixmap", "value", "range", "orientation"))
    silent.update(draws=draws, final=final, visible=True, covered=False, scrollbarWidth=20)
    silent.update(more)
    return silent


def painted(*elements):
    """What paints these elements in a screen that is the whole picture, without its background."""
    return screen.paint({
        "layout": "Probe", "transparent": False, "rect": [0, 0, 1280, 720],
        "flags": ["wfNoBorder"], "background": "#00000000",
        "elements": [dict(one, paint=at) for at, one in enumerate(elements)]}, SKIN)[1:]


def fills(colour, operations):
    return [one["rect"] for one in operations
            if one["do"] == "fill" and one["colour"] == colour]


class TextTest(unittest.TestCase):

    def lines(self, words, width):
        return [line for line, _ in text.measured(faces(SKIN, "Regular", 22), words, width)[0]]

    def test_lines_are_as_high_as_on_a_receiver_at_every_size(self):
        for size, line, base in (
                (16, 18, 15), (18, 21, 17), (19, 22, 18), (20, 23, 19), (21, 24, 20), (22, 25, 20),
                (24, 28, 22), (26, 30, 24), (27, 31, 25), (28, 32, 26), (30, 35, 28), (32, 37, 29),
                (33, 38, 30), (36, 41, 33), (40, 46, 37), (48, 55, 44)):
            face = Face(USUAL, size)
            self.assertEqual((size, line, base), (size, face.line_height, face.base))

    def test_texts_are_as_wide_as_on_a_receiver(self):
        question = "There are updates available. Do you want to see them?"
        for size, width, expected in ((19, None, (503, 22)), (22, 520, (491, 50))):
            lines, line_height = text.measured(faces(SKIN, "Regular", size), question, width)
            self.assertEqual(expected, (max(wide for _, wide in lines), len(lines) * line_height))
        self.assertEqual(([], 0), text.measured(faces(SKIN, "NoSuch", 20), question))

    def test_a_letter_at_the_edge_takes_its_word_along_unless_it_begins_the_word(self):
        for words, width, expected in (
                ("aaaa bbbb", 107, ["aaaa bbbb"]), ("aaaa bbbb", 106, ["aaaa ", "bbbb"]),
                ("aaaa bbbb c", 113, ["aaaa bbbb c"]), ("aaaa bbbb c", 112, ["aaaa ", "bbbb c"]),
                ("aa b", 38, ["aa b"]), ("one-two", 60, ["one-", "two"]),
                ("aaaaaaaaaaaa", 60, ["aaaa"] * 3)):
            self.assertEqual(expected, self.lines(words, width), (words, width))

    def test_escapes_and_line_feeds(self):
        for words, expected in (
                ("a\\nb\\rc", ["a", "bc"]), ("x\n\n", ["x", "", ""]), ("\n\n", []), ("", []),
                ("\\c00f0b000amber", ["amber"]), ("\\c1234", ["\\c1234"]),
                ("Gr\xc3\xbc\xc3\x9fe \xe4\xb8\xad", ["Gr\xc3\xbc\xc3\x9fe "])):
            self.assertEqual(expected, self.lines(words, None), words)
        tab = text.lines_of(faces(SKIN, "Regular", 20), "a\\tb", None)[0][1]
        self.assertEqual(160, tab.x)

    def test_a_text_whose_skin_names_no_font_has_the_hosts(self):
        for draws in ("label", "scroll"):
            letters = painted(element(draws, [0, 0, 99, 99], text="a", top=0, total=14))[1]
            self.assertEqual(12, letters["size"], draws)

    def test_a_text_stands_where_its_alignment_says_and_is_cut_by_its_label(self):
        for how, x, y in ((dict(), 100, 220), (dict(valign="center"), 100, 237),
                          (dict(valign="bottom"), 100, 253), (dict(halign="right"), 294, 220),
                          (dict(halign="center"), 197, 220),
                          (dict(halign="right", text="a" * 40, noWrap=True), -174, 220),
                          (dict(halign="center", text="a" * 40, noWrap=True), 100, 220)):
            label = element("label", [100, 200, 206, 60])
            label.update({"text": "a", "font": ["Regular", 22]}, **how)
            letters = painted(label)[1]
            self.assertEqual((x, y, [100, 200, 206, 60]),
                             (letters["letters"][0][1], letters["y"], letters["clip"]), how)


class ListTest(unittest.TestCase):

    def test_a_list_shows_whole_pages_the_next_row_s_top_and_how_far_it_is(self):
        for rows, index, mode, width, thumb in (
                (20, 0, "showOnDemand", 1127, [1196, 150, 20, 155]),
                (20, 9, "showOnDemand", 1127, [1196, 301, 20, 155]),
                (20, 19, "showOnDemand", 1127, [1196, 451, 20, 154]),
                (9, 0, "showOnDemand", 1152, None),
                (9, 0, "showAlways", 1127, [1196, 150, 20, 455]),
                (0, 0, "showAlways", 1127, None), (20, 0, "showNever", 1152, None)):
            found = painted(element(
                "list", [64, 150, 1152, 455], itemHeight=50, scrollbarMode=mode, index=index,
                content=[("row %d" % number,) for number in range(rows)], background="#00000004",
                backgroundSelected="#00000004"))
            places = fills("#00000004", found)
            self.assertEqual([[64, 150 + 50 * number, width, 50] for number in range(9)]
                             + [[64, 600, width, 5]], places)
            frame = [[1196, 150, 20, 1], [1196, 604, 20, 1], [1196, 150, 1, 455],
                     [1215, 150, 1, 455]] if width == 1127 else []
            self.assertEqual(([thumb] if thumb else []) + frame, fills("#00000003", found))
            self.assertEqual([[1191, 150, 5, 455]] if frame else [], fills("#00000002", found))

    def test_a_bar_is_as_wide_as_the_layout_says(self):
        for bar in (20, 8, 0):
            found = painted(element(
                "list", [0, 0, 99, 50], itemHeight=50, scrollbarMode="showAlways", index=0,
                scrollbarWidth=bar, content=[], background="#00000004"))
            self.assertEqual([[0, 0, 94 - bar, 50]], fills("#00000004", found))

    def test_a_row_ends_where_a_picture_or_a_font_is_not_there(self):
        words = {"kind": "text", "value": 0, "font": 0, "rect": [0, 0, 99, 50], "flags": 1}
        lacking = {"kind": "pixmap", "value": 1, "rect": [0, 0, 9, 9], "flags": 0}
        for before, shown in ((dict(lacking, value=None), True), (lacking, False),
                              (dict(lacking, value=7), False), (dict(words, value=None), True),
                              (dict(words, font=1), False)):
            found = painted(dict(
                element("list", [0, 0, 99, 50], itemHeight=50, scrollbarMode="showNever", index=0,
                        content=[("words", None)]),
                template={"entries": [before, words], "fonts": [["Regular", 20]]}))
            self.assertEqual(shown, "letters" in [one["do"] for one in found], before)

    def test_a_scrolling_text_shows_whole_lines_and_where_they_are(self):
        words = "\n".join("line %d" % number for number in range(13))
        for top, first, thumb in ((0, "0", 0), (88, "4", 29), (176, "8", 57), (198, "9", 64)):
            found = painted(element("scroll", [0, 0, 400, 91], font=["Regular", 19], text=words,
                                    top=top, total=286))
            shown = [one["letters"][-1][0] for one in found if one["do"] == "letters"
                     and 0 < one["y"] < 88]
            self.assertEqual((first, 4), (shown[0], len(shown)))
            self.assertEqual([380, thumb, 20, 28 if thumb < 64 else 27],
                             fills("#00000003", found)[0])
