# -*- coding: utf-8 -*-
"""Whatever opkg does, and whenever the screen that asked it closes: the outcomes are known."""

import collections
import errno
import fcntl
import gc
import os
import re
import select
import shutil
import subprocess
import time
import unittest
import weakref

from simulator import packages as standin
from simulator.packages import Package
from tests.support.receiver import (
    BLUE, LISTING, NO_CONNECTION, OPKG, SCRATCH, WAIT, raising, write)
from tests.support.faults import Recording, children, descriptors_at_rest
from tests.support.sampling import sampled
from tests.plugin.test_update_info_packages import UP_TO_DATE, UpdatesTest, block
from tests.support.model import MODEL

from Screens.MessageBox import MessageBox

HOURS_24 = 24 * 3600 * 1000
NOISE = "Downloading http://feed/all/Packages.gz.\n"


def packages(number):
    return "%d package%s" % (number, "" if number == 1 else "s")


class Opkg(UpdatesTest, Recording):
    """What the three users of opkg make of what it does."""

    def script(self, *lines):
        """Put a shell script in place of opkg."""
        self.install_opkg()
        write(OPKG, "\n".join(("#!/bin/sh",) + lines + ("",)))

    def check(self, order, fault, shown, found, installed):
        """Check the three outcomes, and that all goes well again when opkg does.

        shown: the text of the updates view. found: whether the background check finds updates.
        installed: the list of installed packages.
        """
        self.box.start_plugin()
        open_files = descriptors_at_rest()
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), shown)
        self.box.press("red")
        if shown != NO_CONNECTION:
            os.remove(LISTING)
        self.assertEqual(self.module.getInstalled(), installed)
        self.assertFiles(absent=[SCRATCH])
        self.box.press("red")
        self.box.pass_time(60)
        self.assertEqual(self.flag, found)
        if found:
            self.assertIsInstance(self.box.screen, MessageBox)
            self.box.answer(False)
        self.assertEqual(self.box.timers(), [HOURS_24])
        self.assertEqual((descriptors_at_rest(), children()), (open_files, []))
        self.record("opkg", order, fault, self.in_words(shown),
                    "asks the user" if found else "no update",
                    packages(len(installed)))
        if not os.path.isdir(OPKG):
            self.check_recovery()

    def check_recovery(self):
        self.install_opkg(BLUE, installed="one - 1\n")
        self.open_browser()
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), block("enigma2-skin-blue", "3.4-r5", "3.5-r0"))
        self.assertEqual(self.module.getInstalled(), ["one"])
        self.box.press("red", "red")
        self.box.pass_time(24 * 3600)
        self.assertIsInstance(self.box.screen, MessageBox)

    @staticmethod
    def in_words(shown):
        if shown in (UP_TO_DATE, NO_CONNECTION):
            return "up to date" if shown == UP_TO_DATE else "no connection"
        return packages(shown.count("\nPackage : "))

    def test_missing(self):
        self.remove_opkg()
        self.check(0, "`opkg` missing", UP_TO_DATE, False, [])

    def test_not_executable(self):
        self.script()
        os.chmod(OPKG, 0o644)
        self.check(1, "`opkg` not executable", UP_TO_DATE, False, [])

    def test_a_directory(self):
        self.remove_opkg()
        os.mkdir(OPKG)
        self.check(2, "a directory in place of `opkg`", UP_TO_DATE, False, [])
        os.rmdir(OPKG)
        self.check_recovery()

    def test_killed_at_once(self):
        self.script("kill -9 $$")
        self.check(3, "`opkg` killed at once", UP_TO_DATE, False, [])

    def test_killed_within_its_output(self):
        self.script('printf "a - 1 - 2\\nb - 1 -"', "kill -9 $$")
        self.check(4, "`opkg` killed within its second line", block("a", "1", "2"), True,
                   ["a", "b"])

    def test_failing(self):
        self.install_opkg(BLUE, update=NOISE, installed="a - 1\n", status=255)
        self.check(5, "`opkg` failing with status 255 behind its output",
                   block("enigma2-skin-blue", "3.4-r5", "3.5-r0"), True, ["a"])

    def test_megabytes(self):
        names = sampled(["package%05d%s" % (number, "x" * 240) for number in range(20000)])
        listing = "".join("%s - 1 - 2\n" % name for name in names)
        self.install_opkg(listing, NOISE * 50000, listing)
        self.check(6, "5 MB of packages", "".join(block(name, "1", "2") for name in names),
                   True, names)

    def test_one_line_of_megabytes(self):
        name = "x" * 5000000
        self.install_opkg(name + " - 1 - 2", name, name)
        self.check(7, "one line of 5 MB without an end", block(name, "1", "2"), True, [name])

    def test_noise(self):
        noise = "".join(chr(byte) for byte in range(1, 256) if chr(byte) not in "\n\r ") * 1000
        self.install_opkg(noise, noise, noise)
        self.check(8, "noise without blanks and line ends", UP_TO_DATE, False,
                   (noise + "\n").splitlines())

    def test_bytes_that_are_no_text(self):
        self.install_opkg("\xff\xfe - \x80 - \xc3\n", "\xff\0", "\xff\xfe - \x80\n")
        self.check(9, "names and versions that are no text", block("\xff\xfe", "\x80", "\xc3"),
                   True, ["\xff\xfe"])

    def test_zero_bytes(self):
        self.install_opkg("a\0b - 1 - 2\n\0\n", "\0", "a - 1\n")
        self.check(10, "zero bytes", block("a\0b", "1", "2"), True, ["a"])

    def test_carriage_returns(self):
        self.install_opkg("a - 1 - 2\r\nb - 1 - 2\r", "", "a - 1\r\nb - 1\r\n")
        self.check(11, "carriage returns before the line ends",
                   block("a", "1", "2") + block("b", "1", "2"), True, ["a", "b"])

    def test_other_separators(self):
        self.install_opkg("a\t-\t1\t-\t2\na -1- 2\na--1--2\na \xe2\x80\x93 1 \xe2\x80\x93 2\n"
                          "a  -  1\n", "", "a\t-\t1\n")
        self.check(12, "tabs, dashes and single hyphens between the parts", UP_TO_DATE, False,
                   ["a\t-\t1"])

    def test_more_parts(self):
        self.install_opkg("a - 1 - 2 - 3 - 4\n", "", "a - 1 - 2\n")
        self.check(13, "five parts in a line", block("a", "1", "2"), True, ["a"])

    def test_no_name(self):
        self.install_opkg(" - 1 - 2\n", "", " - 1\n")
        self.check(14, "a package without a name", UP_TO_DATE, True, [""])

    def test_hanging(self):
        self.install_opkg(hang="update")
        self.box.start_plugin()
        self.box.hold()
        self.box.press("ok", "blue")
        self.assertEqual(self.box.text("update"), WAIT)
        self.box.press("red")
        self.assertEqual((self.box.running, children()), ([], []))
        self.box.pass_time(60 + 48 * 3600)
        self.assertEqual((self.box.running, self.box.timers()), (["opkg update"], []))
        self.assertFalse(self.flag)
        self.box.press("ok", "red", "red")  # the screens don't wait for it
        self.assertIsNone(self.box.screen)
        self.record("opkg", 15, "`opkg update` hanging", "waits, and closing ends it",
                    "waits, and no further check comes", "-")

    def test_hanging_listing(self):
        self.install_opkg(hang="list-upgradable")
        self.box.start_plugin()
        self.box.hold()
        self.box.press("ok", "blue")
        self.box.finish("opkg update")
        self.assertEqual(self.box.text("update"), WAIT)
        self.box.press("red")
        self.assertEqual((self.box.running, children()), ([], []))
        self.box.pass_time(60)
        self.box.finish("opkg update")
        self.box.pass_time(48 * 3600)
        self.assertEqual((self.box.running, self.box.timers()), (["opkg list-upgradable"], []))
        self.assertFalse(self.flag)
        self.box.press("red")
        self.assertIsNone(self.box.screen)
        self.assertEqual(self.box.running, ["opkg list-upgradable"])
        self.record("opkg", 15, "`opkg list-upgradable` hanging", "waits, and closing ends it",
                    "waits, and no further check comes", "-")

    def test_stopped_within_its_listing(self):
        # The listing stays as it is then, and counts until the browser closes.
        for order, fault, output, shown in [
                (15.1, "`opkg list-upgradable` stopped by closing the view", "", UP_TO_DATE),
                (15.2, "the same behind its first line", "a - 1 - 2\n", block("a", "1", "2"))]:
            self.script('[ "$1" = update ] && exit', "printf '%s'" % output, "exec sleep 1000")
            self.box.press("ok", "blue")
            self.box.finish("opkg update")
            deadline = time.time() + 10
            while not (os.path.exists(LISTING) and os.path.getsize(LISTING) == len(output)):
                self.assertLess(time.time(), deadline)
                time.sleep(0.005)
            self.box.press("red")
            self.assertEqual((self.box.running, children()), ([], []))
            del self.box.commands[:]
            self.box.press("ok", "blue")
            self.assertEqual((self.box.text("update"), self.box.commands), (shown, []))
            self.assertEqual(self.flag, shown != UP_TO_DATE)
            self.box.press("red", "red")
            self.record("opkg", order, fault,
                        self.in_words(shown) + " until the browser closes", "-", "-")
            self.open_browser()
        self.install_opkg(BLUE)
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), block("enigma2-skin-blue", "3.4-r5", "3.5-r0"))

    def test_hanging_list_of_installed_packages(self):
        self.script("sleep 0.5")
        start = time.time()
        self.assertEqual(self.module.getInstalled(), [])
        self.assertGreaterEqual(time.time() - start, 0.5)
        self.record("opkg", 16, "`opkg list-installed` hanging", "-", "-",
                    "the GUI waits as long")

    def test_in_pieces(self):
        self.script('for piece in "bl" "\\303" "\\244u" " " "- 1 -" " 2" "\\nb - 3" "\\n"; do',
                    '  printf "$piece"; sleep 0.01', "done")
        name = "bl\xc3\xa4u"
        self.check(17, "its output in pieces that cut lines and letters", block(name, "1", "2"),
                   True, [name, "b"])

    def test_silent(self):
        self.script()
        self.check(18, "nothing printed", UP_TO_DATE, False, [])

    def test_messages_with_separators(self):
        self.script('echo "Warning - this - that" >&2')
        self.check(19, "a message with two separators on standard error", UP_TO_DATE, True, [])

    def test_no_process(self):
        self.install_opkg(BLUE, installed="a - 1\n")
        popen = self.box.patch(subprocess, "Popen", raising(OSError(errno.EAGAIN, "")))
        system = self.box.patch(os, "system", lambda command: -1)
        self.addCleanup(setattr, subprocess, "Popen", popen)

        def recover():
            subprocess.Popen, os.system = popen, system
            Opkg.check_recovery(self)
        self.check_recovery = recover
        self.check(20, "no process to be had for it", NO_CONNECTION, False, [])

    # With the stand-in, which keeps the state that opkg keeps.

    def offer(self):
        """One package is installed, and the feed has a newer one, of which opkg knows."""
        standin.build_feed(self._directory, [Package("a", "2")])
        standin.install_initial_state([Package("a", "1")])
        self.addCleanup(standin.install_initial_state, [])
        self.assertEqual(subprocess.call([OPKG, "update"], stdout=open(os.devnull, "w")), 0)

    def lock(self, path):
        """Hold opkg's lock, as another one does that runs."""
        if not os.path.isdir(os.path.dirname(path)):
            os.makedirs(os.path.dirname(path))
        stream = open(path, "w")
        self.addCleanup(os.remove, path)
        self.addCleanup(stream.close)
        fcntl.lockf(stream, fcntl.LOCK_EX)

    def test_locked(self):
        self.offer()
        self.lock("/var/run/opkg.lock")
        # It lists nothing then, and says why on standard error.
        self.check(21, "the lock held by another `opkg`", UP_TO_DATE, False, [])

    def test_without_its_lists(self):
        self.offer()
        shutil.rmtree("/var/lib/opkg/lists")
        shutil.rmtree(os.path.join(self._directory, "all"))
        self.check(23, "its package lists gone, and the feed's", UP_TO_DATE, False, ["a"])

    def test_without_its_state(self):
        self.offer()
        shutil.rmtree("/var/lib/opkg")
        self.check(24, "its whole state gone", UP_TO_DATE, False, [])

    def test_asked_by_check_and_view_at_once(self):
        self.install_opkg(BLUE)
        self.box.start_plugin()
        self.box.hold()
        self.box.pass_time(60)
        self.box.press("ok", "blue")
        self.assertEqual(self.box.running, ["opkg update"] * 2)
        self.box.finish()
        self.box.finish("opkg update")
        self.assertEqual(self.box.running, ["opkg list-upgradable",
                                            "opkg list-upgradable > " + LISTING])
        self.box.press("red")  # ends the view's, and nothing else
        self.assertEqual(self.box.running, ["opkg list-upgradable"])
        if os.path.exists(LISTING):  # the shell may have come so far
            os.remove(LISTING)
        self.box.press("ok", "blue")
        self.box.finish("opkg list-upgradable")
        self.assertTrue(self.flag)
        self.box.release()
        self.box.settle()
        shown = block("enigma2-skin-blue", "3.4-r5", "3.5-r0")
        self.assertEqual(self.box.text("update"), shown)
        self.assertEqual(self.box.notifications, 1)  # waits for the screens
        self.box.press("red", "red")
        self.assertIsInstance(self.box.screen, MessageBox)
        self.box.answer(False)
        self.assertEqual(self.box.timers(), [HOURS_24])
        self.record("opkg", 25, "asked by the check and the view at once", self.in_words(shown),
                    "asks the user, once the screens are closed", "-")


