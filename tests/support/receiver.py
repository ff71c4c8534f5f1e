"""What the tests of the module share: a booted receiver, a feed, an opkg; and how they judge."""

import os
import shutil
import socket
import sys
import tempfile
import traceback
from xml.sax.saxutils import escape, quoteattr

from simulator.feedserver import FeedServer
from simulator.receiver import FEED_CONFIGURATION, MODULE_FILES, Receiver
from tests.support.leaks import LeakCheckedTest
from tests.support.model import SOURCE

import enigma

LISTING, CACHE, SCRATCH = MODULE_FILES
OPKG = "/usr/bin/opkg"
CONFIGURATION = FEED_CONFIGURATION  # its first line leads to the feed

WAIT = "Please wait ..."
NO_CONNECTION = "It seems that your Internet connection is not ok, please check it"
NOT_ANALYZED = "The news file can not be analyzed, please be patient and try again later"
BLUE = "enigma2-skin-blue - 3.4-r5 - 3.5-r0\n"  # one upgradable package, as opkg prints it
NOISE = "Package other-arch version 2.0-r0 has no valid architecture, ignoring.\n"
ERRORS = ("Collected errors:\n * opkg_conf_load: Could not lock /usr/lib/opkg/lock: "
          "Resource temporarily unavailable.\n")


class Broken(Exception):
    """What a broken part of the host raises in these tests."""


class Old:
    """An exception of a classic class, derived from nothing."""


class Blank(object):
    """An object to put attributes on: Blank(name=value, ...)."""

    def __init__(self, **attributes):
        vars(self).update(attributes)


# Documents.

def entry(title, kind=None, items=()):
    """An <update> element. items: pairs of a text, None for an item without, and descriptions."""
    body = ""
    for text, descriptions in items:
        body += "<item>" + ("" if text is None else "<itemtext>%s</itemtext>" % escape(text))
        body += "".join("<description>%s</description>" % escape(one) for one in descriptions)
        body += "</item>"
    attribute = "" if kind is None else " type=%s" % quoteattr(kind)
    return "<update%s><title>%s</title>%s</update>" % (attribute, escape(title), body)


def document(*entries):
    return "<news>%s</news>" % "".join(entries)


NEWS = document(
    entry("Update now", "urgent", [("Do it", ["today", "twice"]), ("Thanks", [])]),
    entry("Release 3.1", None, [("Faster", [])]),
    entry("Meeting", "info"))


# Broken parts of the host.

def raising(error=Broken):
    """A function that takes anything and raises `error`."""
    def broken(*_, **__):
        raise error
    return broken


# Files and addresses.

def write(path, content):
    with open(path, "wb") as stream:
        stream.write(content)


def read(path):
    with open(path, "rb") as stream:
        return stream.read()


def configure(content):
    """Write the feed's configuration; None removes it."""
    if content is not None:
        write(CONFIGURATION, content)
    elif os.path.exists(CONFIGURATION):
        os.remove(CONFIGURATION)


def closed_port():
    """Return a TCP port of 127.0.0.1 on which nobody listens."""
    listener = socket.socket()
    listener.bind(("127.0.0.1", 0))
    port = listener.getsockname()[1]
    listener.close()
    return port


def trail():
    """The module's traceback entries of the exception being handled: ["Class.method:line"].

    What the import passes is called "init Kelvaro".
    """
    entries = traceback.extract_tb(sys.exc_info()[2])
    return ["%s:%d" % (name[len("Kelvaro."):] if name.startswith("Kelvaro.") else name, line)
            for filename, line, name, _ in entries if filename == SOURCE]


