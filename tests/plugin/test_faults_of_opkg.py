"""Whatever opkg does, and whenever the screen that asked it closes: the outcomes are known."""

import errno
import gc
import os
import re
import select
import shutil
import subprocess
import time
import weakref

from simulator import packages as standin
from simulator.opkg import database
from simulator.packages import Package
from tests.support import transcripts
from tests.support.leaks import children
from tests.support.model import MODEL
from tests.support.receiver import (
    BLUE, LISTING, NO_CONNECTION, OPKG, SCRATCH, WAIT, raising, write)
from tests.support.sampling import ONE_IN, sampled
from tests.support.screens import BLUE_SHOWN, DetailTest, UP_TO_DATE, block

from Screens.MessageBox import MessageBox

HOURS_24 = 24 * 3600 * 1000
NOISE = "".join(chr(byte) for byte in range(1, 256) if chr(byte) not in "\n\r ") * 1000

#: What opkg prints: the listing, the update, the installed packages. What comes of it: the text of
#: the updates view, whether the background check finds updates, the installed packages.
OUTPUTS = {
    "nothing": ("", "", "", UP_TO_DATE, False, []),
    "noise_without_blanks_and_line_ends":
        (NOISE, NOISE, NOISE, UP_TO_DATE, False, (NOISE + "\n").splitlines()),
    "what_is_no_text": ("\xff\xfe - \x80 - \xc3\n", "\xff\0", "\xff\xfe - \x80\n",
                        block("\xff\xfe", "\x80", "\xc3"), True, ["\xff\xfe"]),
    "zero_bytes": ("a\0b - 1 - 2\n\0\n", "\0", "a - 1\n", block("a\0b", "1", "2"), True, ["a"]),
    "carriage_returns": ("a - 1 - 2\r\nb - 1 - 2\r", "", "a - 1\r\nb - 1\r\n",
                         block("a", "1", "2") + block("b", "1", "2"), True, ["a", "b"]),
    "other_separators": ("a\t-\t1\t-\t2\na -1- 2\na--1--2\na \xe2\x80\x93 1 \xe2\x80\x93 2\n"
                         "a  -  1\n", "", "a\t-\t1\n", UP_TO_DATE, False, ["a\t-\t1"]),
    "five_parts": ("a - 1 - 2 - 3 - 4\n", "", "a - 1 - 2\n", block("a", "1", "2"), True, ["a"]),
    "no_name": (" - 1 - 2\n", "", " - 1\n", UP_TO_DATE, True, [""]),
}
#: Releases, notes of their recordings: whether packages are listed, which further names count as
#: installed. The second line of an error begins with a blank.
RECORDED = {
    ("0.1.8", "lock held"): (False, ["Collected", ""]),
    ("0.3.5", "lock held"): (False, []),
    ("0.4.4", "lock held"): (True, []),
    # With noise before the listing and errors after it, with errors apart, with bare errors.
    ("0.1.8", "a line 'foo bar'"): (True, ["Collected", ""]),
    ("0.3.5", "a line 'foo bar'"): (True, []),
    ("0.4.4", "a line 'foo bar'"): (True, []),
}
#: What the feed answers in place of its index: whether opkg still knows the packages.
INDEXES = {
    "a_web_page": (dict(body="<html>Sign in</html>"), False),
    "an_empty_file": (dict(body=""), False),
    "a_redirection": (dict(status=302, headers=[("Location", "/feed/all/Packages")]), False),
    "half_of_it": (dict(drop="middle"), True),
    "an_error": (dict(status=500), True),
}
FOO, BAR = "enigma2-plugin-extensions-foo", "enigma2-plugin-skin-bar-hd"
FOO_SHOWN = block(FOO, "1", "2")


