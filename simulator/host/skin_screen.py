"""How a screen becomes its layout of the loaded skin: places, conditions, elements, attributes."""

from xml.etree import ElementTree

import enigma
import skin
from Components.GUIComponent import GUIComponent
from painting.pictures import picture

_FILES = ("pixmap", "backgroundPixmap", "selectionPixmap", "sliderPixmap", "scrollbarSliderPicture",
          "scrollbarbackgroundPixmap", "scrollbarBackgroundPicture")
#: Known to the host, but invisible or already dealt with.
_SILENT = ("conditional", "objectTypes", "source", "name", "position", "size")


class Element(object):
    """One element of a screen that has its layout.

    dom: what stands in the skin. kind: "source", "widget", "eLabel" or "ePixmap". name: of the
    source or component. widget: what draws that, a renderer or the component itself, None for
    decoration; instance: its compiled widget. look: what the skin says of it. log: lines of the
    host about its attributes. render, converters: the renderer's name and [name, text] of each
    converter of a source.
    """

    def __init__(self, dom, kind, name, widget, attributes, render=None, converters=()):
        self.dom, self.kind, self.name, self.widget = dom, kind, name, widget
        self.attributes = attributes
        self.render, self.converters = render, list(converters)
        self.instance, self.look, self.log = None, {}, []

    def rows(self):
        """The rows of a list, as the compiled one gets them."""
        return self.widget.source.list if self.kind == "source" else self.widget.rows()

    def release(self):
        """A renderer no longer follows its source."""
        if self.kind == "source":
            self.widget.detach()


class _Area(object):
    """A rectangle in which elements find their places; docked ones take their part of it."""

    def __init__(self, x, y, width, height, stacked=False):
        self.x, self.y, self.width, self.height = x, y, width, height
        self.stacked = stacked

    def place(self, position, size, font=None):
        """Position and size, pairs, of what has these texts."""
        if position == "fill":
            found = (self.x, self.y), (self.width, self.height)
            if not self.stacked:
                self.width = self.height = 0
            return found
        across, down = size.split(",")
        width = skin.coordinate(across, self.width, 0, font)
        height = skin.coordinate(down, self.height, 0, font)
        if position in ("top", "bottom"):
            y = self.y if position == "top" else self.y + self.height - height
            found = (self.x, y), (self.width, height)
            if not self.stacked:
                self.y += height if position == "top" else 0
                self.height -= height
        elif position in ("left", "right"):
            x = self.x if position == "left" else self.x + self.width - width
            found = (x, self.y), (width, self.height)
            if not self.stacked:
                self.x += width if position == "left" else 0
                self.width -= width
        else:
            across, down = position.split(",")
            found = (self.x + skin.coordinate(across, self.width, width, font),
                     self.y + skin.coordinate(down, self.height, height, font)), (width, height)
        return found


