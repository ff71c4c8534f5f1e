# -*- coding: utf-8 -*-
"""/tmp full or not writable; directories, links and worse in place of the module's files."""

import errno
import os
import cPickle as pickle
import threading
import time
import unittest

from tests.support.receiver import (
    BLUE, CACHE, LISTING, NO_CONNECTION, SCRATCH, WAIT, document, entry, read, write)
from tests.support.faults import Recording, descriptors_at_rest
from tests.plugin.test_update_info import DetailTest
from tests.plugin.test_update_info_packages import UP_TO_DATE, block

FILLER = "/tmp/filler"
VICTIM = "/etc/victim"

#: More than the standard library holds back before it writes.
LARGE_NEWS = document(*[entry("Entry %d" % number) for number in range(2000)])
LARGE_LISTING = "".join("package%04d - 1 - 2\n" % number for number in range(2000))


class ScratchTest(DetailTest, Recording):
    """What each user of a file under /tmp makes of its state."""

    order = 0
    place = None  # in the words of the document

    def setUp(self):
        DetailTest.setUp(self)
        self.install_opkg(BLUE, installed="a - 1\nb - 1\n")
        self.open_files = descriptors_at_rest()
        self.addCleanup(self.tidy_up)

    def tidy_up(self):
        """Leave the way free for the next test, however this one ended."""
        for path in (CACHE, LISTING, SCRATCH, FILLER, VICTIM):
            if os.path.isdir(path) and not os.path.islink(path):
                os.rmdir(path)
            elif os.path.lexists(path):
                os.remove(path)

    def tearDown(self):
        self.assertEqual(descriptors_at_rest(), self.open_files)

    def note(self, use, found):
        self.record("files", self.order, self.place, use, found)

    def fails(self, error, number, entries, function, *arguments):
        """Check an exception, its errno and its way; return it for the document."""
        value = self.assertFails(error, entries, function, *arguments)
        self.assertEqual(value.errno, number)
        return "%s (%s), line %s" % (error.__name__, errno.errorcode[number],
                                     entries[-1].rpartition(":")[2])

    # The uses of the three files.

    def fetch(self, error=None, number=None, line=None):
        """Fetch the news; the placeholder stays and red leads out where that fails."""
        browser = self.box.open_news()
        if error is None:
            self.box.pass_time(0.1)
            self.assertEqual(len(self.box.rows()), len(self.module.load_cache()))
            return "status 1"
        found = self.fails(error, number, ["AllNews.createMenu:316", "parse_xml:168",
                                           "write_cache:%d" % line], self.box.pass_time, 0.1)
        self.assertEqual(self.box.rows(), [WAIT])
        self.assertIs(self.box.screen, browser)
        self.box.press("ok", "blue")
        self.assertIs(self.box.screen, browser)
        return found

    def listed(self):
        """Return the text of the updates view after a listing."""
        write("/etc/opkg.cache", read(CACHE))  # a detail screen needs the news
        self.replace(cache_file="/etc/opkg.cache")
        self.open_detail(0, True)
        self.box.settle()
        text = self.box.text("update")
        self.box.press("red")
        os.remove("/etc/opkg.cache")
        self.replace(cache_file=CACHE)
        return text

    def answer_yes(self):
        """Let the background check find updates, and say yes."""
        self.box.start_plugin()
        self.box.pass_time(60)
        self.box.answer(True)

    def answer_fails(self, number, line):
        found = self.fails(IOError, number, ["UpdateNotification.show_Kelvaro:%d" % line],
                           self.answer_yes)
        self.assertIsNone(self.box.screen)
        self.assertEqual(self.box.timers(), [24 * 3600 * 1000])  # the checks go on
        return found

    def close_fails(self, number):
        """The browser can't be closed; return how it fails."""
        browser = self.box.screen
        found = self.fails(OSError, number, ["AllNews.keyCancel:348"], self.box.press, "red")
        self.assertIs(self.box.screen, browser)
        return found

    def recovers(self):
        """With the fault gone the same receiver works as ever."""
        while self.box.screen is not None:
            self.box.press("cancel")
        self.open_browser()
        self.assertEqual(len(self.box.rows()), len(self.module.load_cache()))
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), block("enigma2-skin-blue", "3.4-r5", "3.5-r0"))
        self.assertEqual(self.module.getInstalled(), ["a", "b"])
        self.box.press("red", "red")
        self.assertFiles(absent=[CACHE, LISTING, SCRATCH])


