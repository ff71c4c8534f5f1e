"""What the test runner makes of how the process of a test file has ended."""

import imp
import json
import os
import signal
import tempfile
import unittest

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

PASSED = [["start", "Case.test"], ["passed", "Case.test", []]]
END = [["end"]]


class Runner(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        cls.run_py = imp.load_source("run_py", os.path.join(PROJECT, "tests", "run.py"))

    def failures(self, notes, status):
        """The failures of a file with these notes in its report, whose process ends so."""
        with tempfile.NamedTemporaryFile() as report:
            report.write("".join(json.dumps(note) + "\n" for note in notes))
            report.flush()
            test_file = self.run_py.TestFile("tests/desk/test_none.py")
            test_file._read(report.name, status)
        self.assertEqual(test_file.failed, len(test_file.failures))
        return test_file.failures

    def test_takes_a_file_that_ends_well(self):
        self.assertEqual(self.failures(PASSED + END, 0), [])

    def test_counts_an_end_within_a_test(self):
        for status, word in ((1, "status 1"), (-signal.SIGSEGV, "SIGSEGV")):
            (name, text), = self.failures(PASSED[:1], status)
            self.assertEqual(name, "Case.test")
            self.assertIn(word, text)

    def test_counts_an_end_between_tests(self):
        (name, text), = self.failures(PASSED, 0)
        self.assertEqual(name, "the process")
        self.assertIn("did not come to its end", text)

    def test_counts_a_bad_end_behind_the_last_test(self):
        for status, word in ((1, "status 1"), (-signal.SIGBUS, "SIGBUS"), (None, "not done")):
            (name, text), = self.failures(PASSED + END, status)
            self.assertEqual(name, "the process")
            self.assertIn(word, text)


if __name__ == "__main__":
    unittest.main()
