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
from tests.support.receiver import CACHE, NEWS, NOT_ANALYZED, NO_CONNECTION

PATIENCE = 15  # real seconds until an expected event must have come


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
            left = deadline - time.time()
            if left < 0 or not select.select([self._output], [], [], left)[0]:
                raise AssertionError("it did not happen; the last event is %r" % self.events[-1:])
            data = os.read(self._output, 65536)
            if not data:
                raise AssertionError("the receiver has ended: %r" % (self.close(),))
            lines = (self._partial + data).split("\n")
            self._partial = lines.pop()
            self.events += [json.loads(line) for line in lines]
        return condition()

    def ask(self, do, **more):
        """Send a request; return the answer."""
        answer = self.send(json.dumps(dict(more, do=do, id="ours")))
        assert answer["id"] == "ours"
        return answer

    def send(self, line):
        """Send a line; return the answer."""
        known = len(self.all(None))
        self._process.stdin.write(line + "\n")
        self._process.stdin.flush()
        self.wait(lambda: len(self.all(None)) > known)
        return self.last(None)

    def press(self, *keys):
        for key in keys:
            self.ask("press", key=key)

    def all(self, name):
        """The events of this name so far; the answers for None."""
        return [event for event in self.events if event.get("event") == name]

    def last(self, name):
        """The last event of this name, None before the first."""
        return (self.all(name) or [None])[-1]

    def front(self):
        """The screen in front as the last event has it, None for the television picture."""
        return ((self.last("screen") or {}).get("screens") or [None])[-1]

    def element(self, name):
        """The element of this name of the screen in front, None when there is none."""
        elements = (self.front() or {"elements": []})["elements"]
        return ([one for one in elements if one["name"] == name] or [None])[0]

    def shows(self, screen, **texts):
        """Wait until this screen is in front, with these texts."""
        self.wait(lambda: (self.front() or {}).get("name") == screen and all(
            self.element(name)["text"] == text for name, text in texts.items()))

    def rows(self):
        """The rows of the news or of a chooser in front, as pairs (icon, text)."""
        found = self.element("menu") or self.element("list") or {"rows": []}
        return [(row["icon"], row["text"]) for row in found["rows"]]

    def log(self, *kinds):
        """The texts in the log of these kinds."""
        return [event["text"] for event in self.all("log") if event["kind"] in kinds]


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
            pipe.press("cancel")
        self.assertEqual(True, pipe.ask("open").get("done"))


class EventsTest(RemoteTest):

    def test_the_first_events_tell_of_the_receiver_and_the_placeholder(self):
        pipe = self.start("--model", "solo4k")
        pipe.shows("AllNews", header="Zirk 3.1.0 (Vu+ Solo 4K)\n")
        self.assertEqual([("info", "Please wait ...")], pipe.rows())
        receiver = pipe.last("receiver")
        self.assertEqual(("solo4k", list(MODELS), "en", 1280, False), tuple(
            receiver[name] for name in ("model", "models", "language", "width", "fallback")))
        self.assertEqual([False] * 6, receiver["faults"].values())

    def test_screens_are_told_from_the_bottom_with_what_is_drawn_where(self):
        pipe = self.start_with_news()
        pipe.press("down", "ok")
        below, front = pipe.last("screen")["screens"]
        self.assertEqual(("AllNews", [0, 0], [1280, 720], 1, None), tuple(
            below[name] for name in ("name", "position", "size", "scale", "frame")))
        menu, = [one for one in below["elements"] if one["name"] == "menu"]
        icon, text = menu["items"][1]["cells"]
        self.assertEqual(("picture", "update_normal.png", "text", "Release 3.1"),
                         (icon["kind"], icon["file"], text["kind"], text["text"]))
        self.assertEqual(("ZirkUpdateInfo", "ZirkUpdateInfo"), (front["name"], front["layout"]))
        update = pipe.element("update")
        self.assertEqual(("pages", ["* Faster"], 1, 1, None, [64, 188], [1152, 440]), tuple(
            update[name] for name in ("kind", "lines", "page", "pages", "scrollbar", "position",
                                      "size")))
        self.assertEqual({"kind": "text", "name": None, "position": [0, 0], "size": [1280, 96]},
                         dict((name, front["elements"][0][name])
                              for name in ("kind", "name", "position", "size")))

    def test_nothing_is_told_twice_while_nothing_changes(self):
        pipe = self.start_with_news()
        self.assertEqual(2, len(pipe.all("screen")))
        pipe.press("up")
        ticks = len(pipe.events)
        pipe.wait(lambda: len(pipe.events) > ticks + 3)
        self.assertEqual(set(["clock"]), set(one.get("event") for one in pipe.events[ticks:]))

    def test_the_clock_runs_at_the_speed_that_is_asked_for(self):
        pipe = self.start("--speed", "500")
        before, began = pipe.wait(lambda: pipe.last("clock"))["time"], time.time()
        pipe.wait(lambda: pipe.last("clock")["time"] > before + 250)
        self.assertLess(0.3, time.time() - began)
        self.assertEqual(500, pipe.last("clock")["speed"])

    def test_the_log_has_what_the_module_did_in_order_and_when(self):
        pipe = self.start_with_news()
        self.assertEqual(["60000 ms, once", "100 ms, once", "/feed/zirknews.xml",
                          CACHE + " written"], pipe.log("timer", "request", "file"))
        pipe.press("yellow", "cancel", "cancel")
        self.assertEqual(["/tmp/.installed written", "/tmp/.installed removed", CACHE + " removed"],
                         pipe.log("file")[1:])
        self.assertEqual(["/usr/bin/opkg list-installed | cut -f'0' -d ' ' > /tmp/.installed"],
                         pipe.log("command"))
        pipe.ask("pass", seconds=3600)
        checks = [(one["time"], one["text"]) for one in pipe.all("log")
                  if one["kind"] in ("command", "configuration")][1:]
        self.assertEqual([(60, "opkg update"), (60, "opkg list-upgradable"),
                          (60, "config.usage.update_available = False")], checks)

    def test_what_is_not_utf_8_does_not_stop_the_events(self):
        pipe = self.start_with_news()
        with open("/tmp/.package.tmp", "wb") as listing:
            listing.write("b\xff - 1 - 2\n")
        pipe.press("blue")
        self.assertIn(u"Package : b\ufffd", pipe.element("update")["lines"])


