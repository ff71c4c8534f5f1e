"""Writes the tables of docs/reliability.md anew from what the tests and the long runs have found.

    "$(tools/python27)" tools/reliability.py                  after ./test: write
    "$(tools/python27)" tools/reliability.py --check COUNTS   tell whether it is current
    "$(tools/python27)" tools/reliability.py --keep NAME      keep figures for the next writing

Each table stands between two comments that name it. There are three kinds:

    rows NAME     what tests have recorded under this name, from build/test-rows.json, which a
                  run of all tests leaves. These are checked.
    soak          build/reliability/soak.json, which tools/soak leaves
    figures NAME  what --keep NAME has read: a line "WHAT<tab>VALUE" for each figure

Tables of the last two kinds are of long runs that came out well; where there was none here they
stay as they are.

--check writes "PASSED FAILED" to COUNTS, each table of rows being a test. Exit status: 0; 1 when a
table is not current; 2 when there is nothing to make it of.
"""
from __future__ import print_function

import argparse
import collections
import io
import json
import os
import re
import sys

PROJECT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DOCUMENT = os.path.join(PROJECT, "docs", "reliability.md")
ROWS = os.path.join(PROJECT, "build", "test-rows.json")
FIGURES = os.path.join(PROJECT, "build", "reliability")

#: The tables of rows, and the heads of their columns.
HEADS = {
    "network": ("the server's answer", "news", "statistics"),
    "opkg": ("what `opkg` does", "updates view", "background check", "installed packages"),
    "closing": ("the screen is closed", "when", "late callback", "raised by the callback",
                "`update_available`"),
    "files": ("the files", "use", "outcome"),
}
SOAK = (("day", "day"), ("checks", "checks"), ("openings", "openings"), ("memory", "memory, KB"),
        ("objects", "objects"), ("descriptors", "descriptors"), ("children", "children"),
        ("timers", "timers"))

BLOCK = re.compile(u"(<!-- (rows|soak|figures)(?: ([a-z]+))? -->\n)(.*?)(<!-- end -->\n)", re.S)


def table(heads, rows):
    """Return a table of Markdown as text."""
    lines = [heads, ["---"] * len(heads)] + rows
    return u"".join(u"| %s |\n" % u" | ".join(
        unicode(cell).replace(u"|", u"\\|") for cell in cells) for cells in lines)


def load(path):
    """Return what a file of JSON has, or None where there is none."""
    if not os.path.exists(path):
        return None
    with open(path) as stream:
        return json.load(stream)


def recorded():
    """Return the rows by their table, in order, and whether a test has been skipped."""
    kept = load(ROWS)
    if kept is None:
        return None, False
    tables = collections.defaultdict(list)
    for rows in kept.values():
        for row in rows or ():
            tables[row[0]].append(row[1:])
    return (dict((name, [row[1:] for row in sorted(rows)]) for name, rows in tables.items()),
            None in kept.values())


def path_of_figures(name):
    """Return the path of the file that keeps the figures of this name."""
    return os.path.join(FIGURES, "%s.json" % name)


def keep(name, lines):
    """Keep the figures of a long run; each line is "WHAT<tab>VALUE"."""
    if not os.path.isdir(FIGURES):
        os.makedirs(FIGURES)
    with open(path_of_figures(name), "w") as stream:
        json.dump([line.rstrip("\n").split("\t") for line in lines], stream)


def figures(kind, name):
    """Return the table of a long run, or None where there was none."""
    found = load(path_of_figures(name or kind))
    if found is None:
        return None
    if kind == "soak":
        return table([head for _, head in SOAK],
                     [[sample[key] for key, _ in SOAK] for sample in found])
    return table(["figure", "value"], found)


def stale(name, found, text, skipped):
    """Tell in what a table of the document is not current; "" when it is."""
    wanted = collections.Counter(table(HEADS[name], found.get(name, [])).splitlines())
    present = collections.Counter(text.splitlines())
    missing = wanted - present
    # The rows of a test that could not run here can't be told from rows of no test.
    extra = () if skipped else present - wanted
    return "".join(["  not there: %s\n" % line for line in sorted(missing)] +
                   ["  not so: %s\n" % line for line in sorted(extra)])


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--check", metavar="COUNTS", help="only tell whether it is current")
    parser.add_argument("--keep", metavar="NAME", help="keep the figures of standard input")
    options = parser.parse_args(arguments)
    if options.keep:
        keep(options.keep, sys.stdin)
        return 0
    with io.open(DOCUMENT, encoding="utf-8") as stream:
        document = stream.read()
    found, skipped = recorded()
    if found is None:
        print("There are no results of tests in build/: run ./test first.", file=sys.stderr)
        return 2

    if options.check:
        outcomes = [(name, stale(name, found, text, skipped))
                    for _, kind, name, text, _ in BLOCK.findall(document) if kind == "rows"]
        outcomes += [(name, "  not there: the table\n") for name in sorted(HEADS)
                     if name not in dict(outcomes)]
        for name, difference in outcomes:
            if difference:
                print((u"docs/reliability.md, table '%s', differs from what the tests have found; "
                       u"to write it anew: \"$(tools/python27)\" tools/reliability.py\n%s"
                       % (name, difference)).encode("utf-8"))
        failed = len([name for name, difference in outcomes if difference])
        with open(options.check, "w") as stream:
            stream.write("%d %d\n" % (len(outcomes) - failed, failed))
        return 1 if failed else 0

    if skipped:
        print("A test was skipped here, whose rows would be lost: nothing is written.",
              file=sys.stderr)
        return 2

    def renewed(match):
        begin, kind, name, text, end = match.groups()
        if kind == "rows":
            return begin + table(HEADS[name], found.get(name, [])) + end
        return begin + (figures(kind, name) or text) + end

    with io.open(DOCUMENT, "w", encoding="utf-8") as stream:
        stream.write(BLOCK.sub(renewed, document))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
