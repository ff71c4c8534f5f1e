"""What docs/feed.md says that receivers ask of a server is what they ask."""

import os
import re
import unittest

from simulator import ROOT, SAMPLE_FEED, packages
from simulator.feedserver import FeedServer
from simulator.receiver import Receiver


def news(box):
    box.open_news()
    box.pass_time(0.1)


def check(box):
    box.start_plugin()
    box.pass_time(60)


def install(box):
    box.choose("Skins")
    box.choose("Simple-Sd")
    box.settle()
    box.press("ok")


#: The first words of the table's rows: what comes before, what is measured; strings are keys.
EVENTS = {
    "a check for updates": ([], [check]),
    "an opening of the news": ([], [news]),
    "an entry of it": ([news], ["ok"]),
    "the updates in an entry": ([news, "ok"], ["blue"]),
    "the news after a check's question": ([check], [lambda box: box.answer(True)]),
    "Top 20": ([news], ["yellow"]),
    "an installation from it": ([news, "yellow"], [install]),
}


class Costs(unittest.TestCase):

    def boot(self):
        packages.install_initial_state()
        self.feed = FeedServer(SAMPLE_FEED).start()
        self.addCleanup(self.feed.stop)
        self.box = Receiver(feed_url=self.feed.url)
        self.addCleanup(self.box.close)

    def go(self, steps):
        """Take steps; return what the feed was asked for: names of files, headers, bytes."""
        del self.feed.exchanges[:]
        for step in steps:
            step(self.box) if callable(step) else self.box.press(step)
            self.box.pass_time(0.2)
        return [(os.path.basename(path), headers, size)
                for path, headers, size in self.feed.exchanges]

    def test_each_event_takes_the_requests_and_bytes_of_the_table(self):
        with open(os.path.join(ROOT, "docs", "feed.md")) as page:
            rows = re.findall(r"(?m)^\| ([^|]*) \| ((?:`[\w.]+` )*)\| (\d+) \| ([\d,]+)( and the "
                              r"package)? \|$", page.read())
        self.assertEqual(set(row[0] for row in rows), set(EVENTS))
        for name, files, requests, size, package in rows:
            self.boot()
            before, event = EVENTS[name]
            self.go(before)
            asked = self.go(event)
            self.assertEqual(len(asked), int(requests), name)
            brought = [one for one in asked if one[0].endswith(".ipk")]
            self.assertEqual(len(brought), 1 if package else 0, name)
            counted = [one for one in asked if one not in brought]
            self.assertEqual(sorted(one[0] for one in counted), re.findall(r"[\w.]+", files), name)
            self.assertEqual(sum(one[2] for one in counted), int(size.replace(",", "")), name)

    def test_the_module_ignores_headers_for_caches_and_asks_for_no_compression(self):
        self.boot()
        self.feed.fault("zirknews.xml", headers=[
            ("Cache-Control", "public, max-age=86400, immutable"), ("ETag", '"1"'),
            ("Expires", "Fri, 01 Jan 2100 00:00:00 GMT"),
            ("Last-Modified", "Sat, 14 Oct 2023 12:00:00 GMT")])
        first = self.go([news, "red"])
        self.assertEqual(self.go([news]), first)
        (_, headers, size), = first
        self.assertEqual(size, os.path.getsize(os.path.join(SAMPLE_FEED, "zirknews.xml")))
        self.assertEqual(headers.pop("host"), "127.0.0.1:%d" % self.feed.port)
        self.assertEqual(headers, {"accept-encoding": "identity", "connection": "close",
                                   "user-agent": "Python-urllib/2.7"})