class _Reader(object):
    """Reads one screen of the skin for `screen`, an object."""

    def __init__(self, screen, name, dom):
        self.screen, self.name = screen, name
        self.sources, self.widgets, self.decoration = [], {}, []
        left, top, right, bottom = skin.margins
        width, height = enigma.getDesktop(0).pair()
        area = _Area(left, top, width - left - right, height - top - bottom, stacked=True)
        self._window = width, height  # in which a size without a position is worked out
        self._within = [name]  # the screens that are being read, panels in it
        self.attributes = {"position": (0, 0), "size": (width, height)}  # until read, or if wrong
        with skin.blame("place", dom, go_on=True):
            self.attributes = self._collect(dom, area)
        inner = _Area(0, 0, None, None)
        if "position" in dom.attrib:
            inner.width, inner.height = self.attributes["size"]
        self._window = self.attributes.get("size", (0, 0))
        try:
            self._children(dom, inner)
        except Exception as e:
            skin.say("[Skin] Error in %s: %s" % (name, e), screen.log)

    def _children(self, dom, area):
        for part in dom:
            names = part.get("conditional")
            if names and not any(name in self.screen for name in names.split(",")):
                continue
            key, _, classes = part.get("objectTypes", "").partition(",")
            if classes and (key not in self.screen or
                            type(self.screen[key]).__name__ not in classes.split(",")):
                continue
            read = self._KINDS.get(part.tag)
            if read is None:
                skin.note("element", part)
                continue
            with skin.blame("rest", part, go_on=True):
                try:
                    read(self, part, area)
                except skin.SkinError as e:
                    skin.say("[Skin] Error in screen '%s' widget '%s': %s"
                             % (self.name, part.tag, e), self.screen.log)
                    skin.note("element", getattr(e, "blamed", (None, part))[1], e)

    def _widget(self, part, area):
        name, source = part.get("name"), part.get("source")
        if name:
            if name not in self.screen:
                raise skin.SkinError("component with name '%s' was not found in skin of screen "
                                     "'%s'!" % (name, self.name))
            if not isinstance(self.screen[name], GUIComponent):
                skin.note("element", part)
            elif name in self.widgets:
                skin.note("twice", self.widgets[name][0])
            self.widgets[name] = part, self._collect(part, area)
        elif source:
            self._source(part, area, source)
        else:
            raise skin.SkinError("widget has no name and no source!")

    def _source(self, part, area, name):
        source = self._find_source(name)
        render = part.get("render")
        if not render:
            raise skin.SkinError("you must define a renderer with render= for source '%s'!" % name)
        converters = []
        for convert in part.findall("convert"):
            kind, text = convert.get("type"), (convert.text or "").strip()
            converters.append([kind, text])
            with skin.blame("converter", convert):
                source = _converted(source, kind, text)
        with skin.blame("renderer", part):
            renderer = _component("Renderer", render)()
        renderer.connect(source)
        getattr(source, "connected", lambda: None)()
        try:
            attributes = self._collect(part, area)
        except Exception:
            renderer.detach()
            raise
        del attributes["render"]
        self.sources.append(
            Element(part, "source", name, renderer, attributes, render, converters))

    def _find_source(self, name):
        screen, parts = self.screen, name.split(".")
        for related in parts[:-1]:
            screen = screen.getRelatedScreen(related)
            if screen is None:
                raise skin.SkinError("specified related screen '%s' was not found in screen '%s'!"
                                     % (name, self.name))
        source = screen.get(parts[-1])
        if source is None:
            raise skin.SkinError("source '%s' was not found in screen '%s'!" % (name, self.name))
        return source

    def _decoration(self, part, area):
        self.decoration.append(Element(part, part.tag, None, None, self._collect(part, area)))

    def _panel(self, part, area):
        name = part.get("name")
        if name in skin.dom_screens:
            if skin.faults is not None and name in self._within:
                # At once, not after a thousand levels.
                raise RuntimeError("maximum recursion depth exceeded")
            self._within.append(name)
            self._children(skin.dom_screens[name], area)
            self._within.pop()
        elif name:
            skin.say("[Skin] Unable to find screen '%s' referred in screen '%s'!"
                     % (name, self.name), self.screen.log)
            skin.note("element", part)
        place = (None, None), (None, None)
        if "position" in part.attrib:
            with skin.blame("place", part):
                place = area.place(part.get("position"), part.get("size"), part.get("font"))
        self._children(part, _Area(*(place[0] + place[1]), stacked=part.get("layout") == "stack"))

    def _applet(self, part, area):
        try:
            code = compile((part.text or "").strip().replace("\r\n", "\n"), "skin applet", "exec")
        except Exception as e:
            raise skin.SkinError("applet failed to compile: %s" % e)
        if part.get("type") != "onLayoutFinish":
            raise skin.SkinError("applet type '%s' unknown!" % part.get("type"))
        self.screen.applets.append((code, part))

    _KINDS = {"widget": _widget, "eLabel": _decoration, "ePixmap": _decoration, "panel": _panel,
              "applet": _applet}

    def _collect(self, part, area):
        """The attributes as they are applied: files found, places in numbers."""
        values = dict(part.items())
        folder = getattr(self.screen, "skin_path", None)
        for name in _FILES:
            if name in values:
                values[name] = skin.find(values[name], folder)
        for name in ("pointer", "seek_pointer"):
            if name in values:
                path, place = values[name].split(":")
                values[name] = skin.find(path, folder), place
        size, position = values.get("size"), values.get("position")
        with skin.blame("place", part):
            if position is not None:
                values["position"], values["size"] = area.place(position, size, values.get("font"))
            elif size is not None:
                values["size"] = tuple(skin.coordinate(text, extent, 0, values.get("font"))
                                       for text, extent in zip(size.split(","), self._window))
        return values


# What shows sources.

