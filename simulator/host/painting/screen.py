"""Paints a screen: its layout and contents become operations in pixels of the picture.

Operations are carried out in order; each says in "do" what it does. Rectangles are [x, y, width,
height], colours "#aarrggbb" with AA as the transparency towards the television.

- "fill": "rect", "colour". Replaces what is there, AA too.
- "picture": "file"; "rect": where it stands and how large it is made, repeated to the right and
  downwards; "clip": what of that is painted; "mode": "blend", or which pixels replace what is
  there: "all", the "seen" or the "solid" ones.
- "letters": "font" (a file), "size", "colour", "ground" (what their edges are mixed from),
  "letters" (text and x of each), "y" of their base, "clip"; "outline": how much thicker they are
  all around.
"""

from painting.fonts import faces
from painting.pictures import picture
from painting.text import DEFAULT_FONT, typeset

HALIGN = {1: "left", 2: "right", 4: "center", 8: "block"}
VALIGN = {16: "center", 32: "bottom"}
RT_WRAP = 64
STRETCH, KEEP_SHAPE = 4, 8  # pictures in rows
BLACK = "#00000000"
SCROLLBAR_WIDTH = 20
NOT_A_STRING = "<not-a-string>"  # what a row shows in place of something else


def paint(screen, skin):
    """The operations that paint the open screen, as skin_layout.layout() describes it."""
    painter = Painter(skin, screen["background"])
    if screen["layout"] is None or screen["transparent"]:
        return []
    _window(painter, screen)
    content = screen["rect"]
    for element in sorted(screen["elements"], key=lambda element: element["paint"]):
        left, top, width, height = element["final"]
        place = [content[0] + left, content[1] + top, width, height]
        painter.clip = common(common(painter.picture_area, content), place)
        if element["visible"] and not element["covered"] and _area(painter.clip):
            _ELEMENTS[element["draws"]](painter, element, place)
    return painter.operations


class Painter(object):
    """Collects operations. What they paint is cut at `clip`."""

    def __init__(self, skin, background=None):
        self.skin = skin
        self.picture_area = self.clip = [0, 0] + list(skin["desktop"])
        self.operations = []
        self._background = background  # of the window, if it has one
        self._last = BLACK  # the background that was painted last

    def style(self, name):
        return ((self.skin["windowstyle"] or {}).get("colors") or {}).get(name, BLACK)

    def fill(self, place, colour):
        self._last = colour
        place = common(place, self.clip)
        if _area(place):
            self.operations.append({"do": "fill", "rect": place, "colour": colour})

    def frame(self, place, width, colour):
        """A frame inside the edge of `place`."""
        left, top, wide, high = place
        for part in ([left, top, wide, width], [left, top + high - width, wide, width],
                     [left, top, width, high], [left + wide - width, top, width, high]):
            self.fill(common(part, place), colour)

    def edge(self, element, place):
        """The frame that an element itself asks for, if it does."""
        if element.get("border"):
            width, colour = element["border"]
            self.frame(place, width, colour or BLACK)

    def picture(self, found, rect, clip, mode="all"):
        """A Picture made as large as `rect`, cut at `clip`."""
        self._tiles(found, rect, common(rect, clip), mode)

    def natural(self, found, place, mode="all"):
        """A Picture in its own size in the corner of `place`, cut there."""
        if found is not None:
            self.picture(found, place[:2] + [found.width, found.height], place, mode)

    def repeated(self, found, place):
        """As many of a Picture as have room in `place`."""
        if found is not None:
            self._tiles(found, place[:2] + [found.width, found.height], place, "all")

    def _tiles(self, found, rect, clip, mode):
        clip = common(clip, self.clip)
        if found is not None and _area(clip):
            self.operations.append({"do": "picture", "file": found.path, "rect": rect,
                                    "clip": clip, "mode": mode})

    def load(self, name):
        """The Picture that the skin names, or None."""
        path = name and self.skin["find"](name)
        return picture(path) if path else None

    def ground(self, own):
        """What letters are mixed from: of the element, of the window, or painted last."""
        return own or self._background or self._last

    def text(self, font, words, place, colour, ground, outline=None, **how):
        """Typeset text; outline: its width and colour."""
        runs, clip = [], common(place, self.clip)
        if not (font and words and _area(clip)):
            return
        step = outline[0] if outline else 0
        place = [place[0] + step, place[1], place[2] - 2 * step, place[3]]
        for letter, (x, y) in typeset(self.skin, font, words, place, clip, **how):
            key = letter.face, letter.colour, y
            if not runs or runs[-1][0] != key:
                runs.append((key, []))
            runs[-1][1].append([letter.text, x])
        for thick in [step, 0] if step else [0]:
            for (face, own, y), letters in runs:
                run = {"do": "letters", "font": face.path, "size": face.pixels, "y": y,
                       "letters": letters, "colour": own or colour, "ground": ground, "clip": clip}
                if thick:
                    run.update(outline=thick, colour=outline[1] or BLACK)
                elif step:
                    run["ground"] = outline[1] or BLACK
                self.operations.append(run)


