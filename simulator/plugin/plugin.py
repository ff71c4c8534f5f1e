"""The plug-in's entry points, as the receiver's GUI finds them."""

import Kelvaro

plugin_path = None


def sessionstart(session):
    """The GUI has started: begin to look for updates."""
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
