"""The receiver at the other end of a pipe: its requests, its events, its faults."""

import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib2

from simulator import packages
from simulator.feedserver import FeedServer
from simulator.models import MODELS
from simulator.remote import Faults
from tests.support.receiver import CACHE, NEWS, NOT_ANALYZED, NO_CONNECTION
from tests.support.screens import UP_TO_DATE

ROWS = [("urgent", "Update now"), ("normal", "Release 3.1"), ("info", "Meeting")]
OPKG = "/usr/bin/opkg"
LOCKED = ("Collected errors:\n * opkg_lock: Could not lock /var/run/opkg.lock: "
          "Resource temporarily unavailable.\n")
FULL = "cut: standard output: No space left on device\n"


def request(do, **more):
    return json.dumps(dict(more, do=do, id="ours"))


def presses(*keys):
    return [request("press", key=key) for key in keys]


def passing(seconds=1):
    return request("pass", seconds=seconds)


def front(shown):
    return shown["screens"][-1]


def element(screen, name):
    found, = [one for one in screen["elements"] if one["name"] == name]
    return found


def rows(screen, name="menu"):
    return [(row["icon"], row["text"]) for row in element(screen, name)["rows"]]


class RemoteTest(unittest.TestCase):

    def setUp(self):
        self.feed = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.feed)
        packages.build_feed(self.feed, [packages.Package("enigma2-plugin-extensions-one", "2")],
                            NEWS, "EXTENSIONS\none;7\nb\xff;1\n")

    def converse(self, lines, *options, **more):
        """Start it, send these lines after some `seconds`, and end its input.

        It prints the `errors`. Keeps the answers in self.answers; self.told holds the events before
        each, and last those after the last one.
        """
        process = subprocess.Popen(
            [sys.executable, "-O", "-m", "simulator.remote", "--feed", self.feed] + list(options),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, close_fds=True)
        output = [process.stdout.readline()]
        reader = threading.Thread(target=lambda: output.extend(process.stdout))
        reader.start()  # a full pipe would stop the clock
        time.sleep(more.get("seconds", 0))
        process.stdin.write("".join(line + "\n" for line in lines))
        process.stdin.close()
        reader.join()
        self.assertEqual((more.get("errors", ""), 0), (process.stderr.read(), process.wait()))
        self.answers, self.told = [], [[]]
        for message in map(json.loads, output):
            if "event" in message:
                self.told[-1].append(message)
            else:
                self.answers.append(message)
                self.told.append([])

    def last(self, name, at=None):
        """The last event of this name, or the last one before the answer number `at`."""
        events = sum(self.told[:None if at is None else at + 1], [])
        return [event for event in events if event["event"] == name][-1]

    def log(self, *kinds):
        """When what was noted of these kinds, as pairs (seconds, text)."""
        return [(event["time"], event["text"]) for event in sum(self.told, [])
                if event["event"] == "log" and event["kind"] in kinds]


class EventsTest(RemoteTest):

    def test_the_first_events_tell_of_the_receiver_and_the_placeholder(self):
        self.converse([], "--model", "solo4k")
        screen = front(self.last("screen"))
        self.assertEqual("Zirk 3.1.0 (Vu+ Solo 4K)\n", element(screen, "header")["text"])
        self.assertEqual([("info", "Please wait ...")], rows(screen))
        receiver = self.last("receiver")
        self.assertEqual(("solo4k", list(MODELS), "en", 1280, False), tuple(
            receiver[name] for name in ("model", "models", "language", "width", "fallback")))
        self.assertEqual(dict.fromkeys(Faults.NAMES, False), receiver["faults"])

    def test_screens_are_told_from_the_bottom_and_only_when_they_have_changed(self):
        self.converse([passing()] + presses("up", "down", "ok"))
        names = [[event["event"] for event in events] for events in self.told]
        self.assertEqual([2, 0, 1, 1], [each.count("screen") for each in names[:4]])
        below, screen = self.last("screen")["screens"]
        self.assertEqual(("AllNews", ROWS), (below["name"], rows(below)))
        self.assertEqual(("ZirkUpdateInfo", ["* Faster"]),
                         (screen["name"], element(screen, "update")["lines"]))

    def test_the_clock_runs_at_the_speed_that_is_asked_for(self):
        self.converse([], "--speed", "500", seconds=1)
        clock = self.last("clock")
        self.assertEqual(500, clock["speed"])
        self.assertLess(250, clock["time"])

    def test_the_log_has_what_the_module_did_in_order_and_when(self):
        self.converse([passing()] + presses("yellow", "cancel", "cancel") + [passing(3600)])
        self.assertEqual(["60000 ms, once", "100 ms, once", "/feed/zirknews.xml",
                          CACHE + " written"],
                         [text for _, text in self.log("timer", "request", "file")][:4])
        self.assertEqual(["/tmp/.installed written", "/tmp/.installed removed", CACHE + " removed"],
                         [text for _, text in self.log("file")][1:4])
        self.assertEqual("/usr/bin/opkg list-installed | cut -f'0' -d ' ' > /tmp/.installed",
                         self.log("command")[0][1])
        self.assertEqual([(60, "opkg update"), (60, "opkg list-upgradable"),
                          (60, "config.usage.update_available = False")],
                         self.log("command", "configuration")[1:])

    def test_what_is_not_utf_8_does_not_stop_the_events(self):
        self.converse([passing()] + presses("yellow", "ok"))
        self.assertIn(u"B\ufffd", rows(front(self.last("screen")), "list")[1][1])