def common(one, other):
    left, top = max(one[0], other[0]), max(one[1], other[1])
    return [left, top, max(0, min(one[0] + one[2], other[0] + other[2]) - left),
            max(0, min(one[1] + one[3], other[1] + other[3]) - top)]


def _area(place):
    return place[2] * place[3]


# The window.

def _window(painter, screen):
    """The content's background, and around it border and title."""
    if "wfNoBorder" not in screen["flags"]:
        style = painter.skin["windowstyle"] or {}
        left, top, width, height = screen["frame"]
        _border(painter, "bsWindow", screen["frame"])
        title = style.get("title")
        if title:
            x, y = title["offset"]
            place = [left + x, top + y, width - x, max(0, style["border"][1] - y)]
            painter.text(title["font"], screen["title"], place,
                         painter.style("WindowTitleForeground"),
                         painter.style("WindowTitleBackground"), wrap=False)
    painter.fill(screen["rect"], screen["background"] or painter.style("Background"))


def _border(painter, name, place):
    """The pictures of a border set, inside the edge of `place`; those of the edges are repeated."""
    files = ((painter.skin["windowstyle"] or {}).get("pictures") or {}).get(name, {})
    parts = dict((at[2:], painter.load(files[at])) for at in files)
    left, top, width, height = place
    right, bottom = left + width, top + height

    def size(part):
        return (parts[part].width, parts[part].height) if parts.get(part) else (0, 0)

    def between(part, x, y, end_x, end_y):
        painter.repeated(parts.get(part), [x, y, max(0, end_x - x), max(0, end_y - y)])

    for upper, y in (("Top", top), ("Bottom", bottom)):
        (across, high), (over, tall) = size(upper + "Left"), size(upper + "Right")
        lifted = upper == "Bottom"
        between(upper + "Left", left, y - high * lifted, left + across, y + high * (not lifted))
        between(upper + "Right", right - over, y - tall * lifted, right, y + tall * (not lifted))
        edge = size(upper)[1]
        between(upper, left + across, y - edge * lifted, right - over, y + edge * (not lifted))
    for side, x in (("Left", left), ("Right", right - size("Right")[0])):
        between(side, x, top + size("Top" + side)[1], x + size(side)[0],
                bottom - size("Bottom" + side)[1])


# Elements.

def _fill_own(painter, element, place):
    if not element["transparent"]:
        painter.fill(place, element["background"] or painter.style("Background"))


def _label(painter, element, place):
    _fill_own(painter, element, place)
    how = {"halign": element["halign"], "valign": element["valign"],
           "wrap": not element["noWrap"]}
    colour = element["foreground"] or painter.style("LabelForeground")
    ground, font = painter.ground(element["background"]), element["font"] or DEFAULT_FONT
    shadow = element.get("shadow")
    if shadow:
        x, y, shade = shadow
        shade = shade or BLACK
        back = [place[0] - x, place[1] - y] + place[2:]
        painter.text(font, element["text"], back, shade, ground, **how)
        ground = shade
    painter.text(font, element["text"], place, colour, ground, element.get("border"), **how)


