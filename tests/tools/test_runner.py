"""tests/run.py: which tests it takes, and what it makes of how a file's process has ended."""

import imp
import json
import signal
import tempfile
import unittest

from tests.support.machine import PROJECT

run_py = imp.load_source("run_py", PROJECT + "/tests/run.py")

PASSED = [["start", "Case.test"], ["passed", "Case.test", []]]
END = [["end"]]


class Choice(unittest.TestCase):

    def taken(self, patterns=(), without=()):
        """Which of four tests are taken, as "FILE.TEST", each from a file that is opened."""
        choice = run_py.Choice(list(patterns), list(without))
        found = []
        for path in ("tests/desk/test_one.py", "tests/desk/test_two.py"):
            names = [name for name in ("A.test_x", "B.test_y") if choice.takes(path, name)]
            self.assertTrue(choice.may_take_from(path) or not names)
            found += [path[len("tests/desk/test_"):-2] + name[0] for name in names]
        return " ".join(found)

    def test_without_patterns_is_all(self):
        self.assertEqual(self.taken(), "one.A one.B two.A two.B")

    def test_is_what_matches_a_pattern_as_text_or_as_a_shell_pattern(self):
        self.assertEqual(self.taken(["test_one"]), "one.A one.B")
        self.assertEqual(self.taken(["test_x", "tests/desk/test_two.py"]), "one.A two.A two.B")
        self.assertEqual(self.taken(["tests/*/test_two.py B.*"]), "two.B")
        self.assertEqual(self.taken(["test_three"]), "")

    def test_leaves_out_what_matches_a_pattern_after_without(self):
        self.assertEqual(self.taken([], ["test_one.py"]), "two.A two.B")
        self.assertEqual(self.taken(["test_one"], [" B."]), "one.A")

    def test_opens_no_file_that_no_pattern_can_mean(self):
        def opened(path, *arguments):
            return run_py.Choice(*arguments).may_take_from(path)
        self.assertFalse(opened("tests/desk/test_one.py", ["test_two.py", "test_two.py A.*"], []))
        self.assertTrue(opened("tests/desk/test_one.py", ["test_two.py", "A.test_x"], []))
        self.assertFalse(opened("tests/desk/test_one.py", [], ["test_one"]))


class Ending(unittest.TestCase):

    def failures(self, notes, status):
        """The failures of a file with these notes in its report, whose process ends so."""
        with tempfile.NamedTemporaryFile() as report:
            report.write("".join(json.dumps(note) + "\n" for note in notes))
            report.flush()
            test_file = run_py.TestFile("tests/desk/test_none.py")
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