class OfTheModel(Opkg):
    """The model in plain Python makes the same of it."""

    options = {"module": MODEL}

    # These take long, and what is much says nothing else than what is little.
    test_megabytes = test_one_line_of_megabytes = test_hanging_list_of_installed_packages = None

    def record(self, *_):
        pass


#: When the screen is closed, in the words of the document.
MOMENTS = ("while `opkg update` runs", "when `opkg update` has printed something",
           "while `opkg list-upgradable` runs",
           "when it has ended and nobody has been told", "when its listing is shown")

#: How it goes, in the words of the document.
WAYS = collections.OrderedDict([
    ("key", "by a key"),
    ("within", "by a key, the callback coming before the screen is freed"),
    ("host", "by the host, which kills nothing")])

NOTHING = ([], False)
NO_CONSOLE = (["AttributeError, line 474"], False)
#: The flag stays down where the listing was killed before it had a package.
NO_TEXT = (["KeyError, line 501"], False)
NO_TEXT_BUT_PACKAGES = (["KeyError, line 501"], True)

#: (way, late callbacks): for each moment, the exceptions and whether the flag is up.
#: The listing of moment 4 has raised the flag before the screen closes.
SHOWN = ([], True)
CLOSED = {
    # What is killed calls nobody.
    ("key", False): [NOTHING, NOTHING, NOTHING, NOTHING, SHOWN],
    # What is killed calls a screen that has been freed: it has neither attributes nor widgets.
    ("key", True): [NO_CONSOLE, NO_CONSOLE, NO_TEXT, NO_TEXT_BUT_PACKAGES, SHOWN],
    ("within", False): [NOTHING, NOTHING, NOTHING, NOTHING, SHOWN],
    # The screen is whole but for its list: it starts the listing, which nobody kills; or shows it.
    ("within", True): [NO_TEXT_BUT_PACKAGES, NO_TEXT_BUT_PACKAGES, NOTHING, SHOWN, SHOWN],
    ("host", False): [NO_CONSOLE, NO_CONSOLE, NO_TEXT_BUT_PACKAGES, NO_TEXT_BUT_PACKAGES, SHOWN],
    ("host", True): [NO_CONSOLE, NO_CONSOLE, NO_TEXT_BUT_PACKAGES, NO_TEXT_BUT_PACKAGES, SHOWN],
}


