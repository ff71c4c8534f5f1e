"""Every global name is looked up when it is used: in the module, then in the builtins.

So a replaced name is honoured. test_agrees compares that with the model for each name and each use
of it; here are the rare cases.
"""

import __builtin__

from tests.support.receiver import Blank, ModuleTest, ReceiverTest, configure


class Names(ModuleTest):

    def test_of_the_builtins_come_after_those_of_the_module(self):
        self.box.patch(__builtin__, "vumodel", "solo")
        self.assertEqual(self.module.getHeader(), "Zirk 3.1.0 (Vu+ Duo2)\n")
        self.replace(vumodel=None)
        del self.module.vumodel
        self.assertEqual(self.module.getHeader(), "Zirk 3.1.0 (Vu+ Solo)\n")
        self.box.patch(__builtin__, "vumodel", None)
        del __builtin__.vumodel
        error = self.assertFails(NameError, ["getHeader:54"], self.module.getHeader)
        self.assertEqual(str(error), "global name 'vumodel' is not defined")

    def test_of_the_builtins_may_lie_in_a_module_in_place_of_a_dictionary(self):
        configure("src/gz Zirk-all http://h/all\n")
        self.replace(__builtins__=__builtin__)
        self.assertEqual(self.module.newsURL(), "http://h/zirknews.xml")

    def test_of_os_functions_may_be_bound_in_the_builtins(self):
        made = []
        self.box.patch(__builtin__, "mkdir", made.append)
        self.module.cache_file = "/tmp/missing/news"
        self.assertFails(IOError, ["write_cache:94"], self.module.write_cache, [])
        self.assertEqual(made, ["/tmp/missing"])


class OddObjects(ReceiverTest):

    def skins(self, installed):
        """The skins offered, and their choice, while installed() gives the packages that are."""
        self.open_news()
        self.replace(getInstalled=installed)
        self.box.press("yellow")
        return self.box.stack[0].skins

    def test_may_stand_among_the_installed_packages(self):
        self.assertEqual(self.skins(lambda: [[], u"enigma2-plugin-skin-bar-hd"]),
                         [("Bar-Hd   (3) - Remove", "enigma2-plugin-skin-bar-hd_installed")])
        self.assertEqual(self.box.stack[0].extensions,
                         [("Foo   (12) - Install", "enigma2-plugin-extensions-foo_install")])

    def test_may_join_the_installed_packages_meanwhile(self):
        installed = []
        self.replace(_=lambda text: installed.append("enigma2-plugin-skin-bar-hd") or text)
        self.assertEqual(self.skins(lambda: installed),
                         [("Bar-Hd   (3) - Remove", "enigma2-plugin-skin-bar-hd_installed")])

    def test_may_be_names_of_packages_that_are_extended_in_place(self):
        class Name(object):
            def __init__(self):
                self.parts = []

            def title(self):
                return "Bar"

            def __radd__(self, text):
                self.parts.append((text, "+"))
                return self

            def __iadd__(self, text):
                self.parts.append(("+=", text))
                return self

        name = Name()
        record = Blank(split=lambda separator: [name, "3"])
        self.replace(getDownloadStats=lambda: Blank(split=lambda separator: ["SKINS", record]))
        self.assertEqual(self.skins(list), [("Bar   (3) - Install", name)])
        self.assertEqual(name.parts, [("enigma2-plugin-skin-", "+"), ("+=", "_install")])

    def test_may_be_texts_of_a_class_with_a_constructor(self):
        class Text(str):
            def __init__(self, thing):
                made.append(thing)

            def __str__(self):
                return self

        made = []
        text = Text("item")
        screen = self.module.ZirkUpdateInfo.__new__(self.module.ZirkUpdateInfo)
        screen.infotxt = (u"Title", [(text, [])], u"info")
        self.assertEqual(screen.getNews(), "* item\n")
        self.assertEqual(made, ["item", text])
