"""A screen as plain data (describe), as a picture (operations) and as text (draw)."""

import os

import skin
import skin_layout
from Screens.MessageBox import MessageBox
from painting.fonts import faces
from painting.screen import NOT_A_STRING, entries, paint, value_of
from painting.text import measured

WIDTH = 78  # columns of the drawn screen, its frame included
ROWS = 14  # list rows that are drawn at a time
MARKS = {"normal": "[ ]", "info": "[i]", "urgent": "[!]"}
COLOURS = ("red", "green", "yellow", "blue")
KINDS = {"label": "text", "list": "list", "scroll": "pages"}


def rows(look):
    """What a list shows: a dictionary with "text" and "icon" (or None) for each row.

    look: that of the list in a layout.
    """
    own = {"kind": "text", "value": 0}  # of a list of plain texts
    found = []
    for row in look["content"]:
        parts = [(entry["kind"], value_of(entry, row))
                 for entry in (entries(look, row) if look["template"] else [own])]
        icons = [_icon(value) for kind, value in parts if kind != "text" and value]
        found.append({"text": " ".join(_text(value) for kind, value in parts if kind == "text"),
                      "icon": icons[0] if icons else None})
    return found


def _text(value):
    # The compiled list draws byte strings only.
    return value if isinstance(value, str) else "" if value is None else NOT_A_STRING


def _icon(picture):
    name = os.path.splitext(os.path.basename(getattr(picture, "path", picture)))[0]
    return name[len("update_"):] if name.startswith("update_") else name


def describe(screen):
    """The screen as plain data, ready to be sent elsewhere: strings, numbers, lists, None.

    name: its class; layout: the skin's screen it is drawn as, None for a blank one; title: the
    window title; elements: those in sight, in reading order, each with "name", "place" and "kind":
    "text" (text), "list" (rows, index), "pages" (lines, page, pages) or None; a bar has its "value"
    besides. A message box has "seconds" left. The television picture, None, gives None.
    """
    if screen is None:
        return None
    seen = [pair for pair in zip(skin_layout.layout(screen)["elements"], screen.elements)
            if pair[0]["visible"]]
    seen.sort(key=lambda pair: pair[0]["final"][1::-1])  # from the top, then from the left
    return {
        "name": type(screen).__name__,
        "layout": screen.layout,
        "title": screen.getTitle(),
        "seconds": screen.secondsLeft() if isinstance(screen, MessageBox) else None,
        "elements": [_element(*pair) for pair in seen]}


def _element(look, element):
    described = {"name": look["name"], "kind": KINDS.get(look["draws"]), "place": look["final"]}
    if described["kind"] == "list":
        described.update(rows=rows(look), index=look["index"])
    elif described["kind"] == "pages":
        page, pages = element.widget.pageNumber()
        described.update(lines=element.widget.visibleLines(), page=page, pages=pages)
    elif described["kind"] == "text":
        described["text"] = look["text"] or ""
    elif look["draws"] == "bar":
        described["value"] = look["value"]
    return described


def readable(value):
    """The same plain data, with its byte strings as text: what is not UTF-8 is replaced."""
    if isinstance(value, str):
        return value.decode("utf-8", "replace")
    if isinstance(value, dict):
        return dict((name, readable(part)) for name, part in value.items())
    if isinstance(value, (list, tuple)):
        return [readable(part) for part in value]
    return value


def operations(screen):
    """What paints the screen: see painting/screen.py. Nothing paints the television picture."""
    return [] if screen is None else paint(skin_layout.layout(screen), skin.described())


def typeset(text, font, width):
    """As enigma.typeset_evenly, in the skin's own fonts."""
    return measured(faces(skin.described(), *font), text, width)


def draw(screen):
    """Text for what describe() gave: lines joined by line feeds, UTF-8, without a last one."""
    if screen is None:
        return "(television picture)"
    title, keys, body = screen["title"], {}, []
    for element in screen["elements"]:
        name = element["name"]
        if name is None or element["kind"] is None:
            continue
        if name == "title":
            title = element["text"]
        elif name.startswith("key_"):
            keys[name[len("key_"):]] = element["text"]
        elif element["kind"] == "list":
            body += _draw_list(element)
        elif element["kind"] == "pages":
            body += element["lines"] if any(element["lines"]) else []
            if element["pages"] > 1:
                body.append("(page %d of %d)" % (element["page"], element["pages"]))
        elif element["text"]:
            body += element["text"].rstrip("\n").split("\n") + [""]
    if not screen["elements"]:
        body.append("(the skin has no screen for this)")
    if screen["seconds"] is not None:
        body.append("(closes in %d s)" % screen["seconds"])
    edge = "+" + "-" * (WIDTH - 2) + "+"
    lines = [edge, _boxed(title), edge] + [_boxed(line) for line in body] + [edge]
    if keys:
        lines += [_boxed("   ".join("(%s) %s" % (colour, keys[colour])
                                    for colour in COLOURS if keys.get(colour, "").strip())), edge]
    return "\n".join(lines)


def _draw_list(element):
    count, index = len(element["rows"]), element["index"]
    if not count:
        return ["(nothing in the list)"] if element["name"] != "list" else []
    first = max(0, min((index or 0) - ROWS // 2, count - ROWS))
    lines = []
    for number, row in enumerate(element["rows"]):
        if first <= number < first + ROWS:
            cursor = ">" if number == index else " "
            mark = MARKS.get(row["icon"], "") + " " if row["icon"] else ""
            lines.append("%s %s%s" % (cursor, mark, row["text"]))
    if count > ROWS:
        lines.append("(row %d of %d)" % ((index or 0) + 1, count))
    return lines


def _boxed(text):
    room = WIDTH - 4
    text = text.decode("utf-8", "replace").replace(u"\n", u" ")
    if len(text) > room:
        text = text[:room - 1] + u"\u2026"
    return "| %s |" % text.ljust(room).encode("utf-8")
