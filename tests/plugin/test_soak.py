"""A soak: days of hourly checks and a hundred openings of the browser leave everything flat.

Now and then something is different: there are updates, and the user says yes or no; opkg is missing
or fails; the server does what it should not. KELVARO_ONE_IN=1 takes a simulated year.
"""

import collections
import gc
import urlparse

from simulator.feedserver import FeedServer
from tests.support.leaks import COUNTS, descriptors, memory, once
from tests.support.network_faults import FAULTS
from tests.support.receiver import (
    BLUE, LISTING, WAIT, ReceiverTest, configure, document, entry)
from tests.support.sampling import ONE_IN

import painting.text
from Screens.MessageBox import MessageBox

CHECKS, OPENINGS = (365 * 24, 10000) if ONE_IN == 1 else (60, 100)

#: What is fetched and listed, so long that it shows in the memory when it is kept.
MUCH = "x" * 4000

#: How many KB more may be held in the end than after half the time. Where bytes are not counted,
#: these are resident, in arenas of 256 KB that come and go, more of them while the machine is busy;
#: MUCH, kept at each opening of half a year, would be 20 MB.
GROWTH = 64 if COUNTS else 4096 if ONE_IN == 1 else 256

#: How often it is different: each so many-th check or opening.
UPDATES, NO_OPKG, FAILING_OPKG = 12, 50, 35
FAULTY_SERVER, UPDATES_VIEW, TOP_20 = 20, 25, 40

#: What there is at one time; memory in KB. Open files and children are looked at in each test.
Sample = collections.namedtuple("Sample", "memory objects timers")


class Soak(ReceiverTest):

    options = {"check_for_updates": 1, "raise_errors": False}
    news = document(
        entry("Update now", "urgent", [("Do it", ["today", MUCH]), ("Thanks", [])]),
        entry("Release 3.1", None, [("Faster", [])]), entry("Meeting", "info"))
    statistics = "EXTENSIONS\nfoo;12\n" + MUCH + "\n"

    @once("it repeats itself")
    def test_leaves_everything_flat(self):
        self.box.start_plugin()
        self.opened = 0
        samples = []
        for fault in FAULTS:  # some have the library import more of itself
            self.open(fault)
        for number in range(CHECKS):
            self.check(number)
            while self.opened * CHECKS < OPENINGS * (number + 1):
                self.open(None if self.opened % FAULTY_SERVER else
                          FAULTS[self.opened // FAULTY_SERVER % len(FAULTS)])
            if (number + 1) % (CHECKS // 4) == 0:  # after the first half caches are full
                samples.append(self.sample())
        self.assertEqual(samples[3].timers, samples[1].timers)
        self.assertEqual(samples[3].objects, samples[1].objects + 2)  # the samples themselves
        self.assertLess(samples[3].memory - samples[1].memory, GROWTH)

    def sample(self):
        descriptors()  # waits until the feed is at rest
        urlparse.clear_cache()
        painting.text.forget()
        gc.collect()
        return Sample(memory() // 1024, len(gc.get_objects()), len(self.box.timers()))

    def check(self, number):
        """Let an hour pass: one check, and the question if there are updates."""
        updates = number % UPDATES == 0
        if number % NO_OPKG == 0:
            self.remove_opkg()
        else:
            self.install_opkg(BLUE * 20 if updates else "", status=number % FAILING_OPKG == 0)
        self.box.pass_time(3600 if number else 60)
        self.assertEqual(self.box.commands, ["opkg update", "opkg list-upgradable"])
        asks = updates and number % NO_OPKG != 0
        self.assertIs(self.box.config.usage.update_available.value, asks)
        if asks:
            self.assertIsInstance(self.box.screen, MessageBox)
            self.box.answer(number % (2 * UPDATES) == 0)
            if self.box.screen is not None:
                self.box.pass_time(0.1)
                self.box.press("blue")  # the listing is there
                self.assertIn("enigma2-skin-blue", self.box.text("update"))
                self.box.press("red", "red")
        self.install_opkg()
        self.be_at_rest()

    def open(self, fault):
        """Open the browser, look at the entries, close it; the server may do what it should not."""
        if fault is None:
            self.open_with(None)
            return
        with FeedServer(self._directory) as server:  # one remembers its faults
            fault.strike(server, "zirknews.xml")
            fault.strike(server, "zirkdlstat.txt")
            configure(server.conf_line())
            self.open_with(fault)
        configure(self.feed.conf_line())

    def open_with(self, fault):
        number = self.opened
        self.opened += 1
        self.box.open_news()
        self.assertEqual(self.box.rows(), [WAIT])
        self.box.pass_time(0.1)
        if fault is not None and fault.news != 1:
            raised = not isinstance(fault.news, int)
            self.assertEqual(len(self.box.errors), raised)
            if not raised:
                self.assertIsInstance(self.box.screen, MessageBox)
                self.box.press("ok")
            self.assertEqual(self.box.rows(), [WAIT] if raised else [])
            self.box.press("yellow", "cancel", "cancel")
        else:
            self.look_at(number, fault)
        self.be_at_rest()

    def look_at(self, number, fault):
        titles = [row[0] for row in fault.contents] if fault is not None else [
            "Update now", "Release 3.1", "Meeting"]
        self.assertEqual(self.box.rows(), titles)
        if titles:
            self.box.press("down", "ok", "left", "right", "pageDown", "yellow")
            if number % UPDATES_VIEW == 1:
                self.box.press("blue")
                if number % (2 * UPDATES_VIEW) == 1:
                    self.box.settle()  # otherwise it is closed while opkg runs
            self.box.press("red")
        if number % TOP_20 == 2:
            self.box.press("yellow", "ok", "cancel", "cancel")
        self.assertEqual(self.box.errors, [])
        self.box.press("red")

    def be_at_rest(self):
        """Everything is closed; forget what the simulator remembers of it."""
        self.box.press(*["cancel"] * len(self.box.stack))
        self.assertIsNone(self.box.screen)
        self.assertFalse(self.box.running)
        self.assertFiles(absent=[LISTING])
        del self.box.errors[:], self.box.commands[:], self.feed.requests[:], self.feed.exchanges[:]
