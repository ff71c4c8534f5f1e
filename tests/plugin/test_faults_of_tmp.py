"""/tmp full or not writable; directories, links and worse in place of the module's files."""

import cPickle
try:
    import ctypes
except ImportError:
    ctypes = None  # an interpreter need not have it
import errno
import os
import threading
import time

from tests.support.receiver import (
    BLUE, CACHE, LISTING, NO_CONNECTION, SCRATCH, WAIT, document, entry, read, write)
from tests.support.screens import BLUE_SHOWN, DetailTest, UP_TO_DATE, block

FILLER = "/tmp/filler"
VICTIM = "/etc/victim"

#: More than the standard library holds back before it writes.
LARGE_NEWS = document(*[entry("Entry %d" % number) for number in range(2000)])
LARGE_LISTING = "".join("package%04d - 1 - 2\n" % number for number in range(2000))
INSTALLED = "a - 1\nb - 1\n"


class ScratchTest(DetailTest):
    """What each user of a file under /tmp makes of its state.

    A test ends with the fault taken away, by `repair`, and the same receiver working as ever.
    """

    def setUp(self):
        DetailTest.setUp(self)
        self.repair = lambda: None
        self.install_opkg(BLUE, installed=INSTALLED)
        self.addCleanup(self.tidy_up)

    @staticmethod
    def tidy_up():
        """Leave the way free for what follows, however the test has ended."""
        for path in (CACHE, LISTING, SCRATCH, FILLER, VICTIM):
            if os.path.isdir(path) and not os.path.islink(path):
                os.rmdir(path)
            elif os.path.lexists(path):
                os.remove(path)

    def tearDown(self):
        self.repair()
        if self._resultForDoCleanups.wasSuccessful():
            self.check_recovery()

    def check_recovery(self):
        while self.box.screen is not None:
            if self.box.session.current_dialog is self.browser:
                self.tidy_up()
            self.box.press("cancel")
        self.tidy_up()
        self.install_opkg(BLUE, installed=INSTALLED)
        self.open_browser()
        self.assertEqual(len(self.box.rows()), len(self.module.load_cache()))
        self.box.press("ok", "blue")
        self.box.settle()
        self.assertEqual(self.box.text("update"), BLUE_SHOWN)
        self.assertEqual(self.module.getInstalled(), ["a", "b"])
        self.box.press("red", "red")
        self.assertFiles(absent=[CACHE, LISTING, SCRATCH])
        if self.box.timers():  # the checks go on
            self.box.pass_time(24 * 3600)
            self.box.answer(True)
            self.assertEqual(read(LISTING), BLUE)
            self.box.press("red")

    def fails(self, error, number, entries, function, *arguments):
        """The call fails with this errno, and the screen in front stays there."""
        front = self.box.screen
        self.assertEqual(self.assertFails(error, entries, function, *arguments).errno, number)
        self.assertIs(self.box.screen, front)

    # The uses of the three files.

    def fetch(self):
        """Open the browser, which stores its news."""
        self.open_browser()
        self.assertEqual(len(self.box.rows()), len(self.module.load_cache()))

    def fetch_fails(self, number, line):
        """The news can't be stored: the placeholder stays."""
        self.browser = self.box.open_news()
        self.fails(IOError, number, ["AllNews.createMenu:316", "parse_xml:168",
                                     "write_cache:%d" % line], self.box.pass_time, 0.1)
        self.assertEqual(self.box.rows(), [WAIT])
        self.box.press("ok", "blue")
        self.assertIs(self.box.screen, self.browser)

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

    def answer_fails(self, number, line):
        """The check finds updates, and the user's yes fails. The timer is set all the same."""
        self.box.start_plugin()
        self.box.pass_time(60)
        self.assertEqual(self.assertFails(
            IOError, ["UpdateNotification.show_Kelvaro:%d" % line], self.box.answer, True).errno,
            number)
        self.assertIsNone(self.box.screen)
        self.assertEqual(self.box.timers(), [24 * 3600 * 1000])

    def close_fails(self, number):
        self.fails(OSError, number, ["AllNews.keyCancel:348"], self.box.press, "red")
        self.assertIsNone(self.browser.list)
        self.assertFiles(present=[CACHE])


