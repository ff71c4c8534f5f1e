# -*- coding: utf-8 -*-
"""The news browser: what it shows at once, what its keys do, how it closes."""

import os
import unittest

from tests.support.receiver import (
    BLUE, CACHE, LISTING, WAIT, Broken, ReceiverTest, breaking_at, raising, read, write)

from Screens.Screen import Screen

WIDGETS = ["title", "menu", "status", "header", "key_red", "key_green", "key_blue", "key_yellow",
           "key_info", "shortcuts"]


class Opening(ReceiverTest):

    def test_shows_one_row_please_wait_with_the_info_icon(self):
        self.box.open_news()
        self.assertEqual(self.box.rows(), [WAIT])
        self.assertEqual(self.box.icons(), ["info"])
        self.assertEqual(self.box.timers(), [100])
        self.assertEqual(self.feed.requests[-1:], [])
        self.assertFiles(absent=[CACHE])

    def test_shows_header_title_and_key_labels(self):
        self.box.open_news()
        self.assertEqual(self.box.text("header"), "Zirk 3.1.0 (Vu+ Duo2)\n")
        self.assertEqual(self.box.text("title"), "News about ZIRK")
        self.assertEqual(self.box.title, "News about ZIRK")
        self.assertEqual([self.box.text("key_" + key) for key in
                          ["red", "green", "blue", "yellow", "info"]],
                         ["Exit", "Update", "show Updates", "Top 20", ""])
        self.assertEqual(self.box.text("status"), "")

    def test_shows_the_translations(self):
        self.mark_texts()
        self.box.open_news()
        self.assertEqual(self.box.rows(), ["<%s>" % WAIT])
        self.assertEqual([self.box.text(name) for name in WIDGETS if "key_" in name],
                         ["<Exit>", "<Update>", "<show Updates>", "<Top 20>", ""])
        self.assertEqual(self.box.text("title"), "<News about ZIRK>")

    def test_translates_nothing_else(self):
        texts = self.note_texts()
        self.box.open_news()
        self.assertEqual(texts, ["News about ZIRK", WAIT, "Exit", "Update", "show Updates",
                                 "Top 20"])

    def test_the_header_is_read_when_the_screen_is_made(self):
        self.replace(header="another header")
        self.box.open_news()
        self.assertEqual(self.box.text("header"), "another header")

    def test_registers_what_it_shows_in_a_fixed_order(self):
        order = []

        class Noting(self.module.AllNews):
            def __setitem__(self, name, value):
                order.append((name, type(value).__name__))
                Screen.__setitem__(self, name, value)

        self.open_screen(Noting, self.box.plugin_path)
        self.assertEqual(order, zip(WIDGETS, [
            "StaticText", "List", "Label", "Label", "StaticText", "StaticText", "StaticText",
            "StaticText", "StaticText", "ActionMap"]))

    def test_sets_its_attributes_in_a_fixed_order(self):
        order = []

        class Noting(self.module.AllNews):
            def __setattr__(self, name, value):
                order.append(name)
                Screen.__setattr__(self, name, value)

        screen = self.open_screen(Noting, self.box.plugin_path)
        mine = ["skinName", "skin_path", "session", "title", "png_normal", "png_info",
                "png_urgent", "list"]
        order = [name for name in order if name in mine]
        self.assertEqual(order[-len(mine):], mine)
        self.assertEqual(screen.skinName, ["AllNews", "BackupSuite"])
        self.assertIs(screen.session, self.box.session)
        self.assertIs(screen.skin_path, self.box.plugin_path)

    def test_the_menu_source_is_over_the_very_list_of_the_screen(self):
        screen = self.box.open_news()
        self.assertEqual(screen.list, [("loading", WAIT, screen.png_info)])
        self.assertIs(screen["menu"].list, screen.list)

    def test_loads_the_three_icons_cached_from_the_plug_ins_directory(self):
        calls = []
        load = self.module.LoadPixmap
        self.replace(LoadPixmap=lambda **kwargs: calls.append(kwargs) or load(**kwargs))
        screen = self.box.open_news()
        place = "/usr/lib/enigma2/python/Plugins/SystemPlugins/ZIRKPanel/pictures/update_%s.png"
        self.assertEqual(calls, [dict(cached=True, path=place % kind)
                                 for kind in ("normal", "info", "urgent")])
        self.assertEqual([os.path.basename(pixmap.path) for pixmap in
                          (screen.png_normal, screen.png_info, screen.png_urgent)],
                         ["update_normal.png", "update_info.png", "update_urgent.png"])

    def test_resolves_the_icons_under_the_plug_ins_scope(self):
        calls = []
        self.replace(resolveFilename=lambda *args: calls.append(args) or "/nowhere")
        self.replace(SCOPE_PLUGINS="a scope")
        screen = self.box.open_news()
        self.assertEqual([args[0] for args in calls], ["a scope"] * 3)
        self.assertIsNone(screen.png_urgent)

    def test_listens_with_priority_minus_two_in_two_contexts(self):
        keys = self.box.open_news()["shortcuts"]
        self.assertEqual(keys.contexts, ["SetupActions", "ColorActions"])
        self.assertEqual(keys.prio, -2)
        self.assertEqual(sorted(keys.actions), ["blue", "cancel", "green", "ok", "red", "yellow"])

    def test_only_set_menu_waits_for_the_layout(self):
        screen = self.box.open_news()
        self.assertEqual(screen.onLayoutFinish, [screen.setMenu])

    def test_takes_its_arguments_by_keyword_and_ignores_args(self):
        screen = self.module.AllNews(args="anything", plugin_path="/path",
                                     session=self.box.session)
        self.assertEqual(screen.skin_path, "/path")
        self.assertFalse(hasattr(screen, "args"))

    def test_refuses_wrong_arguments(self):
        for args, kwargs in [((), {}), ((1,), {}), ((1, 2, 3, 4), {}), ((1, 2), {"path": 3}),
                             ((1, 2), {"session": 3})]:
            self.assertRaises(TypeError, self.module.AllNews, *args, **kwargs)

    def test_uses_the_names_bound_in_the_module_when_it_is_made(self):
        made = []

        def noting(name, original):
            return lambda *args: made.append(name) or original(*args)
        for name in ("StaticText", "List", "Label", "ActionMap"):
            self.replace(**{name: noting(name, getattr(self.module, name))})

        class Base(object):
            __init__ = staticmethod(noting("Screen", Screen.__init__))
        self.replace(Screen=Base)
        self.box.open_news()
        self.assertEqual(made, ["Screen", "StaticText", "List", "Label", "Label"]
                         + ["StaticText"] * 5 + ["ActionMap"])

    def test_a_subclass_gives_the_title_that_is_registered(self):
        class Titled(self.module.AllNews):
            title = property(lambda self: "mine", lambda self, title: None)
        self.open_screen(Titled, self.box.plugin_path)
        self.assertEqual(self.box.text("title"), "mine")


