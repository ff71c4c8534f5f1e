"""tools/fleet adds up, and says what docs/feed.md says."""

import os
import re
import unittest

from tests.support.machine import PROJECT, run

with open(os.path.join(PROJECT, "docs", "feed.md")) as _page:
    PAGE = _page.read()


def fleet(*arguments):
    result = run("tools/fleet", *arguments)
    assert (result.status, result.stderr) == (0, ""), result
    return result.stdout


class Fleet(unittest.TestCase):

    def test_the_page_has_its_figures(self):
        command, lines = re.search(r"\$ (tools/fleet .*)\n((?:    .*\n)*)", PAGE).groups()
        self.assertEqual(run("bash", "-c", command).stdout, lines.replace("    ", "", 1)
                         .replace("\n    ", "\n"))
        rows = re.findall(r"\| every (\d* ?)hours?(.*?) \|((?: [\d.,]+ \|){3})\n", PAGE)
        self.assertEqual(len(rows), 6)
        scenarios = {"": "even", ", at most in an evening": "evening",
                     ", at most after a power cut": "power-cut"}
        for interval, scenario, figures in rows:
            for receivers, figure in zip(("1000", "100000", "1000000"), figures.split(" | ")):
                day = fleet("--receivers", receivers, "--interval", interval.strip() or "1",
                            "--openings", "0", "--scenario",
                            scenarios[scenario]).splitlines()[-1].split()
                self.assertEqual(day[3 if scenario else 2], figure.strip(" |").replace(",", ""))

    def test_a_check_and_an_opening_take_the_bytes_of_the_page(self):
        for event, interval, openings in [("a check for updates", "24", "0"),
                                          ("an opening of the news", "0", "1")]:
            size = re.search(r"\| %s \|.*\| 1 \| ([\d,]+) \|" % event, PAGE).group(1)
            day = fleet("--receivers", "1000000", "--interval", interval,
                        "--openings", openings).splitlines()[-1].split()
            self.assertEqual((day[1], day[-1]), ("1000000", size.replace(",", "")))

    def test_a_day_has_the_checks_of_its_scenario(self):
        for scenario, interval, checks in [("even", 6, 4000), ("power-cut", 6, 4000),
                                           ("power-cut", 0, 1000), ("evening", 24, 1000),
                                           ("evening", 1, 4000), ("even", 0, 0)]:
            lines = fleet("--receivers", "1000", "--interval", str(interval), "--openings", "0",
                          "--scenario", scenario).splitlines()
            day = [int(line.split()[1]) for line in lines[1:]]
            self.assertEqual((len(lines), day[-1]), (26, checks), (scenario, interval))
            self.assertEqual(sum(day[:-1]), day[-1])
            if scenario == "power-cut":
                self.assertEqual(day[12], 1000)

    def test_only_another_seed_draws_another_day(self):
        self.assertEqual(fleet("--seed", "2"), fleet("--seed", "2"))
        self.assertNotEqual(fleet("--seed", "2"), fleet("--seed", "3"))

    def test_a_wrong_number_is_one_sentence(self):
        for arguments in (["--receivers", "0"], ["--interval", "-1"], ["--openings", "nan"]):
            result = run("tools/fleet", *arguments)
            self.assertEqual((result.status, result.stdout), (2, ""))
            self.assertRegexpMatches(result.stderr, r"\Afleet: %s is a number from \d+ to \d+; "
                                     r"see --help\.\n\Z" % arguments[0])
