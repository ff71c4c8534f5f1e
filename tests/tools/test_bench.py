"""tools/bench/bench works; its figures are not tested."""

import unittest

from tests.support.machine import run


class Bench(unittest.TestCase):

    def test_a_quick_run_compares_the_implementations(self):
        result = run("tools/bench/bench", "--quick", "import", "judge_listing")
        self.assertEqual(result.status, 0, result.stderr)
        self.assertEqual([line.split("  ")[0] for line in result.stdout.splitlines()],
                         ["milliseconds", "import", "judging 2,000 lines"])
