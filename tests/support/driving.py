# -*- coding: utf-8 -*-
"""What the tests of the screens and of the notifier share: a receiver, a feed, an opkg."""

import os
import shutil
import sys
import tempfile
import traceback
import unittest
from xml.sax.saxutils import escape, quoteattr

from simulator.feedserver import FeedServer
from simulator.receiver import Receiver

from Screens.Screen import Screen

LISTING = "/tmp/.package.tmp"
CACHE = "/tmp/.updatecache"
SCRATCH = "/tmp/.installed"
OPKG = "/usr/bin/opkg"
WAIT = "Please wait ..."
NO_CONNECTION = "It seems that your Internet connection is not ok, please check it"
NOT_ANALYZED = "The news file can not be analyzed, please be patient and try again later"

SOURCE = "plugin/src/Kelvaro"  # the file that the module's traceback entries name

BLUE = "enigma2-skin-blue - 3.4-r5 - 3.5-r0\n"  # one upgradable package, as opkg prints it


class Broken(Exception):
    """What a broken part of the host raises in these tests."""


class Old:
    """An exception of a classic class, derived from nothing."""


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


def raising(error=Broken):
    """A function that takes anything and raises `error`."""
    def broken(*_, **__):
        raise error
    return broken


def breaking_at(count, function, error=Broken):
    """`function`, but its call number `count` (the first is 1) and all later ones raise."""
    calls = []

    def breakable(*args, **kwargs):
        calls.append(args)
        if len(calls) >= count:
            raise error
        return function(*args, **kwargs)
    return breakable


def refusing(screen_class, attribute=None, widget=None, error=Broken):
    """A subclass whose screens refuse one attribute or one widget of those the module sets."""
    def set_attribute(screen, name, value):
        # The host's own constructor, a frame of Python, may set it.
        if name == attribute and sys._getframe(1).f_globals["__name__"] != Screen.__module__:
            raise error
        object.__setattr__(screen, name, value)

    def set_widget(screen, name, value):
        if name == widget:
            raise error
        Screen.__setitem__(screen, name, value)
    return type("Refusing", (screen_class,),
                {"__setattr__": set_attribute, "__setitem__": set_widget})


def trail():
    """The module's traceback entries of the exception being handled: ["Class.method:line"]."""
    return ["%s:%d" % (name[len("Kelvaro."):], line)
            for filename, line, name, _ in traceback.extract_tb(sys.exc_info()[2])
            if filename == SOURCE]


def write(path, content):
    with open(path, "wb") as stream:
        stream.write(content)


def read(path):
    with open(path, "rb") as stream:
        return stream.read()


class ReceiverTest(unittest.TestCase):
    """Each test has a freshly booted receiver, `self.box`, and a feed server, `self.feed`.

    options: of the Receiver. news, statistics: what the feed serves; None is a 404.
    """

    options = {}
    news = NEWS
    statistics = "EXTENSIONS\nfoo;12\nSKINS\nbar-hd;3\n"

    @classmethod
    def setUpClass(cls):
        cls._directory = tempfile.mkdtemp()
        cls.feed = FeedServer(cls._directory).start()

    @classmethod
    def tearDownClass(cls):
        cls.feed.stop()
        shutil.rmtree(cls._directory)

    def setUp(self):
        self.serve(self.news)
        self.serve(self.statistics, "zirkdlstat.txt")
        self.addCleanup(self.feed.clear)
        self._opkg = None  # where the link to the stand-in points, while it is replaced
        self.addCleanup(self.restore_opkg)
        self.boot()

    def boot(self, **options):
        """Start the receiver anew."""
        self.box = Receiver(**dict(dict(self.options, feed_url=self.feed.url), **options))
        self.module = self.box.module
        self.addCleanup(self.box.close)
        return self.box

    def serve(self, content, name="zirknews.xml"):
        path = os.path.join(self._directory, name)
        if content is not None:
            write(path, content)
        elif os.path.exists(path):
            os.remove(path)

    # Opening.

    def open_news(self):
        """Open the browser and let the news come; return the screen."""
        screen = self.box.open_news()
        self.box.pass_time(0.1)
        return screen

    def open_screen(self, screen_class, *args, **kwargs):
        """Have the session open a screen, of a subclass for instance."""
        screen = self.box.session.open(screen_class, *args, **kwargs)
        self.box.loop.run_due()
        return screen

    # The package manager.

    def install_opkg(self, listing="", update="", installed="", status=0, hang=None):
        """Put a script in place of opkg.

        listing, update, installed: what `list-upgradable`, `update` and `list-installed` print.
        status: the exit status. hang: the command that never ends; its process id is in
        /tmp/opkg.pid.
        """
        self._unlink_opkg()
        texts = {"list-upgradable": listing, "update": update, "list-installed": installed}
        lines = ["#!/bin/sh"]
        if hang is not None:
            lines.append('[ "$1" = %s ] && echo $$ > /tmp/opkg.pid && exec sleep 1000' % hang)
        for command, text in texts.items():
            write("/tmp/opkg." + command, text)
        lines += ['cat "/tmp/opkg.$1"', "exit %d" % status, ""]
        write(OPKG, "\n".join(lines))
        os.chmod(OPKG, 0o755)

    def remove_opkg(self):
        self._unlink_opkg()

    def _unlink_opkg(self):
        if self._opkg is None:
            self._opkg = os.readlink(OPKG)
        if os.path.lexists(OPKG):
            os.remove(OPKG)

    def restore_opkg(self):
        if self._opkg is not None:
            self._unlink_opkg()
            os.symlink(self._opkg, OPKG)
            self._opkg = None

    # Breaking the host.

    def replace(self, name, value):
        """Bind a name of the module anew until the test ends."""
        return self.box.patch(self.module, name, value)

    def unbind(self, name):
        """Take a name out of the module until the test ends."""
        self.replace(name, None)
        delattr(self.module, name)

    def mark_texts(self):
        """Have every text translated to itself between angle brackets."""
        self.replace("_", "<%s>".__mod__)

    def note_texts(self, broken=None, error=Broken):
        """Note what is translated in the list returned; translating `broken` raises."""
        texts = []

        def translate(text):
            texts.append(text)
            if text == broken:
                raise error
            return text
        self.replace("_", translate)
        return texts

    # Judging.

    def assertFails(self, error, entries, function, *args, **kwargs):
        """The call raises `error`, which passed the module's functions as `entries` says.

        entries: ["Class.method:line", ...], the outermost first. Returns the exception.
        """
        try:
            function(*args, **kwargs)
        except:  # noqa: E722 - also what is no Exception, and what is of a classic class
            kind, value = sys.exc_info()[:2]
            found = trail()
        else:
            self.fail("nothing was raised")
        self.assertEqual((kind.__name__, found), (error.__name__, entries))
        return value

    def assertFiles(self, present=(), absent=()):
        self.assertEqual([path for path in present if not os.path.exists(path)], [])
        self.assertEqual([path for path in absent if os.path.lexists(path)], [])
