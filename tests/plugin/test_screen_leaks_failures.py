# -*- coding: utf-8 -*-
"""Nothing is left behind by screens and checks that fail, wherever and however often they do."""

import contextlib
import unittest

from tests.support.receiver import (
    BLUE, LISTING, Broken, Old, breaking_at, raising, refusing, write)
from tests.plugin.test_screen_leaks import LeakTest


class FailingRounds(LeakTest):

    @contextlib.contextmanager
    def bound(self, name, value):
        """Bind a name of the module to another value for a while."""
        names = vars(self.module)
        had, old = name in names, names.get(name)
        names[name] = value
        try:
            yield
        finally:
            if had:
                names[name] = old
            else:
                del names[name]

    def failing(self, function, *args, **kwargs):
        try:
            function(*args, **kwargs)
        except:  # noqa: E722 - whatever it is
            return
        self.fail("nothing was raised")

    def test_of_opening_rows_before_the_news(self):
        def one_round():
            self.box.open_news()
            self.failing(self.box.press, "ok")
            self.failing(self.box.press, "blue")
            self.box.press("red")
        self.assertFlat(one_round)

    def test_of_making_the_screens(self):
        steps = [("StaticText", count) for count in range(1, 7)] + [
            ("Label", 1), ("Label", 2), ("List", 1), ("ActionMap", 1), ("ScrollLabel", 1),
            ("LoadPixmap", 2), ("resolveFilename", 3), ("load_cache", 1), ("_", 1), ("_", 4)]
        self.open_news()
        original = dict((name, getattr(self.module, name, lambda text: text)) for name, _ in steps)

        def one_round():
            for name, count in steps:
                for screen in (self.module.AllNews, self.module.ZirkUpdateInfo):
                    with self.bound(name, breaking_at(count, original[name])):
                        try:
                            screen(self.box.session, 0)
                        except Broken:
                            pass
        self.assertFlat(one_round)

    def test_of_filling_the_list(self):
        results = [[("t", [])], [(u"\xe4", [], "info")], [()], None, [("t", [], "info")] * 3 + [5]]
        code, result = [None], [None]
        self.boot(encoding="ascii")
        self.replace(parse_xml=lambda: code[0])
        self.replace(load_cache=lambda: result[0])

        def one_round():
            self.box.open_news()
            for code[0] in (4, "1"):
                self.failing(self.box.screen.createMenu)
            code[0] = 1
            for result[0] in results:
                self.failing(self.box.screen.createMenu)
            self.box.press("red")
        self.assertFlat(one_round)

    def test_of_the_guarded_titles(self):
        self.open_news()
        write(LISTING, BLUE)
        makers = [refusing(self.module.ZirkUpdateInfo, widget="title", error=error)
                  for error in (Broken, Old, KeyboardInterrupt)]

        def one_round():
            for make in makers:
                self.open_screen(make)
                self.box.press("blue", "yellow", "red")
            screen = self.open_screen(self.module.ZirkUpdateInfo)
            for error in (Old, KeyboardInterrupt):
                screen["title"].setText = raising(error)
                self.failing(screen.bluePressed)
                self.failing(screen.yellowPressed)
            self.box.press("red")
        self.assertFlat(one_round)

    def test_of_the_detail_screen(self):
        self.boot(encoding="ascii")
        shapes = [[], [()], [("t",)], [("t", [()])], [("t", [("i",)])], [(5, [])],
                  [(u"\xe4", [])], [("t", [(u"\xe4", [])])], [("t", [("i", [u"\xe4"])])]]
        current = [None]
        self.replace(load_cache=lambda: current[0])

        def one_round():
            for current[0] in shapes:
                self.failing(self.module.ZirkUpdateInfo, self.box.session, 0)
            current[0] = [("t", [])] * 2
            screen = self.open_screen(self.module.ZirkUpdateInfo, 1)
            self.failing(screen.getText, "other")
            for name in ("update", "header", "key_blue", "key_yellow"):
                screen[name].setText = raising()
                for method in (screen.updateText, screen.prevUpdate):
                    self.failing(method)
                    screen.idx = 1
                del screen[name].setText
            self.failing(screen.getText)
            self.failing(screen.getText, 1, 2)
            self.failing(screen.getText, other=1)
            screen.Console = object()
            self.failing(self.box.press, "red")
            screen.Console = None
            self.box.press("red")
        self.assertFlat(one_round)

    def test_of_listings(self):
        self.open_news()

        def one_round():
            screen = self.open_screen(self.module.ZirkUpdateInfo)
            with self.bound("packagetmpfile", "/proc/self/mem"):
                self.failing(self.box.press, "blue")
            write(LISTING, BLUE + "a - 1\n" + BLUE)
            screen["update"].setText = breaking_at(2, lambda text: None)
            self.failing(screen.bluePressed)
            with self.bound("_", lambda text: "%s"):
                self.failing(screen.getUpdates)
            self.box.press("red")
        self.assertFlat(one_round)

    def test_of_top_20(self):
        screen = self.open_news()
        functions = [("getInstalled", raising()), ("getInstalled", lambda: 5),
                     ("getDownloadStats", lambda: 5), ("ChoiceBox", raising()), ("_", raising())]
        functions += [("_", breaking_at(count, lambda text: text)) for count in range(2, 12)]

        def one_round():
            for name, function in functions:
                with self.bound(name, function):
                    try:
                        screen.keyYellow()
                    except (Broken, TypeError, AttributeError):
                        pass
            self.box.press(*["cancel"] * (len(self.box.stack) - 1))
            for ret in (("x",), 5):
                self.failing(screen.gotTopSelection, ret)
            for ret in (5, ("x", 5)):
                self.failing(screen.exitChoiceBox, ret)
        self.assertFlat(one_round)

    def test_of_checks(self):
        def one_round():
            notifier = self.notifier
            self.failing(notifier.opkg_update_finished, "", 0)
            for text in (5, BLUE, ""):
                self.box.config.usage.show_notification_for_updates.value = False
                self.failing(notifier.opkg_upgrade_finished, text, 0)
            notifier.init_timer()
            notifier.upgradable_packages = BLUE
            self.failing(notifier.show_Kelvaro, True)
            with self.bound("packagetmpfile", "/dev/full"):
                self.failing(notifier.show_Kelvaro, True)
            self.failing(notifier.show_Kelvaro)
            self.failing(notifier.setSession, 1)
            vars(notifier).clear()
        self.assertFlat(one_round)


if __name__ == "__main__":
    unittest.main()
