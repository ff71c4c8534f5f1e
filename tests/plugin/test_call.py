"""sys.exc_info() and tracebacks are as plain Python functions would leave them.

A function that handles an exception shows it in sys.exc_info() from the handler on until it
returns; then its caller's comes back.
"""

import os
import sys
import traceback
import urllib2

from tests.support.model import SOURCE
from tests.support.receiver import CACHE, Blank, ModuleTest, raising, trail

OUTER = LookupError("being handled")
OTHER = KeyError("other")
HTTP_ERROR = urllib2.HTTPError("u", 404, "no", {}, None)
URL_ERROR = urllib2.URLError("no")
MKDIR_ERROR = OSError("mkdir")


class ExceptionsTest(ModuleTest):

    def setUp(self):
        super(ExceptionsTest, self).setUp()
        self.seen = []

    def note(self, what):
        """Note the exception in sight, and the way that it has come through the module."""
        kind, value = sys.exc_info()[:2]
        self.assertIs(getattr(sys, "exc_type", None), kind)
        self.assertIs(getattr(sys, "exc_value", None), value)
        self.seen.append((what, value) + tuple(trail()))

    def passing(self, what, result=None):
        """A function of the host that notes what it sees, and returns `result`."""
        def function(*_, **__):
            self.note(what)
            return result
        return function

    def raising(self, what, error):
        def function(*_, **__):
            self.note(what)
            raise error
        return function

    def assertSeen(self, expected, raised, function, *arguments):
        """The call raises `raised`, None for nothing, and while it runs `expected` is seen.

        expected: what was called, the exception in sight or None, and its traceback's entries of
        the module. In the handler of another exception, that one takes the place of None.
        """
        def call():
            try:
                function(*arguments)
            except BaseException:
                return sys.exc_info()[1]

        def run():
            del self.seen[:]
            self.assertIs(call(), raised)
            self.note("after")
            return self.seen[:]
        sys.exc_clear()
        self.assertEqual(run(), expected + [("after", None)])
        try:
            raise OUTER
        except LookupError:
            self.assertEqual(run(), [(row[0], row[1] or OUTER) + row[2:]
                                     for row in expected + [("after", None)]])


class Downloads(ExceptionsTest):
    """getDownloadStats and parse_xml: the handlers look their classes up."""

    def replace_download(self, error):
        """Opening the address raises `error`."""
        library = type("Library", (object,), {
            "HTTPError": property(self.passing("HTTPError", urllib2.HTTPError)),
            "URLError": property(self.passing("URLError", urllib2.URLError))})()
        library.urlopen = self.raising("urlopen", error)
        self.replace(newsURL=lambda *_: "url", urllib2=library)

    def test_show_a_swallowed_error_in_the_handler_and_no_longer(self):
        for function, entry in [("getDownloadStats", "getDownloadStats:122"),
                                ("parse_xml", "parse_xml:134")]:
            for error, handlers in [(HTTP_ERROR, ["HTTPError"]),
                                    (URL_ERROR, ["HTTPError", "URLError"])]:
                self.replace_download(error)
                self.assertSeen([("urlopen", None)] + [(name, error, entry) for name in handlers],
                                None, getattr(self.module, function))


class Files(ExceptionsTest):
    """write_cache, which goes on without its directory."""

    def test_keep_a_swallowed_error_in_sight_until_the_end(self):
        self.replace(cache_file="/tmp/missing/news", dump=self.passing("dump"),
                     open=self.passing("open", Blank(close=self.passing("close"))))
        for error in (MKDIR_ERROR, OSError(13, "no", "name")):
            self.box.patch(os, "mkdir", self.raising("mkdir", error))
            self.assertSeen([("mkdir", None)] + [(what, error, "write_cache:91") for what in
                                                 ("open", "dump", "close")],
                            None, self.module.write_cache, [])


class Tracebacks(ModuleTest):

    def test_have_the_callers_and_the_hosts_entries_in_their_places(self):
        self.replace(os_path=Blank(isdir=None, dirname=raising(OTHER)))
        try:
            self.module.write_cache([])
        except KeyError:
            entries = traceback.extract_tb(sys.exc_info()[2])
        self.assertEqual([(source == SOURCE, name) for source, _, name, _ in entries],
                         [(False, self._testMethodName), (True, "Kelvaro.write_cache"),
                          (False, "broken")])

    def test_are_new_each_time_the_same_exception_passes(self):
        self.replace(open=raising(OTHER))
        for _ in range(3):
            self.assertFails(OTHER, ["load_cache:99"], self.module.load_cache)

    def test_print_the_way_Python_prints_them(self):
        self.assertFalse(os.path.exists(CACHE))
        try:
            self.module.load_cache()
        except IOError:
            text = traceback.format_exc()
        self.assertIn('  File "plugin/src/Kelvaro", line 99, in Kelvaro.load_cache\n', text)
