# -*- coding: utf-8 -*-
"""A soak: background checks and openings of the browser for a simulated time, in one process.

    tools/soak [--days N] [--openings N]

Checks come every hour, the openings are spread over them. Now and then something is different:
there are updates, and the user says yes or no; opkg is missing or fails; the server does what it
should not.
Everything that could pile up is counted ten times on the way. Runs inside tools/sandbox.
"""
from __future__ import print_function

import argparse
import collections
import gc
import json
import os
import subprocess
import sys
import urlparse

from simulator.receiver import Receiver
from tests.support.balance import memory
from tests.support.receiver import BLUE, LISTING, OPKG, WAIT, document, entry, write
from tests.support.faults import children, descriptors
from tests.support.network_faults import FAULTS, WITHOUT_WAITING

from Screens.MessageBox import MessageBox

SAMPLES = 10
CHECK_HOURS = 1
TITLES = ["Update now", "Release 3.1", "Meeting"]

#: What is fetched and listed, so long that it shows in the memory when it is kept.
MUCH = "x" * 4000
NEWS = document(entry("Update now", "urgent", [("Do it", ["today", MUCH]), ("Thanks", [])]),
                entry("Release 3.1", None, [("Faster", [])]), entry("Meeting", "info"))
STATISTICS = "EXTENSIONS\nfoo;12\n" + MUCH + "\n"
MANY = BLUE * 20

#: How often it is different: each so many-th check or opening.
UPDATES, NO_OPKG, FAILING_OPKG = 12, 50, 35
FAULTY_SERVER, UPDATES_VIEW, TOP_20 = 20, 25, 40

#: What there is at one time. day: of the simulated time. memory: resident, in KB. objects: those
#: that the garbage collector knows. timers: those that are armed.
Sample = collections.namedtuple(
    "Sample", "day checks openings memory objects descriptors children timers")

_SERVER = """
import sys
from simulator.feedserver import FeedServer
from tests.support.network_faults import FAULTS, WITHOUT_WAITING
server = FeedServer("/tmp/feed").start()
for fault in FAULTS:
    if fault.name in WITHOUT_WAITING:
        fault.strike(server, "zirknews.xml", "/%s/zirknews.xml" % fault.name)
        fault.strike(server, "zirkdlstat.txt", "/%s/zirkdlstat.txt" % fault.name)
print server.port
sys.stdout.flush()
sys.stdin.read()
server.stop()
"""


