"""Objects live as long as in Python functions: what a statement makes, no longer than it needs it;
a local variable, until the function returns. And calls in several threads don't mix."""

import imp
import sys
import threading
import time
import weakref

from tests.support.receiver import Blank, ModuleTest


class Noted(object):
    """An object of which one can tell whether it still lives."""


class NotedList(list):
    pass


class NotedString(str):
    pass


class Lifetimes(ModuleTest):

    def test_what_an_attribute_held_ends_when_it_is_replaced(self):
        screen = Blank(list=Noted(), close=lambda: None)
        held = weakref.ref(screen.list)
        seen = []
        self.replace(fileExists=lambda path: seen.append(held()))
        vars(self.module.AllNews)["keyCancel"](screen)
        self.assertEqual([None, None], seen)

    def test_what_a_loop_went_through_ends_with_the_loop(self):
        made = []

        def keys():
            names = NotedList(["update"])
            made.append(weakref.ref(names))
            return names

        console = Blank(appContainers=Blank(keys=keys), kill=lambda name: None)
        screen = Blank(Console=console, idx=3)
        seen = []
        screen.close = lambda index: seen.append((index, made[0]()))
        vars(self.module.ZirkUpdateInfo)["closeNews"](screen)
        self.assertEqual([(3, None)], seen)

    def test_a_turns_variables_end_before_the_turn_after_the_next(self):
        alive = []

        class Line(str):
            def split(self, separator):
                parts = NotedList([NotedString(part) for part in str.split(self, separator)])
                alive.append(weakref.ref(parts))
                if len(alive) > 2:
                    self.ended = alive[-3]() is None
                return parts

        lines = [Line("package %d - 1 - 2" % number) for number in range(5)]
        shown = []
        screen = Blank(item=Blank(setText=shown.append))
        screen.__class__ = type("Screen", (Blank,), {"__getitem__": lambda self, key: self.item})
        self.replace(fileExists=lambda path: True,
                     open=lambda *arguments: Blank(readlines=lambda: lines, close=lambda: None))
        vars(self.module.ZirkUpdateInfo)["opkg_upgrade_finished"](screen, None, 0)
        self.assertEqual(5, shown[0].count("Package : package"))
        self.assertEqual([True] * 3, [line.ended for line in lines[2:]])

    def test_a_calls_variables_end_first_to_last(self):
        ended = []

        class Lines(list):
            def __del__(self):
                ended.append("lines")

        class File(object):
            def __del__(self):
                ended.append("file")

            def readlines(self):
                return Lines()

            def close(self):
                pass

        screen = Blank(item=Blank(setText=lambda text: None))
        screen.__class__ = type("Screen", (Blank,), {"__getitem__": lambda self, key: self.item})
        self.replace(fileExists=lambda path: True, open=lambda *arguments: File())
        vars(self.module.ZirkUpdateInfo)["opkg_upgrade_finished"](screen, None, 0)
        self.assertEqual(["file", "lines"], ended)

    def test_what_ends_before_a_handler_or_after_the_call_sees_no_error(self):
        seen = []

        class Answer(object):
            def __del__(self):
                seen.append(sys.exc_info()[0])

            def close(self):
                pass

            read = {}.popitem

        self.box.patch(self.module.urllib2, "HTTPError", KeyError)
        self.box.patch(self.module.urllib2, "urlopen", lambda *arguments: Answer())
        self.replace(newsURL=lambda name: "")
        self.assertIsNone(self.module.getDownloadStats())
        self.replace(cache_file="/nowhere/there/cache", open=lambda *arguments: Answer(),
                     dump=lambda *arguments: None)
        self.module.write_cache([])
        self.assertEqual([None, None], seen)

    def test_a_variable_lives_until_the_function_returns(self):
        opened = []

        class Address(str):
            def strip(self, characters=None):
                return Address(str.strip(self, characters))

            def replace(self, old, new):
                seen.append(opened[0]() is not None)
                return str.replace(self, old, new)

        def opener(*arguments):
            stream = Noted()
            stream.readline = lambda: Address("src/gz Zirk-all http://feed/all\n")
            stream.close = lambda: None
            opened.append(weakref.ref(stream))
            return stream

        seen = []
        self.replace(open=opener)
        self.assertEqual("http://feed/zirknews.xml", self.module.newsURL())
        self.assertEqual([True], seen)
        self.assertIsNone(opened[0]())