class Moments(UpdatesTest, Recording):
    """The detail screen closed at every moment of a running listing."""

    GO = "/tmp/opkg.go"

    def boot_with(self, **options):
        self.boot(raise_errors=False, **options)
        self.box.hold()
        self.open_browser()
        self.install_opkg()
        # `update` prints and ends, `list-upgradable` waits for a sign.
        write(OPKG, '#!/bin/sh\n[ "$1" = update ] && echo text && exit\n'
                    'while [ ! -e %s ]; do sleep 0.01; done\necho "a - 1 - 2"\n' % self.GO)
        if os.path.exists(self.GO):
            os.remove(self.GO)
        self.addCleanup(lambda: os.path.exists(self.GO) and os.remove(self.GO))

    def receive(self):
        """Deliver the next piece of output, or the end, of the first command; nothing else."""
        container = self.box.loop.running[0]
        self.assertTrue(select.select([container], [], [], 10)[0])
        self.box.loop.call(container.receive)

    def go(self):
        write(self.GO, "")

    def reach(self, moment):
        if moment >= 1:
            self.receive()
        if moment >= 2:
            self.receive()
        if moment >= 3:
            self.go()
            self.assertTrue(select.select(self.box.loop.running[:1], [], [], 10)[0])
        if moment >= 4:
            self.receive()

    def close(self, screen, way):
        if way == "key":
            self.box.press("red")
        elif way == "within":
            screen.closeNews()
        else:
            self.box.session.close(screen, 0)
            self.box.loop.run_due()

    def finish(self):
        """Deliver all that is still to come."""
        while self.box.running:
            self.go()
            self.receive()
        self.box.loop.run_due()

    def run_to_the_end(self, moment, way, late, **options):
        """Return what happened: exceptions with lines, the flag, the files, all as described."""
        self.boot_with(late_callbacks=late, **options)
        open_files = descriptors_at_rest()
        self.box.press("ok", "blue")
        screen = self.box.screen
        reference = weakref.ref(screen)
        self.reach(moment)
        self.close(screen, way)
        del screen
        if way == "within":
            first = self.box.running[:1]
            while first and self.box.running == first:
                self.receive()  # before the loop's next turn
            self.box.loop.run_due()
        self.finish()
        errors = [re.sub("(?s).*line ([0-9]+), in .*?([A-Za-z]+Error).*", r"\2, line \1", text)
                  for text in self.box.errors]
        self.assertIs(self.box.screen, self.browser)
        self.assertEqual(self.box.running, [])
        gc.collect()
        self.assertIsNone(reference())
        self.assertEqual((descriptors_at_rest(), children()), (open_files, []))
        return errors, self.flag

    def check(self, way, late):
        for moment, expected in enumerate(CLOSED[way, late]):
            found = self.run_to_the_end(moment, way, late)
            self.assertEqual(found, expected, MOMENTS[moment])
            self.assertEqual(self.run_to_the_end(moment, way, late, module=MODEL), found)
            # The browser works on, with a listing of its own.
            self.run_again()
            errors, flag = found
            self.record("closing", 10 * WAYS.keys().index(way) + 5 * late + moment, WAYS[way],
                        MOMENTS[moment], "yes" if late else "no",
                        ", ".join(errors) or "nothing is raised",
                        "raised" if flag else "as it was")

    def run_again(self):
        """Another listing in the same browser goes well."""
        self.go()
        if os.path.exists(LISTING):
            os.remove(LISTING)
        errors = len(self.box.errors)
        self.box.release()
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), block("a", "1", "2"))
        self.box.press("red", "red")
        self.assertIsNone(self.box.screen)
        self.assertEqual(len(self.box.errors), errors)


def _test_of(way, late):
    return lambda self: self.check(way, late)


for _way, _late in CLOSED:
    setattr(Moments, "test_%s%s" % (_way, "_with_late_callbacks" if _late else ""),
            _test_of(_way, _late))


if __name__ == "__main__":
    unittest.main()
