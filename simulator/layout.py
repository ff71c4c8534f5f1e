"""python2.7 -O -m simulator.layout: what a skin makes of each screen and dialog, as JSON.

docs/skins.md describes the form. Contents are fixed, so that two states of a skin compare.
"""
from __future__ import print_function

import __builtin__
import json
import sys

import skin
import skin_layout
from Components.ActionMap import ActionMap
from Components.Ipkg import IpkgComponent
from Components.Label import Label
from Components.ScrollLabel import ScrollLabel
from Components.Sources.List import List
from Components.Sources.StaticText import StaticText
from Screens.ChoiceBox import ChoiceBox
from Screens.Ipkg import Ipkg
from Screens.MessageBox import MessageBox
from Screens.Screen import Screen
from simulator import loop, plugin_files, skins
from simulator.options import OneSentence, add_skin_options, skin_arguments
from simulator.receiver import set_default_encoding
from simulator.session import Session

TITLE = "News about ZIRK"
HEADER = "Zirk 4.2.1 (Duo2)\n"
ENTRY = ("* Tuner drivers\n    - A longer description of what has changed, which takes more than "
         "one line of a narrow screen.\n\n* Kernel")
QUESTION = "There are updates available. Do you want to see them?"
PROBLEM = "It seems that your Internet connection is not ok, please check it"


class AllNews(Screen):
    """The list of news as it opens: the elements of the module's screen."""

    NAMES = ["AllNews", "BackupSuite"]

    def __init__(self, session):
        Screen.__init__(self, session)
        self.skinName = self.NAMES
        self.title = _(TITLE)
        self["title"] = StaticText(self.title)
        self["menu"] = List([("loading", _("Please wait ..."), None)])
        self["status"] = Label()
        self["header"] = Label(HEADER)
        self["key_red"] = StaticText(_("Exit"))
        self["key_green"] = StaticText(_("Update"))
        self["key_blue"] = StaticText(_("show Updates"))
        self["key_yellow"] = StaticText(_("Top 20"))
        self["key_info"] = StaticText()
        self["shortcuts"] = ActionMap()


class ZirkUpdateInfo(Screen):

    def __init__(self, session):
        Screen.__init__(self, session)
        self.skinName = ["ZirkUpdateInfo"]
        self.title = _(TITLE)
        self["title"] = StaticText(self.title)
        self["update"] = ScrollLabel(ENTRY)
        self["header"] = Label(HEADER + "Driver repair")
        self["key_red"] = StaticText(_("Close"))
        self["key_green"] = StaticText(_("Update"))
        self["key_yellow"] = StaticText(_(" "))
        self["key_blue"] = StaticText(_("show Updates"))
        self["actions"] = ActionMap()


class Probe(AllNews):
    """A screen of the skin's own, with all that there is."""

    def __init__(self, session, name):
        AllNews.__init__(self, session)
        self.skinName = [name]
        self["update"] = ScrollLabel(ENTRY)


SCREENS = [
    ("AllNews", AllNews, ()),
    ("ZirkUpdateInfo", ZirkUpdateInfo, ()),
    ("MessageBox", MessageBox, (QUESTION, MessageBox.TYPE_YESNO, 0)),
    ("MessageBox error", MessageBox, (PROBLEM, MessageBox.TYPE_ERROR, 30)),
    ("MessageBox notified", MessageBox, (QUESTION, MessageBox.TYPE_YESNO, 0, True)),
    ("ChoiceBox", ChoiceBox, (
        "Top 20", [(row,) for row in ("Extensions", "Skins", "System plug-ins")], False)),
    ("ChoiceBox long", ChoiceBox, (
        "Top 20", [("Package number %d" % row,) for row in range(20)], False)),
    ("Ipkg", Ipkg, ([(IpkgComponent.CMD_INSTALL, {"package": "enigma2-plugin-extensions-a"})],)),
]


def screens():
    """The screens of a layout file, of the skin that is loaded."""
    session = Session(loop.main_loop)
    probes = [(name, Probe, (name,))
              for name in sorted(skin.dom_screens) if name.startswith("Probe")]
    for name, screen, arguments in SCREENS + probes:
        try:
            dialog = session.instantiateDialog(screen, *arguments)
            found = skin_layout.layout(dialog)
            for element in found["elements"]:
                element.pop("content", None)
            dialog.doClose()
        except Exception as e:
            found = {"error": "%s: %s" % (type(e).__name__, e), "elements": []}
        yield dict(found, screen=name)


def main(arguments):
    """Print the layout file; return the exit status: 0, or 1 when the skin does not start."""
    parser = OneSentence(prog="run", description="Writes what a skin makes of each screen.")
    add_skin_options(parser)
    options = parser.parse_args(arguments)
    __builtin__._ = lambda text: text
    set_default_encoding("utf-8")  # as on a receiver
    status = 0
    try:
        skins.use(**skin_arguments(parser, options))
        if options.skin is None:
            plugin_files.lend_screens()
        described = skin.described()
        described.pop("find")
        for font in described["fonts"].values():
            del font["path"]
        described["screens"] = list(screens())
        described["standIns"] = sorted(skin.stand_ins or [])
    except skins.SkinFailed as e:
        print(e, file=sys.stderr)
        described, status = {"form": "layout 1", "error": e.line}, 1
    print(json.dumps(described, indent=1, sort_keys=True, separators=(",", ": ")))
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