def _component(package, name):
    """The class of a renderer or converter, as the host imports it."""
    name = str(name)
    try:
        return getattr(_module(package, name), name)
    except ImportError:
        base = _module(package, package)
        kind = base.OTHERS.get(name)
        if kind is None:
            if skin.stand_ins is None:
                raise ImportError("No module named %s" % name)
            skin.stand_ins.add("%s %s" % (package, name))
            kind = base.StandIn
        return type(name, (kind,), {})


def _module(package, name):
    return __import__("Components.%s.%s" % (package, name), fromlist=[name])


def _converted(source, kind, text):
    """`source` behind such a converter; widgets that ask for the same share it."""
    if not kind:
        raise AssertionError("'convert'-tag needs a 'type'-attribute")
    made = _component("Converter", kind)
    for other in source.renderers:
        if type(other).__name__ == kind and other.arguments == text:
            return other
    converter = made(text)
    converter.connect(source)
    return converter


# Attributes: name: (key of the look, kinds of compiled widgets that know it, how its text is read).

def _one_of(*words, **options):
    def read(text):
        if text not in words:
            if options.get("fatal"):
                raise KeyError(text)
            raise _Logged(options.get("line"))
        return text
    read.words = words
    return read


class _Logged(Exception):
    """The attribute is lost; the line, if any, replaces the usual one."""


def named_picture(path):
    if not path.endswith((".png", ".jpg")):
        raise RuntimeError("the picture %s has another ending than .png and .jpg" % path)
    if picture(path) is None:
        raise skin.SkinError("pixmap file %s not found!" % path)
    return skin.from_share(path)


def _integers(text):
    return [max(0, int(number)) for number in text.split(",")]


def _given(text):
    return True


_ALL = "label scroll list strings picture slider gauge television other window"
_TEXTS, _LISTS, _BARS = "label scroll", "list strings", "list strings scroll"
_EDGES = "label scroll list strings picture slider"
_COLOUR = skin.parse_colour
ATTRIBUTES = {
    "transparent": ("transparent", _ALL, lambda text: bool(int(text))),
    "backgroundColor": ("background", _ALL, _COLOUR),
    "foregroundColor": ("foreground", _BARS + " label", _COLOUR),
    "foregroundColorSelected": ("foregroundSelected", _LISTS, _COLOUR),
    "backgroundColorSelected": ("backgroundSelected", _LISTS, _COLOUR),
    "sliderPixmap": ("scrollbarSliderPicture", _BARS, named_picture),
    "scrollbarbackgroundPixmap": ("scrollbarBackgroundPicture", _BARS, named_picture),
}
ATTRIBUTES.update((name, (name, kinds, read)) for names, kinds, read in [
    ("zPosition", _ALL, int),
    ("font", _BARS + " label", skin.parse_font),
    ("secondfont", "strings", skin.parse_font),
    ("textOffset", "strings", _integers),
    ("halign", _TEXTS, _one_of("left", "center", "right", "block",
                               line="halign must be either left, center, right or block!")),
    ("valign", _TEXTS, _one_of("top", "center", "bottom",
                               line="valign must be either top, center or bottom!")),
    ("noWrap", _TEXTS, _given),
    ("text", _TEXTS, lambda text: _(text)),
    ("title", "window", lambda text: _(text)),
    ("flags", "window", lambda text: [word.strip() for word in text.split(",")]),
    ("borderColor", _EDGES, _COLOUR),
    ("borderWidth", _EDGES, int),
    ("shadowColor", _TEXTS, _COLOUR),
    ("shadowOffset", _TEXTS, _integers),
    ("pixmap", "picture slider", named_picture),
    ("pixmaps", "picture", lambda text: text.split(",")),
    ("alphatest", "picture", _one_of("on", "off", "blend", fatal=True)),
    ("scale", "picture", _given),
    ("itemHeight", _LISTS, int),
    ("scrollbarMode", _LISTS, _one_of("showOnDemand", "showAlways", "showNever", "showLeft")),
    ("scrollbarWidth scrollbarSliderBorderWidth", _BARS, int),
    ("scrollbarSliderForegroundColor scrollbarSliderBorderColor", _BARS, _COLOUR),
    ("scrollbarSliderPicture scrollbarBackgroundPicture", _BARS, named_picture),
    ("selectionPixmap backgroundPixmap", _LISTS, named_picture),
    ("enableWrapAround selectionDisabled", _LISTS, _given),
    ("orientation", "slider", _one_of(
        "orVertical", "orTopToBottom", "orBottomToTop", "orHorizontal", "orLeftToRight",
        "orRightToLeft")),
    ("pointer seek_pointer", "gauge", lambda found: found),
    ("split colposition", "scroll", int),
    ("dividechar", "scroll", str),
] for name in names.split())


