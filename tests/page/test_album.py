"""./run --pictures: a PNG and a layout file of each screen, and what differs from former ones."""

import glob
import os
import shutil
import subprocess
import tempfile
import unittest

from tests.support.machine import PROJECT

OWN = "pictures/simulator/duo2/en"  # where the default receiver's pictures are


class Album(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        cls.here = cls.enterClassContext(tempfile.TemporaryDirectory())
        cls.made = cls.make("one")

    @classmethod
    def make(cls, name, *arguments):
        """Make an album; return its exit status, what it has printed, and its last progress."""
        result = subprocess.run(
            [os.path.join(PROJECT, "run"), "--pictures", os.path.join(cls.here, name), *arguments],
            stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        return result.returncode, result.stdout, result.stderr.splitlines()[-1]

    def files(self, album):
        """The content of each file of an album, by its name."""
        above = os.path.join(self.here, album)
        found = {}
        for path in glob.glob(above + "/**", recursive=True):
            if os.path.isfile(path):
                with open(path, "rb") as stream:
                    found[os.path.relpath(path, above)] = stream.read()
        return found

    def test_shows_every_screen(self):
        self.assertEqual(self.made, (0, "", "Painting simulator/duo2/en (1 of 1)"))
        album = self.files("one")
        for screen in ("AllNews", "ZirkUpdateInfo", "ChoiceBox", "Ipkg", "MessageBox"):
            for ending in (".png", ".json"):
                found = [name for name in album if name.endswith(screen + ending)]
                self.assertTrue(found, screen)
                if ending == ".png":
                    self.assertIn(('src="%s"' % found[0]).encode(), album["index.html"])

    def test_shows_what_differs_from_a_former_one_and_is_otherwise_the_same_to_the_byte(self):
        former = shutil.copytree(os.path.join(self.here, "one"), os.path.join(self.here, "former"))
        layout = os.path.join(former, OWN, "01-AllNews.json")
        with open(layout) as stream:
            text = stream.read()
        with open(layout, "w") as stream:
            stream.write(text.replace("Please wait ...", "Please wait!"))
        shutil.copy(os.path.join(former, OWN, "02-AllNews.png"),
                    os.path.join(former, OWN, "03-ZirkUpdateInfo.png"))
        status, told, progress = self.make("latter", "--against", former)
        self.assertEqual((status, progress), (1, "Comparing with " + former))
        self.assertRegex(told, r"\Asimulator/duo2/en/01-AllNews differs: 0 pixels, 1 changes.*\n"
                               r"simulator/duo2/en/03-ZirkUpdateInfo differs: [1-9]\d+ pixels, 0 .*"
                               r"\n\Z")
        one, album = self.files("one"), self.files("latter")
        index, steps = album.pop("index.html"), one.pop("index.html").partition(b"<h2>")[2]
        self.assertTrue(index.endswith(steps))
        for folder in ("before", "difference"):
            for name in ("01-AllNews", "03-ZirkUpdateInfo"):
                shown = "%s/simulator/duo2/en/%s.png" % (folder, name)
                del album[shown]
                self.assertIn(shown.encode(), index)
        self.assertEqual(one, album)

    def test_refuses_what_is_not_there_in_one_sentence(self):
        for arguments, words in ((["--skin", "/nowhere"], "no skin.xml"),
                                 (["--model", "trio"], "no model 'trio'"),
                                 (["--language", "xx"], "no catalogue"),
                                 (["--against", "/nowhere"], "no folder that --pictures has made")):
            status, told, sentence = self.make("none", *arguments)
            self.assertEqual((status, told), (2, ""))
            self.assertIn(words, sentence)
