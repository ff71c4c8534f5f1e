"""tools/bench/bench, as far as it works; what it finds is no test."""

import json
import os
import unittest
from xml.etree import ElementTree

from tests.support.machine import PROJECT, run

WRITTEN = [os.path.join(PROJECT, "build", "bench", "native" + kind) for kind in (".json", ".svg")]


class Bench(unittest.TestCase):

    def test_a_quick_run_prints_the_table_and_writes_its_files(self):
        for path in WRITTEN:
            if os.path.exists(path):
                os.remove(path)
        result = run("tools/bench/bench", "--quick")
        self.assertEqual(result.status, 0, result.stderr)
        with open(WRITTEN[0]) as stream:
            found = json.load(stream)
        rows = found["rows"]
        self.assertEqual(len(rows), 14)
        for row in rows:
            self.assertIn("\n" + row["title"], result.stdout.replace("\n  ", "\n"))
            self.assertEqual(set(row["minimum"]) - set(["floor"]),
                             set(["python", "cython", "module"]))
            for who, least in row["minimum"].items():
                self.assertTrue(0 < least <= row["median"][who], row)
        picture = ElementTree.parse(WRITTEN[1]).getroot()
        self.assertEqual(picture.tag, "{http://www.w3.org/2000/svg}svg")
        shown = [text.text for text in picture.iter("{http://www.w3.org/2000/svg}text")]
        for row in rows:
            self.assertIn(row["title"], shown)

    def test_a_wrong_option_gets_usage_and_2(self):
        result = run("tools/bench/bench", "--target", "abacus")
        self.assertEqual((result.status, result.stdout), (2, ""))
        self.assertIn("usage: tools/bench/bench", result.stderr)


if __name__ == "__main__":
    unittest.main()
