"""Prints what paints the screens of the recorded pictures, as simulator.page.pictures reads it.

Usage, in the sandbox: python2.7 -O -m tests.support.painted SKIN_FOLDER
"""

import json
import sys

from simulator import SAMPLE_FEED, layout, packages, view
from simulator.feedserver import FeedServer
from simulator.receiver import Receiver

from Tools.LoadPixmap import LoadPixmap
from painting.files import Files

HEADER = "Zirk 3.1.0 (Vu+ Duo2)\n"
ROW = ("Row %d: a title that is longer than the list is wide, so that it must be cut at the edge "
       "of its entry, somewhere here or there")
ITEM = """* Item %d of a long entry
    - Its first line says what has changed, in more words than one line of a narrow text \
has room for
    - Its second line is short

"""


class Probe(layout.Probe):
    """A screen that shows what its layout is made to try."""

    def __init__(self, session, name, rows):
        layout.Probe.__init__(self, session, name)
        self["header"].text, self["status"].text = HEADER, "12 news"
        self["menu"].list = rows


def screens(box):
    """Bring one screen after the other to the front; yield the name of its picture."""
    box.open_news()
    box.pass_time(0.1)
    menu = box.screen["menu"]
    for number in (0, 9):
        menu.setIndex(number)
        yield "AllNews_sample_%d" % number
    menu.setIndex(0)
    header = HEADER + box.rows()[0]
    for text, pages in ((None, [0]), ("".join(ITEM % number for number in range(1, 13)), [1, 3])):
        box.press("ok")
        box.screen["header"].setText(header)
        if text:
            box.screen["update"].setText(text)
        for page in range(pages[-1] + 1):
            if page in pages:
                yield "ZirkUpdateInfo_%s_%d" % ("long" if text else "short", page)
            box.screen["update"].pageDown()
        box.press("cancel")
    sample = menu.list
    icons = [LoadPixmap("%s/pictures/update_%s.png" % (box.plugin_path, kind))
             for kind in ("urgent", "normal", "info")]
    menu.list = [("key", ROW % number, icons[number % 3]) for number in range(20)]
    menu.setIndex(12)
    yield "AllNews_rows_12"
    for name, numbers in (("ProbeText", [None]), ("ProbePictures", [None]),
                          ("ProbeList", [3, 11])):
        box.loop.call(box.session.open, Probe, name, sample)
        for number in numbers:
            if number is not None:
                box.screen["menu"].setIndex(number)
            yield name if number is None else "%s_sample_%d" % (name, number)
        box.session.close(box.screen)
        box.loop.run_due()


def main(folder):
    """Print the lists."""
    packages.install_initial_state()
    server = FeedServer(SAMPLE_FEED).start()
    painted = {"files": {}, "pictures": {}}
    files = Files(painted["files"].__setitem__)
    box = Receiver(feed_url=server.url, skin={"directory": folder})
    for name in screens(box):
        painted["pictures"][name] = {"size": [1280, 720],
                                     "operations": files.named(view.operations(box.screen))}
    box.close()
    server.stop()
    json.dump(painted, sys.stdout)


if __name__ == "__main__":
    main(*sys.argv[1:])
