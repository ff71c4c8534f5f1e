"""python2.7 -O -m simulator.check_skin: what a receiver makes of a skin's faults.

It has the host load the skin, which notes its faults (skin.Fault) and goes on, and then opens the
screens that this system opens, in each language. docs/skins.md tells authors how to use it, and
what is an error and what a warning.
"""

import __builtin__
import collections
import gettext
import glob
import os
import sys

import enigma
import skin
import skin_layout
import skin_screen
from Components.ActionMap import ActionMap
from Components.Ipkg import IpkgComponent
from Screens.ChoiceBox import ChoiceBox
from Screens.Ipkg import Ipkg
from Screens.MessageBox import MessageBox
from painting.fonts import faces
from painting.pictures import picture
from painting.screen import BLACK, RT_WRAP, common, entries, value_of
from painting.text import DEFAULT_FONT, measured
from simulator import ROOT, layout, loop, plugin_files, skins, view
from simulator.options import OneSentence, add_further_skin_options, skin_arguments
from simulator.problems import FORMS, Problem, Problems, add_format_option
from simulator.receiver import set_default_encoding
from simulator.session import Session

#: What an element of a screen is for; without those in MAIN the screen is of no use.
WANTED = {
    "AllNews": ["menu", "header", "key_red", "key_green", "key_yellow", "key_blue"],
    "ZirkUpdateInfo": ["update", "header", "key_red", "key_green", "key_yellow", "key_blue"],
    "MessageBox": ["text", "list"],
    "ChoiceBox": ["list", "text"],
    "Ipkg": ["status", "package", "slider"],
}
MAIN = set(["menu", "update", "text", "list"])
#: What a row of AllNews consists of: the entry, its title, its icon.
ENTRY, TITLE, ICON = range(3)

ENDS = u"The screen cannot be opened, and the GUI ends"
REST = u"This and all later elements of the screen are lost"
#: What happens at faults of each kind, and what to do where that does not depend on the element.
KINDS = {
    "start": (u"The GUI does not start", None),
    "unread": (u"The skin is not read, and receivers show the image's default skin",
               u"make the file well-formed"),
    "included": (u"The screen is lost, since it is included and the host has one of this name",
                 u"move it into the skin's own file"),
    "id": (u"The screen is lost, since it has an id", u"leave the id out"),
    "definition": (u"The definition is left out", u"write whole numbers, or the names of colours"),
    "element": (u"The element is lost", None),
    "twice": (u"The element is lost, since a later one has the same name",
              u"leave one of them out"),
    "rest": (REST, None), "place": (REST, None),
    "renderer": (REST, None), "converter": (REST, None),
    "screen": (ENDS, None),
    "attribute": (u"The attribute %s is lost", None),
    "unknown": (u"The attribute %s is left out, since the host does not know it here",
                u"leave it out"),
}
NUMBERS = u"write whole numbers"
#: What to do about elements that keep the GUI from starting, and about what reads a value.
REMEDIES = {
    "color": u'write "#AARRGGBB" or the name of an earlier colour, and in a window style one of '
             u'its names',
    "font": u"name a font file that is there",
    "pixmap": u"name a picture that is there",
    "title": u'write font="Family;size" offset="x,y"',
    "include": u"make the file well-formed",
    skin.parse_colour: u'write "#AARRGGBB" or a name that <colors> has',
    skin.parse_font: u'write "Family;size" or the name of an alias',
    skin_screen.named_picture: u"name a .png or .jpg file that is there",
}


