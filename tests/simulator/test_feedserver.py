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
        with contextlib.closing(urllib2.urlopen(self.server.address(name), None,
                                                timeout)) as answer:
            return answer.read()

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


class FilesTest(FeedServerTest):

    def test_files_of_the_directory_are_served_below_the_feed(self):
        self.assertEqual(NEWS, self.get("zirknews.xml"))
        self.assertEqual("Package: one\n", self.get("all/Packages"))

    def test_an_edit_shows_at_once(self):
        self.get()
        self.put("zirknews.xml", "changed")
        self.assertEqual("changed", self.get())

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
            with self.assertRaises(urllib2.HTTPError) as caught:
                self.get(name)
            self.assertEqual(404, caught.exception.code, name)

    def test_requests_are_noted_in_order_with_their_paths(self):
        self.get("zirknews.xml")
        self.raw("/elsewhere?x=1")
        self.get("all/Packages")
        self.assertEqual(["/feed/zirknews.xml", "/elsewhere?x=1", "/feed/all/Packages"],
                         self.server.requests)

    def test_many_clients_are_answered_while_another_one_stalls(self):
        self.server.fault("zirknews.xml", stall="headers", times=1)
        _, stalled = self.in_background(self.get)
        self.wait_until(lambda: self.server.requests)
        others = [self.in_background(self.get) for _ in range(8)]
        for thread, _ in others:
            thread.join()
        self.assertEqual(8 * [[NEWS]], [results for _, results in others])
        self.assertEqual([], stalled)
        self.server.release()


class AddressTest(FeedServerTest):

    def test_replacing_all_in_the_base_address_names_a_file_of_the_feed(self):
        line = self.server.conf_line()
        self.assertEqual("src/gz Zirk-all %s\n" % self.server.url, line)
        base = line.strip("src/gz Zirk-all ").strip()
        self.assertEqual(self.server.url, base)
        self.assertEqual(1, base.count("all"))
        for name in ("zirknews.xml", "zirkdlstat.txt"):
            self.assertEqual(self.server.address(name), base.replace("all", name))

    def test_a_feed_comes_back_at_the_same_address(self):
        url = self.server.url
        self.get()
        self.server.stop()
        self.server = FeedServer(self.directory, port=self.server.port).start()
        self.addCleanup(self.server.stop)
        self.assertEqual(url, self.server.url)
        self.assertEqual(NEWS, self.get())


class FaultTest(FeedServerTest):

    def status_of(self, name="zirknews.xml"):
        with self.assertRaises(urllib2.HTTPError) as caught:
            self.get(name)
        return caught.exception.code

    def test_a_status_is_answered_instead_of_the_file(self):
        for status in (400, 403, 404, 410, 500, 503):
            self.server.fault("zirknews.xml", status=status)
            self.assertEqual(status, self.status_of())

    def test_a_body_is_sent_instead_of_the_file_also_with_a_status(self):
        self.server.fault("zirknews.xml", body="other")
        self.assertEqual("other", self.get())
        self.server.fault("zirknews.xml", body="")
        self.assertEqual("", self.get())
        self.server.fault("zirknews.xml", status=500, body="broken")
        self.assertTrue(self.raw()[0].endswith("\r\n\r\nbroken"))

    def test_headers_are_added_such_as_those_of_a_redirection(self):
        self.put("moved.xml", "moved")
        self.server.fault("zirknews.xml", status=302,
                          headers=[("Location", self.server.address("moved.xml"))])
        self.assertEqual("moved", self.get())

    def test_an_answer_of_ones_own_is_sent_as_it_is_with_its_silences(self):
        pieces = ["HTTP/9.9 no ", SHORT, "status\n", "\0\xff"]
        self.server.fault("zirknews.xml", answer=pieces)
        start = time.time()
        self.assertEqual((pieces[0] + pieces[2] + pieces[3], "end"), self.raw())
        self.assertGreaterEqual(time.time() - start, SHORT)
        self.server.fault("zirknews.xml", answer=["HTTP/1.0"], reset=True)
        self.assertEqual(("HTTP/1.0", "reset"), self.raw())

    def test_the_silence_of_an_answer_ends_when_it_is_released(self):
        self.server.fault("zirknews.xml", answer=["a", 2 * LONG, "b"])
        _, results = self.in_background(self.raw)
        self.wait_until(lambda: self.server.requests)
        self.server.release()
        self.wait_until(lambda: results)
        self.assertEqual([("ab", "end")], results)

    def test_a_fault_strikes_one_path_alone(self):
        self.server.fault("zirknews.xml", status=500)
        self.assertEqual("Package: one\n", self.get("all/Packages"))
        self.server.fault("/elsewhere/else", body="any path")
        self.assertTrue(self.raw("/elsewhere/else")[0].endswith("any path"))

    def test_a_fault_strikes_a_number_of_times(self):
        self.server.fault("zirknews.xml", status=500, times=2)
        self.assertEqual([500, 500], [self.status_of(), self.status_of()])
        self.assertEqual(NEWS, self.get())

    def test_clear_takes_back_one_fault_or_all(self):
        self.server.fault("zirknews.xml", status=500)
        self.server.fault("all/Packages", status=500)
        self.server.clear("zirknews.xml")
        self.assertEqual(NEWS, self.get())
        self.assertEqual(500, self.status_of("all/Packages"))
        self.server.clear()
        self.assertEqual("Package: one\n", self.get("all/Packages"))

    def test_an_unknown_point_is_refused(self):
        self.assertRaises(ValueError, self.server.fault, "zirknews.xml", stall="end")
        self.assertRaises(ValueError, self.server.fault, "zirknews.xml", drop="end")


