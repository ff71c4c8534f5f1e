# -*- coding: utf-8 -*-
"""Whatever the server does, the module answers as it is to, keeps its cache and loses nothing."""

import gc
import os
import socket
import subprocess
import sys
import threading
import time
import traceback
import unittest
import urllib2
import urlparse

from simulator.feedserver import FeedServer
from simulator.receiver import run_fresh
from tests.support.balance import MEMORY, LeakTest, memory
from tests.support.receiver import (
    CACHE, NOT_ANALYZED, NO_CONNECTION, SOURCE, WAIT, ReceiverTest, configure, read, write)
from tests.support import twins
from tests.support.faults import Recording, descriptors
from tests.support.network_faults import (
    FAULTS, NEWS, STATISTICS, TITLE, WHOLE, WITHOUT_WAITING, body_of, bomb, http)

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
        if fault.name in WITHOUT_WAITING:
            self.check_model(news, statistics)

        self.check_screen(fault, news, statistics)
        self.feed.clear()
        self.check_recovery()
        self.assertEqual([path for path in self.feed.requests if "secret" in path], [])
        self.record("network", FAULTS.index(fault), fault.fault, in_words(news),
                    in_words(statistics))

    def check_model(self, news, statistics):
        """The model in plain Python comes to the same, in the same lines."""
        def stored():
            # What is pickled differs by how many references there are.
            return repr(self.module.load_cache()) if news == 1 else read(CACHE)
        before = stored()
        self.assertEqual(outcome(self.model().parse_xml), news)
        self.assertEqual(outcome(self.model().getDownloadStats), statistics)
        self.assertEqual(stored(), before)

    def model(self):
        """The model, loaded once, where the plug-in has put the module."""
        if not hasattr(NetworkTest, "_model"):
            package = self.module.__name__.rpartition(".")[0]
            sys.modules["UpgradeZirk"] = sys.modules[package + ".UpgradeZirk"]
            NetworkTest._model = twins.load_model()
            del sys.modules["Kelvaro"], sys.modules["UpgradeZirk"]
        return NetworkTest._model

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

    def test_redirections_are_followed_until_they_are_too_many(self):
        for fault in FAULTS:
            if fault.name in ("redirected_to_itself", "redirected_in_a_circle"):
                del self.feed.requests[:]
                fault.strike(self.feed, "zirknews.xml")
                self.assertEqual(self.module.parse_xml(), 2)
                self.assertGreater(len(self.feed.requests), 4)
                self.assertLess(len(self.feed.requests), 20)


class Listener(object):
    """A server at an address of a family; it answers each request with the same pieces.

    pieces: as of network_faults.http, or a function of the request's address that gives them.
    requests: the heads of the requests that came, as text.
    """

    def __init__(self, pieces, family=socket.AF_INET, host="127.0.0.1"):
        self.requests = []
        self._pieces = pieces
        self._socket = socket.socket(family)
        self._socket.bind((host, 0))
        self._socket.listen(5)
        self.port = self._socket.getsockname()[1]
        self._thread = threading.Thread(target=self._serve)
        self._thread.start()

    def _serve(self):
        while True:
            try:
                connection = self._socket.accept()[0]
            except socket.error:
                return  # closed
            request = ""
            while "\r\n\r\n" not in request:
                received = connection.recv(65536)
                if not received:
                    break
                request += received
            else:
                self.requests.append(request)
                pieces = self._pieces
                connection.sendall("".join(
                    pieces(request.split(" ")[1]) if callable(pieces) else pieces))
            connection.close()

    def close(self):
        self._socket.shutdown(socket.SHUT_RDWR)
        self._thread.join()
        self._socket.close()


