"""The module's face: every name, line and parameter; and what the tests of it share."""

import os
import shutil
import socket
import sys
import tempfile
import traceback
import unittest

from simulator.feedserver import FeedServer
from simulator.receiver import Receiver

#: The file that traceback entries of the module name.
SOURCE = "plugin/src/Kelvaro"

#: The file of which the first line leads to the feed.
CONFIGURATION = "/etc/opkg/all-feed.conf"

#: line, module, names imported from it: the attribute and the name bound.
#: No names: the module itself is bound, by its first component. None: a star.
IMPORTS = (
    (8, "Components.ActionMap", ("ActionMap",)),
    (9, "Components.Console", ("Console",)),
    (10, "Components.config", ("config",)),
    (11, "Components.GUIComponent", ("GUIComponent",)),
    (12, "Components.Ipkg", ("IpkgComponent",)),
    (13, "Components.Label", ("Label",)),
    (14, "Components.Pixmap", ("Pixmap",)),
    (15, "Components.ScrollLabel", ("ScrollLabel",)),
    (16, "Components.Sources.StaticText", ("StaticText",)),
    (17, "Components.Sources.List", ("List",)),
    (18, "Screens.ChoiceBox", ("ChoiceBox",)),
    (19, "Screens.Screen", ("Screen",)),
    (20, "Screens.Ipkg", ("Ipkg",)),
    (21, "Screens.MessageBox", ("MessageBox",)),
    (22, "Tools.BoundFunction", ("boundFunction",)),
    (23, "Tools.Directories", None),
    (24, "Tools.LoadPixmap", ("LoadPixmap",)),
    (25, "Tools.Notifications", ("AddNotificationWithCallback",)),
    (26, "skin", ("loadSkin",)),
    (27, "os", ("path as os_path", "remove")),
    (28, "UpgradeZirk", ("UpdatePlugin",)),
    (29, "Tools.HardwareInfoVu", ("HardwareInfoVu",)),
    (30, "enigma", ("getZirkVersionString", "eTimer")),
    (31, "xml.dom.minidom", ()),
    (32, "xml.dom.minidom", ("Node",)),
    (33, "cPickle", ("dump", "load")),
    (34, "urllib2", ()),
)

#: line, name, parameters.
FUNCTIONS = (
    (41, "getInstalled", ""),
    (51, "getHeader", ""),
    (88, "write_cache", "cache_data"),
    (98, "load_cache", ""),
    (104, "newsURL", "f_name='zirknews.xml'"),
    (112, "skip_entry", "entry"),
    (119, "getDownloadStats", ""),
    (130, "parse_xml", ""),
)

#: line, class, whether it derives from Screen, methods: line, name, parameters.
CLASSES = (
    (176, "AllNews", True, (
        (177, "__init__", "self, session, plugin_path, args=0"),
        (215, "keyYellow", "self"),
        (269, "selectTop", "self"),
        (272, "gotTopSelection", "self, ret"),
        (288, "exitChoiceBox", "self, ret"),
        (299, "ipkg_action_finished", "self, ret=None"),
        (302, "greenKey", "self"),
        (305, "blueKey", "self"),
        (308, "setMenu", "self"),
        (314, "createMenu", "self"),
        (336, "runMenuEntry", "self, show_upgradable=False"),
        (341, "setMenuIndex", "self, idx=0"),
        (344, "keyCancel", "self"),
    )),
    (351, "ZirkUpdateInfo", True, (
        (352, "__init__", "self, session, idx=0, show_upgradable=False"),
        (387, "getText", "self, what"),
        (397, "bluePressed", "self"),
        (407, "yellowPressed", "self"),
        (416, "pageUp", "self"),
        (419, "pageDown", "self"),
        (422, "nextUpdate", "self"),
        (427, "prevUpdate", "self"),
        (432, "updateText", "self"),
        (439, "greenPressed", "self"),
        (442, "closeNews", "self"),
        (450, "getNews", "self"),
        (461, "getHeaderWithDate", "self"),
        (465, "getUpdates", "self"),
        (473, "opkg_update_finished", "self, result, retval, extra_args=None"),
        (479, "opkg_upgrade_finished", "self, result, retval, extra_args=None"),
    )),
    (504, "UpdateNotification", False, (
        (505, "setSession", "self, session, plugin_path"),
        (509, "show_Kelvaro", "self, res"),
        (519, "check_updates", "self"),
        (524, "opkg_update_finished", "self, result, retval, extra_args=None"),
        (530, "opkg_upgrade_finished", "self, result, retval, extra_args=None"),
        (555, "init_timer", "self"),
    )),
)