class Opkg(DetailTest):
    """What the three users of opkg make of what it does."""

    def script(self, *lines):
        """Put a shell script in place of opkg."""
        self.install_opkg()
        write(OPKG, "\n".join(("#!/bin/sh",) + lines + ("",)))

    def check(self, shown, found, installed):
        """Check the three outcomes as in OUTPUTS, and that all goes well again when opkg does."""
        self.box.start_plugin()
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), shown)
        self.box.press("red")
        if shown != NO_CONNECTION:
            os.remove(LISTING)
        self.assertEqual(self.module.getInstalled(), installed)
        self.box.press("yellow")
        self.box.choose("Extensions")
        self.assertEqual(self.box.rows(),
                         ["Foo   (12) - " + ("Remove" if FOO in installed else "Install")])
        self.assertFiles(absent=[SCRATCH])
        self.box.press("cancel", "cancel", "red")
        self.box.config.usage.update_available.value = not found
        self.box.pass_time(60)
        self.assertEqual(self.flag, found)
        if found:
            self.assertIsInstance(self.box.screen, MessageBox)
            self.box.answer(False)
        self.assertEqual(self.box.timers(), [HOURS_24])
        self.recover()
        self.install_opkg(BLUE, installed="one - 1\n")
        self.open_browser()
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), BLUE_SHOWN)
        self.assertEqual(self.module.getInstalled(), ["one"])
        self.box.press("red", "red")
        self.box.pass_time(24 * 3600)
        self.assertIsInstance(self.box.screen, MessageBox)

    def recover(self):
        """What else it takes, besides another opkg."""

    def test_missing(self):
        self.remove_opkg()
        self.check(UP_TO_DATE, False, [])

    def test_not_executable(self):
        self.script()
        os.chmod(OPKG, 0o644)
        self.check(UP_TO_DATE, False, [])

    def test_a_directory(self):
        self.remove_opkg()
        os.mkdir(OPKG)
        self.recover = lambda: os.rmdir(OPKG)
        self.check(UP_TO_DATE, False, [])

    def test_killed_at_once(self):
        self.script("kill -9 $$")
        self.check(UP_TO_DATE, False, [])

    def test_killed_within_its_output(self):
        self.script('printf "a - 1 - 2\\nb - 1 -"', "kill -9 $$")
        self.check(block("a", "1", "2"), True, ["a", "b"])

    def test_failing_after_its_output(self):
        self.install_opkg(BLUE, update=NOISE, installed="a - 1\n", status=255)
        self.check(BLUE_SHOWN, True, ["a"])

    def test_printing_in_pieces_that_cut_lines_and_letters(self):
        self.script('for piece in "bl" "\\303" "\\244u" " " "- 1 -" " 2" "\\nb - 3" "\\n"; do',
                    '  printf "$piece"; sleep 0.01', "done")
        name = "bl\xc3\xa4u"
        self.check(block(name, "1", "2"), True, [name, "b"])

    def test_printing_a_message_with_separators_on_standard_error(self):
        self.script('echo "Warning - this - that" >&2')
        self.check(UP_TO_DATE, True, [])

    def test_without_a_process_for_it(self):
        def recover():
            subprocess.Popen, os.system = popen, system
        self.install_opkg(BLUE, installed="a - 1\n")
        popen = self.box.patch(subprocess, "Popen", raising(OSError(errno.EAGAIN, "")))
        system = self.box.patch(os, "system", lambda command: -1)
        self.recover = recover
        self.check(NO_CONNECTION, False, [])

    # With the stand-in, which keeps the state that opkg keeps.

    def offer(self):
        """One package is installed, and the feed has a newer one, of which opkg knows."""
        standin.build_feed(self._directory, [
            Package(FOO, "2"), Package(BAR, "1"), Package("broken", "1", postinst="exit 3")])
        standin.install_initial_state([Package(FOO, "1")])
        self.addCleanup(standin.install_initial_state, [])
        subprocess.check_output([OPKG, "update"])

    def list_again(self):
        """The fault is over, and the updates are listed."""
        self.feed.clear()
        self.open_browser()
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), FOO_SHOWN)
        self.box.press("red", "red")

    def test_while_another_one_runs(self):
        self.offer()
        lock = database.take_lock()
        self.addCleanup(lock.close)
        self.recover = lambda: (lock.close(), self.list_again())
        # It lists nothing, and says why on standard error.
        self.check(UP_TO_DATE, False, [])

    def test_after_a_script_that_failed_each_installation_ends_with_errors(self):
        self.offer()
        with open(os.devnull, "w") as nothing:
            subprocess.call([OPKG, "install", "broken"], stdout=nothing, stderr=nothing)
        self.box.press("yellow")
        self.box.choose("Skins")
        self.box.choose("Bar-Hd")
        self.box.settle()
        self.assertEqual(self.box.text("status"), "Done, with errors")
        self.box.press("ok", "cancel")
        self.recover = self.list_again
        self.check(FOO_SHOWN, True, ["broken", FOO, BAR])

    def test_without_its_lists_and_without_those_of_the_feed(self):
        self.offer()
        shutil.rmtree("/var/lib/opkg/lists")
        shutil.rmtree(os.path.join(self._directory, "all"))
        self.check(UP_TO_DATE, False, [FOO])

    def test_without_its_state(self):
        self.offer()
        shutil.rmtree("/var/lib/opkg")
        self.check(UP_TO_DATE, False, [])


