"""tools/python27: which interpreter it prints, and which it refuses."""

import os
import sys
import unittest

from tests.support.machine import directory, run, write

# Prints what tools/python27 asks an interpreter for, whatever it is asked.
PRETENDER = "#!/bin/sh\nprintf '%s'\n"


class Given(unittest.TestCase):
    """KELVARO_PYTHON names an interpreter."""

    def test_a_fitting_one_is_printed_and_nothing_else(self):
        result = run("tools/python27", KELVARO_PYTHON=sys.executable)
        self.assertEqual(result, (0, sys.executable + "\n", ""))

    def test_an_unfit_or_missing_one_is_refused_in_one_sentence(self):
        with directory() as here:
            path = here + "/python"
            for text in (PRETENDER % "2.7 10ffff", PRETENDER % "3.11 10ffff", "#!/bin/sh\nexit 1\n",
                         None):
                if text is None:
                    os.remove(path)
                else:
                    write(path, text, 0o755)
                result = run("tools/python27", KELVARO_PYTHON=path)
                self.assertEqual((result.status, result.stdout), (2, ""))
                self.assertRegexpMatches(
                    result.stderr, r"\A.*KELVARO_PYTHON=%s is not .* UCS-2 .*\n\Z" % path)
