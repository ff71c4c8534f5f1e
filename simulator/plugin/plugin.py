"""The plug-in's entry points, as the receiver's GUI finds them; docs/receiver.md refers to them."""

import gettext
import os

import Kelvaro
import skin
from Components.Language import language
from enigma import getDesktop

plugin_path = None


def prepare():
    """Lend the skin the screens that it lacks, and the module the texts of the GUI's language."""
    own = dict(skin.dom_screens)
    screens = os.path.join(plugin_path, "skin_%d.xml" % getDesktop(0).size().width())
    if not ("AllNews" in own and "ZirkUpdateInfo" in own) and os.path.exists(screens):
        skin.loadSkin(screens)
        skin.dom_screens.update(own)  # what the skin has stays
    texts = os.path.join(plugin_path, "locale")
    if gettext.find("Kelvaro", texts, [language.getLanguage()]):
        Kelvaro._ = gettext.translation("Kelvaro", texts, [language.getLanguage()]).gettext


def sessionstart(session):
    """The GUI has started: begin to look for updates."""
    prepare()
    Kelvaro.update_notification.setSession(session, plugin_path)
    Kelvaro.update_notification.init_timer()


def main(session):
    """The entry in the plug-in menu."""
    return session.open(Kelvaro.AllNews, plugin_path)


def Plugins(path):
    """Tell the host what there is: (name, where, function). `path` is the plug-in's directory."""
    global plugin_path
    plugin_path = path
    return [("Start", "sessionstart", sessionstart), ("ZIRK Panel", "menu", main)]