def opened():
    """The screens that this system opens: class, arguments and what they show later, name to text.

    Texts are in the language of `_`.
    """
    top = _("Top 20")
    yield layout.AllNews, (), {}
    yield layout.ZirkUpdateInfo, (), {}
    yield layout.ZirkUpdateInfo, (), {
        "title": _("Upgradable Packages"), "key_yellow": _("show News"), "key_blue": _(" ")}
    question = _("There are updates available.\nDo you want to open Software Update menu ?")
    for simple in (False, True):
        yield MessageBox, (question, MessageBox.TYPE_YESNO, 0, simple), {}
    for message in (
            _("It seems that your Internet connection is not ok, please check it"),
            _("The news file can not be analyzed, please be patient and try again later")):
        yield MessageBox, (message, MessageBox.TYPE_ERROR, 30), {}
    categories = [_(category) for category in ("Extensions", "Systemplugins", "Skins")]
    yield ChoiceBox, (top, [(category,) for category in categories], False), {}
    for category in categories:
        yield ChoiceBox, ("%s - %s" % (top, category), [
            ("Package   (12) - " + action,) for action in (_("Install"), _("Remove"))], False), {}
    yield Ipkg, ([(IpkgComponent.CMD_INSTALL, {"package": "enigma2-plugin-extensions-a"})],), {}


def catalogues():
    """Pairs of a language and the function that translates into it, English first."""
    yield "en", lambda text: text
    for path in sorted(glob.glob(os.path.join(ROOT, "build", "native", "*.mo"))):
        with open(path, "rb") as stream:
            translation = gettext.GNUTranslations(stream)
        yield os.path.splitext(os.path.basename(path))[0], translation.gettext