def _apply(instance, dom, attributes, look, log):
    """Give a compiled widget its attributes; the place is the last of them."""
    for name, text in attributes.items():
        if name in _SILENT:
            continue
        key, kinds, read = ATTRIBUTES.get(name, (None, "", None))
        known = instance.kind in kinds.split()
        with skin.blame("screen", dom, name, go_on=True):
            try:
                if not known:
                    raise _Logged(None)
                look[key] = read(text.encode("utf-8") if isinstance(text, unicode)  # noqa: F821
                                 else text)
            except (_Logged, skin.SkinError) as e:
                line = ("[Skin] Error: %s" % e if isinstance(e, skin.SkinError) else e.args[0] or
                        "[Skin] Attribute not implemented: %s value: %s" % (name, text))
                skin.say(line, log)
                skin.note("attribute" if known else "unknown", dom, line, name)
    with skin.blame("screen", dom, "size", go_on=True):
        if attributes.get("position") is not None:
            instance.move(enigma.ePoint(*attributes["position"]))
        if attributes.get("size") is not None:
            instance.resize(enigma.eSize(*attributes["size"]))
    look["rect"] = instance.rect()
    instance.skinned(look)


# The whole.

def applySkin(screen):
    """Make the widgets of `screen` as the first known name of its `skinName` has them.

    Sets screen.layout, the name found, or None: then the window is empty and has no size.
    """
    names = screen.skinName if isinstance(screen.skinName, list) else [screen.skinName]
    screen.layout = ([name for name in names if name in skin.dom_screens] + [None])[0]
    screen.elements, screen.look, screen.log, screen.applets = [], {}, [], []
    dom = skin.dom_screens.get(screen.layout)
    if dom is None:
        skin.say("[Skin] No skin to read or screen to display.", screen.log)
        dom = ElementTree.Element("screen")
    reader = _Reader(screen, screen.layout, dom)
    screen.instance = enigma.eWindow()
    _apply(screen.instance, dom, reader.attributes, screen.look, screen.log)
    flags = screen.look.setdefault("flags", [])
    for flag in [flag for flag in flags if flag != "wfNoBorder"]:
        flags.remove(flag)
        skin.say("illegal flag %s!" % flag, screen.log)
        skin.note("unknown", dom, screen.log[-1], "flags")
    if skin.windowstyle is not None and not flags:
        screen.instance.border = skin.windowstyle["border"]
    if screen.look.get("title") and not screen.getTitle():
        screen.setTitle(screen.look["title"])
    _create(screen, reader)


def _create(screen, reader):
    def add(element, instance):
        screen.elements.append(element)
        element.instance = instance
        _apply(instance, element.dom, element.attributes, element.look, element.log)

    for element in reader.sources:
        element.widget.GUIcreate()
        add(element, element.widget.instance)
    screen.missing = []
    for name, component in screen.items():
        if not isinstance(component, GUIComponent):
            continue
        component.GUIcreate()
        if name not in reader.widgets:
            screen.missing.append(name)
            skin.say("warning, skin is missing element %s in %r" % (name, screen), screen.log)
            continue
        dom, attributes = reader.widgets[name]
        element = Element(dom, "widget", name, component, attributes)
        add(element, component.instance)
        component.skinApplied(element.look)
    for element in reader.decoration:
        add(element, enigma.eLabel() if element.kind == "eLabel" else enigma.ePixmap())


def applySkinAnew(screen):
    """Lay the open `screen` out as the skin is now; lists keep their selection."""
    selected = dict((name, source.getIndex()) for name, source in screen.items()
                    if hasattr(source, "getIndex"))
    parts = screen.values() if screen.execing else []
    for part in parts:
        part.execEnd()
    for element in screen.elements:
        element.release()
    applySkin(screen)
    screen.runApplets()
    for name, index in selected.items():
        if index is not None:
            screen[name].setIndex(index)
    for part in parts:
        part.execBegin()
