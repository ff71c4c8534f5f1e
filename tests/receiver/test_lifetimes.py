"""Objects live as long as in Python functions: what a statement makes, no longer than it needs it;
a local variable, until the function returns. And calls in several threads don't mix."""

import sys
import threading
import weakref

from tests.receiver.described import Blank, ModuleTest


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