class Full(ScratchTest):
    """/tmp without room, or with too little."""

    def fill(self, room=0):
        """Leave so many bytes of room, in pages of 4096."""
        if os.statvfs("/tmp").f_blocks * os.statvfs("/tmp").f_frsize > 1 << 27:
            self.skipTest("proot has no small file system to fill")
        self.repair = lambda: os.remove(FILLER)
        with open(FILLER, "wb", 0) as stream:
            try:
                while True:
                    stream.write("\0" * (1 << 20))
            except IOError as e:
                self.assertEqual(e.errno, errno.ENOSPC)
            stream.truncate(os.path.getsize(FILLER) // 4096 * 4096 - room)
        self.assertEqual(os.statvfs("/tmp").f_bavail * os.statvfs("/tmp").f_frsize, room)

    def test_loses_a_small_cache_at_its_closing(self):
        self.box.press("red")
        self.fill()
        self.fetch_fails(errno.ENOSPC, 96)
        self.assertEqual(read(CACHE), "")
        self.assertFails(EOFError, ["load_cache:100"], self.module.load_cache)

    def test_damages_a_large_cache_while_it_is_written(self):
        self.box.press("red")
        self.serve(LARGE_NEWS)
        self.fill(8192)
        self.fetch_fails(errno.ENOSPC, 95)
        self.assertEqual(os.path.getsize(CACHE), 8192)
        self.assertRaises(Exception, self.module.load_cache)

    def test_makes_the_listing_empty(self):
        self.fill()
        self.assertEqual(self.listed(), UP_TO_DATE)
        self.assertFalse(self.box.config.usage.update_available.value)

    def test_cuts_the_listing_off(self):
        self.install_opkg(LARGE_LISTING)
        self.fill(4096)
        lines = LARGE_LISTING[:4096].split("\n")
        self.assertEqual(self.listed().count("Package : "),
                         len([line for line in lines if line.count(" - ") >= 2]))

    def test_makes_the_list_of_installed_packages_empty(self):
        self.fill()
        self.assertEqual(self.module.getInstalled(), [])
        self.assertFiles(absent=[SCRATCH])

    def test_does_not_hinder_the_check_and_fails_the_answer(self):
        self.box.press("red")
        self.fill()
        self.answer_fails(errno.ENOSPC, 516)

    def test_fails_the_answer_to_a_long_listing_at_once(self):
        self.install_opkg(LARGE_LISTING)
        self.box.press("red")
        self.fill()
        self.answer_fails(errno.ENOSPC, 515)


class Unwritable(ScratchTest):
    """/tmp in which nothing can be made or removed."""

    number = errno.EACCES

    def protect(self):
        mode = os.stat("/tmp").st_mode
        self.repair = lambda: os.chmod("/tmp", mode)
        os.chmod("/tmp", 0o555)
        if os.access("/tmp", os.W_OK):
            self.skipTest("root writes everywhere in this sandbox")

    def test_refuses_the_cache(self):
        self.box.press("red")
        self.protect()
        self.fetch_fails(self.number, 94)
        self.assertFiles(absent=[CACHE])

    def test_takes_a_cache_that_is_there_and_never_lets_it_go(self):
        self.protect()
        self.assertEqual(self.module.parse_xml(), 1)
        self.close_fails(self.number)

    def test_reads_as_no_connection(self):
        self.protect()
        self.assertEqual(self.listed(), NO_CONNECTION)

    def test_makes_the_list_of_installed_packages_empty(self):
        self.protect()
        self.assertEqual(self.module.getInstalled(), [])

    def test_fails_the_answer(self):
        self.box.press("red")
        self.protect()
        self.answer_fails(self.number, 514)


class ReadOnly(Unwritable):
    """/tmp mounted read-only."""

    number = errno.EROFS

    @classmethod
    def setUpClass(cls):
        # A process may mount in a user namespace (0x10000000) with mounts of its own (0x20000).
        # It can go there while it has one thread: when those of earlier feed servers have ended.
        cls.library = ctypes.CDLL(None)
        deadline = time.time() + 10
        while len(os.listdir("/proc/self/task")) > 1 and time.time() < deadline:
            time.sleep(0.01)
        cls.allowed = (os.environ["KELVARO_SANDBOX"] == "bwrap"
                       and cls.library.unshare(0x10020000) == 0)

    def protect(self):
        if not self.allowed or not self.mount(read_only=True):
            self.skipTest("nothing can be mounted in this sandbox")
        self.repair = lambda: self.mount(read_only=False)

    def mount(self, read_only):
        """Mount /tmp anew, with what else it has: bind, remount, nodev, nosuid."""
        return self.library.mount(None, "/tmp", None, 4096 + 32 + 4 + 2 + read_only, None) == 0

    def test_takes_a_cache_that_is_there_and_never_lets_it_go(self):
        before = read(CACHE)
        self.protect()
        self.assertFails(IOError, ["parse_xml:168", "write_cache:94"], self.module.parse_xml)
        self.assertEqual(read(CACHE), before)
        self.close_fails(errno.EROFS)

    def test_leaves_a_former_listing(self):
        write(LISTING, "former - 1 - 2\n")
        self.protect()
        self.assertEqual(self.listed(), block("former", "1", "2"))

    def test_leaves_a_former_list_of_installed_packages(self):
        write(SCRATCH, "former\n")
        self.protect()
        self.fails(OSError, errno.EROFS, ["getInstalled:48"], self.module.getInstalled)


if ctypes is None:
    del ReadOnly


class Foreign(ScratchTest):
    """Each of the three files is there already, as somebody else has left it."""

    listing = "former - 1 - 2\n"

    def put(self, path, content, mode):
        write(path, content)
        os.chmod(path, mode)
        if os.access(path, os.W_OK):
            self.skipTest("root writes everywhere in this sandbox")

    def test_that_may_only_be_read_stays_as_it_is_until_the_browser_closes(self):
        self.box.press("red")
        self.put(CACHE, cPickle.dumps([(u"Former", [(u"text", [])], "normal")]), 0o444)
        self.fetch_fails(errno.EACCES, 94)
        self.assertEqual(self.module.load_cache()[0][0], "Former")
        self.box.press("red")  # removing takes the right to the directory only
        self.assertFiles(absent=[CACHE])

        self.open_browser()
        self.put(SCRATCH, "former\n", 0o444)
        self.assertEqual(self.module.getInstalled(), ["former"])
        self.assertFiles(absent=[SCRATCH])
        self.put(LISTING, self.listing, 0o444)
        self.assertEqual(self.listed(), block("former", "1", "2"))
        self.assertEqual(self.box.commands, [])
        self.box.press("red")
        self.assertFiles(absent=[LISTING])

        self.put(LISTING, self.listing, 0o444)
        self.answer_fails(errno.EACCES, 514)
        self.assertEqual(read(LISTING), self.listing)

    def test_that_may_not_even_be_read_is_not_there_for_the_hosts_fileExists(self):
        self.box.press("red")
        self.put(CACHE, "", 0)
        self.fetch_fails(errno.EACCES, 94)
        self.assertFails(IOError, ["load_cache:99"], self.module.load_cache)
        self.box.press("red")
        self.assertFiles(present=[CACHE])
        os.remove(CACHE)

        self.open_browser()
        self.put(SCRATCH, "", 0)
        self.fails(IOError, errno.EACCES, ["AllNews.keyYellow:223", "getInstalled:46"],
                   self.box.press, "yellow")
        self.put(LISTING, BLUE, 0)
        self.assertEqual(self.listed(), NO_CONNECTION)


class Directories(ScratchTest):
    """A directory in place of each of the three files."""

    def test_of_the_cache_fails_storing_and_closing(self):
        self.box.press("red")
        os.mkdir(CACHE)
        self.fetch_fails(errno.EISDIR, 94)
        self.close_fails(errno.EISDIR)

    def test_of_the_listing_fails_showing_and_closing(self):
        os.mkdir(LISTING)
        self.open_detail()
        self.fails(IOError, errno.EISDIR,
                   ["ZirkUpdateInfo.bluePressed:405", "ZirkUpdateInfo.getUpdates:471",
                    "ZirkUpdateInfo.opkg_upgrade_finished:481"], self.box.press, "blue")
        self.assertEqual(self.box.text("update"), WAIT)
        self.box.press("red")
        self.close_fails(errno.EISDIR)

    def test_of_the_listing_fails_the_answer(self):
        self.box.press("red")
        os.mkdir(LISTING)
        self.answer_fails(errno.EISDIR, 514)

    def test_of_the_list_of_installed_packages_fails_top_20(self):
        os.mkdir(SCRATCH)
        self.fails(IOError, errno.EISDIR, ["AllNews.keyYellow:223", "getInstalled:46"],
                   self.box.press, "yellow")


class Links(ScratchTest):
    """A link in place of each of the three files."""

    def link(self, path, target=VICTIM):
        if os.path.lexists(path):
            os.remove(path)
        os.symlink(target, path)

    def check_followed(self):
        """The file that the links point to gets what is stored; the link goes, the file stays."""
        self.box.press("red")
        self.link(CACHE)
        self.fetch()
        self.assertEqual(cPickle.loads(read(VICTIM))[0][0], "One")
        self.box.press("red")
        self.assertFiles(present=[VICTIM], absent=[CACHE])
        self.link(SCRATCH)
        self.assertEqual(self.module.getInstalled(), ["a", "b"])
        self.assertEqual(read(VICTIM), "a\nb\n")
        os.remove(VICTIM)
        self.open_browser()
        self.link(LISTING)
        self.open_detail(0, True)
        self.box.settle()
        self.assertEqual(self.box.text("update"), BLUE_SHOWN)
        self.assertEqual(read(VICTIM), BLUE)
        self.box.press("red", "red")
        self.assertFiles(present=[VICTIM], absent=[LISTING])

    def test_to_another_file_are_followed(self):
        write(VICTIM, "of somebody else")
        self.check_followed()

    def test_to_nothing_are_followed(self):
        self.check_followed()

    def test_into_a_read_only_file_system_fail_as_it_does(self):
        if os.environ["KELVARO_SANDBOX"] != "bwrap":
            self.skipTest("proot has no read-only file system")
        place = os.path.join(os.environ["KELVARO_ROOT"], "updatecache")
        self.box.press("red")
        self.link(CACHE, place)
        self.fetch_fails(errno.EROFS, 94)
        self.assertFiles(absent=[place])

    def test_to_themselves_are_no_files(self):
        self.box.press("red")
        self.link(CACHE, CACHE)
        self.fetch_fails(errno.ELOOP, 94)
        self.box.press("red")
        self.assertTrue(os.path.islink(CACHE))
        os.remove(CACHE)
        self.open_browser()
        self.link(LISTING, LISTING)
        self.assertEqual(self.listed(), NO_CONNECTION)
        self.link(SCRATCH, SCRATCH)
        self.assertEqual(self.module.getInstalled(), [])

    def test_to_a_device_that_is_full_fail_as_a_full_directory_does(self):
        for news, line in [(self.news, 96), (LARGE_NEWS, 95)]:
            self.box.press("red")
            self.link(CACHE, "/dev/full")
            self.serve(news)
            self.fetch_fails(errno.ENOSPC, line)
        self.box.press("red")
        self.assertFiles(absent=[CACHE])


class Caches(ScratchTest):

    def test_that_are_pipes_are_waited_for(self):
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
        self.assertEqual(cPickle.loads(received[0])[0][0], "One")

    def test_that_somebody_else_has_pickled_do_what_they_say(self):
        class Command(object):
            def __reduce__(self):
                return os.mkdir, ("/etc/made-by-a-pickle",)

        write(CACHE, cPickle.dumps(Command(), 2))
        self.assertIsNone(self.module.load_cache())
        os.rmdir("/etc/made-by-a-pickle")
