"""Makes rows of a list what a template, a Python dictionary in the skin, says."""

import functools

import skin
from Components.Converter.Converter import Converter
from painting.screen import ends_row


class MemoryFault(RuntimeError):
    """What ends the GUI without a traceback on a receiver."""


class TemplatedMultiContent(Converter):

    def __init__(self, arguments):
        Converter.__init__(self, arguments)
        template = eval(arguments, dict(_NAMES))
        fonts = template["fonts"]
        if "template" in template:
            style = template["itemHeight"], template["template"]
        else:
            style = template["templates"]["default"]
        self.template = {
            "itemHeight": style[0], "entries": list(style[1]),
            "fonts": [list(font) for font in fonts],
            "scrollbarMode": style[3] if len(style) > 3 else None}

    def lead(self, renderer):
        """The first list box that renders a list keeps its index; others follow it."""
        self.source.master = self.source.master or renderer
        renderer.setIndex(self.source.getIndex())

    def detach(self):
        if self.source is not None:
            self.source.master = None
        Converter.detach(self)

    def select(self, index):
        for renderer in self.renderers:
            renderer.setIndex(index)

    def moved(self, index):
        """A key has moved the selection."""
        self.source.setIndex(index)

    def paint(self):
        """The rows are painted: a text that lies past a row's end is a memory fault."""
        for row in self.source.list:
            for entry in self.template["entries"] if isinstance(row, tuple) else []:
                index = entry["value"]
                if (entry["kind"] == "text" and isinstance(index, int)
                        and not 0 <= index < len(row)):
                    raise MemoryFault("the skin's template shows text %d of a row with %d parts: "
                                      "there the GUI crashes" % (index, len(row)))
                if ends_row(entry, row, self.template["fonts"], skin.path_of):
                    break

    def changed(self):
        self.source.list  # what is no list has none
        Converter.changed(self)


def _entry(kind, pos=(0, 0), size=(0, 0), font=0, flags=None, text=None, png=None, color=None,
           color_sel=None, backcolor=None, backcolor_sel=None, border_width=None,
           border_color=None, **others):
    is_text = kind == "text"
    entry = {"kind": kind, "rect": list(pos) + list(size),
             "flags": (1 if is_text else 0) if flags is None else flags,
             "value": text if is_text else others.get("percent") if "progress" in kind else png}
    if is_text:
        entry["font"] = font
    for name, colour in (("foreground", color), ("foregroundSelected", color_sel),
                         ("background", backcolor), ("backgroundSelected", backcolor_sel)):
        if colour is not None:
            entry[name] = _colour(colour)
    if border_width:
        entry["border"] = [border_width, _colour(border_color)]
    return entry


def _colour(value):
    """A colour of a template: a number, its "#..." or name, or a part of the row, [index]."""
    if isinstance(value, str):
        return skin.parse_colour(value)
    return value if value is None or isinstance(value, list) else "#%08x" % (value & 0xffffffff)


_NAMES = {
    "gFont": lambda family, size: (family, size),
    "MultiContentTemplateColor": lambda index: [index],
    "RT_HALIGN_LEFT": 1, "RT_HALIGN_RIGHT": 2, "RT_HALIGN_CENTER": 4, "RT_HALIGN_BLOCK": 8,
    "RT_VALIGN_TOP": 0, "RT_VALIGN_CENTER": 16, "RT_VALIGN_BOTTOM": 32, "RT_WRAP": 64}
_NAMES.update(("MultiContentEntry" + name, functools.partial(_entry, kind)) for name, kind in [
    ("Text", "text"), ("Pixmap", "pixmap"), ("PixmapAlphaTest", "pixmap alphatest"),
    ("PixmapAlphaBlend", "pixmap alphablend"), ("Progress", "progress"),
    ("ProgressPixmap", "progress pixmap")])
