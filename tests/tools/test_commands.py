"""./run and ./test as a person and a script meet them."""

import json
import os
import unittest

from tests.support.machine import directory, run, write


class Run(unittest.TestCase):

    def test_without_a_terminal_every_screen_is_shown_and_checked(self):
        result = run("./run")
        self.assertEqual((result.status, result.stderr), (0, ""))
        self.assertRegexpMatches(result.stdout, r"(?m)^The tour is complete: \d+ steps")


class Layout(unittest.TestCase):
    """./run --layout OUT.json, and --layout=OUT.json."""

    def test_a_skin_sees_the_folders_beside_it_and_one_that_does_not_start_is_told(self):
        with directory() as here:
            write(here + "/skins/Other/a.png", "")
            write(here + "/skins/my skin/skin.xml", '<skin><screen name="AllNews" position="0,0" '
                  'size="9,9"><ePixmap pixmap="Other/a.png"/></screen></skin>')
            result = run("./run", "--skin", here + "/skins/my skin", "--layout", here + "/out")
            self.assertEqual(result, (0, "", ""))
            with open(here + "/out") as stream:
                first = json.load(stream)["screens"][0]
            # The empty file is there, and no picture.
            self.assertIn("/Other/a.png not found", first["elements"][0]["log"][0])
            write(here + "/skins/my skin/skin.xml",
                  '<skin><colors><color name="a" value="b"/></colors></skin>')
            result = run("./run", "--skin=" + here + "/skins/my skin", "--layout=" + here + "/out")
            self.assertEqual((result.status, result.stdout), (1, ""))
            self.assertRegexpMatches(result.stderr, r"\AThe skin 'my skin' does not start: .*\n\Z")
            with open(here + "/out") as stream:
                self.assertEqual(set(json.load(stream)), set(["form", "error"]))


class Test(unittest.TestCase):

    def test_the_last_line_counts_the_tests_that_were_asked_for(self):
        result = run("./test", "tests/tools/test_commands.py Test.test_a_wrong")
        self.assertEqual((result.status, result.stdout.splitlines()[-1]), (0, "1 passed, 0 failed"))
        result = run("./test", "no_such_test")
        self.assertEqual((result.status, result.stdout.splitlines()[-1]), (1, "0 passed, 1 failed"))

    def test_a_wrong_option_gets_usage_and_2(self):
        result = run("./test", "--abacus")
        self.assertEqual((result.status, result.stdout), (2, ""))
        self.assertIn("Usage: ./test", result.stderr)


class Packages(unittest.TestCase):
    """Missing Debian packages, where none can be installed."""

    def test_are_named_in_one_sentence(self):
        with directory() as here:
            for program in ("dpkg-query", "sed"):
                os.symlink("/usr/bin/" + program, os.path.join(here, program))
            result = run("/bin/bash", "-c",
                         "source tools/packages.sh; need_packages one-such two-such", PATH=here)
        self.assertEqual(result, (2, "", "Packages are missing and this system has no apt-get: "
                                  "please run 'apt-get install one-such two-such' as root.\n"))
