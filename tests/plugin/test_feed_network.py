"""Whatever the server does, the module answers as it must, keeps its cache and leaks nothing."""

import gc
import os
import re
import socket
import sys
import threading
import time
import unittest
import urllib2

from simulator.receiver import run_fresh
from tests.support import leaks, twins
from tests.support.network_faults import (
    FAULTS, NEWS, SLOW, STATISTICS, TITLE, TOO_LONG, WHOLE, body_of, bomb, http)
from tests.support.receiver import (
    CACHE, CONFIGURATION, NOT_ANALYZED, NO_CONNECTION, WAIT, FeedTest, ReceiverTest, closed_port,
    configure, read, trail, write)

from Screens.MessageBox import MessageBox

MEGABYTE = 1 << 20

FORMER = "the former content"

#: How many times faster than told silences pass, and time-outs with them.
SPEED = 20


def outcome(function):
    """Call a function of the module; return its result, or "module.Class, line N" if it raises."""
    try:
        return function()
    except Exception:
        kind = sys.exc_info()[0]
        line = trail()[0].rpartition(":")[2]
        module = "" if kind.__module__ == "exceptions" else kind.__module__ + "."
        sys.exc_clear()
        return "%s%s, line %s" % (module, kind.__name__, line)


class NetworkTest(ReceiverTest):

    def setUp(self):
        ReceiverTest.setUp(self)
        self.install_opkg()

    def check(self, news, statistics, contents=None):
        """Check what parse_xml and getDownloadStats give.

        contents: the news list for status 1; else the cache stays as it is.
        """
        write(CACHE, FORMER)
        before = os.stat(CACHE)
        self.assertEqual(outcome(self.module.parse_xml), news)
        if news == 1:
            self.assertEqual(self.module.load_cache(), contents)
        else:
            after = os.stat(CACHE)
            self.assertEqual((after.st_ino, after.st_mtime), (before.st_ino, before.st_mtime))
            self.assertEqual(read(CACHE), FORMER)
        self.assertEqual(outcome(self.module.getDownloadStats), statistics)

    def check_model(self, news, statistics, contents=None):
        """The model in plain Python gives the same, on the same lines."""
        self.assertEqual(outcome(self.model().parse_xml), news)
        if news == 1:
            self.assertEqual(self.module.load_cache(), contents)
        self.assertEqual(outcome(self.model().getDownloadStats), statistics)

    def model(self):
        """The model, loaded once, where the plug-in has put the module."""
        if not hasattr(NetworkTest, "_model"):
            package = self.module.__name__.rpartition(".")[0]
            sys.modules["UpgradeZirk"] = sys.modules[package + ".UpgradeZirk"]
            NetworkTest._model = twins.load_model()
            del sys.modules["Kelvaro"], sys.modules["UpgradeZirk"]
        return NetworkTest._model

    def check_screen(self, news, statistics, contents=None):
        """The browser opens, shows what it shows for this outcome, and all its keys work."""
        self.box.loop.raise_errors = False
        browser = self.open_news()
        if news == 1:
            self.assertEqual(self.box.rows(), [entry[0] for entry in contents])
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
            self.assertEqual(self.box.rows(), [category for category in ("Extensions", "Skins")
                                               if category.upper() in statistics])
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
    """A test for each fault of network_faults."""

    @leaks.once("it waits")
    def test_silence_is_borne_for_five_seconds(self):
        self.feed.fault("zirknews.xml", stall="headers", seconds=TOO_LONG)
        start = time.time()
        self.assertEqual(outcome(self.module.parse_xml), "socket.timeout, line 134")
        self.assertGreater(time.time() - start, 4.9)

    def test_redirections_are_followed_until_they_are_too_many(self):
        for fault in FAULTS:
            if fault.name in ("redirection to the same address",
                              "redirections between two addresses"):
                del self.feed.requests[:]
                fault.strike(self.feed, "zirknews.xml")
                self.assertEqual(self.module.parse_xml(), 2)
                self.assertGreater(len(self.feed.requests), 4)
                self.assertLess(len(self.feed.requests), 20)


def add_tests(faults, body):
    for fault in faults:
        def test(self, fault=fault):
            body(self, fault)
        setattr(Faults, "test_" + re.sub(r"\W+", "_", fault.name).strip("_"), test)


def at_once(self, fault):
    fault.strike(self.feed, "zirknews.xml")
    body = fault.strike(self.feed, "zirkdlstat.txt")
    outcomes = fault.news, body if fault.statistics is WHOLE else fault.statistics, fault.contents
    self.check(*outcomes)
    self.check_model(*outcomes)
    self.check_screen(*outcomes)
    self.feed.clear()
    self.check_recovery()
    self.assertEqual([path for path in self.feed.requests if "secret" in path], [])


def slowly(self, fault):
    urlopen = urllib2.urlopen
    self.box.patch(urllib2, "urlopen",
                   lambda url, data, timeout: urlopen(url, data, timeout / SPEED))
    fault.strike(self.feed, "zirknews.xml", SPEED)
    fault.strike(self.feed, "zirkdlstat.txt", SPEED)
    self.check(fault.news, fault.statistics, fault.contents)
    self.feed.clear()
    self.check_recovery()