def _test_of(listing, update, installed, *outcomes):
    def test(self):
        self.install_opkg(listing, update, installed)
        self.check(*outcomes)
    return test


def _test_of_recorded(release, note, listed, further):
    def test(self):
        self.script('cat "/tmp/opkg.$1.out"', 'cat "/tmp/opkg.$1.err" >&2')
        lines = {}
        for run in transcripts.runs(release):
            if run.note == note:
                write("/tmp/opkg.%s.out" % run.command, run.out)
                write("/tmp/opkg.%s.err" % run.command, run.err)
            elif run.note == "a directory x.conf":  # when nothing was wrong
                lines[run.command] = [line.split(" - ") for line in run.out.splitlines()
                                      if " - " in line]
        self.check("".join(block(*line) for line in lines["list-upgradable"] * listed)
                   or UP_TO_DATE, listed,
                   [line[0] for line in lines["list-installed"] * listed] + further)
    return test


def _test_of_index(fault, listed):
    def test(self):
        self.offer()
        self.feed.fault("all/Packages.gz", **fault)
        self.recover = self.list_again
        self.check(FOO_SHOWN if listed else UP_TO_DATE, listed, [FOO])
    return test


for _name, _row in OUTPUTS.items():
    setattr(Opkg, "test_printing_" + _name, _test_of(*_row))
for (_release, _note), _row in RECORDED.items():
    setattr(Opkg, re.sub(r"\W", "_", "test_as_%s_with_%s" % (_release, _note)),
            _test_of_recorded(_release, _note, *_row))
for _name, _row in INDEXES.items():
    setattr(Opkg, "test_whose_feed_sends_%s_for_an_index" % _name, _test_of_index(*_row))


if ONE_IN == 1:
    class OfTheModel(Opkg):
        """The model in plain Python makes the same of it."""

        options = {"module": MODEL}


class Waiting(DetailTest):
    """opkg takes long, or prints much, or is asked twice."""

    def test_for_megabytes_and_for_lines_of_megabytes(self):
        self.draw_no_texts()
        names = sampled(["package%05d%s" % (number, "x" * 240) for number in range(20000)])
        for names, end in ((names, "\n"), (["x" * 5000000], "")):
            listing = "".join("%s - 1 - 2%s" % (name, end) for name in names)
            self.install_opkg(listing, listing, listing)
            self.box.press("ok", "blue")
            self.box.settle()
            self.assertEqual(self.box.text("update"),
                             "".join(block(name, "1", "2") for name in names))
            self.box.press("red")
            self.assertEqual(self.module.getInstalled(), names)
            os.remove(LISTING)

    def test_without_end_for_the_update_holds_no_screen_and_no_further_check_comes(self):
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
        self.box.press("ok", "red", "red")
        self.assertIsNone(self.box.screen)

    def test_without_end_for_the_listing_holds_no_screen_and_no_further_check_comes(self):
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

    def test_for_installed_packages_the_GUI_does(self):
        self.install_opkg()
        write(OPKG, "#!/bin/sh\nsleep 0.3\n")
        start = time.time()
        self.assertEqual(self.module.getInstalled(), [])
        self.assertGreaterEqual(time.time() - start, 0.3)

    def test_is_ended_by_closing_and_what_was_listed_counts_until_the_browser_closes(self):
        self.install_opkg()
        for output, shown in [("", UP_TO_DATE), ("a - 1 - 2\n", block("a", "1", "2"))]:
            write(OPKG, "#!/bin/sh\n[ $1 = update ] || { printf '%s'; exec sleep 1000; }" % output)
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
            self.open_browser()

    def test_is_done_by_check_and_view_each_for_itself(self):
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
        self.assertEqual(self.box.text("update"), BLUE_SHOWN)
        self.assertEqual(self.box.notifications, 1)  # waits for the screens
        self.box.press("red", "red")
        self.assertIsInstance(self.box.screen, MessageBox)
        self.box.answer(False)
        self.assertEqual(self.box.timers(), [HOURS_24])