class ModuleTest(LeakCheckedTest):
    """Each test has a freshly booted receiver, `self.box`, and in it the module, `self.module`.

    options: of the Receiver; here the module lies at the top level.
    """

    options = {"plugin_package": False}

    def setUp(self):
        self.boot()

    def boot(self, **options):
        """Start the receiver anew."""
        self.box = Receiver(**dict(self.options, **options))
        self.module = self.box.module
        self.addCleanup(self.box.close)
        return self.box

    def replace(self, **names):
        """Bind names of the module anew until the test ends."""
        for name, value in names.items():
            self.box.patch(self.module, name, value)

    def assertFails(self, error, entries, function, *args, **kwargs):
        """The call raises `error`, which has passed the module's functions as `entries` says.

        error: the exception itself or its exact class. entries: ["Class.method:line", ...], the
        outermost first. Returns the exception.
        """
        try:
            function(*args, **kwargs)
        except:  # noqa: E722 - also what is no Exception, and what is of a classic class
            kind, value = sys.exc_info()[:2]
            found, text = trail(), traceback.format_exc()
            sys.exc_clear()
        else:
            self.fail("nothing was raised")
        self.assertIs(value if isinstance(error, BaseException) else kind, error, text)
        self.assertEqual(found, list(entries))
        return value

    def assertFiles(self, present=(), absent=()):
        self.assertEqual([path for path in present if not os.path.exists(path)], [])
        self.assertEqual([path for path in absent if os.path.lexists(path)], [])


class FeedTest(ModuleTest):
    """There is a feed, too, `self.feed`, and the receiver's configuration leads to it.

    news, statistics: what it serves; None is a 404.
    """

    news = None
    statistics = None

    def setUp(self):
        self._directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self._directory)
        self.feed = FeedServer(self._directory).start()
        self.addCleanup(self.feed.stop)
        self.serve(self.news)
        self.serve(self.statistics, "zirkdlstat.txt")
        super(FeedTest, self).setUp()

    def boot(self, **options):
        return super(FeedTest, self).boot(**dict({"feed_url": self.feed.url}, **options))

    def serve(self, content, name="zirknews.xml"):
        """Have the feed serve a file with this content; None is a 404."""
        path = os.path.join(self._directory, name)
        if content is not None:
            write(path, content)
        elif os.path.exists(path):
            os.remove(path)


class ReceiverTest(FeedTest):
    """The whole plug-in: its screens over the session, a feed with news, an opkg."""

    options = {}
    news = NEWS
    statistics = "EXTENSIONS\nfoo;12\nSKINS\nbar-hd;3\n"

    def setUp(self):
        self._opkg = None  # where the link to the stand-in points, while it is replaced
        self.addCleanup(self.restore_opkg)
        super(ReceiverTest, self).setUp()

    # Opening.

    def open_news(self):
        """Open the browser and let the news come; return the screen."""
        screen = self.box.open_news()
        self.box.pass_time(0.1)
        return screen

    # The package manager.

    def install_opkg(self, listing="", update="", installed="", status=0, hang=None):
        """Put a script in place of opkg.

        listing, update, installed: what `list-upgradable`, `update` and `list-installed` print.
        status: the exit status. hang: the command that never ends.
        """
        self.remove_opkg()
        texts = {"list-upgradable": listing, "update": update, "list-installed": installed}
        lines = ["#!/bin/sh"]
        if hang is not None:
            lines.append('[ "$1" = %s ] && exec sleep 1000' % hang)
        for command, text in texts.items():
            write("/tmp/opkg." + command, text)
        lines += ['cat "/tmp/opkg.$1"', "exit %d" % status, ""]
        write(OPKG, "\n".join(lines))
        os.chmod(OPKG, 0o755)

    def remove_opkg(self):
        if self._opkg is None:
            self._opkg = os.readlink(OPKG)
        if os.path.lexists(OPKG):
            os.remove(OPKG)

    def restore_opkg(self):
        if self._opkg is not None:
            self.remove_opkg()
            os.symlink(self._opkg, OPKG)
            self._opkg = None

    # Texts.

    def draw_no_texts(self):
        """Have the screen draw none: letter by letter, megabytes take minutes."""
        self.box.patch(enigma, "typeset", lambda *_: ([], 0))

    def mark_texts(self):
        """Have every text translated to itself between angle brackets."""
        self.replace(_="<%s>".__mod__)

    def note_texts(self):
        """Note what is translated in the list returned."""
        texts = []
        self.replace(_=lambda text: texts.append(text) or text)
        return texts