class StallTest(FeedServerTest):

    def test_the_answer_stops_at_the_point_asked_for(self):
        self.server.fault("zirknews.xml", stall="headers")
        self.assertEqual(("", "silent"), self.raw(timeout=SHORT))
        self.server.fault("zirknews.xml", stall="body")
        received, end = self.raw(timeout=SHORT)
        self.assertTrue(received.startswith("HTTP/1.0 200 "), received)
        self.assertTrue(received.endswith("\r\n\r\n"), received)
        self.assertEqual("silent", end)
        self.server.fault("zirknews.xml", stall="middle")
        received, end = self.raw(timeout=SHORT)
        self.assertEqual(HALF, received.partition("\r\n\r\n")[2])
        self.assertEqual("silent", end)

    def test_a_client_with_a_time_out_sees_a_time_out_at_every_point(self):
        for point in POINTS:
            self.server.fault("zirknews.xml", stall=point)
            start = time.time()
            self.assertRaises(socket.timeout, self.get, timeout=SHORT)
            self.assertGreaterEqual(time.time() - start, SHORT)

    def test_after_its_seconds_the_answer_goes_on(self):
        for point in POINTS:
            self.server.fault("zirknews.xml", stall=point, seconds=SHORT)
            start = time.time()
            self.assertEqual(NEWS, self.get())
            self.assertGreaterEqual(time.time() - start, SHORT)

    def test_a_released_answer_goes_on_and_later_ones_do_not_stall(self):
        for release in (self.server.release, self.server.clear):
            del self.server.requests[:]
            self.server.fault("zirknews.xml", stall="middle")
            thread, results = self.in_background(self.get)
            self.wait_until(lambda: self.server.requests)
            release()
            thread.join()
            self.assertEqual([NEWS], results)
            self.assertEqual(NEWS, self.get())

    def test_a_client_that_hangs_up_ends_the_stall(self):
        self.server.fault("zirknews.xml", stall="headers")
        before = threading.active_count()
        with contextlib.closing(self.connect()) as connection:
            connection.sendall("GET /feed/zirknews.xml HTTP/1.0\r\n\r\n")
            self.wait_until(lambda: self.server.requests)
            self.assertEqual(before + 1, threading.active_count())
        self.wait_until(lambda: threading.active_count() == before)


class DropTest(FeedServerTest):

    def test_the_connection_ends_at_the_point_asked_for(self):
        self.server.fault("zirknews.xml", drop="headers")
        self.assertEqual(("", "end"), self.raw())
        self.server.fault("zirknews.xml", drop="body")
        received, end = self.raw()
        self.assertIn("Content-Length: %d\r\n" % len(NEWS), received)
        self.assertTrue(received.endswith("\r\n\r\n"), received)
        self.assertEqual("end", end)
        self.server.fault("zirknews.xml", drop="middle")
        received, end = self.raw()
        self.assertIn("Content-Length: %d\r\n" % len(NEWS), received)
        self.assertEqual(HALF, received.partition("\r\n\r\n")[2])
        self.assertEqual("end", end)

    def test_a_reset_is_one(self):
        for point in POINTS:
            self.server.fault("zirknews.xml", drop=point, reset=True)
            self.assertEqual("reset", self.raw()[1])

    def test_a_connection_can_end_after_a_stall(self):
        self.server.fault("zirknews.xml", stall="middle", seconds=SHORT, drop="middle")
        start = time.time()
        self.assertEqual("end", self.raw()[1])
        self.assertGreaterEqual(time.time() - start, SHORT)