class Check(object):
    """Finds what is wrong with a skin.

    directory, user_file: as skins.use() takes them, and so are further options of examine().
    """

    def __init__(self, directory, user_file=None):
        self.problems = Problems()
        self._directory, self._user_file = directory, user_file
        self._own = os.path.join(skin.SHARE, os.path.basename(os.path.realpath(directory))) + "/"
        self._whole = self._own + "skin.xml", None  # its place
        self._session = Session(loop.main_loop)
        self._cut = collections.OrderedDict()  # place and element: texts that do not fit
        self._unwritten = {}  # place: languages whose letters no font has
        self._screen = self._dialog = None  # the screen that is looked at: its name, itself

    def examine(self, **options):
        set_default_encoding("utf-8")  # as on a receiver
        enigma.typeset = view.typeset
        skin.faults = []
        try:
            skins.use(self._directory, self._user_file, **options)
            plugin_files.lend_screens()
            for fault in skin.faults:
                if fault.kind not in ("included", "id") or fault.element.get("name") in WANTED:
                    self._add_fault(fault)
                    self._stand_in(fault.element)
            for language, translate in catalogues():
                __builtin__._ = translate
                for screen, arguments, later in opened():
                    self._open(language, screen, arguments, later)
        except skins.SkinFailed as e:
            self._add("error", self._whole, KINDS["start"][0] + _said(e.line), u"correct the file")
        finally:
            skin.faults = None
        for (place, _), texts in self._cut.items():
            self._add_cut(place, texts)
        for place, languages in self._unwritten.items():
            self._add("error", place, u"Letters of the texts in %s are left out, since no font has "
                      u"them" % u", ".join(sorted(set(languages))),
                      u'add a font that has them, with replacement="1"')

    def _stand_in(self, element):
        """Let a fault in a definition be no fault of all that uses it."""
        name = element is not None and element.get("name")
        if name and element.tag == "color":
            skin.colors.setdefault(name, BLACK)
        elif name and element.tag == "font":
            skin.fonts.setdefault(name, skin.fonts["Regular"])

    def _open(self, language, screen, arguments, later):
        self._screen = screen.__name__
        del skin.faults[:]
        try:
            dialog = self._session.instantiateDialog(screen, *arguments)
            for name, text in later.items():
                dialog[name].text = text
            found = skin_layout.layout(dialog)
        except Exception as e:  # whatever the skin has made of the host
            self._add("error", self._whole, u"%s cannot be opened, and the GUI ends" % self._screen
                      + _said(e), u"correct what it names")
            return
        self._dialog = dialog
        elements = zip(dialog.elements, found["elements"])
        if language == "en":
            for fault in skin.faults:
                self._add_fault(fault)
            self._check_screen(found)
            for element, look in elements:
                self._check_place(element, look, found["rect"])
                self._check_fonts(element, look)
                if look["draws"] == "list":
                    self._check_list(element, look)
        for element, look in elements:
            if look["draws"] == "label" and look["visible"] and "." not in (look["name"] or ""):
                self._measure_label(language, element, look)
            elif look["draws"] == "list":
                self._measure_rows(language, element, look)
        dialog.doClose()

    # Problems.

    def _add(self, severity, place, text, remedy):
        """Add a problem, unless it is known, or of a file that is not the author's."""
        path, line = place
        if path is not None and path.startswith(self._own):
            name = path[len(self._own):]
        elif path == os.path.join(skin.CONFIGURATION, "skin_user.xml") and self._user_file:
            name = self._user_file
        else:
            return
        problem = Problem(_text(name), line, severity, text, remedy)
        if problem not in self.problems:
            self.problems.append(problem)

    def _add_fault(self, fault):
        kind = fault.kind
        if kind == "place" and fault.element.tag == "screen":
            kind = "screen"
        text, remedy = KINDS[kind]
        is_foreign = kind == "element" and self._is_fallback()
        self._add("warning" if is_foreign or kind in ("unknown", "twice") else "error", fault.place,
                  text.replace(u"%s", _text(fault.attribute)) + _said(fault.words),
                  remedy or self._remedy(kind, fault))

    def _is_fallback(self):
        """Is it the layout of another plug-in?"""
        return self._dialog is not None and self._dialog.layout == "BackupSuite"

    def _remedy(self, kind, fault):
        element = fault.element
        if kind == "start":
            return REMEDIES.get(element.tag, NUMBERS)
        if fault.kind in ("screen", "attribute") and element.tag != "applet":
            read = skin_screen.ATTRIBUTES.get(fault.attribute, (None, None, None))[2]
            if hasattr(read, "words"):
                return u"write one of " + u", ".join(read.words)
            return REMEDIES.get(read, NUMBERS)
        if fault.kind == "place":
            return (u"give it a position and a size, in numbers or arithmetic with e, c, %, center"
                    if element.get("size") else u"give it a size")
        if kind in ("renderer", "converter") and isinstance(fault.words, ImportError):
            return u"use a %s that the host has" % kind
        return self._remedy_of_element(element, kind)

    def _remedy_of_element(self, element, kind):
        name, source = element.get("name"), element.get("source")
        if element.tag == "convert":
            return (u'correct the dictionary; it has "fonts", "template" and "itemHeight"'
                    if element.get("type") == "TemplatedMultiContent" else u"correct it")
        if element.tag == "applet":
            return u'correct its Python, and let the type be "onLayoutFinish"'
        if element.tag == "panel":
            return (u"take the panel out of itself" if kind == "rest" else
                    u"name a screen of the skin")
        if element.tag != "widget":
            return u"write widget, eLabel, ePixmap, panel or applet"
        if kind == "rest":
            return u"use a renderer and converters that fit the source"
        if name in self._dialog:
            return u'write source="%s" render="Label" for the name' % name
        if source and not element.get("render"):
            return u'add a renderer, such as render="Label"'
        return u"take it out, or name one of " + u", ".join(
            sorted(key for key, part in self._dialog.items()
                   if not isinstance(part, ActionMap) and (source or hasattr(part, "GUIcreate"))))

    # What is seen of a screen.

    def _check_screen(self, found):
        dom = skin.dom_screens.get(found["layout"])
        if dom is None:
            self._add("warning", self._whole, u"The skin has no screen %s, nor has the package for "
                      u"a picture %d pixels wide, and an empty window opens"
                      % (self._screen, _picture()[2]), u"add one")
            return
        if found["transparent"]:
            self._add("error", dom.place, u"Nothing of a transparent screen is seen",
                      u'leave transparent="1" out')
        if not (found["rect"][2] and found["rect"][3]):
            self._add("error", dom.place, u"The window is %d by %d pixels, and nothing of it is "
                      u"seen" % tuple(found["rect"][2:]), u"give it a position and a size")
        elif common(found["rect"], _picture()) != found["rect"]:
            self._add("warning", dom.place, u"The window lies partly outside the picture of %d by "
                      u"%d pixels" % tuple(_picture()[2:]), u"give it a place inside")
        there = _names(dom, set())
        lacking = [name for name in WANTED[self._screen] if name not in there
                   and not (name == "header" and self._is_fallback())]
        if self._screen == "MessageBox" and "Text" in there and "text" in lacking:
            lacking.remove("text")
        if found["flags"] and not there & set(["title", "Title"]):
            lacking.append("title")
        if lacking:
            self._add("error" if set(lacking) & MAIN else "warning", dom.place,
                      u"No widget shows %s of %s" % (u", ".join(lacking), self._screen),
                      u"add one")

    def _check_place(self, element, look, window):
        """Tell what cannot be seen of an element, or not all."""
        width, height = look["final"][2:]
        place = element.dom.place
        if not look["visible"] or look["name"] == "autoresize":
            return
        if not width or not height:
            if "0" not in (element.dom.get("size") or "").replace(" ", "").split(","):
                self._add("warning", place, u"The element is %d by %d pixels, and unseen"
                          % (width, height), u"give it a position and a size")
            return
        if look["covered"]:
            self._add("warning", place, u"The element lies under an opaque one, and is unseen",
                      u'give it a higher zPosition, or that one zPosition="-1"')
        seen = common(look["final"], [0, 0] + window[2:])
        if seen != look["final"] and window[2] and window[3]:
            self._add("warning", place, u"The element lies %s outside the window of %s"
                      % (u"partly" if seen[2] and seen[3] else u"wholly", self._dialog.layout),
                      u"give it a place in its %d by %d pixels" % tuple(window[2:]))
        if look["draws"] == "scroll" and not element.widget.page:
            self._add("error", place, u"The text is lower than a line, and nothing of it is shown",
                      u"make it higher")

    def _check_fonts(self, element, look):
        fonts = [look["font"]] + (look.get("template") or {}).get("fonts", [])
        for family in sorted(set(font[0] for font in fonts if font) - set(skin.fonts)):
            self._add("error", _template_place(element) if look.get("template") else
                      element.dom.place,
                      u"No text is drawn, since there is no font %s" % _text(family),
                      u"name one of " + u", ".join(sorted(skin.fonts)))

    def _check_list(self, element, look):
        place = _template_place(element)
        if look["final"][3] < look["itemHeight"]:
            self._add("error", element.dom.place, u"The list is lower than a row, and keys do not "
                      u"move the selection", u"make it higher, or its rows lower")
        if self._screen != "AllNews" or look["name"] != "menu":
            return
        texts = []
        for entry in look["template"]["entries"]:
            kind, value = entry["kind"], entry["value"]
            if kind == "text" and isinstance(value, int):
                texts.append(value)
                if not ENTRY <= value <= ICON:
                    self._add("error", place, u"The GUI crashes at the text with index %d, since "
                              u"rows have three parts" % value, u"show index 1, the title")
                elif value != TITLE:
                    self._add("warning", place, u"The text with index %d is shown as "
                              u"\"<not-a-string>\"" % value, u"show index 1, the title")
            if kind == "text" and entry["font"] >= len(look["template"]["fonts"]):
                self._add("error", place, u"From the text with font %d on rows stay blank, since "
                          u"there is no such font" % entry["font"], u"add it to the fonts")
                break
            if kind.startswith("pixmap") and not _is_picture(value):
                self._add("error", place, u"From the picture %s on rows stay blank, since there is "
                          u"none" % _text(value), u"show index 2, the icon")
                break
        else:
            if not texts:
                self._add("warning", place, u"Titles are not shown", u"add a text with index 1")

    # Texts.

    def _measure_label(self, language, element, look):
        step = 2 * (look.get("border") or [0])[0]
        self._measure(language, element, look, look["text"].rstrip("\n"),
                      look["font"] or DEFAULT_FONT,
                      [extent - step for extent in look["final"][2:]], not look["noWrap"])

    def _measure_rows(self, language, element, look):
        template = look["template"]
        if template is None:
            return
        for row in look["content"]:
            for entry in entries(look, row):
                words = value_of(entry, row)
                if (entry["kind"] == "text" and isinstance(words, str)
                        and entry["font"] < len(template["fonts"])):
                    left, top, width, height = entry["rect"]
                    room = (min(width, look["final"][2] - left),
                            min(height, look["itemHeight"] - top))
                    self._measure(language, element, look, words, template["fonts"][entry["font"]],
                                  room, entry["flags"] & RT_WRAP)

    def _measure(self, language, element, look, text, font, room, wraps):
        """Note a text that does not fit `room`, width and height."""
        found = faces(skin.described(), *font)
        if not (text.strip() and found and room[0] > 0 and room[1] > 0):
            return
        if not all(any(face.has(letter) for face in found) for letter in _text(text)
                   if letter > u" "):
            self._unwritten.setdefault(element.dom.place, []).append(language)
            return
        # A letter that ends at the edge is one too many.
        wraps = wraps and room[1] >= 2 * found[0].line_height
        lines, line_height = measured(found, text, room[0] if wraps else None)
        needed = max(width for _, width in lines) + 1, len(lines) * line_height
        lacking = max(0, needed[0] - room[0]) + max(0, needed[1] - room[1])
        if lacking:
            texts = self._cut.setdefault((element.dom.place, look["name"]), [])
            texts.append((lacking, language, _text(text), needed, tuple(room)))

    def _add_cut(self, place, texts):
        _, language, text, needed, room = max(texts)
        others = sorted(set(other for _, other, _, _, _ in texts) - set([language]))
        self._add("warning", place, u"\"%s\" (%s) needs %d by %d pixels, has %d by %d, and is cut%s"
                  % ((text, language) + needed + room + (
                      u"; so are texts in " + u", ".join(others) if others else u"",)),
                  u"make the element larger or its font smaller")