class Layout(ReceiverTest):

    def test_is_its_own_when_the_skin_has_it(self):
        self.box.open_news()
        self.assertEqual(self.box.layout, "AllNews")

    def test_is_that_of_backup_suite_when_the_skin_has_no_other(self):
        self.boot(screens=("BackupSuite", "ZirkUpdateInfo"))
        self.open_news()
        self.assertEqual(self.box.layout, "BackupSuite")
        self.assertEqual(self.box.rows(), ["Update now", "Release 3.1", "Meeting"])
        self.box.press("down", "ok")
        self.assertEqual(self.box.text("update"), "* Faster\n")

    def test_is_blank_with_neither_and_then_no_row_can_be_opened(self):
        self.boot(screens=("ZirkUpdateInfo",))
        screen = self.open_news()
        self.assertIsNone(self.box.layout)
        self.assertEqual(len(screen.list), 3)
        self.assertFails(TypeError, ["AllNews.runMenuEntry:339", "ZirkUpdateInfo.__init__:364"],
                         self.box.press, "ok")
        self.box.press("red")
        self.assertIsNone(self.box.screen)


class Keys(ReceiverTest):

    def setUp(self):
        ReceiverTest.setUp(self)
        self.screen = self.open_news()

    def test_ok_opens_the_news_of_the_selected_row(self):
        self.box.press("down", "ok")
        self.assertIsInstance(self.box.screen, self.module.ZirkUpdateInfo)
        self.assertEqual(self.box.text("header"), "Zirk 3.1.0 (Vu+ Duo2)\nRelease 3.1")
        self.assertEqual(self.box.commands, [])

    def test_blue_opens_the_updates_whatever_row_is_selected(self):
        self.install_opkg(BLUE)
        for row in range(3):
            self.box.press(*["down"] * row + ["blue"])
            self.assertIsInstance(self.box.screen, self.module.ZirkUpdateInfo)
            self.assertEqual(self.box.screen.idx, row)
            self.assertEqual(self.box.text("update"), WAIT)
            self.box.settle()
            self.assertIn("Package : enigma2-skin-blue", self.box.text("update"))
            self.box.press("cancel")
            self.screen.setMenuIndex(0)
            os.remove(LISTING)

    def test_blue_on_an_empty_list_opens_nothing(self):
        self.box.press("red")
        self.feed.fault("zirknews.xml", status=404)
        screen = self.open_news()
        self.box.press("ok")  # the message
        self.assertIs(self.box.screen, screen)
        self.box.press("blue", "ok")
        self.assertIs(self.box.screen, screen)
        self.assertEqual(self.box.commands, [])

    def test_green_opens_the_systems_update_and_nothing_follows_its_end(self):
        self.box.press("green")
        self.assertEqual(type(self.box.screen).__name__, "UpdatePlugin")
        self.box.press("cancel")
        self.assertIs(self.box.screen, self.screen)
        self.assertEqual(self.box.cursor, 0)

    def test_green_opens_whatever_class_bears_the_name_then(self):
        class Mine(Screen):
            pass
        self.replace(UpdatePlugin=Mine)
        self.box.press("green")
        self.assertIs(type(self.box.screen), Mine)

    def test_green_passes_a_failure_on(self):
        self.box.patch(self.module.UpdatePlugin, "__init__", raising())
        self.assertFails(Broken, ["AllNews.greenKey:303"], self.box.press, "green")
        self.assertIs(self.box.screen, self.screen)

    def test_blue_asks_for_the_updates_by_keyword_of_an_overridden_run_menu_entry(self):
        calls = []
        self.screen.runMenuEntry = lambda **kwargs: calls.append(kwargs)
        self.screen.blueKey()
        self.assertEqual(calls, [{"show_upgradable": True}])

    def test_key_methods_take_nothing_and_return_nothing(self):
        for name in ("greenKey", "blueKey", "setMenu", "createMenu", "keyCancel"):
            self.assertRaises(TypeError, getattr(self.screen, name), 1)
        self.assertIsNone(self.screen.blueKey())
        self.box.press("cancel")
        self.assertIsNone(self.screen.keyCancel())

    def test_a_subclass_sees_its_own_methods_called(self):
        calls = []
        methods = dict.fromkeys(["runMenuEntry", "keyCancel", "greenKey", "blueKey", "keyYellow"])
        for name in methods:
            methods[name] = lambda self, name=name: calls.append(name)
        self.open_screen(type("Mine", (self.module.AllNews,), methods), self.box.plugin_path)
        self.box.press("ok", "cancel", "green", "red", "blue", "yellow")
        self.assertEqual(calls, ["runMenuEntry", "keyCancel", "greenKey", "keyCancel", "blueKey",
                                 "keyYellow"])


