"""The ratios as a picture in SVG: a bar for each row, on a logarithmic scale."""

import math
from xml.sax.saxutils import escape

WIDTH, LEFT, RIGHT, TOP = 900, 250, 60, 90
ROW = 34
# The scale's ends, and its marks: the module's share of what the others take.
LEAST, MOST = 0.01, 4.0
MARKS = (0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 4)
COLOURS = (("module/python", "#3b6fb5", "of plain Python"),
           ("module/cython", "#d98032", "of the model compiled by Cython"))


def place(ratio):
    """Return where on the scale a ratio stands, in pixels from the left."""
    bounded = max(LEAST, min(MOST, ratio))
    share = math.log(bounded / LEAST) / math.log(MOST / LEAST)
    return LEFT + share * (WIDTH - LEFT - RIGHT)


def draw(results, target):
    """Return the picture of a table.Results; the title names the target."""
    height = TOP + ROW * len(results.rows) + 20
    parts = [
        '<svg xmlns="http://www.w3.org/2000/svg" width="%d" height="%d" '
        'font-family="sans-serif" font-size="12">' % (WIDTH, height),
        '<rect width="%d" height="%d" fill="white"/>' % (WIDTH, height),
        text(12, 24, "What the module takes, %s (less is better)" % target, size=16)]
    for number, (_, colour, says) in enumerate(COLOURS):
        left = 12 + 160 * number
        parts.append('<rect x="%d" y="38" width="12" height="12" fill="%s"/>' % (left, colour))
        parts.append(text(left + 18, 48, says))
    for mark in MARKS:
        parts.append('<line x1="%.1f" x2="%.1f" y1="%d" y2="%d" stroke="%s"/>' % (
            place(mark), place(mark), TOP - 8, height - 14, "#444" if mark == 1 else "#ddd"))
        parts.append(text(place(mark), TOP - 14, "%g" % mark, anchor="middle"))
    for number, row in enumerate(results.rows):
        top = TOP + ROW * number
        parts.append(text(LEFT - 10, top + 18, row.title.strip(), anchor="end"))
        for bar, (what, colour, _) in enumerate(COLOURS):
            ratio = row.ratio(what)
            parts.append('<rect x="%d" y="%d" width="%.1f" height="11" fill="%s"/>' % (
                LEFT, top + 3 + 13 * bar, place(ratio) - LEFT, colour))
            parts.append(text(place(ratio) + 4, top + 13 + 13 * bar, "%.2g" % ratio))
    return "\n".join(parts + ["</svg>", ""])


def text(left, base, content, anchor="start", size=12):
    return '<text x="%.1f" y="%.1f" text-anchor="%s" font-size="%d">%s</text>' % (
        left, base, anchor, size, escape(content))
