"""Typesetting: where each letter of a text stands."""

import re
import unicodedata

from painting.fonts import faces

# An escape, or one letter.
_PART = re.compile(u"\\\\(?P<control>[ntr])|\\\\c(?P<colour>.{8})|(?P<letter>.)", re.DOTALL)
_CONTROLS = {u"n": u"\n", u"t": u"\t", u"r": u"\r"}
_TAB = 8  # sizes of the font
DEFAULT_FONT = ["Regular", 12]  # of texts, where the skin names none
_KEPT = 20000  # letters of texts that are kept as they were broken into lines


class Letter(object):
    """A letter in its line: the face that has it, where it begins, how wide it is, its colour."""

    __slots__ = "text", "face", "x", "advance", "colour"

    def __init__(self, text, face, x, advance, colour):
        self.text, self.face, self.x, self.advance, self.colour = text, face, x, advance, colour


def lines_of(found, text, width=None):
    """The lines of `text`, each a list of Letters, in the first faces of `found` that have them.

    A line is broken at `width`, None for a text that is not wrapped. A letter that would end at the
    edge takes its word along, except where it begins the word.
    """
    global _letters
    key = tuple(found), text, width
    if key not in _broken:
        if _letters > _KEPT:
            forget()
        _letters += len(text)
        _broken[key] = _break(found, text, width)
    return _broken[key]


_broken = {}  # what lines_of() has found: the same texts are painted again and again
_letters = 0  # of the texts in there


def forget():
    global _letters
    _letters = 0
    _broken.clear()


def _break(found, text, width):
    lines, colour, line = [], None, _Line()
    for part in _PART.finditer(_unicode(text)):
        if part.group("colour"):
            colour = "#" + "".join("%x" % (ord(digit) & 15) for digit in part.group("colour"))
            continue
        letter = part.group("letter") or _CONTROLS[part.group("control")]
        if letter == u"\n":
            lines.append(line.letters)
            line = _Line()
        elif letter == u"\t":
            line.skip(_TAB * found[0].pixels)
        else:
            having = [face for face in found if face.has(letter)]
            if having:
                rest = line.add(letter, having[0], colour, width)
                if rest is not None:
                    lines.append(line.letters)
                    line = rest
    lines.append(line.letters)
    return lines if any(lines) else []


class _Line(object):

    def __init__(self):
        self.letters, self._end, self._word = [], 0, 0

    def skip(self, step):
        self._end += step - self._end % step
        self._word = len(self.letters)

    def add(self, text, face, colour, width):
        """Add a letter; return the next line where it ends this one, else None."""
        if self.letters and self.letters[-1].face is face:
            self._end += face.kerning(self.letters[-1].text, text)
        letter = Letter(text, face, self._end, face.advance(text), colour)
        self.letters.append(letter)
        self._end += letter.advance
        rest, at = None, self._word or len(self.letters) - 1
        if width is not None and self._end >= width and self._word < len(self.letters) - 1:
            rest = _Line()
            moved, self.letters = self.letters[at:], self.letters[:at]
            start = moved[0].x
            for one in moved:
                one.x -= start
            rest.letters, rest._end = moved, self._end - start
        if text in u" -":
            (rest or self)._word = len((rest or self).letters)
        return rest


def width_of(line):
    """How wide a line is without the blanks at its end."""
    return max([0] + [letter.x + letter.advance for letter in line if letter.text != u" "])


def measured(found, text, width=None):
    """The lines of a text, pairs of a byte string and a width, and how high a line is.

    found and width: as in lines_of(); there is no line without a face.
    """
    if not found:
        return [], 0
    return [(u"".join(letter.text for letter in line).encode("utf-8"), width_of(line))
            for line in lines_of(found, text, width)], found[0].line_height


def typeset(skin, font, text, place, clip, halign=None, valign=None, wrap=True):
    """The letters of a text in `place` (x, y, width, height): pairs of Letters and (x, y).

    font: family and size; y: of a letter's base; clip: where they are to be cut. Lines that are far
    from there are left out.
    """
    found = faces(skin, *font)
    if not found:
        return
    left, top, width, height = place
    lines = lines_of(found, text, width if wrap else None)
    room = height - len(lines) * found[0].line_height
    if valign == "center":
        top += max(0, room // 2)
    elif valign == "bottom":
        top += room - 2
    halign = halign or _side(text)
    for number, line in enumerate(lines):
        y = top + number * found[0].line_height + found[0].base
        if not -2 * found[0].pixels < y - clip[1] < clip[3] + 2 * found[0].pixels:
            continue
        spare = width - width_of(line)
        gaps = []
        if halign == "block" and spare > 0 and number + 1 < len(lines):
            gaps = [letter for letter in line if letter.text == u" " and letter.x < width - spare]
        start = left
        if halign == "right":
            start += spare
        elif halign == "center" and (spare > 0 or wrap):
            start += spare // 2
        passed = 0
        for letter in line:
            stretch = int(round((spare - 1.0) * passed / len(gaps))) if gaps else 0
            yield letter, (start + letter.x + stretch, y)
            passed += letter in gaps


def _side(text):
    """The side from which the text's script is read."""
    for letter in _unicode(text):
        direction = unicodedata.bidirectional(letter)
        if direction in ("L", "R", "AL"):
            return "left" if direction == "L" else "right"
    return "left"


def _unicode(text):
    return text.decode("utf-8", "ignore") if isinstance(text, str) else text or u""
