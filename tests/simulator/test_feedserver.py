"""The feed server serves files, and fails in each way and at each point that is asked for."""

import contextlib
import errno
import os
import shutil
import socket
import tempfile
import time
import unittest
import urllib2

from simulator.feedserver import FeedServer

NEWS = "<news>" + 100 * "text " + "</news>"
HALF = NEWS[:len(NEWS) // 2]

#: Seconds that a client waits where the server is to stay silent.
SHORT = 0.2
#: Seconds that nothing here may take, on a slow machine either.
LONG = 10.0


class FeedServerTest(unittest.TestCase):

    def setUp(self):
        self.directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.directory)
        os.mkdir(os.path.join(self.directory, "all"))
        self.put("zirknews.xml", NEWS)
        self.put("all/Packages", "Package: one\n")
        self.server = FeedServer(self.directory).start()
        self.addCleanup(self.server.stop)

    def put(self, name, content):
        with open(os.path.join(self.directory, name), "wb") as stream:
            stream.write(content)

    def get(self, name="zirknews.xml", timeout=LONG):
        """Return a file of the feed, or the status if it is no 200."""
        try:
            with contextlib.closing(urllib2.urlopen(self.server.address(name), None,
                                                    timeout)) as answer:
                return answer.read()
        except urllib2.HTTPError as e:
            return e.code

    def raw(self, path="/feed/zirknews.xml", timeout=LONG):
        """Return all bytes of an answer, and how it ended: "end", "reset" or "silent"."""
        with contextlib.closing(socket.create_connection(("127.0.0.1", self.server.port),
                                                         timeout)) as connection:
            connection.sendall("GET %s HTTP/1.0\r\n\r\n" % path)
            received = ""
            while True:
                try:
                    piece = connection.recv(65536)
                except socket.timeout:
                    return received, "silent"
                except socket.error as e:
                    self.assertEqual(errno.ECONNRESET, e.errno)
                    return received, "reset"
                if not piece:
                    return received, "end"
                received += piece

    @contextlib.contextmanager
    def takes(self, seconds):
        start = time.time()
        yield
        self.assertGreaterEqual(time.time() - start, seconds)


class FilesTest(FeedServerTest):

    def test_files_are_served_below_the_feed_as_they_are_now(self):
        self.assertEqual(NEWS, self.get("zirknews.xml"))
        self.assertEqual("Package: one\n", self.get("all/Packages"))
        self.put("zirknews.xml", "changed")
        self.assertEqual("changed", self.get("zirknews.xml"))
        self.raw("/elsewhere?x=1")
        self.assertEqual(["/feed/zirknews.xml", "/feed/all/Packages", "/feed/zirknews.xml",
                          "/elsewhere?x=1"], self.server.requests)

    def test_what_is_no_file_of_the_feed_is_not_found(self):
        outside = os.path.basename(self.directory) + "-secret"
        self.put("../" + outside, "secret")
        self.addCleanup(os.unlink, self.directory + "-secret")
        for name in ("missing.xml", "all/Packages.gz", "all", "all/", "", "zirknews.xml/",
                     "../" + outside, "%2e%2e/" + outside, "all/../../" + outside):
            self.assertEqual(404, self.get(name), name)


class FaultTest(FeedServerTest):

    def test_it_strikes_one_path_a_number_of_times_until_taken_back(self):
        self.server.fault("zirknews.xml", status=500, times=2)
        self.server.fault("/elsewhere/else", body="any path")
        self.assertEqual(["Package: one\n", 500, 500, NEWS],
                         [self.get("all/Packages")] + [self.get() for _ in range(3)])
        self.assertTrue(self.raw("/elsewhere/else")[0].endswith("any path"))
        for name in ("zirknews.xml", "all/Packages"):
            self.server.fault(name, status=500)
        self.server.clear("zirknews.xml")
        self.assertEqual([NEWS, 500], [self.get(), self.get("all/Packages")])
        self.server.clear()
        self.assertEqual("Package: one\n", self.get("all/Packages"))

    def test_the_answer_stops_or_ends_at_the_point_asked_for(self):
        for what, timeout, end in [({"stall": None}, SHORT, "silent"),
                                   ({"drop": None}, LONG, "end"),
                                   ({"drop": None, "reset": True}, LONG, "reset"),
                                   ({"stall": None, "seconds": SHORT, "drop": None}, LONG, "end")]:
            for point, complete, body in [("headers", False, ""), ("body", True, ""),
                                          ("middle", True, HALF)]:
                fault = dict((name, point if value is None else value)
                             for name, value in what.items())
                self.server.fault("zirknews.xml", **fault)
                with self.takes(SHORT if "stall" in what else 0):
                    received, found = self.raw(timeout=timeout)
                self.assertEqual((found, received.partition("\r\n\r\n")[2]), (end, body))
                self.assertEqual("Content-Length: %d\r\n" % len(NEWS) in received, complete)
        for what in ("stall", "drop"):
            self.assertRaises(ValueError, self.server.fault, "zirknews.xml", **{what: "end"})
