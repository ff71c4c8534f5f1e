# -*- coding: utf-8 -*-
"""./run --check: the publisher's check of a feed, as a person and a script meet it."""

import os
import unittest

from tests.support.machine import PROJECT, directory, run, write

NEWS = "<news>\n<update><title>Sound</title></update>\n</news>\n"
STATISTICS = "SKINS\nclear-hd;3\n"


class Check(unittest.TestCase):

    def test_a_sound_feed_ends_with_0(self):
        with directory() as here:
            write(here + "/zirknews.xml", NEWS)
            write(here + "/zirkdlstat.txt", STATISTICS)
            result = run("./run", "--check", here)
            self.assertEqual((result.status, result.stderr), (0, ""))
            self.assertIn(", duo4kse:\n  normal  Sound\n", result.stdout)
            self.assertTrue(result.stdout.endswith(
                "\n\nNo errors and no warnings on 15 models.\n"), result.stdout)
            self.assertEqual(sorted(os.listdir(here)), ["zirkdlstat.txt", "zirknews.xml"])

    def test_warnings_alone_end_with_0(self):
        with directory() as here:
            write(here + "/zirknews.xml", NEWS.replace("Sound", "F\xc3\xbcr alle"))
            write(here + "/zirkdlstat.txt", STATISTICS)
            result = run("./run", "--check", here)
            self.assertEqual(result.status, 0, result)
            self.assertIn("\nzirknews.xml:2: warning: title 1 of update 1 has \"\xc3\xbc\"",
                          result.stdout)
            self.assertTrue(result.stdout.endswith("\nNo errors and 1 warning on 15 models.\n"))

    def test_a_broken_feed_ends_with_1_after_every_problem(self):
        with directory() as here:
            write(here + "/zirknews.xml", NEWS.replace("<title>", "<title require='solo, duo'>")
                  .replace("<update>", "<update type='Urgent' require='duo5'>")
                  .replace("</news>", "<update/>\n</news>"))
            write(here + "/zirkdlstat.txt", "clear-hd;3\n" + STATISTICS + "other\n")
            result = run("./run", "--check", here, "--model", "duo2")
            self.assertEqual((result.status, result.stderr), (1, ""))
            self.assertEqual([line.rpartition(" error: ")[0] for line in result.stdout.split("\n")
                              if " error: " in line],
                             ["zirknews.xml:2:"] * 3 + ["zirknews.xml:3:", "zirkdlstat.txt:1:",
                                                        "zirkdlstat.txt:4:"])
            self.assertTrue(result.stdout.endswith("\n6 errors and no warnings on 1 model.\n"))

    def test_a_document_that_is_not_well_formed_and_a_missing_file(self):
        with directory() as here:
            write(here + "/zirknews.xml", NEWS.replace("</title>", ""))
            result = run("./run", "--check", here)
            self.assertEqual(result.status, 1, result)
            self.assertIn("\nzirknews.xml:2: error: The document is not well-formed",
                          result.stdout)
            self.assertIn("\nzirkdlstat.txt: error: The file is missing", result.stdout)

    def test_the_sample_feed_has_the_faults_that_it_was_given(self):
        for folder in ("--check=simulator/sample-feed", "--check=" + PROJECT + "/sample-feed/../sample-feed"):
            result = run("./run", folder, "--model=duo4k")
            self.assertEqual(result.status, 1)
            self.assertIn("News on duo4k:\n  urgent  28.10.2023 - ", result.stdout)
            for kind in ("Urgent", "event"):
                self.assertIn("error: The type \"%s\" of update " % kind, result.stdout)
            self.assertRegexpMatches(result.stdout, r"\n2 errors and \d warnings on 1 model\.\n\Z")

    def test_a_folder_with_a_blank_in_its_name(self):
        with directory() as here:
            write(here + "/my feed/zirknews.xml", NEWS)
            write(here + "/my feed/zirkdlstat.txt", STATISTICS)
            self.assertEqual(run("./run", "--model", "duo", "--check", here + "/my feed").status, 0)

    def test_what_can_not_be_checked_gets_one_sentence(self):
        with directory() as here:
            for wrong in ([], ["/nowhere"], ["simulator/sample-feed", "--model", "abacus"], ["--tour"],
                          [here], ["/tmp"]):
                result = run("./run", "--check", *wrong)
                self.assertEqual((result.status, result.stdout), (2, ""), wrong)
                self.assertRegexpMatches(result.stderr, r"\A.*[;:] .*\.\n\Z")

    def test_help_names_the_options_and_the_exit_status(self):
        result = run("./run", "--check", "--help")
        self.assertEqual((result.status, result.stderr), (0, ""))
        for shown in ("./run --check DIR [--model KEY|all]", "uno4kse", "2 when it could not run"):
            self.assertIn(shown, result.stdout)


if __name__ == "__main__":
    unittest.main()
