"""sys.exc_info() and tracebacks are as plain Python functions would leave them.

A function that handles an exception shows it in sys.exc_info() from the handler on until it
returns; then its caller's comes back. Python twins of the functions that have handlers, with each
statement on the module's own line, say what every observer has to see: the host's functions that
are called meanwhile, the caller before, in its handler, and after.
"""

import os
import sys
import traceback
import urllib2
import xml.parsers.expat

from tests.support.receiver import SOURCE, Blank, ModuleTest

#: First line, and the functions from there on.
TWINS = ((41, '''\
def getInstalled():
    inst_packages = []
    cmd = ""
    os.system(cmd)
    if os_path.exists(packageinstalledfile):
        with open(packageinstalledfile, "rb") as fd:
            inst_packages = fd.read().splitlines()
        remove(packageinstalledfile)
    return inst_packages
'''), (88, '''\
def write_cache(cache_data):
    if not os_path.isdir(os_path.dirname(cache_file)):
        try:
            os.mkdir(os_path.dirname(cache_file))
        except OSError:
            pass
    fd = open(cache_file, "w")
    dump(cache_data, fd, -1)
    fd.close()
'''), (119, '''\
def getDownloadStats():
    url = newsURL("zirkdlstat.txt")
    try:
        news = urllib2.urlopen(url, None, 5.0).read()
    except urllib2.HTTPError:
        return None
    except urllib2.URLError:
        return None
    return news
'''), (130, '''\
def parse_xml():
    list = []
    url = newsURL()
    try:
        news = urllib2.urlopen(url, None, 5.0).read()
    except urllib2.HTTPError:
        return 2
    except urllib2.URLError:
        return 3
    try:
        xmldoc = xml.dom.minidom.parseString(news)
    except xml.parsers.expat.ExpatError:
        return 3
'''), (167, '''\
    xmldoc.unlink()
    write_cache(list)
    list = None
    return 1
'''), (352, '''\
def construct(self, session, idx=0, show_upgradable=False):
    self.session = session
    Screen.__init__(self, session)
    skinName = ["ZirkUpdateInfo"]
    title = _("News about ZIRK")
    try:
        self["title"] = StaticText(title)
    except:
        pass
    self.Console = None
    self.list = load_cache()
'''), (397, '''\
def bluePressed(self):
    try:
        _("Upgradable Packages")
    except Exception:
        pass
    _(" ")
    _("show News")
    _("Please wait ...")
    self.getUpdates()
'''), (407, '''\
def yellowPressed(self):
    try:
        _("News about ZIRK")
    except Exception:
        pass
    _("show Updates")
    _(" ")
    self.getText("news")
'''))


def twins(names):
    """Return the namespace of the twins: these names and the functions."""
    text = ""
    for line, functions in TWINS:
        text += "\n" * (line - 1 - text.count("\n")) + functions
    namespace = dict(names, os=os)
    exec(compile(text, SOURCE, "exec"), namespace)
    return namespace


def state():
    """Return what a function called now sees of exceptions, in comparable form."""
    kind, value, trace = sys.exc_info()
    entries = [(source, line if source == SOURCE else None,
                name.split(".")[-1].replace("__init__", "construct"))
               for source, line, name, _ in traceback.extract_tb(trace)]
    return (kind, repr(value), entries, getattr(sys, "exc_type", None),
            getattr(sys, "exc_value", None) is value, getattr(sys, "exc_traceback", None) is trace)


class Observer(object):
    """Collects states; makes host functions that note the state when they are called."""

    def __init__(self):
        self.states = []

    def note(self, what):
        self.states.append((what,) + state())

    def passing(self, what, result=None):
        def function(*_, **__):
            self.note(what)
            return result
        return function

    def raising(self, what, error):
        def function(*_, **__):
            self.note(what)
            raise error
        return function

    def call(self, function, arguments):
        """Call it in a caller that handles whatever comes; the state is noted all the time."""
        self.note("before")
        try:
            result = function(*arguments)
        except BaseException:
            self.note("in the handler")
            result = "an exception"
        self.note("after")
        return result

    def run(self, function, *arguments):
        """Call it plainly, and from within the handling of another exception."""
        sys.exc_clear()
        results = [self.call(function, arguments)]
        self.note("in between")
        sys.exc_clear()
        try:
            raise OUTER
        except LookupError:
            results.append(self.call(function, arguments))
            self.note("later in the outer handler")
        sys.exc_clear()
        self.note("at the end")
        return results


OUTER = LookupError("being handled")
HTTP_ERROR = urllib2.HTTPError("u", 404, "no", {}, None)
URL_ERROR = urllib2.URLError("no")
OTHER = KeyError("other")


