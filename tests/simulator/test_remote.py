# -*- coding: utf-8 -*-
"""The receiver at the other end of a pipe: its requests, its events, its faults."""

import fcntl
import json
import os
import select
import subprocess
import sys
import tempfile
import time
import unittest

from simulator import packages
from simulator.models import MODELS
from tests.support.driving import CACHE, NEWS, NOT_ANALYZED, NO_CONNECTION

PATIENCE = 15  # real seconds until an expected event must have come
QUESTION = "There are updates available.\nDo you want to open Software Update menu ?"


class Pipe(object):
    """A receiver's process, the events that it has sent so far, and requests to it."""

    def __init__(self, *options):
        self._process = subprocess.Popen(
            [sys.executable, "-O", "-m", "simulator.remote"] + list(options),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, close_fds=True)
        self._output = self._process.stdout.fileno()
        fcntl.fcntl(self._output, fcntl.F_SETFL, os.O_NONBLOCK)
        self._partial = ""
        self.events = []

    def close(self):
        """End its input; return its exit status and what it wrote to standard error."""
        if not self._process.stdin.closed:
            self._process.stdin.close()
        errors = self._process.stderr.read()
        self._process.stdout.close()
        return self._process.wait(), errors

    def wait(self, condition):
        """Wait until condition() is true; return its value."""
        deadline = time.time() + PATIENCE
        while not condition():
            ready = select.select([self._output], [], [], max(0, deadline - time.time()))[0]
            if not ready:
                raise AssertionError("it did not happen; the last event is %r" % self.events[-1:])
            self._read()
        return condition()

    def _read(self):
        data = os.read(self._output, 65536)
        if not data:
            raise AssertionError("the receiver has ended: %r" % (self.close(),))
        lines = (self._partial + data).split("\n")
        self._partial = lines.pop()
        self.events += [json.loads(line) for line in lines]

    def ask(self, do, **more):
        """Send a request; return the answer."""
        return self.send(json.dumps(dict(more, do=do, id=len(self.events))), len(self.events))

    def send(self, line, number=None):
        """Send a line; return the answer with this number."""
        self._process.stdin.write(line + "\n")
        self._process.stdin.flush()
        known = len(self.events)
        return self.wait(lambda: [event for event in self.events[known:]
                                  if "event" not in event and event["id"] == number])[0]

    def last(self, name):
        """The last event of this name, None before the first."""
        found = [event for event in self.events if event.get("event") == name]
        return found[-1] if found else None

    def front(self):
        """The screen in front as the last event has it, None for the television picture."""
        return ((self.last("screen") or {}).get("screens") or [None])[-1]

    def shows(self, name, **texts):
        """Wait until this screen, None for the television picture, is in front with these."""

        def found():
            front = self.front()
            if front is None or name is None:
                return front is None and name is None and self.last("screen") is not None
            shown = dict((one["name"], one.get("text")) for one in front["elements"])
            return front["name"] == name and all(shown[key] == texts[key] for key in texts)

        self.wait(found)

    def rows(self):
        """The rows of the list in front, as pairs (icon, text)."""
        return [(row["icon"], row["text"]) for element in (self.front() or {"elements": []})[
            "elements"] if element["kind"] == "list" for row in element["rows"]]

    def log(self, kind):
        """The texts in the log of this kind."""
        return [event["text"] for event in self.events if event.get("kind") == kind]


class RemoteTest(unittest.TestCase):

    ROWS = [("urgent", "Update now"), ("normal", "Release 3.1"), ("info", "Meeting")]

    def start(self, *options):
        pipe = Pipe(*options)
        self.addCleanup(pipe.close)
        return pipe

    def start_with_news(self, *options):
        """Start on a feed with NEWS and the packages of the sample; wait for the list."""
        self.feed = tempfile.mkdtemp()
        packages.build_feed(self.feed, [packages.Package("enigma2-plugin-extensions-one", "2")],
                            NEWS, "EXTENSIONS\none;7\n")
        pipe = self.start("--feed", self.feed, *options)
        pipe.wait(lambda: pipe.rows() == self.ROWS)
        return pipe

    def reopen(self, pipe):
        """Leave the news browser, and open it again."""
        while pipe.front() is not None:
            self.assertEqual(True, pipe.ask("press", key="cancel").get("done"))
        self.assertEqual(True, pipe.ask("open").get("done"))


