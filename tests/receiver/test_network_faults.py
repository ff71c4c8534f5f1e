# -*- coding: utf-8 -*-
"""Whatever the server does, the module answers as it is to, keeps its cache and loses nothing."""

import gc
import os
import socket
import subprocess
import sys
import traceback
import unittest
import urllib2
import urlparse

from simulator.feedserver import FeedServer
from simulator.receiver import run_fresh
from tests.receiver.balance import MEMORY, LeakTest, memory
from tests.receiver.described import configure
from tests.receiver.driving import (
    CACHE, NO_CONNECTION, NOT_ANALYZED, ReceiverTest, SOURCE, WAIT, read, write)
from tests.receiver.faults import Recording, descriptors
from tests.receiver.network_faults import (
    FAULTS, NEWS, WHOLE, bomb, http)

from Screens.MessageBox import MessageBox

MEGABYTE = 1 << 20

FORMER = "the former content"

#: How many times faster than told silences pass here, and time-outs with them.
SPEED = 10


def outcome(function):
    """Call a function of the module; return its result, or "module.Class, line N" if it raises."""
    try:
        return function()
    except Exception:
        kind, _, trace = sys.exc_info()
        lines = [line for source, line, _, _ in traceback.extract_tb(trace) if source == SOURCE]
        del trace
        module = "" if kind.__module__ == "exceptions" else kind.__module__ + "."
        sys.exc_clear()
        return "%s%s, line %d" % (module, kind.__name__, lines[0])


def in_words(result):
    """Return a result of outcome() for the document."""
    if isinstance(result, int):
        return "status %d" % result
    if result is None:
        return "None"
    if ", line " in result[-12:]:
        return result
    return "the text, %d bytes" % len(result)


class NetworkTest(ReceiverTest, Recording):

    def setUp(self):
        ReceiverTest.setUp(self)
        self.install_opkg()
        urlopen = urllib2.urlopen
        self.box.patch(urllib2, "urlopen",
                       lambda url, data, timeout: urlopen(url, data, timeout / SPEED))

    def check(self, fault):
        write(CACHE, FORMER)
        before = os.stat(CACHE)
        fault.strike(self.feed, "zirknews.xml", speed=SPEED)
        body = fault.strike(self.feed, "zirkdlstat.txt", speed=SPEED)

        news = outcome(self.module.parse_xml)
        self.assertEqual(news, fault.news)
        if news == 1:
            self.assertEqual(self.module.load_cache(), fault.contents)
        else:
            after = os.stat(CACHE)
            self.assertEqual((after.st_ino, after.st_mtime), (before.st_ino, before.st_mtime))
            self.assertEqual(read(CACHE), FORMER)

        statistics = outcome(self.module.getDownloadStats)
        self.assertEqual(statistics, body if fault.statistics is WHOLE else fault.statistics)

        self.check_screen(fault, news, statistics)
        self.feed.clear()
        self.check_recovery()
        self.assertEqual([path for path in self.feed.requests if "secret" in path], [])
        self.record("network", FAULTS.index(fault), fault.fault, in_words(news),
                    in_words(statistics))

    def check_screen(self, fault, news, statistics):
        """The browser opens, shows what it shows for this outcome, and all its keys work."""
        self.box.loop.raise_errors = False
        browser = self.open_news()
        if news == 1:
            self.assertEqual(self.box.rows(), [entry[0] for entry in fault.contents])
        elif news in (2, 3):
            self.assertIsInstance(self.box.screen, MessageBox)
            self.assertEqual(self.box.text("text"), NO_CONNECTION if news == 2 else NOT_ANALYZED)
            self.box.press("ok")
            self.assertEqual(self.box.rows(), [])
        else:
            self.assertEqual(self.box.rows(), [WAIT])
        self.assertIs(self.box.screen, browser)
        errors = 0 if isinstance(news, int) else 1
        self.assertEqual(len(self.box.errors), errors)
        if not isinstance(news, int) or not self.box.rows():
            self.box.press("ok", "blue")  # there is no entry to open
            self.assertIs(self.box.screen, browser)

        self.box.press("yellow")
        if statistics is None or ", line " in statistics:
            self.assertIs(self.box.screen, browser)
        else:
            self.assertEqual(self.box.rows(), ["Extensions"] if "EXT" in statistics else [])
            self.box.press("cancel")
        self.assertEqual(len(self.box.errors), errors + (", line " in (statistics or "")))
        self.box.press("green", "cancel", "red")
        self.assertIsNone(self.box.screen)
        self.assertFiles(absent=[CACHE])

    def check_recovery(self):
        """With the fault gone everything is as if it had never been."""
        self.box.loop.raise_errors = True
        self.open_news()
        self.assertEqual(self.box.rows(), ["Update now", "Release 3.1", "Meeting"])
        self.box.press("red")


