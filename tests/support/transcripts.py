"""What real releases of opkg printed, command by command: recordings in tests/simulator/recorded.

They are plain text: "$ command   # note", "exit N", the lines of standard output and standard
error as "out  ..." and "err  ...", a blank line. ADDRESS stands for the feed's. The note says what
was wrong, or how far the receiver had come. packages.txt has the packages that were on offer, each
with its scripts, and the version that came later. Of 0.3.5, which the stand-in follows, all is
there; of the others what the tests of faults print again.
"""
import collections
import os

from simulator.opkg import database
from simulator.packages import Package

RECORDED = os.path.join(os.environ["KELVARO_ROOT"], "tests", "simulator", "recorded")

#: command: without the word "opkg". status: a number as text. out, err: as they were printed.
Run = collections.namedtuple("Run", "command note status out err")


def runs(release):
    """Return the Runs of a release such as "0.3.5", in order."""
    found = []
    with open(os.path.join(RECORDED, "opkg-%s.txt" % release)) as stream:
        for block in stream.read().strip("\n").split("\n\n"):
            lines = block.split("\n")
            command, _, note = lines[0][len("$ opkg "):].partition("   # ")
            found.append(Run(command, note, lines[1][len("exit "):], *[
                "".join(line[5:] + "\n" for line in lines[2:] if line.startswith(kind))
                for kind in ("out", "err")]))
    return found


def packages(state):
    """Return the Packages that the feed offered in its state "v1" or "v2"."""
    text = database.read(os.path.join(RECORDED, "packages.txt"))
    return [Package(each["Package"], each["Version"] if state == "v1" else
                    each.get("Later", each["Version"]), filter(None, [each.get("Depends")]),
                    each["Architecture"], each.get("postinst"), each.get("prerm"))
            for each in database.parse(text)]
