"""The catalogues: made of the texts that are shown, and complete."""
import ast
import gettext
import glob
import io
import os
import re
import unittest

from tests.support.machine import PROJECT, run
from tests.support.model import TEXT


def shown_texts():
    """Return the texts that the model hands to the translation function."""
    return set(call.args[0].s for call in ast.walk(ast.parse(TEXT)) if isinstance(call, ast.Call)
               and isinstance(call.func, ast.Name) and call.func.id == "_")


class CatalogueTest(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        """Make pairs: each one's name, and {text: its text}, as the interpreter reads it."""
        cls.texts, cls.catalogues = shown_texts(), []
        for path in glob.glob(PROJECT + "/plugin/po/*.po"):
            result = run("msgfmt", "--check", "--output-file=-", path)
            assert (result.status, result.stderr) == (0, ""), result.stderr
            catalogue = gettext.GNUTranslations(io.BytesIO(result.stdout))
            # Byte strings, as the host's widgets take them.
            translated = {text: catalogue.gettext(text) for text in cls.texts
                          if text in catalogue._catalog}
            cls.catalogues.append((os.path.basename(path), translated))

    def test_the_template_is_made_of_the_texts_shown(self):
        self.assertEqual((0, "", ""), run("plugin/po/update", "--check"))

    def test_every_text_stands_in_every_catalogue(self):
        self.assertGreater(len(self.texts), 15)
        for name, translated in self.catalogues:
            self.assertEqual((name, self.texts), (name, set(translated)))

    def test_values_and_line_ends_stand_in_the_same_places(self):
        for name, translated in self.catalogues:
            for text, there in translated.items():
                self.assertEqual(re.findall(r"%.|\n", text), re.findall(r"%.|\n", there), name)
                self.assertEqual((name, text.isspace()), (name, there.isspace()))