add_tests(FAULTS, at_once)
add_tests(SLOW, slowly)


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
        self.own_line = read(CONFIGURATION)
        self.resolve = socket.getaddrinfo
        self.addCleanup(setattr, socket, "getaddrinfo", self.resolve)

    def lead_to(self, host, port):
        configure("src/gz Zirk-all http://%s:%d/all\n" % (host, port))

    def listen(self, *arguments):
        listener = Listener(*arguments)
        self.addCleanup(listener.close)
        return listener

    def use_proxy(self, address):
        os.environ["http_proxy"] = address
        self.addCleanup(os.environ.pop, "http_proxy", None)
        self.box.patch(urllib2, "_opener", None)  # which has looked at the environment already

    def check_way(self, *outcomes):
        self.check(*outcomes)
        self.check_model(*outcomes)
        self.check_screen(*outcomes)
        configure(self.own_line)
        socket.getaddrinfo = self.resolve
        if os.environ.pop("http_proxy", None) is not None:
            urllib2._opener = None
        self.check_recovery()

    def resolve_with(self, error):
        def fail(*_):
            raise error
        self.lead_to("nowhere.example", 80)
        socket.getaddrinfo = fail

    def test_no_server(self):
        self.lead_to("127.0.0.1", closed_port())
        self.check_way(3, None)

    def test_no_name(self):
        self.resolve_with(socket.gaierror(-2, "Name or service not known"))
        self.check_way(3, None)

    def test_no_name_server(self):
        self.resolve_with(socket.gaierror(-3, "Temporary failure in name resolution"))
        self.check_way(3, None)

    def test_a_name_server_slower_than_the_time_out_which_is_not_for_it(self):
        def slow(_, *others):
            time.sleep(seconds.pop() if seconds else 0)
            return self.resolve("127.0.0.1", *others)
        urlopen = urllib2.urlopen
        self.box.patch(urllib2, "urlopen", lambda url, data, _: urlopen(url, data, 0.2))
        self.module.parse_xml()
        expected = self.module.load_cache()
        self.lead_to("feed.example", self.feed.port)
        configure(read(CONFIGURATION).replace("/all", "/feed/all"))
        seconds = [0.3]
        socket.getaddrinfo = slow
        self.check_way(1, self.statistics, expected)
        self.assertEqual(seconds, [])

    def addresses(self, *pairs):
        """Give a name these addresses, pairs of a family and an address with a port."""
        self.lead_to("feed.example", 80)
        socket.getaddrinfo = lambda *_: [(family, socket.SOCK_STREAM, 6, "", address)
                                         for family, address in pairs]

    def test_an_address_of_ipv6_that_leads_nowhere_and_one_that_does(self):
        listener = self.listen(lambda path: http(body_of(path)))
        self.addresses((socket.AF_INET6, ("::1", closed_port(), 0, 0)),
                       (socket.AF_INET, ("127.0.0.1", listener.port)))
        self.check_way(1, STATISTICS, TITLE)
        self.assertIn("\r\nHost: feed.example", listener.requests[0])

    def test_addresses_that_all_lead_nowhere(self):
        self.addresses((socket.AF_INET6, ("::1", closed_port(), 0, 0)),
                       (socket.AF_INET, ("127.0.0.1", closed_port())))
        self.check_way(3, None)

    def test_a_server_of_ipv6_alone(self):
        try:
            listener = self.listen(lambda path: http(body_of(path)), socket.AF_INET6, "::1")
        except socket.error:  # this machine has no IPv6, so nobody answers
            self.lead_to("[::1]", closed_port())
            self.assertEqual(self.module.parse_xml(), 3)
            return
        self.lead_to("[::1]", listener.port)
        self.check_way(1, STATISTICS, TITLE)
        # No connection is kept for a next request, so none can be found closed.
        for request in listener.requests:
            self.assertIn("\r\nConnection: close\r\n", request)

    def test_a_proxy(self):
        listener = self.listen(lambda path: http(body_of(path)))
        self.lead_to("nowhere.example", 80)
        self.use_proxy("http://127.0.0.1:%d/" % listener.port)
        self.check_way(1, STATISTICS, TITLE)
        self.assertEqual(listener.requests[0].split("\r\n")[0],
                         "GET http://nowhere.example:80/zirknews.xml HTTP/1.1")

    def test_a_proxy_that_is_not_there(self):
        self.use_proxy("http://127.0.0.1:%d/" % closed_port())
        self.check_way(3, None)

    def test_a_proxy_that_wants_a_password(self):
        listener = self.listen(http(NEWS, ["Proxy-Authenticate: Basic realm=\"\""],
                                    "407 Proxy Authentication Required"))
        self.use_proxy("http://127.0.0.1:%d/" % listener.port)
        self.check_way(2, None)


@leaks.once("it looks at the memory itself")
class Much(FeedTest):
    """Tens of megabytes, more than the C library keeps for later, are fetched and not kept."""

    def check(self, status, pieces):
        for name in ("zirknews.xml", "zirkdlstat.txt"):
            self.feed.fault(name, answer=pieces)
        before = leaks.memory()
        self.assertEqual(outcome(self.module.parse_xml), status)
        self.assertGreater(len(self.module.getDownloadStats()), 40 * MEGABYTE)
        gc.collect()
        self.assertLess(leaks.memory() - before, 8 * MEGABYTE)

    def test_of_noise_is_no_document(self):
        write(CACHE, FORMER)
        self.check(3, http("") + ["noise " * 50000] * 160)
        self.assertEqual(read(CACHE), FORMER)

    def test_of_a_document_is_read(self):
        comment = "<!--" + "x" * (MEGABYTE - 7) + "-->"
        self.check(1, http("<news>") + [comment] * 45 + [NEWS + "</news>"])
        self.assertEqual(self.module.load_cache(), TITLE)


class Bombs(unittest.TestCase):
    """An entity that would take 1 GB, where memory is short."""

    def check(self, content, megabytes, expected):
        """Check parse_xml with so much memory available, and that the module goes on working."""
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

    def test_in_an_attribute_end_like_a_document_that_is_not_well_formed(self):
        self.check(bomb(4, 100000, in_attribute=True), 100, "3")


if leaks.COUNTS:
    del Bombs  # the debug interpreters need more memory than that
