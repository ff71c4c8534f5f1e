# -*- coding: utf-8 -*-
"""What the module is given to work on, always the same: documents, statistics, listings.

All texts are byte strings in UTF-8, as they come from the feed and from opkg.
"""
import random

KILOBYTE = 1000
WORDS = (u"the a new version of image receiver update channel list skin plug-in recording timer "
         u"für Änderung größer über mit und der die das now faster fixed subtitles network tuner "
         u"hard disk picture sound please restart after installation").split()


def document(size):
    """Return a news document of at least `size` bytes, with as much markup as the sample feed's."""
    rng = random.Random(size)
    parts = ['<?xml version="1.0" encoding="utf-8"?>\n<news>\n']
    length = 0
    while length < size:
        part = _update(rng, items=3)
        parts.append(part)
        length += len(part)
    return "".join(parts + ["</news>\n"])


def entries(count, items=3):
    """Return a news document with so many entries of so many items."""
    rng = random.Random(count)
    return "<news>\n%s</news>\n" % "".join(_update(rng, items, require="") for _ in range(count))


def statistics(records):
    """Return the text of zirkdlstat.txt with so many records in its three sections."""
    lines = []
    for number in range(records):
        if number % (records // 3) == 0 and number // (records // 3) < 3:
            lines.append(("EXTENSIONS", "SYSTEMPLUGINS", "SKINS")[number // (records // 3)])
        lines.append("some-package-%d;%d" % (number, 9000 - number))
    return "\n".join(lines) + "\n"


def installed(count):
    """Return what `opkg list-installed` names, one a line; of `statistics` every third is there."""
    kinds = ("extensions", "systemplugins", "skin")
    names = ["enigma2-plugin-%s-some-package-%d" % (kinds[number % 3], number)
             for number in range(0, count, 3)]
    names += ["kernel-module-number-%d" % number for number in range(count - len(names))]
    return "".join(name + "\n" for name in sorted(names))


def listing(packages):
    """Return what `opkg list-upgradable` prints for so many packages."""
    return "".join("enigma2-plugin-extensions-number-%d - 1.%d+git%d-r0 - 1.%d+git%d-r1\n"
                   % (number, number, number * 7, number + 1, number * 9)
                   for number in range(packages))


def long_listing(lines):
    """Return a listing of so many lines that begins with ten of opkg's own messages.

    Only the eleventh piece, which holds all the rest, tells that there are updates.
    """
    messages = "".join("Collected errors: feed number %d could not be read\n" % number
                       for number in range(10))
    return messages + listing(lines - 10)


def _text(rng, least, most):
    return u" ".join(rng.choice(WORDS) for _ in range(rng.randint(least, most))).encode("utf-8")


def _update(rng, items, require=None):
    """An <update> element. require: of the entry; None: now and then one for other receivers."""
    if require is None:
        require = rng.choice([""] * 6 + [' require="duo2,solo2"', ' require="uno4k"'])
    kind = rng.choice(["", ' type="info"', ' type="urgent"', ' type="normal"'])
    lines = ["  <update%s%s>\n    <title>%s</title>\n" % (kind, require, _text(rng, 3, 7))]
    for _ in range(items):
        lines.append("    <item>\n      <itemtext>%s</itemtext>\n" % _text(rng, 3, 7))
        for _ in range(rng.randint(1, 4)):
            lines.append("      <description>%s</description>\n" % _text(rng, 4, 12))
        lines.append("    </item>\n")
    return "".join(lines + ["  </update>\n"])
