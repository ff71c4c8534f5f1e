"""The loaded skin: its screens, colours, fonts and window style, as the host's files give them.

Colours are "#aarrggbb", where AA is transparency. What keeps the GUI from starting is a SkinError
or any other exception of load(); what only costs a part of the skin leaves a line in `log`.
"""

import collections
import contextlib
import os
from xml.etree import ElementTree

import enigma
from painting.pictures import picture

SHARE = "/usr/share/enigma2"
CONFIGURATION = "/etc/enigma2"
FONTS = "/usr/share/fonts"
DEFAULT = "skin_default"  # the folder of what every skin falls back to

#: The fonts that an image brings.
IMAGE_FONTS = [
    "LiberationSans-Bold.ttf", "LiberationSans-BoldItalic.ttf", "LiberationSans-Italic.ttf",
    "LiberationSans-Regular.ttf", "DejaVuSans.ttf", "ae_AlMateen.ttf", "andale.ttf", "lcd.ttf",
    "nmsbd.ttf", "tuxtxt.ttf"]
#: Host files that are loaded after the primary skin, where there are any.
FURTHER = ["skin_subtitles.xml", "skin_text.xml", "skin_display.xml", "skin_second_infobar.xml",
           "skin_box.xml"]
_STYLE_COLOURS = [
    "Background", "LabelForeground", "ListboxBackground", "ListboxForeground",
    "WindowTitleForeground", "WindowTitleBackground"] + [
        "Listbox%s%s" % (state, part) for state in ("Selected", "Marked", "MarkedAndSelected")
        for part in ("Background", "Foreground")]

primary = None  # "NAME/skin.xml", as the setting has it
stand_ins = None  # a set: what only some images have gets a placeholder, and is noted here
dom_screens = {}  # name: XML element
colors = {}
fonts = {}  # name: {"file", "found", "scale", "replacement", "path"}
aliases = {}  # name: (family, size, height, width)
parameters = {}
windowstyle = None
margins = (0, 0, 0, 0)  # left, top, right, bottom of the area that screens are placed in
log = []  # lines of the host about its files, oldest first
said = []  # all its lines, each once
files = {}  # path of each file read: its stamp, to notice a change
_LOADED = (dom_screens, colors, fonts, aliases, parameters, files)
faults = None  # a list: what is wrong is noted there, and passed over to find what else is

#: kind: what it costs, as simulator/check_skin.py has it; place: path and line; element: of the
#: XML; attribute: its name, or None; words: the host's, or the exception.
Fault = collections.namedtuple("Fault", "kind place element attribute words")


class SkinError(Exception):

    def __str__(self):
        return "{%s}: %s" % (primary, self.args[0])


# Faults.

def note(kind, element, words="", attribute=None):
    """Where faults are noted, add this one of an element."""
    if faults is not None:
        # Of what cannot be parsed the exception knows the place.
        place = getattr(words, "place", None) or getattr(element, "place", (None, None))
        faults.append(Fault(kind, place, element, attribute, words))


@contextlib.contextmanager
def blame(kind, element, attribute=None, go_on=False):
    """What fails in here is a fault of this element, unless one inside has been blamed.

    go_on: where faults are noted, this one is, and what follows is done nevertheless.
    """
    try:
        yield
    except Exception as e:
        if not hasattr(e, "blamed"):
            e.blamed = kind, element
        if faults is None or not go_on:
            raise
        note(*e.blamed, words=e, attribute=attribute)


# Files.

def find(name, folder=None):
    """The path of a file that a skin names; `folder` is what "~" stands for."""
    name = str(name)
    if name.startswith("~/"):
        return os.path.join(folder or os.path.join(SHARE, _skin()), name[2:])
    if name.startswith("/"):
        return name
    places = [os.path.join(SHARE, _skin())]
    if name.startswith(_skin() + "/"):
        places = []
    candidates = [os.path.join(CONFIGURATION, name)]
    for place in places + [SHARE, os.path.join(SHARE, DEFAULT)]:
        candidates += [os.path.join(place, name), os.path.join(place, os.path.basename(name))]
    return ([path for path in candidates if os.path.isfile(path)]
            + [os.path.join(SHARE, name)])[0]


def from_share(path):
    """A path as it is named from the share folder on, where it is in there."""
    return path[len(SHARE) + 1:] if path and path.startswith(SHARE + "/") else path


def path_of(name):
    """The path of a name that from_share() gave."""
    return os.path.join(SHARE, name)


def _skin():
    return os.path.dirname(primary or "")


# Loading.