def _scrolling_text(painter, element, place):
    _fill_own(painter, element, place)
    left, top, width, height = place
    font = element["font"] or DEFAULT_FONT
    found = faces(painter.skin, *font)
    page = height // found[0].line_height * found[0].line_height if found else 0
    painter.clip = common(painter.clip, [left, top, width, page])
    painter.text(font, element["text"].rstrip(),
                 [left, top - element["top"], width - 30, element["total"]],
                 element["foreground"] or painter.style("LabelForeground"),
                 painter.ground(element["background"]), halign=element["halign"])
    if element["total"] > page > 0:
        length = max(100 * page // element["total"], 3)
        start = (100 - length) * element["top"] // (element["total"] - page)
        painter.clip = place
        _scrollbar(painter, element, [left + width - SCROLLBAR_WIDTH, top, SCROLLBAR_WIDTH, height],
                   start, length, ground=None)


def _scrollbar(painter, element, place, start, length, ground):
    """A bar whose thumb is so many percent long; a length of 0: without one."""
    look = element["scrollbar"] or {}
    left, top, width, height = place
    if ground:
        painter.fill(place, ground)
    painter.natural(painter.load(look.get("background")), place)
    if length:
        thumb = common([left, top + _percent(start, height), width, _percent(length, height)],
                       place)
        found = painter.load(look.get("picture"))
        if found:
            painter.picture(found, [left, top, found.width, found.height], thumb)
        else:
            painter.fill(thumb, look.get("foreground") or painter.style("LabelForeground"))
    edge = look.get("border")
    if edge is None:
        edge = element["border"][0] if element.get("border") else 1
    painter.frame(place, edge, look.get("borderColor") or painter.style("LabelForeground"))


def _percent(number, whole):
    return -(-number * whole // 100)


def _picture(painter, element, place):
    found = painter.load(element["pixmap"])
    if found:
        solid = "solid" if found.palette or element["scale"] else "seen"
        mode = {"on": solid, "blend": "blend"}.get(element["alphatest"], "all")
        if element["scale"]:
            painter.picture(found, place, place, mode)
        else:
            painter.natural(found, place, mode)
    painter.edge(element, place)


def _bar(painter, element, place):
    _fill_own(painter, element, place)
    left, top, width, height = place
    upright = ("orVertical", "orTopToBottom", "orBottomToTop")
    along = 1 if element.get("orientation") in upright else 0
    found, whole = painter.load(element["pixmap"]), place[2 + along]
    start, end = element["range"] or (0, 0)
    if end > start and element["value"] is not None:
        filled = -(-whole * (element["value"] - start) // (end - start))
    else:
        filled = whole if found else 0
    part = list(place)
    part[2 + along] = filled
    if element.get("orientation") in ("orVertical", "orBottomToTop", "orRightToLeft"):
        part[along] += whole - filled
    if found:
        painter.picture(found, place[:2] + [found.width, found.height], part)
    else:
        painter.fill(part, painter.style("LabelForeground"))
    painter.edge(element, place)


def _television(painter, element, place):
    painter.fill(place, "#ff000000")


# Lists.

def _list(painter, element, place):
    left, top, width, height = place
    mode, rows = element["scrollbarMode"], element["content"]
    index, high = max(0, element["index"] or 0), element["itemHeight"]
    page = height // high
    bar = element["scrollbarWidth"]
    shown = mode == "showAlways" or mode in ("showOnDemand", "showLeft") and len(rows) > page > 0
    shift = bar + 5 if mode == "showLeft" else 0
    if shown or shift:
        width -= bar + 5
        painter.fill([left + (bar if shift else width), top, 5, height],
                     painter.style("ListboxBackground"))
    first = index // page * page if page else 0
    if shown:
        place = [left + (0 if shift else width + 5), top, bar, height]
        _list_bar(painter, element, place, len(rows), first, page)
    whole = painter.clip
    painter.clip = common(whole, [left + shift, top, width, height])
    for number in range(-(-height // high)):
        row = first + number
        _row(painter, element, [left + shift, top + number * high, width, high],
             rows[row] if row < len(rows) else None, row)
    painter.clip = whole


def _list_bar(painter, element, place, count, first, page):
    start = length = 0
    if count and page:
        slots = -(-count // page) * page
        start, length = first * 100 // slots, max(3, -(-page * 100 // slots))
    _scrollbar(painter, element, place, start, length, painter.style("Background"))


def _row(painter, element, place, row, number):
    """One row; its content is None past the end."""
    selected = row is not None and number == element["index"]
    kind = "Selected" if selected else ""
    colour = element["foreground" + kind] or painter.style("Listbox%sForeground" % kind)
    ground = element["background" + kind] or painter.style("Listbox%sBackground" % kind)
    strings = element["template"] is None
    selection = painter.load(element["selectionPixmap"]) if selected else None
    backdrop = painter.load(element["backgroundPixmap"])
    opaque = not element["transparent"]
    if not (strings and selection) if selected else opaque and not backdrop:
        painter.fill(place, ground)
    if backdrop:
        _centred(painter, backdrop, place, "all" if opaque else "seen")
    if selection:
        _centred(painter, selection, place, "seen")
    if strings:
        _string(painter, element, row, place, colour, ground)
    else:
        for entry in entries(element, row):
            _entry(painter, element, entry, row, place, colour, ground, kind, selection)
            if ends_row(entry, row, element["template"]["fonts"], painter.skin["find"]):
                break
    if selected and not element["selectionPixmap"]:
        _border(painter, "bsListboxEntry", place)


def _centred(painter, found, place, mode, clip=None):
    """A Picture at the left of a row, in the middle of its height."""
    top = place[1] + (place[3] - found.height) // 2
    painter.picture(found, [place[0], top, found.width, found.height], clip or place, mode)


def entries(element, row):
    """What a row of a list consists of, from the template or brought along; none if no tuple."""
    if isinstance(row, list):
        return row[1:]
    return element["template"]["entries"] if isinstance(row, tuple) else []


def value_of(entry, row):
    """What an entry shows of its row, which it names by index, or by itself."""
    value = entry["value"]
    if isinstance(value, int):
        return row[value] if 0 <= value < len(row) else None
    return value


def ends_row(entry, row, fonts, find):
    """Do the entries after this one stay blank, for want of its font or picture?"""
    if entry["kind"] == "text":
        return entry["font"] >= len(fonts)
    return (entry["kind"].startswith("pixmap") and entry["value"] is not None
            and _picture_of(entry, row, find) is None)


def _picture_of(entry, row, find):
    """The Picture that an entry shows of its row, or None; find: gives the path of a name."""
    value = value_of(entry, row)
    return picture(find(value) if isinstance(value, str) else getattr(value, "path", None))


def _colour(colour, row):
    """A colour that an entry names, or has its row give: then it is the list [index]."""
    if isinstance(colour, list):
        number = value_of({"value": colour[0]}, row)
        colour = "#%08x" % (number & 0xffffffff) if isinstance(number, int) else None
    return colour


def _string(painter, element, row, place, colour, ground):
    if isinstance(row, tuple):
        if len(row) == 1:
            colour = "#00808080"
        row = row[0] if row else ""
        if row is None:
            painter.fill([place[0], place[1] + (place[3] - 4) // 2, place[2], 4], colour)
            return
    x, y = element.get("textOffset") or (1, 1)
    font = element["font"] or ["Regular", 20]
    painter.text(font, row or "", [place[0] + x, place[1] + y, place[2] - x, place[3] - y],
                 colour, ground, element.get("border"), wrap=False)


def _entry(painter, element, entry, row, place, colour, ground, kind, selection):
    left, top, width, height = entry["rect"]
    inside = [place[0] + left, place[1] + top, width, height]
    whole, painter.clip = painter.clip, common(common(painter.clip, place), inside)
    back = _colour(entry.get("background" + kind), row)
    if back:
        painter.fill(inside, back)
    elif selection and entry["kind"] == "text":
        _centred(painter, selection, place, "seen", inside)
    if entry["kind"] == "text":
        colour = _colour(entry.get("foreground" + kind), row) or colour
        fonts, value = element["template"]["fonts"], value_of(entry, row)
        if entry["font"] < len(fonts) and value is not None:
            _entry_text(painter, fonts[entry["font"]], entry, value, inside, colour, back or ground,
                        element.get("border"))
    elif entry["kind"].startswith("pixmap"):
        _entry_picture(painter, entry, _picture_of(entry, row, painter.skin["find"]), inside)
    painter.clip = whole


def _entry_text(painter, font, entry, words, place, colour, ground, outline):
    if entry.get("border"):
        width, edge = entry["border"]
        painter.frame(place, width, edge or colour)
        left, top, wide, high = place
        place = [left + width, top + width, wide - 2 * width, high - 2 * width]
    words = words if isinstance(words, str) else NOT_A_STRING
    flags = entry["flags"]
    painter.text(font, words, place, colour, ground, outline, wrap=bool(flags & RT_WRAP),
                 halign=HALIGN.get(flags & 15), valign=VALIGN.get(flags & 48))


def _entry_picture(painter, entry, found, place):
    if found is not None:
        solid = "solid" if found.palette or entry["flags"] & (STRETCH | KEEP_SHAPE) else "seen"
        mode = {"pixmap alphatest": solid, "pixmap alphablend": "blend"}.get(entry["kind"], "all")
        painter.picture(found, _in_entry(found, entry["flags"], place), place, mode)


def _in_entry(found, flags, place):
    """Where a picture stands in its entry, and how large."""
    left, top, width, height = place
    wide, high = found.width, found.height
    if flags & KEEP_SHAPE:
        wide, high = min((width, high * width // wide), (wide * height // high, height))
    elif flags & STRETCH:
        wide, high = width, height
    # 16: in the centre, 32: at the right; 64: in the centre, 128: at the bottom.
    left += {16: (width - wide) // 2, 32: width - wide}.get(flags & 48, 0)
    top += {64: (height - high) // 2, 128: height - high}.get(flags & 192, 0)
    return [left, top, wide, high]


_ELEMENTS = {"label": _label, "scroll": _scrolling_text, "list": _list, "picture": _picture,
             "bar": _bar, "television": _television, None: _fill_own}