class StopTest(FeedServerTest):

    def test_stalled_and_idle_connections_end_at_once_and_no_thread_is_left(self):
        before = threading.active_count() - 1  # without the server's own
        idle = self.connect()  # accepted before those that follow, whose requests are waited for
        self.addCleanup(idle.close)
        stalled = []
        for number, point in enumerate(POINTS):
            self.server.fault("/%d" % number, stall=point, body=NEWS)
            stalled.append(self.in_background(lambda path="/%d" % number: self.raw(path)))
        self.wait_until(lambda: len(self.server.requests) == len(POINTS))
        start = time.time()
        self.server.stop()
        self.assertLess(time.time() - start, 1.0)
        for thread, _ in stalled:
            thread.join()
        self.assertEqual(before, threading.active_count())
        for _, results in stalled:
            (received, end), = results
            self.assertIn(end, ("end", "reset"))
            self.assertFalse(received.endswith(NEWS), "the answer went on")
        self.assertEqual("", idle.recv(1))

    def test_a_stopped_server_refuses_connections(self):
        self.server.stop()
        with self.assertRaises(socket.error) as caught:
            self.connect()
        self.assertEqual(errno.ECONNREFUSED, caught.exception.errno)

    def test_stopping_again_or_without_a_start_does_nothing(self):
        self.server.stop()
        self.server.stop()
        FeedServer(self.directory).stop()

    def test_no_descriptor_is_left(self):
        def descriptors():
            return len(os.listdir("/proc/self/fd"))
        self.server.stop()
        before = descriptors()
        for _ in range(3):
            with FeedServer(self.directory) as self.server:
                self.get()
                for point in POINTS:
                    self.server.fault("zirknews.xml", stall=point)
                    self.assertRaises(socket.timeout, self.get, timeout=0.02)
                    self.server.fault("zirknews.xml", drop=point, reset=True)
                    self.raw()
        self.assertEqual(before, descriptors())

    def test_commands_started_meanwhile_do_not_hold_its_sockets(self):
        self.server.fault("zirknews.xml", stall="headers")
        self.in_background(self.raw)
        self.wait_until(lambda: self.server.requests)
        listener = self.server._listener
        sockets = ["socket:[%d]" % os.fstat(each.fileno()).st_ino
                   for each in [listener] + listener._connections.values()]
        self.assertEqual(2, len(sockets))
        listing = subprocess.Popen(["ls", "-l", "/proc/self/fd"], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        held = listing.communicate()[0]
        self.assertIn(" -> ", held)
        for name in sockets:
            self.assertNotIn(name, held)
        self.server.stop()


class CommandLineTest(FeedServerTest):

    def test_it_serves_a_directory_until_it_is_ended_and_stays_quiet(self):
        for how in (signal.SIGTERM, signal.SIGINT):
            process = subprocess.Popen(
                [sys.executable, "-m", "simulator.feedserver", self.directory],
                cwd=os.environ["KELVARO_ROOT"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            url = process.stdout.readline().split()[2]
            self.assertEqual(NEWS, urllib2.urlopen(url.replace("all", "zirknews.xml")).read())
            self.assertRaises(urllib2.HTTPError, urllib2.urlopen, url)
            process.send_signal(how)
            self.assertEqual(("", ""), process.communicate())
            self.assertEqual(0, process.returncode)

    def test_a_missing_directory_is_refused_with_the_usage(self):
        process = subprocess.Popen([sys.executable, "-m", "simulator.feedserver", "/missing"],
                                   cwd=os.environ["KELVARO_ROOT"], stderr=subprocess.PIPE)
        self.assertIn("usage:", process.communicate()[1])
        self.assertEqual(2, process.returncode)


if __name__ == "__main__":
    unittest.main()