class Threads(ModuleTest):

    def test_calls_in_several_threads_keep_their_results_apart(self):
        interval = sys.getcheckinterval()
        self.addCleanup(sys.setcheckinterval, interval)
        sys.setcheckinterval(1)
        results = {}
        made = []

        def own():
            return threading.current_thread().name

        def opener(*arguments):
            stream = Noted()
            stream.owner = own()
            stream.close = lambda: None
            made.append(weakref.ref(stream))
            return stream

        def load(stream):
            for _ in range(20):  # time for the others
                self.assertEqual(own(), stream.owner)
            return NotedList([stream.owner])

        self.replace(open=opener, load=load)

        def work():
            results[own()] = [self.module.load_cache() for _ in range(200)]

        threads = [threading.Thread(target=work) for _ in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        for thread in threads:
            self.assertEqual([[thread.name]] * 200, results[thread.name])
        self.assertEqual(1600, len(made))
        self.assertEqual([], [stream for stream in made if stream() is not None])


class Interrupted(ModuleTest):
    """A call goes on with its own results when another thread has begun a call in between."""

    def setUp(self):
        super(Interrupted, self).setUp()
        self.begun = threading.Event()
        self.go_on = threading.Event()
        self.replace(getZirkVersionString=self.wait)
        self.thread = threading.Thread(target=self.module.getHeader)
        self.addCleanup(self.end)

    def wait(self):
        self.begun.set()
        self.go_on.wait(10)
        return "1"

    def begin(self):
        """Have the other thread begin its call, which then waits for the test's end."""
        self.thread.start()
        self.assertTrue(self.begun.wait(10))

    def end(self):
        self.go_on.set()
        self.thread.join()

    def result(self):
        """An object of which `seen` tells later whether it has lived on."""
        made = Noted()
        self.kept = weakref.ref(made)
        return made

    def seen(self):
        return self.kept() is not None

    def test_at_the_end_of_a_loop(self):
        def entries():
            yield (u"Title", [], u"info")
            self.begin()

        class Status(int):
            def __gt__(status, number):
                lived.append(self.seen())
                return False

        lived = []
        screen = Blank(png_normal=None, png_info=None)
        menu = Blank(updateList=lambda rows: self.result())
        screen.__class__ = type("Screen", (Blank,), {"__getitem__": lambda self, key: menu})
        self.replace(load_cache=entries, parse_xml=lambda: Status(1))
        vars(self.module.AllNews)["createMenu"](screen)
        self.assertEqual([False], lived)

    def test_where_an_exception_is_looked_at(self):
        class Kind(type):
            def __subclasscheck__(kind, other):
                self.begin()
                return True

        class Failure(Exception):
            __metaclass__ = Kind

        lived = []
        stream = Blank(close=lambda: lived.append(self.seen()))
        self.replace(OSError=Failure, open=lambda *arguments: stream,
                     dump=lambda *arguments: self.result(), cache_file="/tmp/missing/below/it")
        self.module.write_cache([])
        self.assertEqual([False], lived)

    def test_where_a_keyword_is_compared(self):
        class Keyword(str):
            def __eq__(keyword, other):
                self.begin()
                return str.__eq__(keyword, other)

            __hash__ = str.__hash__

        def line():
            made = self.result()
            made.strip = lambda characters: Blank(strip=lambda: "http://feed/all")
            return made

        lived = []
        stream = Blank(readline=line, close=lambda: lived.append(self.seen()))
        self.replace(open=lambda *arguments: stream)
        self.assertEqual("http://feed/it", self.module.newsURL(**{Keyword("f_name"): "it"}))
        self.assertEqual([False], lived)

    def test_where_the_news_wait_for_an_import(self):
        """The results of a document of this length find no room beside another call's."""
        def work():
            imp.acquire_lock()
            self.begun.set()
            time.sleep(0.2)  # for the test to come to its own import
            self.module.getHeader()

        def wait():
            imp.release_lock()
            self.go_on.wait(10)
            return "1"

        def urlopen(*arguments):
            self.begin()
            return Blank(read=lambda: "<news>%s</news>" % (100 * update))

        self.thread = threading.Thread(target=work)
        update = "<update><title>News</title></update>"
        stored = []
        self.replace(getZirkVersionString=wait, newsURL=lambda: "", write_cache=stored.append,
                     urllib2=Blank(urlopen=urlopen))
        self.assertEqual(1, self.module.parse_xml())
        self.assertEqual(100, len(stored[0]))