def _names(dom, seen):
    """The names and sources of the widgets in a screen, and in the panels that it names."""
    seen.add(dom)
    found = set(part.get("name") or part.get("source") for part in dom.iter("widget"))
    for panel in dom.iter("panel"):
        other = skin.dom_screens.get(panel.get("name"))
        if other is not None and other not in seen:
            found |= _names(other, seen)
    return found


def _picture():
    return [0, 0] + enigma.getDesktop(0).pair()


def _template_place(element):
    converters = element.dom.findall("convert")
    return (converters[-1] if converters else element.dom).place


def _is_picture(value):
    """Does a row of AllNews show a picture where an entry asks for this?"""
    return value is None or value == ICON or isinstance(value, str) and picture(skin.find(value))


def _said(words):
    """What the host says, to go after what happens."""
    said = _text(words).strip()
    return u" (%s)" % said if said else u""


def _text(value):
    return value if isinstance(value, unicode) else str(value).decode(  # noqa: F821
        "utf-8", "replace")


def main(arguments):
    parser = OneSentence(
        prog="run", usage="./run --check-skin DIR [OPTION...]",
        description="Check a skin: what it costs on a receiver, and what is not seen as it was "
                    "meant, with file and line.",
        epilog="Exit status: 0, also with warnings; 1 with errors; 2 when it could not run.")
    parser.add_argument("skin", metavar="DIR", help="a folder with a skin.xml, used with the "
                                                    "folders beside it")
    add_further_skin_options(parser)
    add_format_option(parser)
    options = parser.parse_args(arguments)
    use = skin_arguments(parser, options)
    check = Check(use.pop("directory"), use.pop("user_file"))
    check.examine(**use)
    problems = Problems(check.problems.in_order())
    sys.stdout.write(FORMS[options.form](problems, "check-skin").encode("utf-8"))
    return problems.status()


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