class EventsTest(RemoteTest):

    def test_the_first_events_tell_of_the_receiver_and_the_placeholder(self):
        pipe = self.start("--model", "solo4k")
        pipe.shows("AllNews", header="Zirk 3.1.0 (Vu+ Solo 4K)\n")
        self.assertEqual([("info", "Please wait ...")], pipe.rows())
        self.assertEqual(["AllNews", "BackupSuite"], pipe.front()["skinName"])
        receiver = pipe.last("receiver")
        self.assertEqual(("solo4k", list(MODELS), "en"),
                         (receiver["model"], receiver["models"], receiver["language"]))
        self.assertEqual([False] * 6, receiver["faults"].values())

    def test_screens_are_told_from_the_bottom_with_all_they_show(self):
        pipe = self.start_with_news()
        pipe.ask("press", key="ok")
        screens = pipe.last("screen")["screens"]
        self.assertEqual(["AllNews", "ZirkUpdateInfo"], [screen["name"] for screen in screens])
        update, = [one for one in screens[1]["elements"] if one["name"] == "update"]
        self.assertEqual({"name": "update", "kind": "pages", "page": 1, "pages": 1, "lines": [
            "* Do it", "    - today", "    - twice", "", "* Thanks"]}, update)

    def test_nothing_is_told_twice_while_nothing_changes(self):
        pipe = self.start_with_news()
        screens = len([event for event in pipe.events if event.get("event") == "screen"])
        self.assertEqual(2, screens)
        pipe.ask("press", key="up")
        ticks = len(pipe.events)
        pipe.wait(lambda: len(pipe.events) > ticks + 3)
        self.assertEqual(set(["clock"]), set(one.get("event") for one in pipe.events[ticks:]))

    def test_the_clock_runs_at_the_speed_that_is_asked_for(self):
        pipe = self.start("--speed", "500")
        before, began = pipe.wait(lambda: pipe.last("clock"))["time"], time.time()
        pipe.wait(lambda: pipe.last("clock")["time"] > before + 250)
        self.assertLess(0.3, time.time() - began)
        self.assertEqual(500, pipe.last("clock")["speed"])

    def test_the_log_has_what_the_module_did_in_order(self):
        pipe = self.start_with_news()
        kinds = [(event["kind"], event["text"]) for event in pipe.events
                 if event.get("event") == "log"]
        self.assertEqual([
            ("timer", "60000 ms, once"), ("timer", "100 ms, once"),
            ("request", "/feed/zirknews.xml"), ("file", CACHE + " written")], kinds)
        pipe.ask("press", key="yellow")
        self.assertEqual(["/tmp/.installed written", "/tmp/.installed removed"],
                         pipe.log("file")[1:])
        self.assertEqual(["/usr/bin/opkg list-installed | cut -f'0' -d ' ' > /tmp/.installed"],
                         pipe.log("command"))
        pipe.ask("press", key="cancel")
        pipe.ask("press", key="cancel")
        self.assertEqual(CACHE + " removed", pipe.log("file")[-1])

    def test_the_background_check_is_logged_at_the_instants_in_which_it_happens(self):
        pipe = self.start_with_news()
        pipe.ask("press", key="cancel")
        pipe.ask("pass", seconds=3600)
        seen = [(event["time"], event["text"]) for event in pipe.events
                if event.get("kind") in ("command", "configuration")]
        self.assertEqual([(60, "opkg update"), (60, "opkg list-upgradable"),
                          (60, "config.usage.update_available = False")], seen)

    def test_an_exception_is_logged_with_its_traceback_and_the_receiver_goes_on(self):
        pipe = self.start("--speed", "0.001")
        pipe.ask("press", key="ok")  # the news have not come: there is no cache
        text, = pipe.log("exception")
        self.assertIn('File "plugin/src/Kelvaro", line 99, in Kelvaro.load_cache', text)
        self.assertEqual(True, pipe.ask("press", key="up").get("done"))

    def test_what_is_not_utf_8_does_not_stop_the_events(self):
        pipe = self.start_with_news()
        with open("/tmp/.package.tmp", "wb") as listing:
            listing.write("b\xff - 1 - 2\n")
        pipe.ask("press", key="blue")
        lines, = [one["lines"] for one in pipe.front()["elements"] if one["name"] == "update"]
        self.assertIn(u"Package : b\ufffd", lines)


