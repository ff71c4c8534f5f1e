# -*- coding: utf-8 -*-
"""The tour on feeds and modules that are not as they were, and the command line it comes from."""

import os
import shutil
import tempfile
import unittest

from simulator import SAMPLE_FEED
from tests.support.machine import run

ENTRY = "<update><title>One</title></update>"
SIMULATOR = ("python2.7", "-O", "-m", "simulator")


class TourTest(unittest.TestCase):

    def tour(self, *arguments, **files):
        """Tour the sample feed, with these files in place of its own: None for no such file."""
        directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, directory)
        feed = os.path.join(directory, "feed")
        shutil.copytree(SAMPLE_FEED, feed)
        for name, content in files.items():
            name = {"news": "zirknews.xml", "statistics": "zirkdlstat.txt",
                    "index": "all/Packages.gz"}[name]
            os.remove(os.path.join(feed, name))
            if content is not None:
                with open(os.path.join(feed, name), "w") as stream:
                    stream.write(content)
        return run(*SIMULATOR + ("--tour", "--feed", feed) + arguments)

    def test_it_is_complete_for_other_models_and_other_feeds(self):
        for news, statistics, index in [
                (ENTRY, "weatherinfo;1\nEXTENSIONS\nnowhere;2\n",
                 "Package: zirk-picons\nVersion: 1\n\n"),  # older than the one installed
                (ENTRY + ENTRY, "SKINS\nclearblue-hd;1\n", None), ("", "", ""),
                ("no document <", None, None)]:
            status, stdout, stderr = self.tour(
                "--model", "solo", news="<news>%s</news>" % news, statistics=statistics,
                index=index)
            self.assertEqual((status, stderr), (0, ""), stdout)
            self.assertRegexpMatches(stdout, r"\nThe tour is complete: \d+ steps, all as they must "
                                             r"be\.\n\Z")

    def test_it_is_complete_in_another_language(self):
        status, stdout, _ = self.tour("--language", "fi")
        self.assertEqual(status, 0, stdout)
        self.assertIn("(blue) Näytä päivitykset", stdout)

    def test_news_that_end_the_gui_end_the_tour(self):
        status, stdout, _ = self.tour(news="<news><update/></news>")
        self.assertEqual(status, 1)
        self.assertIn("IndexError", stdout)
        self.assertIn("\nWRONG: The tour ended early, with the traceback above.\n", stdout)


class ArgumentsTest(unittest.TestCase):

    def test_what_is_wrong_gets_one_sentence(self):
        for arguments, sentence in [
                (["--model", "duo9"], "there is no model 'duo9'"),
                (["--feed", "/nowhere"], "there is no feed folder '/nowhere'"),
                (["--language", "xx"], "there is no catalogue 'plugin/po/xx.po'"),
                (["--port", "99999"], "argument --port: '99999' is not a port from 0 to 65535"),
                (["--interval", "-1"], "argument --interval: '-1' is not a whole number of hours"),
                (["--speed", "0"], "argument --speed: '0' is not a factor above 0, at most 10000"),
                (["--skin", "/nowhere"], "there is no skin.xml in the folder '/nowhere'"),
                (["--skin-user", "/nowhere"], "there is no file '/nowhere'"),
                (["--size", "wide"], "argument --size: 'wide' is not a size such as 1280x720"),
                (["--loud"], "unrecognized arguments: --loud")]:
            self.assertEqual(run(*SIMULATOR + tuple(arguments)),
                             (2, "", "run: %s; see --help.\n" % sentence))

    def test_a_missing_module_gets_one_sentence(self):
        status, _, stderr = run(*SIMULATOR + ("--tour",), KELVARO_MODULE="/nowhere/Kelvaro.so")
        self.assertEqual((status, stderr.count("\n")), (2, 1))
        self.assertIn("there is no module at /nowhere/Kelvaro.so", stderr)