class Faults(NetworkTest):
    """A test for each of the faults, made below."""

    def test_no_server(self):
        with open("/etc/opkg/all-feed.conf") as stream:
            line = stream.read()
        listener = socket.socket()
        listener.bind(("127.0.0.1", 0))
        self.addCleanup(listener.close)  # bound, and nobody listens
        configure("src/gz Zirk-all http://127.0.0.1:%d/all\n" % listener.getsockname()[1])
        self.check_unreachable("connection refused", line)

    def test_no_name(self):
        def unknown(*_):
            raise socket.gaierror(-2, "Name or service not known")
        with open("/etc/opkg/all-feed.conf") as stream:
            line = stream.read()
        configure("src/gz Zirk-all http://nowhere.example/all\n")
        original = self.box.patch(socket, "getaddrinfo", unknown)
        self.addCleanup(setattr, socket, "getaddrinfo", original)
        self.check_unreachable("a host name without an address", line,
                               lambda: setattr(socket, "getaddrinfo", original))

    def test_redirections_are_followed_until_they_are_too_many(self):
        for fault in FAULTS:
            if fault.name in ("redirected_to_itself", "redirected_in_a_circle"):
                del self.feed.requests[:]
                fault.strike(self.feed, "zirknews.xml")
                self.assertEqual(self.module.parse_xml(), 2)
                self.assertGreater(len(self.feed.requests), 4)
                self.assertLess(len(self.feed.requests), 20)

    def check_unreachable(self, fault, line, repair=lambda: None):
        write(CACHE, FORMER)
        news, statistics = outcome(self.module.parse_xml), outcome(self.module.getDownloadStats)
        self.assertEqual((news, statistics), (3, None))
        self.assertEqual(read(CACHE), FORMER)
        self.check_screen(None, news, statistics)
        configure(line)
        repair()
        self.check_recovery()
        self.record("network", -1, fault, in_words(news), in_words(statistics))


def _test_of(fault):
    def test(self):
        self.check(fault)
    return test


for _fault in FAULTS:
    setattr(Faults, "test_" + _fault.name, _test_of(_fault))


class Much(LeakTest, Recording):
    """A hundred megabytes."""

    def setUp(self):
        LeakTest.setUp(self)
        self.server = FeedServer("/tmp").start()
        self.addCleanup(self.server.stop)
        configure(self.server.conf_line())

    def fetch(self, pieces):
        write(CACHE, FORMER)
        for name in ("zirknews.xml", "zirkdlstat.txt"):
            self.server.fault(name, answer=pieces)
        self.module.newsURL()
        before = memory()
        news = outcome(self.module.parse_xml)
        size = len(self.module.getDownloadStats())
        gc.collect()
        self.assertLess(memory() - before, 8 * MEGABYTE)
        return news, size

    def test_of_noise_are_no_document(self):
        news, size = self.fetch(http("") + ["noise " * 50000] * 350)
        self.assertEqual((news, size), (3, 350 * 300000))
        self.assertEqual(read(CACHE), FORMER)
        self.record("network", len(FAULTS), "100 MB of noise", in_words(news),
                    "the text, %d bytes" % size)

    def test_of_a_document_are_read(self):
        comment = "<!--" + "x" * (MEGABYTE - 7) + "-->"
        news, size = self.fetch(http("<news>") + [comment] * 100 + [NEWS + "</news>"])
        self.assertEqual(news, 1)
        self.assertEqual(self.module.load_cache(), [(u"Title", [], "normal")])
        self.record("network", len(FAULTS), "100 MB of a document", in_words(news),
                    "the text, %d bytes" % size)