class RequestTest(RemoteTest):

    def test_a_wrong_request_gets_one_sentence_and_changes_nothing(self):
        pipe = self.start_with_news()
        for do, more, sentence in [
                ("press", {"key": "eject"}, "There is no key 'eject' on the remote control."),
                ("press", {"key": ["ok"]}, "There is no key '[u'ok']' on the remote control."),
                ("press", {}, "The request lacks 'key'."),
                ("model", {"key": "abacus"}, "There is no model 'abacus'."),
                ("size", {"width": 7}, "There is no picture 7 pixels wide."),
                ("fault", {"name": "rain", "on": True}, "There is no fault 'rain'."),
                ("pass", {"seconds": 0},
                 "Time passes by more than 0 seconds and by a year at most."),
                ("pass", {"seconds": "x"}, "'seconds' can't be u'x'."),
                ("open", {}, "The plug-in menu is out of reach while a screen is open: "
                             "press exit first."),
                ("dance", {}, "There is no request 'dance'."),
                (["open"], {}, "There is no request '[u'open']'.")]:
            self.assertEqual(sentence, pipe.ask(do, **more)["error"])
        for line in ("", "{", "[]", "7", "\xff"):
            self.assertEqual("A request is one JSON object a line.", pipe.send(line)["error"])
        self.assertEqual(self.ROWS, pipe.rows())

    def test_another_size_lays_all_open_screens_out_anew(self):
        pipe = self.start_with_news()
        pipe.press("yellow")
        shown = [pipe.last("screen")]
        for width in (1920, 1280):
            pipe.ask("size", width=width)
            shown.append(pipe.last("screen"))
        self.assertEqual(shown[0], shown[2])
        self.assertEqual((1920, [[1920, 1080], [900, 448]]), (
            shown[1]["width"], [screen["size"] for screen in shown[1]["screens"]]))

    def test_another_model_is_another_receiver_with_its_own_clock_and_the_same_picture(self):
        pipe = self.start_with_news()
        pipe.ask("size", width=1920)
        pipe.ask("pass", seconds=3600)
        pipe.ask("model", key="uno4kse")
        pipe.shows("AllNews", header="Zirk 3.1.0 (Vu+ Uno 4K SE)\n")
        pipe.wait(lambda: pipe.rows() == self.ROWS)
        self.assertLess(pipe.last("clock")["time"], 60)
        self.assertEqual(("uno4kse", 1920, 1920), (
            pipe.last("receiver")["model"], pipe.last("receiver")["width"],
            pipe.last("screen")["width"]))

    def test_the_fallback_leaves_all_news_out_of_the_skin(self):
        pipe = self.start_with_news()
        for on, layout in ((True, "BackupSuite"), (False, "AllNews")):
            pipe.ask("fallback", on=on)
            self.assertEqual((on, layout, self.ROWS), (
                pipe.last("receiver")["fallback"], pipe.front()["layout"], pipe.rows()))

    def test_its_options_reach_the_receiver_and_it_ends_with_its_input(self):
        pipe = self.start_with_news("--image-version", "9.9", "--interval", "3",
                                    "--language", "de")
        pipe.shows("AllNews", header="Zirk 9.9 (Vu+ Duo2)\n", key_red="Beenden")
        self.assertEqual("de", pipe.last("receiver")["language"])
        pipe.ask("pass", seconds=4 * 3600)
        self.assertEqual([60, 60 + 3 * 3600], [event["time"] for event in pipe.all("log")
                                               if event["text"] == "opkg update"])
        self.assertEqual((0, ""), pipe.close())

    def test_a_wrong_option_is_one_sentence(self):
        for options, sentence in [
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
        began = last = time.time()
        silence = 0
        while silence < 4.5 and last < began + 8:
            ticks = len(pipe.events)
            pipe.wait(lambda: len(pipe.events) > ticks)
            silence, last = max(silence, time.time() - last), time.time()
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
        for failing, status in ((True, "Done, with errors"), (False, "Done")):
            self.switch(pipe, "failing-package", failing)
            pipe.press("yellow", "ok", "ok")
            pipe.shows("Ipkg", status=status)
            pipe.press("ok", "cancel")


if __name__ == "__main__":
    unittest.main()