#: When the screen is closed.
MOMENTS = ("while `opkg update` runs", "when `opkg update` has printed something",
           "while `opkg list-upgradable` runs",
           "when it has ended and nobody has been told", "when its listing is shown")

NOTHING = ([], False)
NO_CONSOLE = (["AttributeError, line 474"], False)
#: The flag stays down where the listing was killed before it had a package.
NO_TEXT = (["KeyError, line 501"], False)
NO_TEXT_BUT_PACKAGES = (["KeyError, line 501"], True)

#: (way of closing, late callbacks): for each moment, the exceptions and whether the flag is up.
#: key: by a key. within: by a key, the callback coming before the screen is freed. host: by the
#: host, which kills nothing. The listing of the last moment raises the flag before.
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


class Closing(DetailTest):
    """The detail screen is closed at every moment of a running listing."""

    GO = "/tmp/opkg.go"

    def go(self):
        """Let `opkg list-upgradable` print and end."""
        write(self.GO, "")

    def receive(self):
        """Deliver the next piece of output, or the end, of the first command; nothing else."""
        container = self.box.loop.running[0]
        self.assertTrue(select.select([container], [], [], 10)[0])
        self.box.loop.call(container.receive)

    def reach(self, moment):
        for _ in range(min(moment, 2)):
            self.receive()
        if moment >= 3:
            self.go()
            self.assertTrue(select.select(self.box.loop.running[:1], [], [], 10)[0])
        if moment >= 4:
            self.receive()

    def close(self, screen, way):
        if way == "key":
            self.box.press("red")
            return
        if way == "host":
            self.box.session.close(screen, 0)
            self.box.loop.run_due()
            return
        screen.closeNews()
        first = self.box.running[:1]
        while first and self.box.running == first:
            self.receive()  # before the loop's next turn
        self.box.loop.run_due()

    def run_to_the_end(self, moment, way, late, **options):
        """Return the exceptions with their lines, and whether the flag is up."""
        self.boot(raise_errors=False, late_callbacks=late, **options)
        self.box.hold()
        self.open_browser()
        self.install_opkg()
        # `update` prints and ends, `list-upgradable` waits for a sign.
        write(OPKG, '#!/bin/sh\n[ "$1" = update ] && echo text && exit\n'
                    'while [ ! -e %s ]; do sleep 0.01; done\necho "a - 1 - 2"\n' % self.GO)
        if os.path.exists(self.GO):
            os.remove(self.GO)
        self.box.press("ok", "blue")
        reference = weakref.ref(self.box.screen)
        self.reach(moment)
        self.close(reference(), way)
        while self.box.running:
            self.go()
            self.receive()
        self.box.loop.run_due()
        errors = [re.sub("(?s).*line ([0-9]+), in .*?([A-Za-z]+Error).*", r"\2, line \1", text)
                  for text in self.box.errors]
        self.assertIs(self.box.screen, self.browser)
        gc.collect()
        self.assertIsNone(reference())
        self.assertEqual(children(), [])
        return errors, self.flag

    def check(self, way, late):
        for moment, expected in enumerate(CLOSED[way, late]):
            self.assertEqual(self.run_to_the_end(moment, way, late, module=MODEL), expected,
                             MOMENTS[moment])
            self.assertEqual(self.run_to_the_end(moment, way, late), expected, MOMENTS[moment])
            # The browser works on, with a listing of its own.
            self.go()
            if os.path.exists(LISTING):
                os.remove(LISTING)
            del self.box.errors[:]
            self.box.release()
            self.box.press("ok", "blue")
            self.box.settle()
            self.assertEqual(self.box.text("update"), block("a", "1", "2"))
            self.box.press("red", "red")
            self.assertEqual((self.box.screen, self.box.errors), (None, []))


def _closing(way, late):
    return lambda self: self.check(way, late)


for _way, _late in CLOSED:
    setattr(Closing, "test_%s%s" % (_way, "_with_late_callbacks" if _late else ""),
            _closing(_way, _late))
