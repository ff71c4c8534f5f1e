"""./run and ./test as a person and a script meet them."""

import os
import unittest

from tests.support.machine import directory, run, write

NEWS = "<news>\n<update><title>Sound</title></update>\n</news>\n"


class Run(unittest.TestCase):

    def test_without_a_terminal_every_screen_is_shown_and_checked(self):
        result = run("./run")
        self.assertEqual((result.status, result.stderr), (0, ""))
        self.assertRegexpMatches(result.stdout, r"(?m)^The tour is complete: \d+ steps")

    def test_what_is_not_as_it_must_be_ends_the_tour_with_1(self):
        with directory() as here:
            write(here + "/zirknews.xml", "<news><update/></news>")
            result = run("./run", "--tour", "--feed", here)
            self.assertEqual(result.status, 1, result)

    def test_a_wrong_option_gets_one_sentence(self):
        for wrong in (["--model", "abacus"], ["--feed", "/nowhere"]):
            result = run("./run", *wrong)
            self.assertEqual((result.status, result.stdout), (2, ""))
            self.assertEqual(result.stderr.count("\n"), 1, result.stderr)


class Check(unittest.TestCase):
    """./run --check DIR."""

    def check(self, *arguments, **files):
        """Check a folder with these files, of which zirkdlstat.txt is sound; return the Result."""
        with directory() as here:
            write(here + "/my feed/zirknews.xml", files.get("news", NEWS))
            write(here + "/my feed/zirkdlstat.txt", files.get("statistics", "SKINS\nclear-hd;3\n"))
            return run("./run", "--check", here + "/my feed", *arguments)

    def test_a_sound_feed_ends_with_0(self):
        result = self.check()
        self.assertEqual((result.status, result.stderr), (0, ""))
        self.assertIn(", duo4kse:\n  normal  Sound\n", result.stdout)
        self.assertTrue(result.stdout.endswith("\nNo errors and no warnings on 15 models.\n"))

    def test_errors_end_with_1_after_every_problem(self):
        result = self.check("--model", "duo2", news=NEWS.replace("</news>", "<update/>\n</news>"),
                            statistics="clear-hd;3\nSKINS\nother\n")
        self.assertEqual((result.status, result.stderr), (1, ""))
        self.assertEqual([line.rpartition(" error: ")[0] for line in result.stdout.split("\n")
                          if " error: " in line],
                         ["zirknews.xml:3:", "zirkdlstat.txt:1:", "zirkdlstat.txt:3:"])
        self.assertRegexpMatches(result.stdout, r"\n3 errors and \w+ warnings? on 1 model\.\n\Z")

    def test_the_folder_of_the_sample_feed_may_follow_an_equals_sign(self):
        result = run("./run", "--check=simulator/sample-feed", "--model=duo4k")
        self.assertEqual(result.status, 1)
        self.assertRegexpMatches(result.stdout, r"\n2 errors and \d warnings on 1 model\.\n\Z")

    def test_what_can_not_be_checked_gets_one_sentence(self):
        for wrong in ([], ["/nowhere"], ["simulator/sample-feed", "--model", "abacus"],
                      ["--tour"], ["tools"], ["/tmp"]):
            result = run("./run", "--check", *wrong)
            self.assertEqual((result.status, result.stdout), (2, ""), wrong)
            self.assertRegexpMatches(result.stderr, r"\A.*[;:] .*\.\n\Z")


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


if __name__ == "__main__":
    unittest.main()
