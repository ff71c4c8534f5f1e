"""Measures of fonts, in whole pixels.

The tables of a font file are read here: there is no library for that on Python 2.7.
"""

import os
import struct

DEBIAN = "/usr/share/fonts/truetype/liberation"
#: Has the letter widths of a receiver's usual "Regular", and stands in for a receiver's own fonts.
USUAL = os.path.join(DEBIAN, "LiberationSans-Bold.ttf")


class FontFile(object):
    """The measures in a TrueType or OpenType file, in its own units."""

    def __init__(self, path):
        with open(path, "rb") as stream:
            self._data = stream.read()
        self._tables = {}
        for at in range(12, 12 + 16 * self._numbers(">H", 4)[0], 16):
            name, _, offset, _ = self._numbers(">4s3L", at)
            self._tables[name] = offset
        self.units, = self._numbers(">H", self._tables["head"] + 18)
        self.ascender, self.descender, self.gap = self._numbers(">3h", self._tables["hhea"] + 4)
        self._widths, = self._numbers(">H", self._tables["hhea"] + 34)
        self._glyphs = self._read_glyphs()
        self._kerning = self._read_kerning()

    def _numbers(self, layout, at):
        return struct.unpack_from(layout, self._data, at)

    def glyph(self, letter):
        """The number of the glyph, 0 where the font has none."""
        return self._glyphs.get(ord(letter), 0) if len(letter) == 1 else 0

    def width(self, glyph):
        last = min(glyph, self._widths - 1)
        return self._numbers(">H", self._tables["hmtx"] + 4 * last)[0]

    def kerning(self, left, right):
        return self._kerning.get((left, right), 0)

    def _read_glyphs(self):
        """{code: glyph} of the basic plane: "cmap", format 4."""
        glyphs, start = {}, self._tables["cmap"]
        for at in range(start + 4, start + 4 + 8 * self._numbers(">H", start + 2)[0], 8):
            platform, _, offset = self._numbers(">2HL", at)
            offset += start
            if platform not in (0, 3) or self._numbers(">H", offset)[0] != 4:
                continue
            count = self._numbers(">H", offset + 6)[0] // 2
            every = ">%dH" % count
            ends = self._numbers(every, offset + 14)
            starts = self._numbers(every, offset + 16 + 2 * count)
            deltas = self._numbers(every, offset + 16 + 4 * count)
            ranges = offset + 16 + 6 * count
            for index, shift in enumerate(self._numbers(every, ranges)):
                for code in range(starts[index], min(ends[index], 0xfffe) + 1):
                    glyph = code
                    if shift:
                        glyph, = self._numbers(
                            ">H", ranges + 2 * index + shift + 2 * (code - starts[index]))
                    if glyph or not shift:
                        glyphs[code] = (glyph + deltas[index]) & 0xffff
        return glyphs

    def _read_kerning(self):
        """{(left glyph, right glyph): units}: "kern", horizontal pairs."""
        pairs, start = {}, self._tables.get("kern")
        if start is None:
            return pairs
        version, count = self._numbers(">2H", start)
        at = start + 4
        for _ in range(count if version == 0 else 0):
            _, length, coverage = self._numbers(">3H", at)
            if coverage & 0xff07 == 1:
                for pair in range(self._numbers(">H", at + 6)[0]):
                    left, right, units = self._numbers(">2Hh", at + 14 + 6 * pair)
                    pairs[left, right] = units
            at += length
        return pairs


class Face(object):
    """A font file at a size in pixels."""

    def __init__(self, path, pixels):
        self.path, self.pixels = path, pixels
        self._advances = {}
        self._font = font_file(path)
        whole = self._font.ascender - self._font.descender + self._font.gap
        self.line_height = _pixels(self._fine(whole))
        self.base = -(-self._fine(self._font.ascender) // 64)

    def has(self, letter):
        return self._font.glyph(letter) != 0

    def advance(self, letter):
        if letter not in self._advances:
            width = self._font.width(self._font.glyph(letter))
            self._advances[letter] = _pixels(self._fine(width))
        return self._advances[letter]

    def kerning(self, left, right):
        """By how much `right` stands nearer to `left`; less in small sizes, where it shows more."""
        units = self._font.kerning(self._font.glyph(left), self._font.glyph(right))
        if not units:
            return 0
        fine = self._fine(units)
        if self.pixels < 25:
            fine = int(round(fine * self.pixels / 25.0))
        return _pixels(fine)

    def _fine(self, units):
        """In 64ths of a pixel."""
        return int(round(64.0 * units * self.pixels / self._font.units))


def _pixels(fine):
    return (fine + 32) // 64


class EvenFace(object):
    """Every letter is half as wide as high."""

    def __init__(self, pixels):
        self.pixels, self.line_height = pixels, pixels + pixels // 4

    def has(self, letter):
        return True

    def advance(self, letter):
        return max(1, self.pixels // 2)

    def kerning(self, left, right):
        return 0


_files = {}  # path: FontFile
_faces = {}  # path and size in pixels: Face


def font_file(path):
    if path not in _files:
        _files[path] = FontFile(path)
    return _files[path]


def face(path, pixels):
    """The Face, or None for a file that is no such font."""
    if (path, pixels) not in _faces:
        try:
            _faces[path, pixels] = Face(path, pixels)
        except (KeyError, struct.error):
            _faces[path, pixels] = None
    return _faces[path, pixels]


def faces(skin, family, size):
    """The faces that letters are looked up in, in order: none for an unknown family."""
    fonts = skin["fonts"]
    if family not in fonts:
        return []
    others = sorted(name for name in fonts if fonts[name]["replacement"] and name != family)
    sized = [(_path(fonts[name], name in others), size * fonts[name]["scale"] // 100)
             for name in [family] + others]
    return [found for found in (face(path, pixels) for path, pixels in sized
                                if path and pixels > 0) if found]


def _path(font, only_own):
    """Where a font lies on this machine, or one that stands in for it; None for none."""
    paths = [font["path"], os.path.join(DEBIAN, os.path.basename(font["file"]))]
    if not only_own:
        paths.append(USUAL)
    return ([path for path in paths if path and os.path.isfile(path)] + [None])[0]
