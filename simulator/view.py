"""A screen as plain data (describe) and as text (draw)."""

import os

from Components.Renderer.Listbox import Listbox
from Components.ScrollLabel import ScrollLabel
from Screens.MessageBox import MessageBox

WIDTH = 78  # columns of the drawn screen, its frame included
ROWS = 14  # list rows that are drawn at a time
MARKS = {"normal": "[ ]", "info": "[i]", "urgent": "[!]"}
COLOURS = ("red", "green", "yellow", "blue")


def lists(screen):
    """The List sources that the skin renders, in its order."""
    return [screen[name] for name, renderer in screen.renderers if isinstance(renderer, Listbox)]


def rows(source):
    """What a rendered List shows: a dictionary with "text" and "icon" (or None) for each row."""
    template = source.master.template
    return [_row(row, template) for row in source.list]


def _row(row, template):
    texts = [row[entry["text"]] for entry in template if entry["kind"] == "text"]
    pixmaps = [row[entry["png"]] for entry in template if entry["kind"] == "pixmap"]
    # The compiled list draws byte strings only.
    text = " ".join(text if isinstance(text, str) else "<not-a-string>" for text in texts)
    return {"text": text, "icon": _icon(pixmaps[0]) if pixmaps else None}


def _icon(pixmap):
    if pixmap is None:
        return None
    name = os.path.splitext(os.path.basename(pixmap.path))[0]
    return name[len("update_"):] if name.startswith("update_") else name


def describe(screen):
    """The screen as plain data, ready to be sent elsewhere: strings, numbers, lists, None.

    name: its class; layout: the skin's screen it is drawn as, None for a blank one;
    title: the window title; elements: in the skin's order, each with "name" and "kind":
    "text" (text), "list" (rows, index), "pages" (lines, page, pages). A message box has
    "seconds" left besides. The television picture, None, gives None.
    """
    if screen is None:
        return None
    return {
        "name": type(screen).__name__,
        "layout": screen.layout,
        "title": screen.getTitle(),
        "seconds": screen.secondsLeft() if isinstance(screen, MessageBox) else None,
        "elements": [dict(_element(screen[name], renderer), name=name)
                     for name, renderer in screen.renderers],
    }


def _element(component, renderer):
    if isinstance(renderer, Listbox):
        return {"kind": "list", "rows": rows(component), "index": component.getIndex()}
    if isinstance(component, ScrollLabel):
        page, pages = component.pageNumber()
        return {"kind": "pages", "lines": component.visibleLines(), "page": page, "pages": pages}
    return {"kind": "text", "text": component.getText()}


def draw(screen):
    """Text for what describe() gave: lines joined by line feeds, UTF-8, without a last one."""
    if screen is None:
        return "(television picture)"
    title, keys, body = screen["title"], {}, []
    for element in screen["elements"]:
        name = element["name"]
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