class Ways(NetworkTest):
    """Nothing is wrong with the server, but with the way to it: names, addresses, proxies."""

    def setUp(self):
        NetworkTest.setUp(self)
        self.own_line = read("/etc/opkg/all-feed.conf")
        self.resolve = socket.getaddrinfo
        self.addCleanup(setattr, socket, "getaddrinfo", self.resolve)

    def lead_to(self, host, port):
        configure("src/gz Zirk-all http://%s:%d/all\n" % (host, port))

    def listen(self, *arguments):
        listener = Listener(*arguments)
        self.addCleanup(listener.close)
        return listener

    def free_port(self):
        """Return a port that is taken, but where nobody listens."""
        taken = socket.socket()
        taken.bind(("127.0.0.1", 0))
        self.addCleanup(taken.close)
        return taken.getsockname()[1]

    def resolve_with(self, function):
        socket.getaddrinfo = function

    def use_proxy(self, address):
        os.environ["http_proxy"] = address
        self.addCleanup(os.environ.pop, "http_proxy", None)
        self.box.patch(urllib2, "_opener", None)  # which has looked at the environment already

    def repair(self):
        configure(self.own_line)
        socket.getaddrinfo = self.resolve
        if os.environ.pop("http_proxy", None) is not None:
            urllib2._opener = None

    def check_failure(self, fault, status=3):
        write(CACHE, FORMER)
        news, statistics = outcome(self.module.parse_xml), outcome(self.module.getDownloadStats)
        self.assertEqual((news, statistics), (status, None))
        self.assertEqual(read(CACHE), FORMER)
        self.check_model(news, statistics)
        self.check_screen(None, news, statistics)
        self.repair()
        self.check_recovery()
        self.record("network", -1, fault, in_words(news), in_words(statistics))

    def check_success(self, fault, news=TITLE, statistics=STATISTICS):
        """Check that it is as if nothing were wrong."""
        write(CACHE, FORMER)
        self.assertEqual(outcome(self.module.parse_xml), 1)
        self.assertEqual(self.module.load_cache(), news)
        self.assertEqual(outcome(self.module.getDownloadStats), statistics)
        self.check_model(1, statistics)
        self.repair()
        self.check_recovery()
        if fault is not None:
            self.record("network", -1, fault, in_words(1), in_words(statistics))

    def own_news(self):
        """Return what the feed's own news are, as a list."""
        self.module.parse_xml()
        return self.module.load_cache()

    def test_no_server(self):
        self.lead_to("127.0.0.1", self.free_port())
        self.check_failure("connection refused")

    def test_no_name(self):
        def unknown(*_):
            raise socket.gaierror(-2, "Name or service not known")
        self.lead_to("nowhere.example", 80)
        self.resolve_with(unknown)
        self.check_failure("a host name without an address")

    def test_no_name_server(self):
        def silent(*_):
            time.sleep(0.01)
            raise socket.gaierror(-3, "Temporary failure in name resolution")
        self.lead_to("nowhere.example", 80)
        self.resolve_with(silent)
        self.check_failure("a name server that does not answer")

    def test_a_slow_name_server(self):
        seconds = [6.0 / SPEED]  # the time-out is not its concern
        expected = self.own_news()

        def slow(_, *others):
            time.sleep(seconds.pop() if seconds else 0)
            return self.resolve("127.0.0.1", *others)
        self.lead_to("feed.example", self.feed.port)
        configure(read("/etc/opkg/all-feed.conf").replace("/all", "/feed/all"))
        self.resolve_with(slow)
        start = time.time()
        self.assertEqual(self.module.parse_xml(), 1)
        self.assertGreaterEqual(time.time() - start, 6.0 / SPEED)
        self.check_success("a name server that answers after 6 seconds", expected,
                           self.statistics)

    def addresses(self, *pairs):
        """Give a name these addresses, pairs of a family and an address with a port."""
        self.resolve_with(lambda *_: [(family, socket.SOCK_STREAM, 6, "", address)
                                      for family, address in pairs])

    def test_an_address_of_ipv6_that_leads_nowhere_and_one_that_does(self):
        listener = self.listen(lambda path: http(body_of(path)))
        self.lead_to("feed.example", 80)
        self.addresses((socket.AF_INET6, ("::1", self.free_port(), 0, 0)),
                       (socket.AF_INET, ("127.0.0.1", listener.port)))
        self.check_success("a server out of reach by IPv6, but not by IPv4")
        self.assertIn("\r\nHost: feed.example", listener.requests[0])

    def test_addresses_that_all_lead_nowhere(self):
        self.lead_to("feed.example", 80)
        self.addresses((socket.AF_INET6, ("::1", self.free_port(), 0, 0)),
                       (socket.AF_INET, ("127.0.0.1", self.free_port())))
        self.check_failure("a server out of reach by IPv6 and IPv4")

    def test_a_server_of_ipv6_alone(self):
        try:
            listener = self.listen(lambda path: http(body_of(path)), socket.AF_INET6, "::1")
        except socket.error:  # this machine has no IPv6: then nobody is there
            self.lead_to("[::1]", self.free_port())
            self.assertEqual(self.module.parse_xml(), 3)
            return
        self.lead_to("[::1]", listener.port)
        self.check_success(None)
        # No connection is kept for a next request, so none can be found closed.
        for request in listener.requests:
            self.assertIn("\r\nConnection: close\r\n", request)

    def test_a_proxy(self):
        listener = self.listen(lambda path: http(body_of(path)))
        self.lead_to("nowhere.example", 80)
        self.use_proxy("http://127.0.0.1:%d/" % listener.port)
        self.check_success("a proxy named by the environment")
        self.assertEqual(listener.requests[0].split("\r\n")[0],
                         "GET http://nowhere.example:80/zirknews.xml HTTP/1.1")

    def test_a_proxy_that_is_not_there(self):
        self.use_proxy("http://127.0.0.1:%d/" % self.free_port())
        self.check_failure("a proxy that is not there")

    def test_a_proxy_that_wants_a_password(self):
        listener = self.listen(http(NEWS, ["Proxy-Authenticate: Basic realm=\"\""],
                                    "407 Proxy Authentication Required"))
        self.use_proxy("http://127.0.0.1:%d/" % listener.port)
        self.check_failure("a proxy that wants a password", 2)


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
        self.feed = FeedServer("/tmp").start()
        self.addCleanup(self.feed.stop)
        configure(self.feed.conf_line())

    def fetch(self, pieces):
        write(CACHE, FORMER)
        for name in ("zirknews.xml", "zirkdlstat.txt"):
            self.feed.fault(name, answer=pieces)
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
from tests.support.network_faults import NEWS
from tests.support.receiver import CACHE, read, write
from tests.plugin.test_feed_network import outcome

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
from tests.support.network_faults import FAULTS
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