class RequestTest(RemoteTest):

    def test_a_wrong_request_gets_one_sentence_and_changes_nothing(self):
        pipe = self.start_with_news()
        for do, more, sentence in [
                ("press", {"key": "eject"}, "There is no key 'eject' on the remote control."),
                ("model", {"key": "abacus"}, "There is no model 'abacus'."),
                ("fault", {"name": "rain", "on": True}, "There is no fault 'rain'."),
                ("pass", {"seconds": 0},
                 "Time passes by more than 0 seconds and by a year at most."),
                ("open", {}, "The plug-in menu is out of reach while a screen is open: "
                             "press exit first."),
                ("dance", {}, "There is no request 'dance'."),
                ("press", {}, "The request lacks 'key'."),
                ("press", {"key": ["ok"]}, "There is no key '[u'ok']' on the remote control."),
                (["show"], {}, "There is no request '[u'show']'."),
                ("pass", {"seconds": "x"}, "'seconds' can't be u'x'.")]:
            self.assertEqual(sentence, pipe.ask(do, **more)["error"])
        for line in ("", "{", "[]", "7", "\xff"):
            self.assertEqual("A request is one JSON object a line.", pipe.send(line)["error"])
        self.assertEqual(self.ROWS, pipe.rows())

    def test_another_model_is_another_receiver_with_its_own_clock(self):
        pipe = self.start_with_news()
        pipe.ask("pass", seconds=3600)
        for model, name in (("uno4kse", "Uno 4K SE"), ("duo2", "Duo2")):
            pipe.ask("model", key=model)
            pipe.shows("AllNews", header="Zirk 3.1.0 (Vu+ %s)\n" % name)
            pipe.wait(lambda: pipe.rows() == self.ROWS)
            self.assertLess(pipe.last("clock")["time"], 60)
            self.assertEqual(model, pipe.last("receiver")["model"])

    def test_show_tells_again_what_is_shown(self):
        pipe = self.start_with_news()
        known = len(pipe.events)
        pipe.ask("show")
        self.assertEqual(set(["receiver", "screen"]), set(
            event.get("event") for event in pipe.events[known:]) - set(["clock", None]))

    def test_the_feed_s_edits_show_at_the_next_opening(self):
        pipe = self.start_with_news()
        with open(self.feed + "/zirknews.xml", "w") as news:
            news.write("<news><update><title>Edited</title></update></news>")
        self.reopen(pipe)
        pipe.wait(lambda: pipe.rows() == [("normal", "Edited")])

    def test_its_options_reach_the_receiver(self):
        pipe = self.start_with_news("--image-version", "9.9", "--interval", "3",
                                    "--language", "de")
        pipe.shows("AllNews", header="Zirk 9.9 (Vu+ Duo2)\n", key_red="Beenden")
        self.assertEqual("de", pipe.last("receiver")["language"])
        pipe.ask("pass", seconds=4 * 3600)
        self.assertEqual([60, 60 + 3 * 3600], [event["time"] for event in pipe.events
                                               if event.get("text") == "opkg update"])

    def test_it_ends_with_its_input(self):
        pipe = self.start_with_news()
        self.assertEqual((0, ""), pipe.close())

    def test_a_wrong_option_is_one_sentence(self):
        for options, sentence in [
                (["--model", "abacus"], "there is no model 'abacus'"),
                (["--feed", "/nowhere"], "there is no feed folder '/nowhere'"),
                (["--language", "xx"], "there is no catalogue 'plugin/po/xx.po'"),
                (["--interval", "-1"], "argument --interval: '-1' is not a whole number of hours"),
                (["--speed", "nan"],
                 "argument --speed: 'nan' is not a factor above 0, at most 10000")]:
            self.assertEqual((2, "run: %s; see --help.\n" % sentence), Pipe(*options).close())


class FaultTest(RemoteTest):

    def switch(self, pipe, name, on):
        self.assertEqual(True, pipe.ask("fault", name=name, on=on).get("done"))
        self.assertEqual(on, pipe.last("receiver")["faults"][name])

    def test_each_fault_of_the_feed_shows_its_message_until_it_is_switched_off(self):
        pipe = self.start_with_news()
        for name, message in (("down", NOT_ANALYZED), ("not-found", NO_CONNECTION),
                              ("malformed", NOT_ANALYZED)):
            self.switch(pipe, name, True)
            self.reopen(pipe)
            pipe.shows("MessageBox", text=message)
            self.switch(pipe, name, False)
            self.reopen(pipe)
            pipe.wait(lambda: pipe.rows() == self.ROWS)

    def test_a_stalled_server_silences_the_clock_for_five_seconds(self):
        pipe = self.start_with_news()
        self.switch(pipe, "stalled", True)
        self.reopen(pipe)
        pipe.wait(lambda: pipe.log("timer")[-1] == "100 ms, once")
        began, last, silence = time.time(), time.time(), 0
        while time.time() < began + 5.5:
            known = len(pipe.events)
            pipe.wait(lambda: len(pipe.events) > known)
            silence = max(silence, time.time() - last)
            last = time.time()
        self.assertLess(4.5, silence)

    def test_without_opkg_no_command_works_and_it_comes_back(self):
        pipe = self.start_with_news()
        opkg = os.readlink("/usr/bin/opkg")
        self.switch(pipe, "down", True)  # the one does not keep the other from being switched
        self.switch(pipe, "no-opkg", True)
        self.assertFalse(os.path.lexists("/usr/bin/opkg"))
        self.switch(pipe, "no-opkg", False)
        self.assertEqual(opkg, os.readlink("/usr/bin/opkg"))

    def test_a_package_that_can_t_be_fetched_fails_to_install(self):
        pipe = self.start_with_news()
        self.switch(pipe, "failing-package", True)
        for key in ("yellow", "ok", "ok"):
            pipe.ask("press", key=key)
        pipe.shows("Ipkg", status="Done, with errors")
        self.switch(pipe, "failing-package", False)
        for key in ("ok", "ok", "ok"):
            pipe.ask("press", key=key)
        pipe.shows("Ipkg", status="Done")


if __name__ == "__main__":
    unittest.main()
