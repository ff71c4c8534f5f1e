"""sys.exc_info() and tracebacks are as plain Python functions would leave them.

A function that handles an exception shows it in sys.exc_info() from the handler on until it
returns; then its caller's comes back.
"""

import os
import sys
import traceback
import urllib2
import xml.parsers.expat

from tests.support.receiver import CACHE, SOURCE, Blank, ModuleTest, raising, trail

OUTER = LookupError("being handled")
OTHER = KeyError("other")
HTTP_ERROR = urllib2.HTTPError("u", 404, "no", {}, None)
URL_ERROR = urllib2.URLError("no")
EXPAT_ERROR = xml.parsers.expat.ExpatError("malformed")
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

    def replace_download(self, error, handler=None):
        """Opening the address raises `error`; the second function, what is looked up first."""
        library = type("Library", (object,), {
            "HTTPError": property(handler or self.passing("HTTPError", urllib2.HTTPError)),
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

    def test_pass_on_what_no_handler_takes(self):
        for error in (OTHER, KeyboardInterrupt()):
            self.replace_download(error)
            self.assertSeen([("urlopen", None), ("HTTPError", error, "getDownloadStats:122"),
                             ("URLError", error, "getDownloadStats:122")],
                            error, self.module.getDownloadStats)

    def test_replace_the_error_by_one_of_the_handler(self):
        self.replace_download(HTTP_ERROR, self.raising("HTTPError", OTHER))
        self.assertSeen([("urlopen", None), ("HTTPError", HTTP_ERROR, "getDownloadStats:122")],
                        OTHER, self.module.getDownloadStats)

    def replace_parsing(self, parse, **names):
        """The download brings a text; parse(text) makes the document of it."""
        expat = type("Expat", (object,), {"ExpatError": property(
            self.passing("ExpatError", xml.parsers.expat.ExpatError))})()
        self.replace(
            newsURL=lambda: "url", urllib2=Blank(urlopen=lambda *_: Blank(read=lambda: "news")),
            xml=Blank(dom=Blank(minidom=Blank(parseString=parse)), parsers=Blank(expat=expat)),
            **names)

    def test_show_the_error_of_the_parsing_in_its_handler(self):
        for error, raised in [(EXPAT_ERROR, None), (OTHER, OTHER)]:
            self.replace_parsing(self.raising("parse", error))
            self.assertSeen([("parse", None), ("ExpatError", error, "parse_xml:140")],
                            raised, self.module.parse_xml)

    def test_let_an_error_pass_after_a_swallowed_one(self):
        document = Blank(unlink=self.passing("unlink"), getElementsByTagName=lambda name: [])
        self.replace_parsing(lambda text: document, cache_file="/tmp/missing/news",
                             open=self.passing("open"), dump=self.raising("dump", OTHER))
        self.box.patch(os, "mkdir", self.raising("mkdir", MKDIR_ERROR))
        self.assertSeen([("unlink", None), ("mkdir", None),
                         ("open", MKDIR_ERROR, "write_cache:91"),
                         ("dump", MKDIR_ERROR, "write_cache:91")], OTHER, self.module.parse_xml)


class Files(ExceptionsTest):
    """write_cache, which goes on without its directory, and getInstalled, which has a `with`."""

    def test_keep_a_swallowed_error_in_sight_until_the_end(self):
        self.replace(cache_file="/tmp/missing/news", dump=self.passing("dump"),
                     open=self.passing("open", Blank(close=self.passing("close"))))
        for error in (MKDIR_ERROR, OSError(13, "no", "name")):
            self.box.patch(os, "mkdir", self.raising("mkdir", error))
            self.assertSeen([("mkdir", None)] + [(what, error, "write_cache:91") for what in
                                                 ("open", "dump", "close")],
                            None, self.module.write_cache, [])

    def test_show_nothing_without_an_error_and_pass_on_others(self):
        self.replace(cache_file="/tmp/missing/news", open=self.raising("open", OTHER))
        self.box.patch(os, "mkdir", self.passing("mkdir"))
        self.assertSeen([("mkdir", None), ("open", None)], OTHER, self.module.write_cache, [])
        self.box.patch(os, "mkdir", self.raising("mkdir", OTHER))
        self.assertSeen([("mkdir", None)], OTHER, self.module.write_cache, [])

    def test_show_the_error_of_the_reading_while_the_file_is_closed(self):
        close_error = IOError("close")
        for read, leave, expected, raised in [
                (self.passing("read", ""), self.passing("exit"),
                 [("exit", None), ("remove", None)], None),
                (self.raising("read", OTHER), self.passing("exit", False),
                 [("exit", OTHER, "getInstalled:47")], OTHER),
                (self.raising("read", OTHER), self.passing("exit", True),
                 [("exit", OTHER, "getInstalled:47"), ("remove", OTHER, "getInstalled:47")], None),
                (self.raising("read", OTHER), self.raising("exit", close_error),
                 [("exit", OTHER, "getInstalled:47")], close_error),
                (self.passing("read", ""), self.raising("exit", close_error),
                 [("exit", None)], close_error)]:
            stream = type("Stream", (object,), {
                "__enter__": lambda self: Blank(read=read), "__exit__": leave})
            self.replace(open=lambda *_: stream(), remove=self.passing("remove"),
                         os_path=Blank(exists=lambda _: True))
            self.box.patch(os, "system", lambda _: 0)
            self.assertSeen([("read", None)] + expected, raised, self.module.getInstalled)


class Titles(ExceptionsTest):
    """The three guarded titles: any error at construction, else those from Exception."""

    def test_that_fail_at_the_construction_are_in_sight_of_the_later_steps(self):
        cache_error = IOError("cache")
        for error in (OTHER, KeyboardInterrupt(), SystemExit(1)):
            self.replace(Screen=Blank(__init__=lambda *_: None),
                         StaticText=self.raising("StaticText", error),
                         load_cache=self.raising("load_cache", cache_error))
            self.assertSeen(
                [("StaticText", None), ("load_cache", error, "ZirkUpdateInfo.__init__:358")],
                cache_error, self.module.ZirkUpdateInfo, None)

    def test_that_fail_when_a_key_is_pressed_are_in_sight_if_they_are_swallowed(self):
        for method, line, title, labels in [
                ("bluePressed", 399, "Upgradable Packages", [" ", "show News", "Please wait ..."]),
                ("yellowPressed", 409, "News about ZIRK", ["show Updates", " "])]:
            for error in (OTHER, KeyboardInterrupt(), SystemExit(1)):
                screen = self.module.ZirkUpdateInfo.__new__(self.module.ZirkUpdateInfo)
                label = Blank(setText=lambda text: None)
                screen.update(title=Blank(setText=raising(error)), key_blue=label,
                              key_yellow=label, update=label)
                screen.getText = screen.getUpdates = self.passing("last")
                self.replace(_=lambda text: self.note(text))
                entry = "ZirkUpdateInfo.%s:%d" % (method, line)
                later = [(what, error, entry) for what in labels + ["last"]]
                swallowed = isinstance(error, Exception)
                self.assertSeen([(title, None)] + (later if swallowed else []),
                                None if swallowed else error, getattr(screen, method))


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
