"""./run and ./test as a person meets them."""

import os
import unittest

from tests.support.machine import PROJECT, directory, run, write


class Tour(unittest.TestCase):

    def test_without_a_terminal_every_screen_is_shown_and_checked(self):
        result = run("./run")
        self.assertEqual((result.status, result.stderr), (0, ""))
        for shown in ("Please wait ...", "> [!] ", "    - ", "(page 2 of ", "Upgradable Packages",
                      "Package : ", "Top 20 - Extensions", " - Install", " - Remove",
                      "Do you want to open Software Update menu ?", "(television picture)"):
            self.assertIn(shown, result.stdout)
        self.assertRegexpMatches(result.stdout, r"(?m)^The tour is complete: \d+ steps")

    def test_what_is_not_as_it_must_be_is_said_and_ends_it_with_1(self):
        with directory() as here:
            write(here + "/zirknews.xml", "<news><update/></news>")
            result = run("./run", "--tour", "--feed", here)
            self.assertEqual(result.status, 1, result)

    def test_a_wrong_option_gets_one_sentence(self):
        for wrong in (["--model", "abacus"], ["--feed", "/nowhere"]):
            result = run("./run", *wrong)
            self.assertEqual((result.status, result.stdout), (2, ""))
            self.assertEqual(result.stderr.count("\n"), 1, result.stderr)


class Test(unittest.TestCase):

    def test_one_that_matches_nothing_is_a_failure(self):
        result = run("./test", "no such test")
        self.assertEqual(result.status, 1)
        self.assertTrue(result.stdout.endswith("\n0 passed, 1 failed\n"), result.stdout)

    def test_those_that_match_are_counted(self):
        result = run("./test", "tests/model/test_lines.py")
        self.assertEqual(result.status, 0, result)
        self.assertRegexpMatches(result.stdout, r"\n[1-9]\d* passed, 0 failed\n\Z")

    def test_continuous_integration_runs_just_this(self):
        with open(os.path.join(PROJECT, ".ci", "run")) as stream:
            lines = [line for line in stream if not line.startswith(("#", "set ", "\n"))]
        self.assertEqual(len(lines), 1)
        self.assertTrue(lines[0].rstrip().endswith('/test"'))


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


if __name__ == "__main__":
    unittest.main()
