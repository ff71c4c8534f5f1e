"""The active skin: what each of its screens shows, where it stands and how it looks.

A screen gets its layout here: once when it opens, and anew when the skin or the picture's size
changes. Positions and sizes are pairs in pixels, colours are as CSS has them.
"""

import os
from xml.etree import cElementTree

import enigma
from Components.Renderer.Label import Label
from Components.Renderer.Listbox import Listbox
from Components.Renderer.Renderer import Renderer

RENDERERS = {"Label": Label, "Listbox": Listbox}

dom_screens = {}  # name of the screen: its XML element
_widths = {}  # XML element of a screen: the width of the picture that its numbers are meant for
_window = {}  # of the window style: "title" (its XML element), and colours by name


class Element(object):
    """One element of a screen that has its layout.

    name: of the screen's source or component, None for decoration. widget: what draws that: a
    renderer or the component itself, None for decoration. look: its place and style, a dictionary.
    """

    def __init__(self, name, widget, look):
        self.name, self.widget, self.look = name, widget, look


# Loading.

def loadSkin(name, scope=None):
    """Add the screens of the skin file `name` to those known, in place of older ones."""
    root = cElementTree.parse(name).getroot()
    resolution = root.find("output/resolution")
    for screen in root.findall("screen"):
        dom_screens[screen.get("name")] = screen
        _widths[screen] = _width() if resolution is None else int(resolution.get("xres"))
    for style in root.findall("windowstyle"):
        _window["title"] = style.find("title")
        for colour in style.findall("color"):
            _window[colour.get("name")] = _colour(colour.get("color"))


def loadDefaultSkin():
    """Start afresh with the host's own skin."""
    dom_screens.clear()
    _widths.clear()
    loadSkin(os.path.join(os.path.dirname(os.path.abspath(__file__)), "skin.xml"))


# Layout.

def applySkin(screen):
    """Make the widgets of `screen` as the first known name of its `skinName` has them.

    Sets screen.layout, the name found, screen.look and screen.elements. With none found the screen
    stays blank, and elements that the skin names but the screen lacks are passed over: on receivers
    too both only leave a line in the log.
    """
    names = screen.skinName if isinstance(screen.skinName, list) else [screen.skinName]
    screen.layout = ([name for name in names if name in dom_screens] + [None])[0]
    screen.look, screen.elements = None, []
    if screen.layout is None:
        return
    skin = dom_screens[screen.layout]
    screen.look = _screen_look(skin, _widths[skin])
    for part in skin:
        source, name = part.get("source"), part.get("name")
        look = _look(part, screen.look["size"])
        if source in screen:
            renderer = RENDERERS[part.get("render")]()
            screen.elements.append(Element(source, renderer, look))
            renderer.connect(screen[source])
        elif name in screen:
            screen.elements.append(Element(name, screen[name], look))
            screen[name].GUIcreate()
        elif part.tag == "eLabel":
            screen.elements.append(Element(None, None, look))


def applySkinAnew(screen):
    """Lay the open `screen` out as the skin is now; lists keep their selection."""
    selected = {}
    for element in screen.elements:
        if isinstance(element.widget, Listbox):
            selected[element.name] = element.widget.getIndex()
        if isinstance(element.widget, Renderer):
            element.widget.source.renderers.remove(element.widget)
            element.widget.disconnect()
        elif element.widget is not None:
            element.widget.destroy()
    applySkin(screen)
    for element in screen.elements:
        if element.name in selected:
            element.widget.setIndex(selected[element.name])
        if isinstance(element.widget, Renderer) and screen.execing:
            element.widget.execBegin()


def _width():
    """The width of the picture."""
    return enigma.getDesktop(0).size().width()


def _screen_look(skin, width):
    """The look of a whole screen; it is meant for a picture of this width, and drawn to `scale`."""
    title = _window["title"]
    bordered = skin.get("flags") != "wfNoBorder"
    return dict(
        _place(skin, (width, width * 9 // 16)),
        scale=_width() / float(width),
        background=_colour(skin.get("backgroundColor")) or _window["Background"],
        frame={"position": _pair(title.get("offset")), "font": _font(title.get("font"))}
        if bordered else None)


def _place(part, outer):
    """Position and size of a part of what has the size `outer`: the picture or a screen."""
    size = _pair(part.get("size"))
    return {"position": _pair(part.get("position"), size, outer), "size": size}


def _look(part, outer):
    """The look of an element in a screen of the size `outer`."""
    transparent = part.get("transparent") == "1"
    look = dict(
        _place(part, outer),
        text=part.get("text", ""),
        font=_font(part.get("font", "Regular;20")),
        halign=part.get("halign", "left"),
        valign=part.get("valign", "top"),
        colour=_colour(part.get("foregroundColor")) or _window["Foreground"],
        background=None if transparent else _colour(part.get("backgroundColor")))
    template = part.find("convert[@type='TemplatedMultiContent']")
    if template is not None:
        look["rows"] = dict(
            _rows_look(eval(template.text.strip(), dict(_TEMPLATE_NAMES))),
            colour=_colour(part.get("foregroundColorSelected")),
            background=_colour(part.get("backgroundColorSelected")),
            scrollbar=part.get("scrollbarMode") == "showOnDemand")
    return look


def _rows_look(template):
    """How high a list's rows are, and their cells, each with the index of its part of a row."""
    cells = []
    for kind, entry in template["template"]:
        flags = entry.get("flags", 0)
        cells.append({
            "kind": kind, "index": entry["text" if kind == "text" else "png"],
            "position": entry["pos"], "size": entry["size"],
            "font": template["fonts"][entry.get("font", 0)],
            "halign": _HALIGN[flags & 7], "valign": _VALIGN[flags & 48]})
    return {"height": template["itemHeight"], "cells": cells}


_HALIGN = {0: "left", 1: "left", 2: "right", 4: "center"}
_VALIGN = {0: "top", 16: "center", 32: "bottom"}
_TEMPLATE_NAMES = {
    "MultiContentEntryText": lambda **entry: ("text", entry),
    "MultiContentEntryPixmapAlphaTest": lambda **entry: ("picture", entry),
    "gFont": lambda family, size: {"family": family, "size": size},
    "RT_HALIGN_LEFT": 1,
    "RT_HALIGN_RIGHT": 2,
    "RT_HALIGN_CENTER": 4,
    "RT_VALIGN_CENTER": 16,
    "RT_VALIGN_BOTTOM": 32,
}


def _pair(text, inner=(0, 0), outer=(0, 0)):
    """The two numbers of "x,y"; "center" centres `inner` in `outer`."""
    return [(room - own) // 2 if part.strip() == "center" else int(part)
            for part, own, room in zip(text.split(","), inner, outer)]


def _font(text):
    """The font that is called "Regular;22"."""
    family, size = text.split(";")
    return {"family": family, "size": int(size)}


def _colour(text):
    """The colour "#AARRGGBB", where AA is how transparent it is, as "#rrggbbaa"; None as None."""
    if text is None:
        return None
    number = int(text[1:], 16)
    return "#%06x%02x" % (number & 0xffffff, 255 - (number >> 24))