def load(name):
    """Start afresh with the skin NAME/skin.xml, and with all that a host loads besides."""
    global primary, windowstyle, margins
    primary, windowstyle, margins = name, None, (0, 0, 0, 0)
    for known in _LOADED:
        known.clear()
    del log[:]
    loadSkin("skin_default.xml")
    _set_larger_parameters()
    path = os.path.join(SHARE, name)
    try:
        _parse(path)
    except (IOError, SyntaxError) as e:  # the reader's errors are among the latter
        say("[Skin] Error: %s cannot be read: %s" % (name, e))
        note("unread", None, e)
    else:
        loadSkin(path)
    user = "skin_user_%s.xml" % _skin()
    if not os.path.isfile(find(user)):
        user = "skin_user.xml"
    for further in FURTHER + [user]:
        if os.path.isfile(find(further)):
            loadSkin(further)


def state():
    """What has been loaded, for restore()."""
    return (map(dict, _LOADED), list(log), (primary, windowstyle, margins),
            enigma.getDesktop(0).pair())


def restore(former):
    """Have loaded what was when state() returned this."""
    global primary, windowstyle, margins
    contents, log[:], (primary, windowstyle, margins), size = former
    for known, content in zip(_LOADED, contents):
        known.clear()
        known.update(content)
    enigma.getDesktop(0).resize(*size)


def loadSkin(name, scope=None):
    """Add what a skin file holds to what is known, in place of what is called the same."""
    root = _parse(find(name))
    screens = {}
    for include in root.findall("include"):
        with blame("start", include, go_on=True):
            path = find(include.get("filename"))
            if os.path.isfile(path):
                for screen in _parse(path).findall("screen"):
                    screens.setdefault(screen.get("name"), screen)
    for screen_name in set(screens) & set(dom_screens):
        note("included", screens.pop(screen_name))
    for screen in root.findall("screen"):
        screens[screen.get("name")] = screen
    for path, read in (
            ("output", _read_output), ("colors/color", _read_colour), ("fonts/font", _read_font),
            ("fonts/alias", _read_alias), ("parameters/parameter", _read_parameter),
            ("switchpixmap/pixmap", _picture), ("windowstyle", _read_windowstyle),
            ("margin", _read_margin)):
        for element in root.findall(path):
            with blame("start", element, go_on=True):
                read(element)
    for screen_name, screen in screens.items():
        if screen.get("id") is None:
            dom_screens[screen_name] = screen
        else:
            note("id", screen)


def _parse(path):
    files[path] = _stamp(path)
    with open(path) as stream:
        return parse(stream, path)


class _Builder(ElementTree.TreeBuilder):
    """Builds elements with a `place`, path and line."""

    def start(self, tag, attributes):
        element = ElementTree.TreeBuilder.start(self, tag, attributes)
        element.place = self.path, self.parser.parser.CurrentLineNumber
        return element


def parse(stream, path=None):
    """The root element of a skin file; all elements have their `place`."""
    builder = _Builder()
    builder.path, builder.parser = path, ElementTree.XMLParser(target=builder)
    try:
        return ElementTree.parse(stream, builder.parser).getroot()
    except ElementTree.ParseError as e:
        e.place = path, e.position[0]
        raise


def edited():
    """Has a file changed since it was read?"""
    return any(_stamp(path) != stamp for path, stamp in files.items())


def _stamp(path):
    try:
        return os.stat(path).st_mtime, os.stat(path).st_size
    except OSError:
        return None


def say(line, where=None):
    """Log a line as the host does, for the whole skin or in the log of a screen or element."""
    line = str(line)
    (log if where is None else where).append(line)
    if line not in said:
        said.append(line)


def _read_output(output):
    resolution = output.find("resolution")
    if int(output.get("id", 0)) == 0 and resolution is not None:
        enigma.getDesktop(0).resize(int(resolution.get("xres", 720)),
                                    int(resolution.get("yres", 576)))
        _set_larger_parameters()


def _set_larger_parameters():
    """The host's own parameters for large pictures; the skin's are read later."""
    if enigma.getDesktop(0).size().height() >= 1080:
        parameters.update(ChoicelistName=[68, 3, 1000, 30], ChoicelistIcon=[7, 0, 52, 38])


def _read_colour(colour):
    colors[colour.get("name")] = parse_colour(colour.get("value"))


def _read_font(font):
    name = font.get("filename")
    path = os.path.join(FONTS, name)
    if not os.path.isfile(path):
        path = find(name)
    found = os.path.isfile(path)
    if not found and name not in IMAGE_FONTS:
        raise SkinError("the font file %s is missing" % name)
    fonts[font.get("name", "Regular")] = {
        "file": name, "found": True, "scale": int(font.get("scale", 100)),
        "replacement": int(font.get("replacement", "0") != "0"), "path": path if found else None}


