"""tools/reliability.py: the tables of a document are written from results, and found stale."""

import contextlib
import imp
import io
import json
import os
import sys
import unittest

from tests.support.machine import PROJECT, directory

TEXT = u"""before
<!-- rows network -->
<!-- end -->
between
<!-- figures fuzz -->
not measured yet
<!-- end -->
<!-- soak -->
<!-- end -->
"""
ROWS = {"file.py A.test_b": [["network", 2, "second", "status 3", "None"]],
        "file.py A.test_a": [["network", 1, "first | one", "status 1", "the text"]]}
NETWORK = (u"| the server's answer | news | statistics |\n| --- | --- | --- |\n"
           u"| first \\| one | status 1 | the text |\n| second | status 3 | None |\n")


class Reliability(unittest.TestCase):

    def setUp(self):
        self.tool = imp.load_source("reliability", PROJECT + "/tools/reliability.py")
        here = directory()
        self.directory = here.__enter__()
        self.addCleanup(here.__exit__, None, None, None)
        self.addCleanup(setattr, sys, "stdin", sys.stdin)
        self.tool.DOCUMENT = os.path.join(self.directory, "document.md")
        self.tool.ROWS = os.path.join(self.directory, "rows.json")
        self.tool.FIGURES = self.directory
        self.tool.HEADS = {"network": self.tool.HEADS["network"]}
        self.write("document.md", TEXT)
        self.keep("rows", ROWS)

    def write(self, name, text):
        with io.open(os.path.join(self.directory, name), "w", encoding="utf-8") as stream:
            stream.write(text)

    def keep(self, name, value):
        self.write(name + ".json", json.dumps(value).decode("ascii"))

    def document(self):
        with io.open(self.tool.DOCUMENT, encoding="utf-8") as stream:
            return stream.read()

    def run_tool(self, *arguments):
        """Return the exit status and what is printed."""
        printed = io.BytesIO()
        with contextlib.closing(printed):
            streams = sys.stdout, sys.stderr
            sys.stdout = sys.stderr = printed
            try:
                status = self.tool.main(list(arguments))
            finally:
                sys.stdout, sys.stderr = streams
            return status, printed.getvalue()

    def check(self):
        """Return the counts, and what is printed."""
        counts = os.path.join(self.directory, "counts")
        status, printed = self.run_tool("--check", counts)
        with open(counts) as stream:
            found = stream.read()
        self.assertEqual(status, 0 if found.endswith(" 0\n") else 1)
        return found, printed

    def test_writes_the_rows_in_their_order_and_leaves_the_rest(self):
        self.assertEqual(self.run_tool(), (0, ""))
        head = u"<!-- rows network -->\n"
        self.assertEqual(self.document(), TEXT.replace(head, head + NETWORK))
        self.assertEqual(self.check(), ("1 0\n", ""))

    def test_writes_the_figures_of_long_runs_that_there_were(self):
        with contextlib.closing(io.BytesIO(b"executions\t12345\n")) as sys.stdin:
            self.assertEqual(self.run_tool("--keep", "fuzz"), (0, ""))
        sample = dict((key, number) for number, (key, _) in enumerate(self.tool.SOAK))
        self.keep("soak", [sample])
        self.run_tool()
        self.assertIn(u"| executions | 12345 |\n<!-- end -->", self.document())
        self.assertIn(u"| 0 | 1 | 2 | 3 | 4 | 5 | 6 | 7 |\n<!-- end -->", self.document())
        self.assertNotIn(u"not measured", self.document())

    def test_finds_a_row_that_has_changed(self):
        self.run_tool()
        self.keep("rows", dict(ROWS, **{"file.py A.test_b": [
            ["network", 2, "second", "status 2", "None"]]}))
        counts, printed = self.check()
        self.assertEqual(counts, "0 1\n")
        self.assertIn("not there: | second | status 2 | None |", printed)
        self.assertIn("not so: | second | status 3 | None |", printed)

    def test_finds_a_row_that_stands_there_twice(self):
        self.run_tool()
        row = u"| second | status 3 | None |\n"
        self.write("document.md", self.document().replace(row, row * 2))
        self.assertEqual(self.check()[0], "0 1\n")

    def test_finds_a_table_that_is_missing(self):
        self.write("document.md", u"nothing\n")
        self.assertEqual(self.check()[0], "0 1\n")

    def test_takes_rows_of_a_test_that_was_skipped_here_and_does_not_write_then(self):
        self.run_tool()
        before = self.document()
        self.keep("rows", dict(ROWS, **{"file.py A.test_b": None}))
        self.assertEqual(self.check(), ("1 0\n", ""))
        self.assertEqual(self.run_tool()[0], 2)
        self.assertEqual(self.document(), before)

    def test_asks_for_the_tests_where_there_are_no_results(self):
        os.remove(self.tool.ROWS)
        status, printed = self.run_tool()
        self.assertEqual((status, printed.count("\n")), (2, 1))


if __name__ == "__main__":
    unittest.main()
