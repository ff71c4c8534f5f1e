"""What hardly any host does, but Python code copes with: the module copes like it."""

import __builtin__
import unittest

from tests.support.receiver import ReceiverTest
from tests.plugin.test_module_failures import run


class Extended(object):
    """What a text turns into when it is added to one: it notes what is added to it."""

    def __init__(self):
        self.parts = []

    def __radd__(self, text):
        self.parts.append(text)
        return self

    def __add__(self, text):
        self.parts.append(text)
        return self

    def __iadd__(self, text):
        self.parts.append(("+=", text))
        return self


class Running(ReceiverTest):

    def test_the_builtins_may_be_a_module_in_place_of_its_names(self):
        self.replace(__builtins__=__builtin__)
        self.assertTrue(self.module.newsURL().endswith("/zirknews.xml"))

    def test_a_file_may_be_of_a_classic_class(self):
        asked = []

        class File:
            def __enter__(self):
                asked.append("enter")
                return self

            def __exit__(self, kind, value, traceback):
                asked.append((kind, value, traceback))

            def read(self):
                return "one\ntwo\n"

        self.install_opkg()
        self.replace(open=lambda path, mode: File())
        self.assertEqual(self.module.getInstalled(), ["one", "two"])
        self.assertEqual(asked, ["enter", (None, None, None)])

    def test_a_classic_file_that_cannot_be_left_is_not_entered(self):
        class File:
            def __enter__(self):
                raise AssertionError

        self.install_opkg()
        self.replace(open=lambda path, mode: File())
        self.assertFails(AttributeError, ["getInstalled:46"], self.module.getInstalled)

    def test_installed_packages_need_not_be_strings(self):
        self.open_news()
        self.replace(getInstalled=lambda: [None, u"enigma2-plugin-skin-bar-hd"])
        self.box.press("yellow")
        self.assertEqual(self.module.AllNews, type(self.box.stack[0]))
        browser = self.box.stack[0]
        self.assertEqual(browser.extensions,
                         [("Foo   (12) - Install", "enigma2-plugin-extensions-foo_install")])
        self.assertEqual(browser.skins,
                         [("Bar-Hd   (3) - Remove", "enigma2-plugin-skin-bar-hd_installed")])

    def test_installed_packages_may_change_while_the_lists_are_made(self):
        self.open_news()
        installed = []
        self.replace(getInstalled=lambda: installed)
        self.replace(_=lambda text: installed.append("enigma2-plugin-skin-bar-hd") or text)
        self.box.press("yellow")
        self.assertEqual(self.box.stack[0].skins,
                         [("Bar-Hd   (3) - Remove", "enigma2-plugin-skin-bar-hd_installed")])

    def test_the_text_of_a_thing_may_be_of_a_class_with_a_constructor(self):
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

    def test_a_version_may_be_extended_in_place(self):
        self.replace(getZirkVersionString=Extended)
        self.assertEqual(self.module.getHeader().parts, ["Zirk ", " (Vu+ ", ("+=", "Duo2)\n")])

    def test_a_short_name_may_be_extended_in_place(self):
        class Statistics(object):
            def split(self, separator):
                return ["SKINS", Record()]

        class Record(object):
            def split(self, separator):
                return [name, "3"]

        self.open_news()
        name = Extended()
        name.title = lambda: "Bar"
        self.replace(getInstalled=lambda: [])
        self.replace(getDownloadStats=Statistics)
        self.box.press("yellow")
        self.assertEqual(self.box.stack[0].skins, [("Bar   (3) - Install", name)])
        self.assertEqual(name.parts, ["enigma2-plugin-skin-", ("+=", "_install")])


class Importing(unittest.TestCase):

    LOAD = """
import imp, os
def attempt_with(statement):
    try:
        if statement:
            exec statement in {"__builtins__": __builtin__}
        else:
            imp.load_dynamic("Kelvaro", os.environ["KELVARO_MODULE"])
    except ImportError as e:
        results.append([str(e), "Kelvaro" in sys.modules])
import __builtin__
"""

    def test_without_a_builtin_import_fails_as_the_statement_does(self):
        plain, own = run(self.LOAD + """
load, saved = attempt_with, __builtin__.__import__
del __builtin__.__import__
try:
    load("from Components.ActionMap import ActionMap")
    load(None)
finally:
    __builtin__.__import__ = saved
""")
        self.assertEqual(plain, ["__import__ not found", False])
        self.assertEqual(own, plain)

    def test_of_everything_from_what_has_no_names_fails_as_the_statement_does(self):
        plain, own = run(self.LOAD + """
sys.modules["Tools.Directories"] = object()
attempt_with("from Tools.Directories import *")
attempt_with(None)
""")
        self.assertEqual(plain, ["from-import-* object has no __dict__ and no __all__", False])
        self.assertEqual(own, plain)

    def test_that_fails_spares_what_another_has_put_in_its_place(self):
        own, left = run(self.LOAD + """
class Names(object):
    __all__ = ["name"]
    @property
    def name(self):
        sys.modules["Kelvaro"] = other
other = types.ModuleType("other")
other.left = 1
sys.modules["Tools.Directories"] = Names()
sys.modules["skin"] = None
attempt_with(None)
results.append(vars(other).get("left"))
""")
        self.assertEqual(own, ["No module named skin", False])
        self.assertEqual(left, 1)


if __name__ == "__main__":
    unittest.main()
