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
    """The elements of the screen that are lists, in the skin's order."""
    return [element for element in screen.elements if isinstance(element.widget, Listbox)]


def rows(element):
    """What a list shows: a dictionary with "text" and "icon" (or None) for each row."""
    found = []
    for row in element.widget.source.list:
        cells = _cells(row, element.look["rows"]["cells"])
        icons = [cell["icon"] for cell in cells if cell["kind"] == "picture"]
        found.append({
            "text": " ".join(cell["text"] for cell in cells if cell["kind"] == "text"),
            "icon": icons[0] if icons else None})
    return found


def _cells(row, looks):
    """The cells of a row as they are drawn, what each shows included."""
    cells = []
    for look in looks:
        cell = dict(look)
        content = row[cell.pop("index")]
        if cell["kind"] == "picture":
            cell["file"] = content and os.path.basename(content.path)
            cell["icon"] = content and _icon(cell["file"])
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
    title: the window title; elements: in the skin's order, each with "name" and "kind":
    "text" (text), "list" (rows, index), "pages" (lines, page, pages). A message box has
    "seconds" left besides. simulator/page/PROTOCOL.md names what tells where all this is drawn, and
    how. The television picture, None, gives None.
    """
    if screen is None:
        return None
    return dict(
        screen.look or {},
        name=type(screen).__name__,
        layout=screen.layout,
        title=screen.getTitle(),
        seconds=screen.secondsLeft() if isinstance(screen, MessageBox) else None,
        elements=[_element(screen, element) for element in screen.elements])


def _element(screen, element):
    described = dict(element.look, name=element.name, kind="text")
    component = screen.get(element.name)
    if isinstance(element.widget, Listbox):
        described.update(_list(element))
    elif isinstance(component, ScrollLabel):
        page, pages = component.pageNumber()
        described.update(
            kind="pages", lines=component.visibleLines(), page=page, pages=pages,
            scrollbar=[(page - 1.0) / pages, 1.0 / pages] if pages > 1 else None)
    elif component is not None:
        described["text"] = component.getText()
    return described


def _list(element):
    """A list: all its rows and, as `items`, those that are drawn: the selected one's page."""
    look, place = element.look["rows"], element.look["size"]
    index, source = element.widget.getIndex(), element.widget.source.list
    count, visible = len(source), place[1] // look["height"]
    first = index // visible * visible
    items = []
    for number, row in enumerate(source[first:first + visible]):
        selected = first + number == index
        items.append({
            "position": [0, number * look["height"]], "size": [place[0], look["height"]],
            "selected": selected, "colour": look["colour"] if selected else None,
            "background": look["background"] if selected else None,
            "cells": _cells(row, look["cells"])})
    bar = [float(first) / count, float(len(items)) / count] if count > visible else None
    return {"kind": "list", "rows": rows(element), "index": index, "items": items,
            "scrollbar": bar if look["scrollbar"] else None}


def draw(screen):
    """Text for what describe() gave: lines joined by line feeds, UTF-8, without a last one."""
    if screen is None:
        return "(television picture)"
    title, keys, body = screen["title"], {}, []
    for element in screen["elements"]:
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