class Closing(ReceiverTest):

    def test_red_and_cancel_remove_both_files(self):
        for key in ("red", "cancel"):
            self.open_news()
            write(LISTING, "listing")
            self.assertFiles(present=[CACHE, LISTING])
            self.box.press(key)
            self.assertIsNone(self.box.screen)
            self.assertFiles(absent=[CACHE, LISTING])

    def test_missing_files_are_no_error(self):
        for present in ([], [CACHE], [LISTING]):
            self.box.open_news()
            for path in present:
                write(path, "")
            self.box.press("red")
            self.assertIsNone(self.box.screen)
            self.assertFiles(absent=[CACHE, LISTING])

    def test_before_the_timer_fires_nothing_is_downloaded_any_more(self):
        del self.feed.requests[:]
        self.box.open_news()
        self.box.press("cancel")
        self.assertEqual(self.box.timers(), [])
        self.box.pass_time(1)
        self.assertEqual(self.feed.requests, [])

    def test_closes_without_a_value(self):
        values = []
        self.box.session.openWithCallback(lambda *args: values.append(args), self.module.AllNews,
                                          self.box.plugin_path)
        self.box.press("red")
        self.assertEqual(values, [()])

    def test_drops_the_list_then_looks_for_the_listing_then_for_the_cache(self):
        screen = self.open_news()
        log = []
        self.replace(fileExists=lambda path: log.append((path, screen.list)) or True)
        self.replace(remove=log.append)
        screen.close = lambda *args: log.append(args)
        screen.keyCancel()
        self.assertEqual(log, [(LISTING, None), LISTING, (CACHE, None), CACHE, ()])
        self.assertFiles(present=[CACHE])

    def test_removes_the_files_that_the_module_names_then(self):
        for name in ("packagetmpfile", "cache_file"):
            self.replace(**{name: "/tmp/other." + name})
            write("/tmp/other." + name, "")
        write(LISTING, "kept")
        self.box.open_news()
        self.box.press("red")
        self.assertFiles(absent=["/tmp/other.packagetmpfile", "/tmp/other.cache_file"])
        self.assertEqual(read(LISTING), "kept")

    def test_both_names_are_read_before_the_first_file_is_removed(self):
        self.open_news()
        write(LISTING, "")
        remove = self.module.remove
        self.replace(remove=lambda path: setattr(self.module, "cache_file", "x")
                     or remove(path))
        self.box.patch(self.module, "cache_file", CACHE)
        self.box.press("red")
        self.assertFiles(absent=[LISTING, CACHE])

    def test_each_failure_leaves_the_later_steps_undone(self):
        for name, broken, line, left in [
                ("fileExists", raising(), 347, [LISTING, CACHE]),
                ("fileExists", breaking_at(2, os.path.exists), 347, [CACHE]),
                ("remove", raising(), 348, [LISTING, CACHE]),
                ("remove", breaking_at(2, os.remove), 348, [CACHE])]:
            self.boot()
            screen = self.open_news()
            write(LISTING, "")
            self.replace(**{name: broken})
            self.assertFails(Broken, ["AllNews.keyCancel:%d" % line], self.box.press, "red")
            self.assertIs(self.box.screen, screen)
            self.assertIsNone(screen.list)
            self.assertEqual([path for path in (LISTING, CACHE) if os.path.exists(path)], left)
            for path in left:
                os.remove(path)

    def test_a_directory_in_the_place_of_a_file_is_an_error(self):
        self.box.open_news()
        os.mkdir(LISTING)
        self.addCleanup(os.rmdir, LISTING)
        error = self.assertFails(OSError, ["AllNews.keyCancel:348"], self.box.press, "red")
        self.assertEqual(error.filename, LISTING)

    def test_a_missing_name_and_a_failing_close_are_errors_too(self):
        screen = self.open_news()
        screen.close = raising()
        self.assertFails(Broken, ["AllNews.keyCancel:349"], self.box.press, "red")
        self.assertFiles(absent=[CACHE])
        self.unbind("cache_file")
        error = self.assertFails(NameError, ["AllNews.keyCancel:346"], screen.keyCancel)
        self.assertIn("cache_file", str(error))


if __name__ == "__main__":
    unittest.main()
