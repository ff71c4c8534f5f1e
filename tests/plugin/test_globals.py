"""Every global name is looked up when it is used: in the module, then in the builtins.

So whoever replaces a name sees the replacement used. That this holds for each use, and on which
line it fails without the name, the comparison with the model shows (test_agrees).
"""

import __builtin__
import os

from tests.support.receiver import (
    Blank, Broken, FeedTest, ModuleTest, ReceiverTest, configure, raising)

ENTRY = (u"Title", [(u"item", [u"text"])], u"urgent")


class Builtins(ModuleTest):

    def replace_builtin(self, name, value):
        self.box.patch(__builtin__, name, value)

    def test_come_after_the_module(self):
        self.replace_builtin("vumodel", "solo")
        self.assertEqual(self.module.getHeader(), "Zirk 3.1.0 (Vu+ Duo2)\n")
        del self.module.vumodel
        self.assertEqual(self.module.getHeader(), "Zirk 3.1.0 (Vu+ Solo)\n")

    def test_are_looked_up_at_each_use(self):
        opened = []
        real_open = open
        self.replace_builtin("open", lambda *a: opened.append(a[0]) or real_open(*a))
        self.module.write_cache([])
        self.assertEqual(opened, ["/tmp/.updatecache"])

    def test_may_be_a_module_in_place_of_its_names(self):
        configure("src/gz Zirk-all http://h/all\n")
        self.replace(__builtins__=__builtin__)
        self.assertEqual(self.module.newsURL(), "http://h/zirknews.xml")

    def test_that_neither_has_are_errors_of_the_function(self):
        self.unbind("vumodel")
        error = self.assertFails(NameError, ["getHeader:54"], self.module.getHeader)
        self.assertEqual(str(error), "global name 'vumodel' is not defined")

    def test_of_the_translation_are_used_at_each_showing(self):
        self.replace_builtin("_", lambda text: text.upper())
        screen = self.box.open_news()
        self.assertEqual(self.box.text("key_red"), "EXIT")
        self.assertEqual(screen.list[0][:2], ("loading", "PLEASE WAIT ..."))
        self.replace(_=lambda text: text.lower())
        self.box.session.open(self.module.AllNews, "/p")
        self.assertEqual(self.box.text("key_red"), "exit")


class Texts(ModuleTest):
    """str() of the module, whatever it is."""

    def screen(self, *entry):
        screen = self.module.ZirkUpdateInfo.__new__(self.module.ZirkUpdateInfo)
        screen.infotxt = entry
        return screen

    def test_are_made_by_the_str_of_the_module(self):
        self.replace(str=lambda value: "<%s>" % value)
        screen = self.screen(*ENTRY)
        self.assertEqual(screen.getNews(), "* <item>\n    - <text>\n\n")
        self.assertEqual(screen.getHeaderWithDate(), "<%sTitle>" % self.module.header)

    def test_may_be_of_a_class_with_a_constructor(self):
        class Text(str):
            def __init__(self, thing):
                made.append(thing)

            def __str__(self):
                return self

        made = []
        text = Text("item")
        self.assertEqual(self.screen(u"Title", [(text, [])], u"info").getNews(), "* item\n")
        self.assertEqual(made, ["item", text])


class OsFunctions(ModuleTest):

    def test_are_those_of_the_os_module_unless_a_name_is_bound(self):
        calls = []
        for name in ("system", "mkdir"):
            self.box.patch(os, name, lambda _, name=name: calls.append("os." + name))
        self.module.cache_file = "/tmp/missing/news"
        self.module.getInstalled()
        self.assertFails(IOError, ["write_cache:94"], self.module.write_cache, [])
        self.replace(system=lambda _: calls.append("system"))
        self.box.patch(__builtin__, "mkdir", lambda _: calls.append("mkdir"))
        self.module.getInstalled()
        self.assertFails(IOError, ["write_cache:94"], self.module.write_cache, [])
        self.assertEqual(calls, ["os.system", "os.mkdir", "system", "mkdir"])


class Exceptions(FeedTest):
    """Handlers catch what the names of their exceptions stand for at that time."""

    def test_of_the_cache_are_OSErrors_whatever_that_is(self):
        self.module.cache_file = "/tmp/missing/news"
        self.box.patch(os, "mkdir", raising(Broken))
        self.assertFails(Broken, ["write_cache:91"], self.module.write_cache, [])
        self.replace(OSError=Broken, open=lambda *_: open("/dev/null", "w"))
        self.module.write_cache([])
        self.box.patch(os, "mkdir", raising(OSError))
        self.assertFails(OSError, ["write_cache:91"], self.module.write_cache, [])

    def test_of_the_titles_are_Exceptions_whatever_that_is(self):
        self.module.write_cache([ENTRY])
        screen = self.box.session.open(self.module.ZirkUpdateInfo)

        class Title(type(screen["title"])):
            text = property(None, raising(Broken))
            setText = raising(Broken)

        screen["title"] = Title()
        screen.yellowPressed()
        self.replace(Exception=ValueError)
        self.assertFails(Broken, ["ZirkUpdateInfo.yellowPressed:409"], screen.yellowPressed)
        self.assertFails(Broken, ["ZirkUpdateInfo.bluePressed:399"], screen.bluePressed)


class Statistics(ReceiverTest):
    """What the chooser of packages does with odd answers of the module's own functions."""

    def skins(self, installed):
        """The skins offered, and their choice, while these packages are installed."""
        self.open_news()
        self.replace(getInstalled=lambda: installed)
        self.box.press("yellow")
        return self.box.stack[0].skins

    def test_may_meet_installed_packages_that_are_no_strings(self):
        self.assertEqual(self.skins([None, u"enigma2-plugin-skin-bar-hd"]),
                         [("Bar-Hd   (3) - Remove", "enigma2-plugin-skin-bar-hd_installed")])
        self.assertEqual(self.box.stack[0].extensions,
                         [("Foo   (12) - Install", "enigma2-plugin-extensions-foo_install")])

    def test_may_meet_installed_packages_that_change_meanwhile(self):
        installed = []
        self.replace(_=lambda text: installed.append("enigma2-plugin-skin-bar-hd") or text)
        self.assertEqual(self.skins(installed),
                         [("Bar-Hd   (3) - Remove", "enigma2-plugin-skin-bar-hd_installed")])

    def test_may_have_names_that_are_extended_in_place(self):
        class Name(object):
            parts = []

            def title(self):
                return "Bar"

            def __radd__(self, text):
                self.parts.append((text, "+"))
                return self

            def __iadd__(self, text):
                self.parts.append(("+=", text))
                return self

        class Statistics(object):
            def split(self, separator):
                return ["SKINS", Blank(split=lambda separator: [name, "3"])]

        name = Name()
        self.replace(getDownloadStats=Statistics)
        self.assertEqual(self.skins([]), [("Bar   (3) - Install", name)])
        self.assertEqual(name.parts, [("enigma2-plugin-skin-", "+"), ("+=", "_install")])
