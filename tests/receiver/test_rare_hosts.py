"""What hardly any host does, but Python code copes with: the module copes like it."""

import __builtin__
import unittest

from tests.receiver.driving import ReceiverTest
from tests.receiver.test_import_failures import run


class Running(ReceiverTest):

    def test_the_builtins_may_be_a_module_in_place_of_its_names(self):
        self.replace("__builtins__", __builtin__)
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
        self.replace("open", lambda path, mode: File())
        self.assertEqual(self.module.getInstalled(), ["one", "two"])
        self.assertEqual(asked, ["enter", (None, None, None)])

    def test_a_classic_file_that_cannot_be_left_is_not_entered(self):
        class File:
            def __enter__(self):
                raise AssertionError

        self.install_opkg()
        self.replace("open", lambda path, mode: File())
        self.assertFails(AttributeError, ["getInstalled:46"], self.module.getInstalled)

    def test_installed_packages_need_not_be_strings(self):
        self.open_news()
        self.replace("getInstalled", lambda: [None, u"enigma2-plugin-skin-bar-hd"])
        self.box.press("yellow")
        self.assertEqual(self.module.AllNews, type(self.box.stack[0]))
        browser = self.box.stack[0]
        self.assertEqual(browser.extensions,
                         [("Foo   (12) - Install", "enigma2-plugin-extensions-foo_install")])
        self.assertEqual(browser.skins,
                         [("Bar-Hd   (3) - Remove", "enigma2-plugin-skin-bar-hd_installed")])


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


if __name__ == "__main__":
    unittest.main()