class StateTest(ModuleTest):

    def compare(self, function, names, *arguments):
        """Compare a function, or method of ZirkUpdateInfo, with its twin.

        function: its name. names: given an Observer, returns the names to replace, with
        "os" a dictionary of os functions. Returns what the module's showed, as the list
        of (what, kind of the exception).
        """
        seen = []
        for of_module in (True, False):
            observer = Observer()
            replaced = names(observer)
            for name, value in replaced.pop("os", {}).items():
                self.box.patch(os, name, value)
            if of_module:
                self.replace(**replaced)
                called = getattr(self.module, function, None) or vars(
                    self.module.ZirkUpdateInfo)[function.replace("construct", "__init__")]
            else:
                called = twins(vars(self.module))[function]
                called.__globals__.update(replaced)
            results = observer.run(called, *arguments)
            seen.append((results, observer.states))
        self.maxDiff = None
        self.assertEqual(seen[0][0], seen[1][0])
        self.assertEqual(seen[0][1], seen[1][1])
        return [(row[0], row[1]) for row in seen[0][1]]


class DownloadTest(StateTest):

    def names(self, observer, error, **more):
        # The error classes note from within the handler that they are looked up.
        library = type("Library", (object,), {
            "HTTPError": property(observer.passing("HTTPError", urllib2.HTTPError)),
            "URLError": property(observer.passing("URLError", urllib2.URLError))})()
        library.urlopen = observer.raising("urlopen", error) if error else observer.passing(
            "urlopen", Blank(read=observer.passing("read", "news")))
        return dict(newsURL=observer.passing("newsURL", "url"), urllib2=library, **more)


class Downloads(DownloadTest):

    def test_swallowed_are_seen_in_the_handler_and_no_longer_after(self):
        for function in ("getDownloadStats", "parse_xml"):
            for error in (HTTP_ERROR, URL_ERROR):
                seen = self.compare(function, lambda observer: self.names(observer, error))
                self.assertIn(("HTTPError", type(error)), seen)
                self.assertEqual([kind for what, kind in seen if what in ("after", "at the end")],
                                 [None, LookupError, None])

    def test_passed_on_are_seen_by_the_caller(self):
        for function in ("getDownloadStats", "parse_xml"):
            for error in (OTHER, KeyboardInterrupt()):
                seen = self.compare(function, lambda observer: self.names(observer, error))
                self.assertIn(("in the handler", type(error)), seen)
                self.assertIn(("later in the outer handler", LookupError), seen[-2:])

    def test_of_the_address_pass_through_untouched(self):
        def names(observer):
            return dict(self.names(observer, None), newsURL=observer.raising("newsURL", OTHER))

        for function in ("getDownloadStats", "parse_xml"):
            self.compare(function, names)

    def test_of_the_handler_replace_the_one_that_was_handled(self):
        def names(observer):
            library = type("Library", (object,), {
                "HTTPError": property(observer.raising("HTTPError", OTHER))})()
            library.urlopen = observer.raising("urlopen", HTTP_ERROR)
            return dict(self.names(observer, None), urllib2=library)

        for function in ("getDownloadStats", "parse_xml"):
            seen = self.compare(function, names)
            self.assertIn(("HTTPError", urllib2.HTTPError), seen)
            self.assertIn(("in the handler", KeyError), seen)

    def test_none_leave_the_state_alone(self):
        seen = self.compare("getDownloadStats", lambda observer: self.names(observer, None))
        self.assertEqual([kind for _, kind in seen],
                         [None] * 5 + [None] + [LookupError] * 6 + [None])


class Parsing(DownloadTest):

    def library(self, observer, parse):
        expat = type("Expat", (object,), {"ExpatError": property(
            observer.passing("ExpatError", xml.parsers.expat.ExpatError))})()
        return Blank(dom=Blank(minidom=Blank(parseString=parse)), parsers=Blank(expat=expat))

    def test_of_a_malformed_document_is_swallowed(self):
        error = xml.parsers.expat.ExpatError("malformed")
        seen = self.compare("parse_xml", lambda observer: self.names(
            observer, None, xml=self.library(observer, observer.raising("parse", error))))
        self.assertIn(("ExpatError", xml.parsers.expat.ExpatError), seen)

    def test_of_another_kind_passes(self):
        seen = self.compare("parse_xml", lambda observer: self.names(
            observer, None, xml=self.library(observer, observer.raising("parse", OTHER))))
        self.assertIn(("ExpatError", KeyError), seen)
        self.assertIn(("in the handler", KeyError), seen)

    def names_of_writing(self, observer, dump):
        document = Blank(unlink=observer.passing("unlink"),
                         getElementsByTagName=lambda name: [])
        return self.names(
            observer, None, xml=self.library(observer, observer.passing("parse", document)),
            cache_file="/tmp/missing/news", dump=dump, open=observer.passing(
                "open", Blank(close=observer.passing("close"))),
            os={"mkdir": observer.raising("mkdir", OSError("mkdir"))})

    def test_ends_with_a_cache_written_after_a_swallowed_error(self):
        seen = self.compare("parse_xml", lambda observer: self.names_of_writing(
            observer, observer.passing("dump")))
        self.assertIn(("open", OSError), seen)
        self.assertIn(("close", OSError), seen)
        self.assertIn(("after", None), seen)

    def test_passes_an_error_after_a_swallowed_one_through_both_functions(self):
        seen = self.compare("parse_xml", lambda observer: self.names_of_writing(
            observer, observer.raising("dump", OTHER)))
        self.assertIn(("dump", OSError), seen)
        self.assertIn(("in the handler", KeyError), seen)


