"""Tracebacks name every function of the module that an exception passes, with its line."""

import sys
import traceback

from tests.support.receiver import SOURCE, Blank, FeedTest, configure, raising

OTHER = KeyError("other")


class Tracebacks(FeedTest):
    """One entry for every function of the module that an exception passes."""

    def test_go_through_all_functions_from_a_timer_to_the_cache(self):
        self.serve("<news/>")
        self.module.cache_file = "/tmp"
        self.box.open_news()
        self.assertFails(
            IOError, ["AllNews.createMenu:316", "parse_xml:168", "write_cache:94"],
            self.box.pass_time, 1)

    def test_go_through_screens_opened_by_screens(self):
        configure(None)
        self.box.open_news()
        self.assertFails(
            IOError, ["AllNews.runMenuEntry:339", "ZirkUpdateInfo.__init__:362",
                      "load_cache:99"], self.box.press, "ok")

    def test_have_the_callers_and_the_hosts_entries_in_their_places(self):
        self.replace(os_path=Blank(isdir=None, dirname=raising(OTHER)))
        try:
            self.module.write_cache([])
        except KeyError:
            entries = traceback.extract_tb(sys.exc_info()[2])
        self.assertEqual([(source, name) for source, _, name, _ in entries[1:-1]],
                         [(SOURCE, "Kelvaro.write_cache")])
        self.assertEqual(entries[0][2], self._testMethodName)
        self.assertEqual(entries[-1][2], "broken")

    def test_are_new_each_time(self):
        for _ in range(3):
            self.assertFails(IOError, ["load_cache:99"], self.module.load_cache)

    def test_grow_when_the_same_exception_passes_twice(self):
        self.replace(open=raising(OTHER))
        for _ in range(2):
            self.assertFails(OTHER, ["load_cache:99"], self.module.load_cache)

    def test_print_the_way_Python_prints_them(self):
        try:
            self.module.load_cache()
        except IOError:
            text = traceback.format_exc()
        self.assertIn('  File "plugin/src/Kelvaro", line 99, in Kelvaro.load_cache\n', text)
