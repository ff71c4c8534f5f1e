"""The plug-in lends the module the package's screens and texts, where they are lacking."""

import __builtin__
import unittest

from simulator.receiver import PLUGIN_SCREENS, Receiver

import enigma
import skin


class IntegrationTest(unittest.TestCase):

    def start(self, **options):
        """Boot, and start the plug-in's session; the host translates to angle brackets."""
        self.box = Receiver(**options)
        self.addCleanup(self.box.close)
        self.box.patch(__builtin__, "_", "<%s>".__mod__)
        self.own = dict(skin.dom_screens)
        self.box.start_plugin()
        return self.box

    def test_a_skin_keeps_the_screens_that_it_has_and_is_lent_the_others(self):
        for screens in (PLUGIN_SCREENS, ["BackupSuite"], ["AllNews"], []):
            box = self.start(screens=screens)
            for name, screen in self.own.items():
                self.assertIs(skin.dom_screens[name], screen)
            self.assertEqual(set(skin.dom_screens) - set(self.own),
                             set(["AllNews", "ZirkUpdateInfo"]) - set(screens))
            box.open_news()
            self.assertEqual(box.layout, "AllNews")

    def test_the_screens_are_those_for_the_width_of_the_picture(self):
        for width, size in [(1280, "1280,720"), (1920, "1920,1080"), (720, None)]:
            box = Receiver(screens=[])
            self.addCleanup(box.close)
            box.patch(enigma.eSize, "width", lambda _: width)
            box.start_plugin()
            screen = skin.dom_screens.get("AllNews")
            self.assertEqual(None if screen is None else screen.get("size"), size)

    def test_texts_are_the_packages_in_its_languages_and_the_hosts_in_others(self):
        for language, text in [("de_DE", "Beenden"), ("de", "Beenden"), ("no_NO", "Avslutt"),
                               ("nb_NO", "Avslutt"), ("pt_BR", "Sair"), ("en", "<Exit>")]:
            self.start(language=language).open_news()
            self.assertEqual(self.box.text("key_red"), text)