class Cache(StateTest):

    def names(self, observer, error, at):
        names = dict(cache_file="/tmp/missing/news", open=observer.passing("open", Blank(
            close=observer.passing("close"))), dump=observer.passing("dump"))
        make = observer.passing("mkdir") if at is None else observer.raising(
            "mkdir", error if at == "mkdir" else OSError("mkdir"))
        if at in names:
            names[at] = observer.raising(at, error)
        return dict(names, os={"mkdir": make})

    def test_keeps_the_swallowed_error_in_sight_until_it_is_written(self):
        for error in (OSError(), OSError(13, "no", "name")):
            seen = self.compare("write_cache", lambda o: self.names(o, error, "mkdir"), [])
            self.assertEqual(seen[:6], [("before", None), ("mkdir", None), ("open", OSError),
                                        ("dump", OSError), ("close", OSError), ("after", None)])

    def test_has_nothing_in_sight_without_an_error(self):
        seen = self.compare("write_cache", lambda o: self.names(o, None, None), [])
        self.assertEqual(set(kind for _, kind in seen[:6]), set([None]))

    def test_passes_errors_before_and_after_the_swallowed_one(self):
        for at in ("mkdir", "open", "dump"):
            for error in (OTHER, SystemExit(1), IOError("no")):
                self.compare("write_cache", lambda o: self.names(o, error, at), [])


class Installed(StateTest):

    def names(self, observer, read, exit):
        class Stream(object):
            __enter__ = observer.passing("enter", Blank(read=read))
            __exit__ = exit

        return dict(open=observer.passing("open", Stream()), remove=observer.passing("remove"),
                    os_path=Blank(exists=observer.passing("exists", True)),
                    os={"system": observer.passing("system")})

    def compare_reading(self, read_error, exit_error=None, swallow=False):
        return self.compare("getInstalled", lambda observer: self.names(
            observer,
            observer.raising("read", read_error) if read_error else observer.passing("read", ""),
            observer.raising("exit", exit_error) if exit_error else observer.passing(
                "exit", swallow)))

    def test_shows_the_error_of_the_reading_while_the_file_is_closed(self):
        self.assertIn(("exit", KeyError), self.compare_reading(OTHER))

    def test_shows_nothing_when_there_is_none(self):
        self.assertNotIn(("exit", KeyError), self.compare_reading(None))

    def test_shows_an_error_that_the_file_swallows_up_to_the_end(self):
        self.assertIn(("remove", KeyError), self.compare_reading(OTHER, swallow=True))

    def test_passes_an_error_of_the_closing(self):
        self.compare_reading(None, IOError("close"))
        self.compare_reading(OTHER, IOError("close"))


class Titles(StateTest):
    """The three guarded titles: any error at construction, else those from Exception."""

    ERRORS = (OTHER, KeyboardInterrupt(), SystemExit(1))

    def test_failing_at_the_construction_are_seen_by_the_later_steps(self):
        def names(observer):
            return dict(
                Screen=Blank(__init__=observer.passing("Screen")), _=observer.passing("_"),
                StaticText=observer.raising("StaticText", error),
                load_cache=observer.raising("load_cache", IOError("cache")))

        for error in self.ERRORS:
            screen = self.module.ZirkUpdateInfo.__new__(self.module.ZirkUpdateInfo)
            seen = self.compare("construct", names, screen, None)
            self.assertIn(("load_cache", type(error)), seen)
            self.assertIn(("in the handler", IOError), seen)

    def test_failing_when_a_key_is_pressed_are_seen_by_the_later_steps(self):
        for method, title in (("yellowPressed", "News about ZIRK"),
                              ("bluePressed", "Upgradable Packages")):
            for error in self.ERRORS:
                def translate(observer):
                    def function(text):
                        observer.note(text)
                        if text == title:
                            raise error
                        return text
                    return dict(_=function)

                self.screen = self.module.ZirkUpdateInfo.__new__(self.module.ZirkUpdateInfo)
                label = Blank(setText=lambda text: None)
                self.screen.update(title=label, key_blue=label, key_yellow=label, update=label)
                self.screen.getText = self.screen.getUpdates = lambda *_: "text"
                seen = self.compare(method, translate, self.screen)
                self.assertEqual((" ", KeyError) in seen, error is OTHER)