class Full(ScratchTest):
    """/tmp without room, or with too little."""

    order = 0
    place = "`/tmp` full"

    def fill(self, room=0):
        """Leave so many bytes of room, in pages of 4096."""
        if os.statvfs("/tmp").f_blocks * os.statvfs("/tmp").f_frsize > 1 << 27:
            self.skipTest("proot has no small file system to fill")
        with open(FILLER, "wb", 0) as stream:
            try:
                while True:
                    stream.write("\0" * (1 << 20))
            except IOError as e:
                self.assertEqual(e.errno, errno.ENOSPC)
            stream.truncate(os.path.getsize(FILLER) // 4096 * 4096 - room)
        self.assertEqual(os.statvfs("/tmp").f_bavail * os.statvfs("/tmp").f_frsize, room)

    def recovers(self):
        os.remove(FILLER)
        ScratchTest.recovers(self)

    def test_loses_a_small_cache_at_its_closing(self):
        self.box.press("red")
        self.fill()
        self.note("storing a short news list", self.fetch(IOError, errno.ENOSPC, 96))
        self.assertEqual(read(CACHE), "")
        self.assertFails(EOFError, ["load_cache:100"], self.module.load_cache)
        self.recovers()

    def test_damages_a_large_cache_while_it_is_written(self):
        self.box.press("red")
        self.serve(LARGE_NEWS)
        self.fill(8192)
        self.note("storing a long news list", self.fetch(IOError, errno.ENOSPC, 95))
        self.assertEqual(os.path.getsize(CACHE), 8192)
        self.assertRaises(Exception, self.module.load_cache)
        self.recovers()

    def test_makes_the_listing_empty(self):
        self.fill()
        self.assertEqual(self.listed(), UP_TO_DATE)
        self.assertFalse(self.box.config.usage.update_available.value)
        self.note("listing the upgradable packages", "up to date")
        os.remove(LISTING)
        self.recovers()

    def test_cuts_the_listing_off(self):
        self.install_opkg(LARGE_LISTING, installed="a - 1\nb - 1\n")
        self.fill(4096)
        lines = LARGE_LISTING[:4096].split("\n")
        text = self.listed()
        self.assertEqual(text.count("Package : "),
                         len([line for line in lines if line.count(" - ") >= 2]))
        self.note("listing 2000 upgradable packages, with 4 KB of room",
                  "%d packages" % text.count("Package : "))
        os.remove(LISTING)
        self.install_opkg(BLUE, installed="a - 1\nb - 1\n")
        self.recovers()

    def test_makes_the_list_of_installed_packages_empty(self):
        self.fill()
        self.assertEqual(self.module.getInstalled(), [])
        self.note("listing the installed packages", "none")
        self.assertFiles(absent=[SCRATCH])
        self.recovers()

    def test_does_not_hinder_the_check_and_fails_the_answer(self):
        self.box.press("red")
        self.fill()
        self.note("answering yes to a short listing", self.answer_fails(errno.ENOSPC, 516))
        os.remove(FILLER)
        os.remove(LISTING)
        self.recovers_after_answer()

    def test_fails_the_answer_to_a_long_listing_at_once(self):
        self.install_opkg(LARGE_LISTING)
        self.box.press("red")
        self.fill()
        self.note("answering yes to a long listing", self.answer_fails(errno.ENOSPC, 515))
        os.remove(FILLER)
        os.remove(LISTING)
        self.install_opkg(BLUE, installed="a - 1\nb - 1\n")
        self.recovers_after_answer()

    def recovers_after_answer(self):
        self.box.pass_time(24 * 3600)
        self.box.answer(True)
        self.assertEqual(read(LISTING), BLUE)
        self.box.press("red")


class Unwritable(ScratchTest):
    """/tmp in which nothing can be made or removed."""

    order = 1
    place = "`/tmp` not writable"
    number = errno.EACCES

    def protect(self):
        mode = os.stat("/tmp").st_mode
        self.addCleanup(os.chmod, "/tmp", mode)
        os.chmod("/tmp", 0o555)
        self.unprotect = lambda: os.chmod("/tmp", mode)
        if os.access("/tmp", os.W_OK):
            self.skipTest("root writes everywhere in this sandbox")

    def test_refuses_the_cache(self):
        self.box.press("red")
        self.protect()
        self.note("storing the news list", self.fetch(IOError, self.number, 94))
        self.assertFiles(absent=[CACHE])
        self.unprotect()
        self.recovers()

    def test_takes_a_cache_that_is_there_and_never_lets_it_go(self):
        self.protect()
        self.assertEqual(self.module.parse_xml(), 1)
        self.note("closing the browser, with a cache there", self.close_fails(self.number))
        self.unprotect()
        self.recovers()

    def test_reads_as_no_connection(self):
        self.protect()
        self.assertEqual(self.listed(), NO_CONNECTION)
        self.note("listing the upgradable packages", "no connection")
        self.unprotect()
        self.recovers()

    def test_makes_the_list_of_installed_packages_empty(self):
        self.protect()
        self.assertEqual(self.module.getInstalled(), [])
        self.note("listing the installed packages", "none")
        self.unprotect()
        self.recovers()

    def test_fails_the_answer(self):
        self.box.press("red")
        self.protect()
        self.note("answering yes", self.answer_fails(self.number, 514))
        self.unprotect()
        self.box.pass_time(24 * 3600)
        self.box.answer(True)
        self.assertEqual(read(LISTING), BLUE)
        self.box.press("red")


class ReadOnly(Unwritable):
    """/tmp mounted read-only."""

    place = "`/tmp` read-only"
    number = errno.EROFS

    @classmethod
    def setUpClass(cls):
        # A process may mount in a user namespace (0x10000000) with mounts of its own (0x20000).
        # It can go there while it has one thread: when the threads of the feed server before have
        # ended, and before the next one starts.
        import ctypes  # which the interpreters of receivers need not have
        cls.library = ctypes.CDLL(None)
        deadline = time.time() + 10
        while len(os.listdir("/proc/self/task")) > 1 and time.time() < deadline:
            time.sleep(0.01)
        cls.allowed = (os.environ["KELVARO_SANDBOX"] == "bwrap"
                       and cls.library.unshare(0x10020000) == 0)
        super(ReadOnly, cls).setUpClass()

    def protect(self):
        if not self.allowed or not self.mount(read_only=True):
            self.skipTest("nothing can be mounted in this sandbox")
        self.addCleanup(self.mount, read_only=False)
        self.unprotect = lambda: self.mount(read_only=False)

    def mount(self, read_only):
        """Mount /tmp anew, with what else it has: bind, remount, nodev, nosuid."""
        return self.library.mount(None, "/tmp", None, 4096 + 32 + 4 + 2 + read_only, None) == 0

    def test_takes_a_cache_that_is_there_and_never_lets_it_go(self):
        before = read(CACHE)
        self.protect()
        self.assertFails(IOError, ["parse_xml:168", "write_cache:94"], self.module.parse_xml)
        self.assertEqual(read(CACHE), before)
        self.note("closing the browser, with a cache there", self.close_fails(errno.EROFS))
        self.unprotect()
        self.recovers()

    def test_leaves_a_former_listing(self):
        write(LISTING, "former - 1 - 2\n")
        self.protect()
        self.assertEqual(self.listed(), block("former", "1", "2"))
        self.note("listing the upgradable packages, with a listing there", "the former ones")
        self.unprotect()
        os.remove(LISTING)
        self.recovers()

    def test_leaves_a_former_list_of_installed_packages(self):
        write(SCRATCH, "former\n")
        self.protect()
        self.note("listing the installed packages, with a list there", self.fails(
            OSError, errno.EROFS, ["getInstalled:48"], self.module.getInstalled))
        self.unprotect()
        self.recovers()


class Foreign(ScratchTest):
    """Each of the three files is there already, as somebody else has left it."""

    order = 1.5
    listing = "former - 1 - 2\n"

    def put(self, path, content, mode):
        write(path, content)
        os.chmod(path, mode)
        if os.access(path, os.W_OK):
            self.skipTest("root writes everywhere in this sandbox")

    def test_may_only_be_read(self):
        self.place = "a file there that may only be read"
        self.box.press("red")
        self.put(CACHE, pickle.dumps([(u"Former", [(u"text", [])], "normal")]), 0o444)
        self.note("storing the news list", self.fetch(IOError, errno.EACCES, 94))
        self.assertEqual(self.module.load_cache()[0][0], "Former")
        self.box.press("red")  # removing takes the right to the directory only
        self.assertFiles(absent=[CACHE])
        self.open_browser()

        self.put(SCRATCH, "former\n", 0o444)
        self.assertEqual(self.module.getInstalled(), ["former"])
        self.assertFiles(absent=[SCRATCH])
        self.note("listing the installed packages", "the former ones")

        self.put(LISTING, self.listing, 0o444)
        self.assertEqual(self.listed(), block("former", "1", "2"))
        self.assertEqual(self.box.commands, [])
        self.note("listing the upgradable packages", "the former ones")
        self.box.press("red")
        self.assertFiles(absent=[LISTING])

        self.put(LISTING, self.listing, 0o444)
        self.note("answering yes", self.answer_fails(errno.EACCES, 514))
        self.assertEqual(read(LISTING), self.listing)
        os.remove(LISTING)
        self.recovers()

    def test_may_not_even_be_read(self):
        """The host's fileExists says that such a file is not there."""
        self.place = "a file there that may not even be read"
        self.box.press("red")
        self.put(CACHE, "", 0)
        self.note("storing the news list", self.fetch(IOError, errno.EACCES, 94))
        self.assertFails(IOError, ["load_cache:99"], self.module.load_cache)
        self.box.press("red")
        self.assertFiles(present=[CACHE])
        self.note("closing the browser", "the file stays")
        os.remove(CACHE)
        self.open_browser()

        self.put(SCRATCH, "", 0)
        self.note("listing the installed packages", self.fails(
            IOError, errno.EACCES, ["AllNews.keyYellow:223", "getInstalled:46"],
            self.box.press, "yellow"))
        self.assertIs(self.box.screen, self.browser)
        os.remove(SCRATCH)

        self.put(LISTING, BLUE, 0)
        self.assertEqual(self.listed(), NO_CONNECTION)
        self.note("listing the upgradable packages", "no connection")
        os.remove(LISTING)
        self.recovers()


class Directories(ScratchTest):
    """A directory in place of each of the three files."""

    order = 2
    place = "a directory in place of the file"

    def test_of_the_cache(self):
        self.box.press("red")
        os.mkdir(CACHE)
        self.note("storing the news list", self.fetch(IOError, errno.EISDIR, 94))
        self.note("closing the browser", self.close_fails(errno.EISDIR))
        os.rmdir(CACHE)
        self.recovers()

    def test_of_the_listing(self):
        os.mkdir(LISTING)
        screen = self.open_detail()
        self.note("listing the upgradable packages", self.fails(
            IOError, errno.EISDIR,
            ["ZirkUpdateInfo.bluePressed:405", "ZirkUpdateInfo.getUpdates:471",
             "ZirkUpdateInfo.opkg_upgrade_finished:481"], self.box.press, "blue"))
        self.assertEqual(self.box.text("update"), WAIT)
        self.assertIs(self.box.screen, screen)
        self.box.press("red")
        self.close_fails(errno.EISDIR)
        os.rmdir(LISTING)
        self.recovers()

    def test_of_the_listing_when_the_answer_is_yes(self):
        self.box.press("red")
        os.mkdir(LISTING)
        self.box.start_plugin()
        self.box.pass_time(60)
        self.note("answering yes", self.fails(
            IOError, errno.EISDIR, ["UpdateNotification.show_Kelvaro:514"], self.box.answer, True))
        self.assertEqual(self.box.timers(), [24 * 3600 * 1000])

    def test_of_the_list_of_installed_packages(self):
        os.mkdir(SCRATCH)
        self.note("listing the installed packages", self.fails(
            IOError, errno.EISDIR, ["AllNews.keyYellow:223", "getInstalled:46"],
            self.box.press, "yellow"))
        self.assertIs(self.box.screen, self.browser)
        os.rmdir(SCRATCH)
        self.recovers()


class Links(ScratchTest):
    """A link in place of each of the three files."""

    def link(self, path, target=VICTIM):
        if os.path.lexists(path):
            os.remove(path)
        os.symlink(target, path)

    def check_followed(self, order, place):
        """The file that the links point to gets what is stored; the link goes, the file stays."""
        self.order, self.place = order, place
        self.box.press("red")
        self.link(CACHE)
        self.fetch()
        self.assertEqual(pickle.loads(read(VICTIM))[0][0], "One")
        self.note("storing the news list", "the target is written")
        self.box.press("red")
        self.assertFiles(present=[VICTIM], absent=[CACHE])
        self.note("closing the browser", "the link goes, the target stays")

        self.link(SCRATCH)
        self.assertEqual(self.module.getInstalled(), ["a", "b"])
        self.assertEqual(read(VICTIM), "a\nb\n")
        self.note("listing the installed packages", "the target is written")
        os.remove(VICTIM)
        self.open_browser()

        self.link(LISTING)
        self.open_detail(0, True)
        self.box.settle()
        self.assertEqual(self.box.text("update"), block("enigma2-skin-blue", "3.4-r5", "3.5-r0"))
        self.assertEqual(read(VICTIM), BLUE)
        self.note("listing the upgradable packages", "the target is written")
        self.box.press("red", "red")
        self.assertFiles(present=[VICTIM], absent=[LISTING])
        self.recovers()

    def test_to_another_file_are_followed(self):
        write(VICTIM, "of somebody else")
        self.check_followed(3, "a link to another file")

    def test_to_nothing_are_followed(self):
        self.check_followed(4, "a link to a file that is missing")

    def test_into_a_read_only_file_system_fail_as_it_does(self):
        if os.environ["KELVARO_SANDBOX"] != "bwrap":
            self.skipTest("proot has no read-only file system")
        place = os.path.join(os.environ["KELVARO_ROOT"], "updatecache")
        self.box.press("red")
        self.link(CACHE, place)
        self.order, self.place = 1, "a link into a read-only file system"
        self.note("storing the news list", self.fetch(IOError, errno.EROFS, 94))
        self.assertFiles(absent=[place])
        os.remove(CACHE)
        self.recovers()

    def test_to_themselves_are_no_files(self):
        self.order, self.place = 5, "a link to itself"
        self.box.press("red")
        self.link(CACHE, CACHE)
        self.note("storing the news list", self.fetch(IOError, errno.ELOOP, 94))
        self.box.press("red")
        self.assertTrue(os.path.islink(CACHE))
        self.note("closing the browser", "the link stays")
        os.remove(CACHE)
        self.open_browser()
        self.link(LISTING, LISTING)
        self.assertEqual(self.listed(), NO_CONNECTION)
        self.note("listing the upgradable packages", "no connection")
        os.remove(LISTING)
        self.link(SCRATCH, SCRATCH)
        self.assertEqual(self.module.getInstalled(), [])
        self.note("listing the installed packages", "none")
        os.remove(SCRATCH)
        self.recovers()

    def test_to_a_device_that_is_full_fail_as_a_full_directory_does(self):
        self.order, self.place = 6, "a link to `/dev/full`"
        for size, news, line in [("short", self.news, 96), ("long", LARGE_NEWS, 95)]:
            self.box.press("red")
            self.link(CACHE, "/dev/full")
            self.serve(news)
            self.note("storing a %s news list" % size, self.fetch(IOError, errno.ENOSPC, line))
        self.box.press("red")
        self.assertFiles(absent=[CACHE])
        self.assertEqual(self.module.parse_xml(), 1)
        self.recovers()


class Worse(ScratchTest):

    def test_a_pipe_in_place_of_the_cache_is_waited_for(self):
        os.remove(CACHE)
        os.mkfifo(CACHE)
        received = []

        def read_later():
            time.sleep(0.3)
            received.append(read(CACHE))

        reader = threading.Thread(target=read_later)
        start = time.time()
        reader.start()
        status = self.module.parse_xml()
        reader.join()
        self.assertEqual(status, 1)
        self.assertGreaterEqual(time.time() - start, 0.3)
        self.assertEqual(pickle.loads(received[0])[0][0], "One")
        self.order, self.place = 7, "a pipe in place of the cache"
        self.note("storing the news list", "the GUI waits for a reader")
        os.remove(CACHE)
        self.recovers()

    def test_a_pickle_of_somebody_else_does_what_it_says(self):
        class Command(object):
            def __reduce__(self):
                return os.mkdir, ("/etc/made-by-a-pickle",)

        write(CACHE, pickle.dumps(Command(), 2))
        self.assertIsNone(self.module.load_cache())
        self.assertTrue(os.path.isdir("/etc/made-by-a-pickle"))
        os.rmdir("/etc/made-by-a-pickle")
        self.order, self.place = 8, "a cache that somebody else has pickled"
        self.note("loading the news list", "what it says is done")

    def test_a_cache_that_is_damaged_fails_the_detail_screen(self):
        whole = read(CACHE)
        self.order, self.place = 9, "a cache that is damaged"
        for content, error in [("", EOFError), (whole[:len(whole) // 2], EOFError),
                               ("\xff" + whole, pickle.UnpicklingError)]:
            write(CACHE, content)
            self.assertFails(error, ["AllNews.runMenuEntry:339", "ZirkUpdateInfo.__init__:362",
                                     "load_cache:100"], self.box.press, "ok")
            self.assertIs(self.box.screen, self.browser)
        self.note("opening an entry", "EOFError or UnpicklingError, line 100")
        self.recovers()


if __name__ == "__main__":
    unittest.main()
