# -*- coding: utf-8 -*-
"""The catalogues: made of the texts that are shown, and complete."""
import ast
import gettext
import glob
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


def catalogues():
    """Yield the name of each, and {text: its text}, as the interpreter reads the compiled one."""
    for path in sorted(glob.glob(os.path.join(ROOT, "plugin", "po", "*.po"))):
        compiled = subprocess.check_output(["msgfmt", "--output-file=-", path])
        catalogue = gettext.GNUTranslations(io.BytesIO(compiled))
        # Byte strings, as the host's widgets take them.
        yield os.path.basename(path), dict((text, catalogue.gettext(text))
                                           for text in shown_texts() if text in catalogue._catalog)


class CatalogueTest(unittest.TestCase):

    def test_the_template_is_made_of_the_texts_shown(self):
        subprocess.check_call([os.path.join(ROOT, "plugin", "po", "update"), "--check"])

    def test_every_text_stands_in_every_catalogue(self):
        texts = shown_texts()
        self.assertGreater(len(texts), 15)
        for name, translated in catalogues():
            self.assertEqual((name, texts), (name, set(translated)))

    def test_gettext_finds_nothing_wrong_with_a_catalogue(self):
        for name, _ in catalogues():
            said = subprocess.check_output(
                ["msgfmt", "--check", "--output-file=/dev/null", "plugin/po/" + name],
                cwd=ROOT, stderr=subprocess.STDOUT)
            self.assertEqual("", said)

    def test_values_and_line_ends_stand_in_the_same_places(self):
        for name, translated in catalogues():
            for text, there in translated.items():
                self.assertEqual(re.findall(r"%.|\n", text), re.findall(r"%.|\n", there), name)
                self.assertEqual((name, text.isspace()), (name, there.isspace()))


if __name__ == "__main__":
    unittest.main()
