"""Prints the coverage that gcov has counted: python2.7 tools/coverage.py EXPLAINED FIGURES <COUNTS

COUNTS: what `gcov --json-format --stdout --branch-probabilities` prints, one JSON object a line
(gcov's documentation has the format). EXPLAINED: a file of lines "SOURCE: TEXT: REASON"; it
explains the lines of plugin/src/SOURCE that contain TEXT. Empty lines and those that begin with #
explain nothing. FIGURES: the file for the sums, lines "WHAT<tab>VALUE".

Exit status: 0; 1 when a line is neither run nor explained, or an explanation is not needed.
"""
from __future__ import print_function

import collections
import json
import os
import sys

PROJECT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SOURCES = "plugin/src/"


def read_counts(stream):
    """Return {source: {line: [times run, branches taken, branches]}}.

    A header's line is counted in every unit that includes it; the best of them counts. A brace
    that stands alone does not: it is the way out of an exception.
    """
    counts = collections.defaultdict(dict)
    for text in stream:
        for source in json.loads(text)["files"]:
            name = os.path.normpath(source["file"])
            if SOURCES not in name:
                continue
            own_name = name[name.index(SOURCES) + len(SOURCES):]
            text = read_source(own_name)
            lines = counts[own_name]
            for line in source["lines"]:
                if text[line["line_number"] - 1] == "}":
                    continue
                branches = [branch for branch in line["branches"] if not branch["throw"]]
                found = [line["count"], len([1 for branch in branches if branch["count"]]),
                         len(branches)]
                number = line["line_number"]
                lines[number] = max(found, lines.get(number, found))
    return counts


def read_source(name):
    """Return the source's lines without the blanks around them."""
    with open(os.path.join(PROJECT, SOURCES, name)) as stream:
        return [line.strip() for line in stream]


def read_explanations(path):
    """Return the explanations: lists of the source, the text, and whether it was needed."""
    with open(path) as stream:
        rows = [row.split(": ", 2) for row in stream.read().splitlines()
                if row and row[0] != "#"]
    return [[source, text, False] for source, text, _ in rows]


def main(explained, figures):
    counts = read_counts(sys.stdin)
    explanations = read_explanations(explained)
    open_lines = []
    total = [0, 0, 0, 0]
    print("%-24s %20s %20s" % ("", "lines", "branches"))
    for source in sorted(counts):
        text = read_source(source)
        lines = counts[source]
        row = [len([1 for line in lines.values() if line[0]]), len(lines),
               sum(line[1] for line in lines.values()), sum(line[2] for line in lines.values())]
        total = [one + other for one, other in zip(total, row)]
        print_row(source, row)
        for number in sorted(lines):
            if lines[number][0]:
                continue
            line = text[number - 1]
            reasons = [one for one in explanations if one[0] == source and one[1] in line]
            for reason in reasons:
                reason[2] = True
            if not reasons:
                open_lines.append("%s%s:%d: %s" % (SOURCES, source, number, line))
    print_row("in all", total)
    with open(figures, "w") as stream:
        stream.write("lines\t%s\nbranches\t%s\n" % (share(*total[:2]), share(*total[2:])))
        stream.write("lines not run, and why\t%d, in `%s`\n" % (
            total[1] - total[0], os.path.relpath(explained, PROJECT)))
    unneeded = ["%s: %s" % (one[0], one[1]) for one in explanations if not one[2]]
    print("%d lines that are not run are explained." % (total[1] - total[0] - len(open_lines)))
    for title, found in (("These lines are not run and not explained:", open_lines),
                         ("These explanations explain nothing:", unneeded)):
        if found:
            print(title)
            print("\n".join("  " + one for one in found))
    return 1 if open_lines or unneeded else 0


def print_row(name, row):
    print("%-24s %20s %20s" % (name, share(*row[:2]), share(*row[2:])))


def share(part, whole):
    """Return, say, "9 of 10 (90 %)"; what is not all is not 100 %."""
    return "%d of %d (%d %%)" % (part, whole, 100 * part // max(1, whole))


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