class Soak(object):
    """days, openings: how much of both. report: called with each Sample."""

    def __init__(self, days, openings, report=lambda sample: None):
        self.samples = []
        self._hours = days * 24
        self._openings = openings
        self._report = report
        self._checks = 0
        self._opened = 0
        self._faults = [fault for fault in FAULTS if fault.name in WITHOUT_WAITING]

    def run(self):
        """Run all of it; return the samples. An outcome that is not as it has to be raises."""
        if not os.path.isdir("/tmp/feed"):
            os.mkdir("/tmp/feed")
        write("/tmp/feed/zirknews.xml", NEWS)
        write("/tmp/feed/zirkdlstat.txt", STATISTICS)
        server = subprocess.Popen([sys.executable, "-c", _SERVER], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, close_fds=True)
        link = os.readlink(OPKG)
        try:
            self._port = int(server.stdout.readline())
            with Receiver(check_for_updates=CHECK_HOURS, raise_errors=False) as self.box:
                self.box.start_plugin()
                for hour in range(self._hours):
                    self._hour(hour)
        finally:
            server.communicate()
            os.remove(OPKG)
            os.symlink(link, OPKG)
        return self.samples

    def _hour(self, hour):
        self._check()
        while self._opened * self._hours < self._openings * (hour + 1):
            self._open()
        if (hour + 1) * SAMPLES % self._hours < SAMPLES:
            self._count((hour + 1) // 24)

    def _count(self, day):
        urlparse.clear_cache()
        gc.collect()
        # The server, its two pipes and the samples are not counted.
        sample = Sample(day, self._checks, self._opened, memory() // 1024,
                        len(gc.get_objects()) - len(self.samples), descriptors() - 2,
                        len(children()) - 1, len(self.box.timers()))
        self.samples.append(sample)
        self._report(sample)

    def _check(self):
        """Let an hour pass: one check, and the question if there are updates."""
        number = self._checks
        self._checks += 1
        updates = number % UPDATES == 0
        self._opkg(MANY if updates else "", number)
        there_are = updates and number % NO_OPKG != 0
        self.box.pass_time(60 if number == 0 else CHECK_HOURS * 3600)
        expect(len(self.box.commands) >= 2, "the check has run")
        expect(self.box.config.usage.update_available.value is there_are, "the flag is right")
        if there_are:
            expect(isinstance(self.box.screen, MessageBox), "the user is asked")
            self._feed(None)
            self.box.answer(number % (2 * UPDATES) == 0)
            if self.box.screen is not None:
                self.box.pass_time(0.1)
                self.box.press("blue")  # the listing is there
                expect("enigma2-skin-blue" in self.box.text("update"), "the listing is shown")
                self.box.press("red", "red")
        self._opkg("", 1)
        self._at_rest()

    def _opkg(self, listing, number):
        if os.path.lexists(OPKG):
            os.remove(OPKG)
        if number % NO_OPKG:
            write(OPKG, "#!/bin/sh\n[ $1 != list-upgradable ] || printf '%s'\nexit %d\n"
                  % (listing, number % FAILING_OPKG == 0))
            os.chmod(OPKG, 0o755)

    def _feed(self, fault):
        write("/etc/opkg/all-feed.conf", "src/gz Zirk-all http://127.0.0.1:%d/%s/all\n"
              % (self._port, "feed" if fault is None else fault.name))

    def _open(self):
        """Open the browser, look at the entries, close it."""
        number = self._opened
        self._opened += 1
        fault = None
        if number % FAULTY_SERVER == 0:
            fault = self._faults[number // FAULTY_SERVER % len(self._faults)]
        self._feed(fault)
        self.box.open_news()
        expect(self.box.rows() == [WAIT], "the screen is there at once")
        self.box.pass_time(0.1)
        if fault is not None and fault.news != 1:
            raised = not isinstance(fault.news, int)
            expect(len(self.box.errors) == raised, "the fault has its outcome")
            if not raised:
                expect(isinstance(self.box.screen, MessageBox), "an error box is shown")
                self.box.press("ok")
            expect(self.box.rows() == ([WAIT] if raised else []), "the list is as it should be")
            self.box.press("yellow", "cancel", "cancel")
        else:
            titles = TITLES if fault is None else [entry[0] for entry in fault.contents]
            expect(self.box.rows() == titles, "the news are shown")
            if titles:
                self.box.press("down", "ok", "left", "right", "pageDown", "yellow")
                if number % UPDATES_VIEW == 1:
                    self.box.press("blue")
                    if number % (2 * UPDATES_VIEW) == 1:
                        self.box.settle()  # otherwise it is closed while opkg runs
                self.box.press("red")
            if number % TOP_20 == 2:
                self.box.press("yellow", "ok", "cancel", "cancel")
            expect(not self.box.errors, "nothing is raised")
            self.box.press("red")
        self._at_rest()

    def _at_rest(self):
        """Everything is closed; forget what the simulator remembers of it."""
        while self.box.screen is not None:
            self.box.press("cancel")
        expect(not self.box.running and not os.path.exists(LISTING), "nothing is left")
        del self.box.errors[:]
        del self.box.commands[:]


def expect(condition, text):
    if not condition:
        raise AssertionError("not so: " + text)


def flat(samples):
    """Return what is not flat: a list of sentences, empty when everything is.

    While the first half is taken, caches still fill. Memory may grow by 1 %, and by 256 KB.
    """
    first, last = samples[len(samples) // 2 - 1], samples[-1]
    found = ["%s: %d, later %d" % (name, getattr(first, name), getattr(last, name))
             for name in ("objects", "descriptors", "children", "timers")
             if getattr(first, name) != getattr(last, name)]
    if last.memory - first.memory > max(256, first.memory // 100):
        found.append("memory: %d KB, later %d KB" % (first.memory, last.memory))
    return found


def line(sample):
    return "%5d %7d %9d %10d %8d %12d %9d %7d" % sample


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--days", type=int, default=365, help="simulated days; 365")
    parser.add_argument("--openings", type=int, default=10000, help="of the browser; 10000")
    parser.add_argument("--json", help="a file for the samples")
    options = parser.parse_args(arguments)

    print("  day  checks  openings  memory KB  objects  descriptors  children  timers")

    def report(sample):
        print(line(sample))
        sys.stdout.flush()

    samples = Soak(options.days, options.openings, report).run()
    problems = flat(samples)
    for problem in problems:
        print("not flat: " + problem)
    if options.json and not problems:
        with open(options.json, "w") as stream:
            json.dump([sample._asdict() for sample in samples], stream, indent=1)
            stream.write("\n")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