class Bombs(unittest.TestCase, Recording):
    """An entity that would take 1 GB, where memory is short."""

    def check(self, content, megabytes, expected):
        """Check parse_xml with so much memory to be had, and that the module works on."""
        write("/tmp/zirknews.xml", content)
        self.addCleanup(os.remove, "/tmp/zirknews.xml")
        result = run_fresh("""
import resource
from simulator.feedserver import FeedServer
from simulator.receiver import Receiver
from tests.receiver.driving import CACHE, read, write
from tests.receiver.network_faults import NEWS
from tests.receiver.test_network_faults import outcome

with FeedServer("/tmp") as server:
    box = Receiver(feed_url=server.url)
    write(CACHE, "former")
    with open("/proc/self/statm") as stream:
        size = int(stream.read().split()[0]) * resource.getpagesize()
    resource.setrlimit(resource.RLIMIT_AS, (size + (%d << 20),) * 2)
    print outcome(box.module.parse_xml)
    print read(CACHE)
    server.fault("zirknews.xml", body=NEWS)
    print outcome(box.module.parse_xml), box.module.load_cache()
""" % megabytes)
        self.assertEqual(result, (0, "%s\nformer\n1 [(u'Title', [], 'normal')]\n" % expected, ""))

    def test_in_a_text_end_as_memory_does(self):
        self.check(bomb(4, 100000), 10, "MemoryError, line 140")
        self.record("network", len(FAULTS), "an entity of 1 GB in a text, with 10 MB to be had",
                    "MemoryError, line 140", "the text")

    def test_in_an_attribute_end_like_a_document_that_is_not_well_formed(self):
        self.check(bomb(4, 100000, in_attribute=True), 100, "3")
        self.record("network", len(FAULTS),
                    "an entity of 1 GB in an attribute, with 100 MB to be had", "status 3",
                    "the text")


class Losses(LeakTest, Recording):
    """Rounds of every fault lose neither an object nor a descriptor."""

    #: Those that take time and end like another one.
    SLOW = ("dripping_body", "dripping_headers", "left_open", "silent_in_the_headers")
    #: Those of which so much comes that the memory's blocks lie differently each time.
    LARGE = ("chunk_size_long", "deep", "entity", "long_header", "long_status_line",
             "many_headers", "zeros")

    @classmethod
    def setUpClass(cls):
        # In a process of its own: here its threads would move what is counted. Each fault has a
        # directory of the server to itself.
        code = """
import sys
from simulator.feedserver import FeedServer
from tests.receiver.network_faults import FAULTS
server = FeedServer("/tmp").start()
for fault in FAULTS:
    for name in ("zirknews.xml", "zirkdlstat.txt"):
        fault.strike(server, name, "/%s/%s" % (fault.name, name), 60)
print server.port
sys.stdout.flush()
sys.stdin.read()
server.stop()
"""
        cls.child = subprocess.Popen([sys.executable, "-c", code], stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, close_fds=True)
        cls.port = int(cls.child.stdout.readline())

    @classmethod
    def tearDownClass(cls):
        cls.child.communicate()

    def check_rounds(self, faults, memory_bound):
        urlopen = urllib2.urlopen
        self.addCleanup(setattr, urllib2, "urlopen", urlopen)
        silent = "silent_at_once", "silent_in_the_body"

        def once():
            for fault in faults:
                seconds = 0.05 if fault.name in silent else 5.0
                urllib2.urlopen = lambda url, data, timeout: urlopen(url, data, seconds)
                configure("src/gz Zirk-all http://127.0.0.1:%d/%s/all\n"
                          % (self.port, fault.name))
                self.assertIs(type(outcome(self.module.parse_xml)), type(fault.news), fault.name)
                outcome(self.module.getDownloadStats)
            urlparse.clear_cache()

        once()
        before = descriptors()
        self.check(once, 5, memory_bound)
        self.assertEqual(descriptors(), before)

    def test_by_small_faults(self):
        self.check_rounds([fault for fault in FAULTS if fault.name not in self.SLOW + self.LARGE],
                          MEMORY)

    def test_by_large_faults(self):
        faults = [fault for fault in FAULTS if fault.name in self.LARGE]
        self.assertEqual(len(faults), len(self.LARGE))
        self.check_rounds(faults, 16 * MEGABYTE)


if __name__ == "__main__":
    unittest.main()
