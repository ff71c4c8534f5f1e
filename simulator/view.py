"""A screen as plain data (describe) and as text (draw)."""

import os

import skin
import skin_layout
from Screens.MessageBox import MessageBox

WIDTH = 78  # columns of the drawn screen, its frame included
ROWS = 14  # list rows that are drawn at a time
MARKS = {"normal": "[ ]", "info": "[i]", "urgent": "[!]"}
COLOURS = ("red", "green", "yellow", "blue")


def lists(screen):
    """The elements of the screen that are lists, in the order of their making."""
    return [element for element in screen.elements if element.instance.kind in ("list", "strings")]


def rows(element):
    """What a list shows: a dictionary with "text" and "icon" (or None) for each row."""
    found = []
    for row in element.rows():
        cells = _cells(row, element)
        icons = [cell["icon"] for cell in cells if cell["kind"] == "picture"]
        found.append({
            "text": " ".join(cell["text"] for cell in cells if cell["kind"] == "text"),
            "icon": icons[0] if icons else None})
    return found


def _cells(row, element):
    """The cells of a row as they are drawn, what each shows included."""
    if element.instance.kind == "strings":
        size = [element.instance.size().width(), element.instance.itemHeight]
        look = {"kind": "text", "rect": [1, 1] + size, "flags": 0, "value": 0}
        template = {"fonts": [element.look.get("font") or ["Regular", 20]], "entries": [look]}
    elif element.kind == "source":
        template = element.widget.source.template
    else:
        template = dict(element.widget.template(), entries=row[1:])
    cells = []
    for entry in template["entries"]:
        value, flags = entry["value"], entry["flags"]
        if isinstance(value, int) and not (isinstance(row, tuple) and 0 <= value < len(row)):
            break  # the rest of the row stays blank
        content = row[value] if isinstance(value, int) else value
        family, size = template["fonts"][entry.get("font", 0)]
        cell = {"kind": "text" if entry["kind"] == "text" else "picture",
                "position": entry["rect"][:2], "size": entry["rect"][2:],
                "font": {"family": family, "size": size},
                "halign": {2: "right", 4: "center"}.get(flags & 7, "left"),
                "valign": {16: "center", 32: "bottom"}.get(flags & 48, "top")}
        if cell["kind"] == "picture":
            path = getattr(content, "path", content)
            cell["file"] = path and os.path.basename(path)
            cell["icon"] = path and _icon(cell["file"])
        else:
            # The compiled list draws byte strings only.
            cell["text"] = content if isinstance(content, str) else "<not-a-string>"
        cells.append(cell)
    return cells


def _icon(file_name):
    name = os.path.splitext(file_name)[0]
    return name[len("update_"):] if name.startswith("update_") else name


def describe(screen):
    """The screen as plain data, ready to be sent elsewhere: strings, numbers, lists, None.

    name: its class; layout: the skin's screen it is drawn as, None for a blank one;
    title: the window title; elements: in the order of painting, each with "name" and "kind":
    "text" (text), "list" (rows, index), "pages" (lines, page, pages). A message box has
    "seconds" left besides. simulator/page/PROTOCOL.md names what tells where all this is drawn, and
    how. The television picture, None, gives None.
    """
    if screen is None:
        return None
    look = skin_layout.layout(screen)
    style = skin.windowstyle
    family, size = style["title"]["font"]
    elements = sorted(zip(look["elements"], screen.elements), key=lambda both: both[0]["paint"])
    return dict(
        name=type(screen).__name__,
        layout=screen.layout,
        title=screen.getTitle(),
        position=look["rect"][:2], size=look["rect"][2:], scale=1.0,
        background=_colour(look["background"] or style["colors"]["Background"]),
        frame=None if look["flags"] else {"position": style["title"]["offset"],
                                          "font": {"family": family, "size": size}},
        seconds=screen.secondsLeft() if isinstance(screen, MessageBox) else None,
        elements=[_element(look, element) for look, element in elements
                  if look["visible"] and look["draws"] in ("label", "scroll", "list")])


def _element(look, element):
    family, size = look["font"] or ["Regular", 20]
    described = {
        "kind": "text", "name": element.name, "text": look["text"] or "",
        "position": look["final"][:2], "size": look["final"][2:],
        "font": {"family": family, "size": size}, "halign": look["halign"] or "left",
        "valign": look["valign"] or "top",
        "colour": _colour(look["foreground"] or skin.windowstyle["colors"]["LabelForeground"]),
        "background": None if look["transparent"] else _colour(look["background"])}
    if look["draws"] == "list":
        described.update(_list(look, element))
    elif look["draws"] == "scroll":
        page, pages = element.widget.pageNumber()
        described.update(
            kind="pages", lines=element.widget.visibleLines(), page=page, pages=pages,
            scrollbar=[(page - 1.0) / pages, 1.0 / pages] if pages > 1 else None)
    return described


def _list(look, element):
    """A list: all its rows and, as `items`, those that are drawn: the selected one's page."""
    count, index, height = look["rows"], look["index"], look["itemHeight"]
    visible = max(1, look["final"][3] // height)
    first = index // visible * visible
    colours = skin.windowstyle["colors"]
    items = []
    for number, row in enumerate(look["content"][first:first + visible]):
        selected = first + number == index
        items.append({
            "position": [0, number * height], "size": [look["final"][2], height],
            "selected": selected,
            "colour": _colour(look["foregroundSelected"] or colours["ListboxSelectedForeground"])
            if selected else None,
            "background": _colour(look["backgroundSelected"]
                                  or colours["ListboxSelectedBackground"]) if selected else None,
            "cells": _cells(row, element)})
    bar = [float(first) / count, float(len(items)) / count] if count > visible else None
    return {"kind": "list", "rows": rows(element), "index": index, "items": items,
            "scrollbar": bar if look["scrollbarMode"] != "showNever" else None}


def _colour(text):
    """The colour "#aarrggbb", where AA is how transparent it is, as "#rrggbbaa"; None as None."""
    return text and "#%s%02x" % (text[3:], 255 - int(text[1:3], 16))


def draw(screen):
    """Text for what describe() gave: lines joined by line feeds, UTF-8, without a last one."""
    if screen is None:
        return "(television picture)"
    title, keys, body = screen["title"], {}, []
    for element in sorted(screen["elements"], key=lambda one: one["position"][::-1]):
        name = element["name"]
        if name is None:
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