def _read_alias(alias):
    try:
        size = int(alias.get("size"))
        aliases[alias.get("name")] = (alias.get("font"), size, int(alias.get("height", size)),
                                      int(alias.get("width", size)))
    except (TypeError, ValueError) as e:
        say("[Skin] Bad font alias %s: %s" % (alias.get("name"), e))
        note("definition", alias, e)


def _read_parameter(parameter):
    try:
        values = [_parameter_value(part.strip()) for part in parameter.get("value").split(",")]
        parameters[parameter.get("name")] = values if len(values) > 1 else values[0]
    except (AttributeError, ValueError, SkinError) as e:
        say("[Skin] Bad parameter %s: %s" % (parameter.get("name"), e))
        note("definition", parameter, e)


def _parameter_value(text):
    if text.startswith("#") or text in colors:
        return int(parse_colour(text)[1:], 16)
    return int(text, 16 if text.lower().startswith("0x") else 10)


def _read_windowstyle(style):
    global windowstyle
    if int(style.get("id", 0)) != 0:
        return
    title = style.find("title")
    new = {"title": {"font": ["Regular", 20], "offset": [20, 5]},
           "colors": dict.fromkeys(_STYLE_COLOURS, "#00000000"), "pictures": {}}
    if title is not None:
        with blame("start", title, go_on=True):
            new["title"] = {"font": parse_font(title.get("font")),
                            "offset": [int(part) for part in title.get("offset").split(",")]}
    for part in style.findall("borderset"):
        pictures = new["pictures"][part.get("name")] = {}
        for pixmap in part.findall("pixmap"):
            with blame("start", pixmap, go_on=True):
                pictures[pixmap.get("pos")] = _picture(pixmap)
    for colour in style.findall("color"):
        with blame("start", colour, go_on=True):
            if colour.get("name") not in _STYLE_COLOURS:
                raise SkinError("a window style has no color '%s'" % colour.get("name"))
            new["colors"][colour.get("name")] = parse_colour(colour.get("color"))
    sizes = dict((position, picture(path_of(name)))
                 for position, name in new["pictures"].get("bsWindow", {}).items())
    height = [max([0] + [size.height for position, size in sizes.items()
                         if position.startswith(edge)])
              for edge in ("bpTop", "bpBottom")]
    width = [sizes[edge].width if edge in sizes else 0 for edge in ("bpLeft", "bpRight")]
    new["border"] = [width[0], height[0], width[1], height[1]]
    windowstyle = new


def _picture(pixmap):
    """The picture that a part of the skin cannot do without."""
    path = find(pixmap.get("filename"))
    if picture(path) is None:
        raise SkinError("pixmap file %s not found!" % path)
    return from_share(path)


def _read_margin(margin):
    global margins
    if int(margin.get("id", 0)) == 0:
        margins = tuple(int(margin.get(side, 0)) for side in ("left", "top", "right", "bottom"))


# Values.

def parse_colour(text):
    """The colour "#..." or of a name."""
    if text[0] != "#":
        if text not in colors:
            raise SkinError("color '%s' must be #aarrggbb or valid named color" % text)
        return colors[text]
    return "#%08x" % (int(text[1:], 16) & 0xffffffff)


def parse_font(text):
    """[family, size] of "Family;size" or an alias."""
    if text in aliases:
        return list(aliases[text][:2])
    family, size = text.split(";")
    return [family, int(size)]


def coordinate(text, extent, size=0, font=None):
    """What a text such as "e-100" is in an area of this extent; None for "*"."""
    text = text.strip()
    if text == "*":
        return None
    if text == "center":
        return max(0, (extent - size) // 2)
    try:
        value = int(text)
    except ValueError:
        if "center" in text:
            text = text.replace("center", str((extent - size) / 2.0))
        if "e" in text:
            text = text.replace("e", str(extent))
        if "c" in text:
            text = text.replace("c", str(extent / 2.0))
        for unit, place in (("w", 3), ("h", 2)):
            if unit in text:
                text = text.replace(unit, "*%s" % aliases[font][place])
        text = text.replace("%", "*%s" % (extent / 100.0) if "%" in text else "")
        value = int(eval(text, {"__builtins__": {}}))
    return max(0, value)


def pixels(font):
    """How high the letters of a font are, or None when no family has its name."""
    if font is None or font[0] not in fonts:
        return None
    return font[1] * fonts[font[0]]["scale"] // 100


def described():
    """All but the screens, as a layout file has it; "find" gives the path of a file in there."""
    return {"form": "layout 1", "skin": _skin(), "desktop": enigma.getDesktop(0).pair(),
            "colors": colors, "fonts": fonts, "aliases": dict((name, list(alias))
                                                              for name, alias in aliases.items()),
            "parameters": parameters, "windowstyle": windowstyle, "log": log, "find": path_of}
