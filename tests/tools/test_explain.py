"""tools/explain finds the cause of what the module really raises, in logs as hosts write them."""

import ConfigParser
import json
import os
import re
import unittest

from tests.support.machine import PROJECT, directory, run, write
from tests.support.model import NAMES

FULL = [
    "line 316, AllNews.createMenu: the browser shows the news",
    "    code = parse_xml()",
    "line 168, parse_xml: the news is fetched, read and stored",
    "    write_cache(list)",
    "line 96, write_cache: the news is stored",
    "    fd.close()",
    "cause: /tmp has no room left",
    "owner: Delete what fills /tmp, or restart the receiver.",
    "publisher: Nothing.",
]


def explain(text):
    """Return what is said of each traceback of a log: lines, the first with its place."""
    with directory() as here:
        write(here + "/log", text)
        result = run("tools/explain", here + "/log")
    assert (result.status, result.stderr) == (0, ""), result
    return [part.split("\n  ") for part in
            re.split(r"(?:^|\n)%s/log:" % re.escape(here), result.stdout.rstrip("\n"))[1:]]


def causes(said):
    return [line for lines in said for line in lines if line.startswith("cause: ")]


class Explain(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        result = run("tools/sandbox", "python2.7", "-O", "-m", "tests.support.crashes")
        cls.logs = [(section, log.encode("ascii")) for section, log in json.loads(result.stdout)]
        cls.full = dict(cls.logs[::-1])["no room"]
        cls.other = dict(cls.logs)[None]

    def test_the_cause_of_what_the_module_raises_is_found(self):
        known = ConfigParser.RawConfigParser()
        known.read(os.path.join(PROJECT, "tools", "explanations.ini"))
        self.assertGreater(len(self.logs), 25)
        said = explain("".join(log for _, log in self.logs))
        self.assertEqual(causes(said), ["cause: " + known.get(section, "cause")
                                        for section, _ in self.logs if section])
        self.assertNotIn("no statement of it", str(said))
        self.assertEqual(explain(self.other)[0][-1], "not ours: no entry of plugin/src/Kelvaro")

    def test_the_lines_of_the_module_come_with_their_statements(self):
        self.assertEqual(explain(self.full)[0][1:], FULL)

    def test_a_hosts_marks_and_lines_between_do_not_hide_a_traceback(self):
        for mark in ("{%d}<%d.5> ", "2023-10-14 12:0%d:%d+0200 [-] ", "<%4d.%03d> gui: "):
            lines = ["KEY: 352", "[skin] error in line 5"]
            for line in self.full.splitlines():
                lines += [line, "[Timer] next: 5"]
            log = "".join(mark % (number * 5 % 7, number * 50) + line + "\r\n"
                          for number, line in enumerate(lines))
            said = explain(log + self.other + log)
            self.assertEqual([part[0].partition(":")[0] for part in said],
                             ["3", str(len(lines) + 1), str(len(lines) + 9)])
            self.assertEqual([said[0][1:], said[2][1:]], [FULL, FULL])

    def test_a_traceback_that_is_cut_off_is_said_to_be(self):
        lines = self.full.splitlines(True)
        self.assertEqual(explain("".join(lines[-4:]))[0][1:],
                         ["cut off: the log begins within this traceback"] + FULL)
        self.assertEqual(explain("".join(lines[:-1]) + "KEY: 352\n" * 100)[0][1:],
                         FULL[:6] + ["cut off: the exception is missing; look for more of the log"])

    def test_a_line_of_another_release_is_not_taken_for_this_ones(self):
        for line in ("line 95, in Kelvaro.parse_xml", "line 9999, in Kelvaro.write_cache"):
            self.assertIn("    no statement of it: the log is another release's", explain(
                self.full.replace("line 96, in Kelvaro.write_cache", line))[0])

    def test_a_log_that_cannot_be_read_is_one_sentence(self):
        result = run("tools/explain", "/no/such/log")
        self.assertEqual((result.status, result.stdout), (2, ""))
        self.assertEqual(result.stderr, "explain: /no/such/log can't be read "
                         "(No such file or directory); see --help.\n")


class Knowledge(unittest.TestCase):
    """What the documents say is what the tool says."""

    def causes(self, errors):
        """Return the causes of exceptions: pairs of a line of the module, or None, and the text."""
        found = causes(explain("".join(
            'Traceback (most recent call last):\n  File "%s", line %d, in f\n%s\n' % (
                "plugin/src/Kelvaro" if line else "plugin.py", line or 6, error)
            for line, error in errors)))
        self.assertEqual(len(found), len(errors))
        return found

    def test_the_maintainers_page_shows_what_is_printed(self):
        with open(os.path.join(PROJECT, "docs", "receiver.md")) as page:
            self.assertIn("".join("      %s\n" % line for line in FULL), page.read())

    def test_an_import_that_fails_has_its_cause_by_its_line_or_its_message(self):
        known = [(line, "it", "lacks a module of the host")
                 for line in list(range(8, 27)) + [29, 30]] + [
            (28, "it", "`UpgradeZirk` is not beside"), (31, "it", "(`python-xml`)"),
            (32, "it", "(`python-xml`)"), (33, "it", "(`python-pickle`)"),
            (34, "it", "(`python-netclient`)"),
            (None, "dynamic module does not define init function", "renamed"),
            (None, "Kelvaro.so: undefined symbol: PyUnicodeUCS2_DecodeUTF8", "UCS-4"),
            (None, "Kelvaro.so: wrong ELF class: ELFCLASS64", "another processor"),
            (None, "Kelvaro.so: cannot open shared object file", "another processor")]
        errors = [(line, "ImportError: " + message) for line, message, _ in known]
        for error, (_, _, words), cause in zip(errors, known, self.causes(errors)):
            self.assertIn(words, cause, error)

    def test_it_is_known_what_every_function_does(self):
        said = explain("".join('  File "plugin/src/Kelvaro", line %d, in %s\n' % (line, name)
                               for (_, line), name in NAMES.items()) + "KeyError: 1\n")[0]
        self.assertEqual(len([line for line in said if line.startswith("line ")]), len(NAMES))
        self.assertEqual([line for line in said if line.endswith(": unknown")], [])

    def test_every_exception_of_the_page_on_faults_has_a_cause(self):
        with open(os.path.join(PROJECT, "docs", "reliability.md")) as page:
            rows = re.findall(r"((?:`[\w.]+`(?:, | or )?)+)(?:, )?line (\d+)(?: or (\d+))?",
                              page.read())
        self.assertGreater(len(rows), 15)
        errors = [(int(line), error + ": [Errno 5] it") for names, first, second in rows
                  for error in re.findall(r"`([\w.]+)`", names)
                  for line in filter(None, (first, second))]
        for error, cause in zip(errors, self.causes(errors)):
            self.assertNotIn("not known", cause, error)
