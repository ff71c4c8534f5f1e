# -*- coding: utf-8 -*-
"""The catalogues: made of the texts that are shown, and complete."""
import ast
import gettext
import io
import os
import re
import subprocess
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def shown_texts():
    """Return the texts that the model hands to the translation function."""
    with open(os.path.join(ROOT, "plugin", "model", "Kelvaro.py")) as stream:
        tree = ast.parse(stream.read())
    return set(call.args[0].s for call in ast.walk(tree) if isinstance(call, ast.Call)
               and isinstance(call.func, ast.Name) and call.func.id == "_")


def german():
    """Return text to German text, as the interpreter reads them from the compiled catalogue."""
    compiled = subprocess.check_output(["msgfmt", "--check-format", "--output-file=-",
                                        os.path.join(ROOT, "plugin", "po", "de.po")])
    catalogue = gettext.GNUTranslations(io.BytesIO(compiled))
    # Byte strings, as the host's widgets take them.
    return dict((text, catalogue.gettext(text)) for text in shown_texts()
                if text in catalogue._catalog)


class CatalogueTest(unittest.TestCase):

    def test_the_template_is_made_of_the_texts_shown(self):
        subprocess.check_call([os.path.join(ROOT, "plugin", "po", "update"), "--check"])

    def test_every_text_has_a_german_one(self):
        texts = shown_texts()
        self.assertGreater(len(texts), 15)
        self.assertEqual(texts, set(german()))

    def test_values_and_line_ends_stand_in_the_same_places(self):
        for text, translated in german().items():
            self.assertEqual(re.findall(r"%.|\n", text), re.findall(r"%.|\n", translated), text)
            self.assertEqual(text.isspace(), translated.isspace())


if __name__ == "__main__":
    unittest.main()