#: line, name: the values bound at import that are neither functions nor classes.
VALUES = ((36, "packagetmpfile"), (37, "cache_file"), (38, "vumodel"),
          (39, "packageinstalledfile"), (86, "header"), (560, "update_notification"))


def bound_by_line(star=()):
    """Return a list of (line, names bound there), in order. star: what line 23 brings."""
    lines = []
    for line, module, names in IMPORTS:
        if names is None:
            bound = list(star)
        elif names:
            bound = [name.split(" as ")[-1] for name in names]
        else:
            bound = [module.split(".")[0]]
        lines.append((line, bound))
    for rows in (FUNCTIONS, CLASSES, VALUES):
        lines.extend((row[0], [row[1]]) for row in rows)
    return sorted(lines)


def module_entries(trace):
    """Return the module's own entries of a traceback: (qualified name, line), outermost first."""
    return [(name, line) for source, line, name, _ in traceback.extract_tb(trace)
            if source == SOURCE]


def failing(error):
    """Return a function that takes anything and raises `error`."""
    def fail(*_, **__):
        raise error
    return fail


class Blank(object):
    """An object to put attributes on: Blank(name=value, ...)."""

    def __init__(self, **attributes):
        vars(self).update(attributes)


class ModuleTest(unittest.TestCase):
    """Base: a booted receiver with the module at top level, imported but not used yet."""

    boot = {}  # further arguments of the Receiver

    def setUp(self):
        self.box = Receiver(plugin_package=False, **self.boot)
        self.addCleanup(self.box.close)
        self.module = self.box.module

    def replace(self, **names):
        """Set names of the module until the test's end."""
        for name, value in names.items():
            self.box.patch(self.module, name, value)

    def check_failure(self, error, entries, function, *arguments, **keywords):
        """Check that a call raises exactly this error, through these places of the module.

        error: the exception object itself, or its exact class. entries: the traceback's
        entries of the module, each a pair: name without "Kelvaro.", line. Returns the
        exception object.
        """
        try:
            function(*arguments, **keywords)
        except:  # noqa: E722 - old-style and odd exceptions are outcomes too
            kind, value, trace = sys.exc_info()
        else:
            self.fail("no exception")
        try:
            if isinstance(error, BaseException):
                self.assertIs(value, error, traceback.format_exc())
            else:
                self.assertIs(kind, error, traceback.format_exc())
            self.assertEqual(module_entries(trace),
                             [("Kelvaro." + name, line) for name, line in entries])
            return value
        finally:
            del trace
            sys.exc_clear()


class FeedTest(ModuleTest):
    """Base: a feed server with an empty feed runs, and the configuration leads to it."""

    def setUp(self):
        super(FeedTest, self).setUp()
        self.directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.directory)
        self.server = FeedServer(self.directory).start()
        self.addCleanup(self.server.stop)
        configure(self.server.conf_line())

    def put(self, name, content):
        """Put a file into the feed."""
        with open(os.path.join(self.directory, name), "wb") as stream:
            stream.write(content)


def configure(content):
    """Write the feed configuration; None removes it."""
    if os.path.exists(CONFIGURATION):
        os.remove(CONFIGURATION)
    if content is not None:
        with open(CONFIGURATION, "wb") as stream:
            stream.write(content)


def closed_port():
    """Return a TCP port of 127.0.0.1 on which nobody listens."""
    listener = socket.socket()
    listener.bind(("127.0.0.1", 0))
    port = listener.getsockname()[1]
    listener.close()
    return port