class RequestTest(RemoteTest):

    def test_a_wrong_request_gets_one_sentence_and_changes_nothing(self):
        wrong = [
            (request("press", key="eject"), "There is no key 'eject' on the remote control."),
            (request("press", key=["ok"]), "There is no key '[u'ok']' on the remote control."),
            (request("press"), "The request lacks 'key'."),
            (request("model", key="abacus"), "There is no model 'abacus'."),
            (request("size", width=7), "There is no picture 7 pixels wide."),
            (request("fault", name="rain", on=True), "There is no fault 'rain'."),
            (passing(0), "Time passes by more than 0 seconds and by a year at most."),
            (passing("x"), "'seconds' can't be u'x'."),
            (request("open"), "The plug-in menu is out of reach while a screen is open: "
                              "press exit first."),
            (request("dance"), "There is no request 'dance'."),
            (request(["open"]), "There is no request '[u'open']'.")]
        wrong += [(line, "A request is one JSON object a line.") for line in
                  ("", "{", "[]", "7", "\xff")]
        self.converse([passing()] + [line for line, _ in wrong])
        self.assertEqual([None] + [sentence for _, sentence in wrong],
                         [answer.get("error") for answer in self.answers])
        self.assertEqual({"id": "ours", "done": True}, self.answers[0])
        self.assertEqual(["ours"] * 12 + [None] * 5, [answer["id"] for answer in self.answers])
        self.assertEqual([], sum(self.told[1:-1], []))

    def test_another_model_is_another_receiver_with_its_own_clock_and_the_same_picture(self):
        self.converse([request("size", width=1920), passing(3600),
                       request("model", key="uno4kse"), passing()])
        shown, receiver = self.last("screen"), self.last("receiver")
        self.assertEqual("Zirk 3.1.0 (Vu+ Uno 4K SE)\n", element(front(shown), "header")["text"])
        self.assertEqual(ROWS, rows(front(shown)))
        self.assertLess(self.log("request")[-1][0], 60)
        self.assertEqual(("uno4kse", 1920, [1920, 1080]), (
            receiver["model"], receiver["width"], shown["size"]))

    def test_its_options_reach_the_receiver(self):
        self.converse([passing(4 * 3600)], "--image-version", "9.9", "--interval", "3",
                      "--language", "de")
        screen = front(self.last("screen"))
        self.assertEqual(("Zirk 9.9 (Vu+ Duo2)\n", "Beenden", "de"), (
            element(screen, "header")["text"], element(screen, "key_red")["text"],
            self.last("receiver")["language"]))
        self.assertEqual([60, 60 + 3 * 3600], [seconds for seconds, text in self.log("command")
                                               if text == "opkg update"])


class FaultTest(RemoteTest):

    def test_each_fault_of_the_feed_shows_its_message_until_it_is_switched_off(self):
        reopening = presses("cancel", "cancel") + [request("open"), passing()]
        for name, message in (("down", NOT_ANALYZED), ("not-found", NO_CONNECTION),
                              ("malformed", NOT_ANALYZED)):
            self.converse([request("fault", name=name, on=True)] + reopening
                          + [request("fault", name=name, on=False)] + reopening)
            self.assertEqual([True, False], [self.last("receiver", at)["faults"][name]
                                             for at in (0, 5)])
            box = front(self.last("screen", 4))
            self.assertEqual(("MessageBox", message), (box["name"], element(box, "text")["text"]))
            self.assertEqual(ROWS, rows(front(self.last("screen"))))

    def test_a_feed_that_stalls_does_not_answer_until_it_is_switched_off(self):
        with FeedServer(self.feed) as server:
            faults = Faults(server)
            for name in ("zirknews.xml", "zirkdlstat.txt"):
                faults.switch("stalled", True)
                self.assertRaises(socket.timeout, urllib2.urlopen, server.address(name), None, 0.1)
                faults.switch("stalled", False)
                urllib2.urlopen(server.address(name), None, 20)

    def test_without_opkg_no_command_works_and_it_comes_back(self):
        opkg = os.readlink(OPKG)
        # The one fault does not keep the other from being switched.
        switched = [request("fault", name=name, on=True) for name in ("down", "no-opkg")]
        self.converse(switched)
        self.assertFalse(os.path.lexists(OPKG))
        os.symlink(opkg, OPKG)
        self.converse(switched + [request("fault", name="no-opkg", on=False)])
        self.assertEqual(opkg, os.readlink(OPKG))

    def test_an_installation_fails_only_while_a_fault_of_packages_is_on(self):
        errors = {"failing-package": "", "locked": LOCKED, "no-space": FULL}
        for name in set(errors) & set(Faults.NAMES):
            for on, status in ((True, "Done, with errors"), (False, "Done")):
                self.converse([passing(), request("fault", name=name, on=on)]
                              + presses("yellow", "ok", "ok")
                              + [passing(), request("fault", name=name, on=False)],
                              errors=errors[name] if on else "")
                screen = front(self.last("screen"))
                self.assertEqual((screen["name"], element(screen, "status")["text"]),
                                 ("Ipkg", status))
                self.assertNotIn("/dev/zero", str(self.log("command")))  # the fault's own doing

    def test_each_fault_of_opkg_empties_the_listing_until_it_is_switched_off(self):
        packages.build_feed(self.feed, [packages.Package("disk-tools", "8")])
        listing = presses("ok", "blue") + [passing()]
        for name in set(["web-page", "locked", "no-space"]) & set(Faults.NAMES):
            self.converse([passing(), request("fault", name=name, on=True)] + listing
                          + presses("cancel", "cancel") + [request("fault", name=name, on=False)]
                          + [request("open"), passing()] + listing)
            faulty, well = ["\n".join(element(front(self.last("screen", at)), "update")["lines"])
                            for at in (4, 12)]
            self.assertEqual(UP_TO_DATE, faulty)
            self.assertIn("disk-tools", well)
