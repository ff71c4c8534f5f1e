# -*- coding: utf-8 -*-
"""The feed server serves files, and fails in each way and at each point that is asked for."""

import contextlib
import errno
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib2
import zlib

from simulator.feedserver import POINTS, FeedServer

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
        with contextlib.closing(self.connect(timeout)) as connection:
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

    def connect(self, timeout=LONG):
        return socket.create_connection(("127.0.0.1", self.server.port), timeout)

    def in_background(self, function):
        """Run a function in a thread; returns the thread and the list its result goes to."""
        results = []
        thread = threading.Thread(target=lambda: results.append(function()))
        thread.start()
        self.addCleanup(thread.join)
        return thread, results

    def wait_until(self, condition):
        end = time.time() + LONG
        while not condition():
            self.assertLess(time.time(), end, "nothing happened in %d s" % LONG)
            time.sleep(0.005)

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

    def test_a_missing_packed_file_is_made_of_the_plain_one(self):
        self.assertEqual("Package: one\n",
                         zlib.decompress(self.get("all/Packages.gz"), 16 + zlib.MAX_WBITS))
        self.put("all/Packages.gz", "as it is")
        self.assertEqual("as it is", self.get("all/Packages.gz"))

    def test_what_is_no_file_of_the_feed_is_not_found(self):
        outside = os.path.basename(self.directory) + "-secret"
        self.put("../" + outside, "secret")
        self.addCleanup(os.unlink, self.directory + "-secret")
        for name in ("missing.xml", "missing.gz", "all", "all/", "", "zirknews.xml/",
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

    def test_what_stalls_goes_on_when_it_is_released(self):
        for fault, release in [({"stall": "middle"}, self.server.release),
                               ({"stall": "middle"}, self.server.clear),
                               ({"answer": ["HTTP/1.0 200 OK\r\n\r\n", 2 * LONG, NEWS]},
                                self.server.release)]:
            del self.server.requests[:]
            self.server.fault("zirknews.xml", **fault)
            thread, results = self.in_background(self.get)
            self.wait_until(lambda: self.server.requests)
            release()
            thread.join()
            self.assertEqual([NEWS, NEWS], results + [self.get()])

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


class StopTest(FeedServerTest):

    def test_stalled_and_idle_connections_end_at_once_and_nothing_is_left(self):
        self.server.stop()
        before = threading.active_count(), len(os.listdir("/proc/self/fd"))
        self.server = FeedServer(self.directory).start()
        idle = self.connect()  # accepted before those that follow, whose requests are waited for
        stalled = []
        for number, point in enumerate(POINTS):
            self.server.fault("/%d" % number, stall=point, body=NEWS)
            stalled.append(self.in_background(lambda path="/%d" % number: self.raw(path)))
        self.wait_until(lambda: len(self.server.requests) == len(POINTS))
        start = time.time()
        self.server.stop()
        self.assertLess(time.time() - start, 1.0)
        for thread, results in stalled:
            thread.join()
            (received, end), = results
            self.assertIn(end, ("end", "reset"))
            self.assertFalse(received.endswith(NEWS), "the answer went on")
        self.assertEqual("", idle.recv(1))
        idle.close()
        self.assertEqual(before, (threading.active_count(), len(os.listdir("/proc/self/fd"))))
        with self.assertRaises(socket.error) as caught:
            self.connect()
        self.assertEqual(errno.ECONNREFUSED, caught.exception.errno)
        with FeedServer(self.directory, self.server.port) as again:
            self.assertEqual((self.server.url, NEWS), (again.url, self.get()))


class CommandLineTest(FeedServerTest):

    def test_it_serves_a_directory_until_it_is_ended_and_stays_quiet(self):
        for how in (signal.SIGTERM, signal.SIGINT):
            process = subprocess.Popen(
                [sys.executable, "-m", "simulator.feedserver", self.directory],
                cwd=os.environ["KELVARO_ROOT"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            url = process.stdout.readline().split()[2]
            self.assertEqual(NEWS, urllib2.urlopen(url.replace("all", "zirknews.xml")).read())
            process.send_signal(how)
            self.assertEqual(("", ""), process.communicate())
            self.assertEqual(0, process.returncode)


if __name__ == "__main__":
    unittest.main()
