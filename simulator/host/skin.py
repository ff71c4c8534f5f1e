"""The active skin: which elements each of its screens shows, and how."""

import os
from xml.etree import cElementTree

from Components.Renderer.Label import Label
from Components.Renderer.Listbox import Listbox

RENDERERS = {"Label": Label, "Listbox": Listbox}

dom_screens = {}  # name of the screen: its element


def loadSkin(name, scope=None):
    """Add the screens of the skin file `name` to those known, in place of older ones."""
    for screen in cElementTree.parse(name).getroot().findall("screen"):
        dom_screens[screen.get("name")] = screen


def loadDefaultSkin(leave_out=()):
    """Start afresh with the host's own skin, without the screens named in `leave_out`."""
    dom_screens.clear()
    loadSkin(os.path.join(os.path.dirname(os.path.abspath(__file__)), "skin.xml"))
    for name in leave_out:
        dom_screens.pop(name, None)


def applySkin(screen):
    """Make the widgets of `screen` as the first known name of its `skinName` has them.

    Sets screen.layout, the name found. With none found the screen stays blank, and elements
    that the skin names but the screen lacks are passed over: on receivers too both only leave
    a line in the log.
    """
    names = screen.skinName
    if not isinstance(names, list):
        names = [names]
    known = [name for name in names if name in dom_screens]
    if not known:
        return
    screen.layout = known[0]
    for widget in dom_screens[known[0]].findall("widget"):
        name, source = widget.get("name"), widget.get("source")
        if source in screen:
            renderer = RENDERERS[widget.get("render")](_template(widget))
            screen.renderers.append((source, renderer))
            renderer.connect(screen[source])
        elif name in screen:
            screen.renderers.append((name, screen[name]))
            screen[name].GUIcreate()


def _template(widget):
    """What a list row shows: entries as dictionaries with "kind" and the template's arguments."""
    for convert in widget.findall("convert"):
        if convert.get("type") == "TemplatedMultiContent":
            return eval(convert.text.strip(), dict(_TEMPLATE_NAMES))["template"]
    return [dict(kind="text", text=0)]


_TEMPLATE_NAMES = {
    "MultiContentEntryText": lambda **entry: dict(entry, kind="text"),
    "MultiContentEntryPixmapAlphaTest": lambda **entry: dict(entry, kind="pixmap"),
    "gFont": lambda family, size: (family, size),
    "RT_HALIGN_LEFT": 0,
    "RT_VALIGN_CENTER": 16,
}
