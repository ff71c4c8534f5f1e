"""python2.7 -O -m simulator.pictures: what paints each screen of the tour, as JSON.

simulator/page/album.py asks for it. Options: those of a receiver. Prints {"files": {name: content
in Base64}, "pictures": [{"step": number, "heading": what has happened, "size", "operations",
"layout": of a layout file, the screen alone}], "wrong": sentences}.
"""

import json
import sys

import skin_layout
from Components.Sources.Clock import Clock
from enigma import getDesktop
from painting.files import Files
from simulator import skins, view
from simulator.feedserver import FeedServer
from simulator.options import OneSentence, add_receiver_options, receiver_arguments
from simulator.tour import Tour

TIME_OF_DAY = 20 * 3600 + 15 * 60


class Pictured(Tour):
    """The tour, with operations in place of text."""

    def __init__(self, *arguments):
        Tour.__init__(self, *arguments)
        self.files, self.pictures = {}, []
        self._named = Files(self.files.__setitem__).named

    def tell(self, step, heading, box):
        if box.screen is not None:
            self.pictures.append({
                "step": step, "heading": heading, "size": getDesktop(0).pair(),
                "operations": self._named(view.operations(box.screen)),
                "layout": _layout(box.screen)})

    def fail(self, lines):
        self.wrong.append("The tour ended early: " + lines.strip().rpartition("\n")[2])


def _layout(screen):
    described = skin_layout.layout(screen)
    for element in described["elements"]:
        if element["draws"] == "list":
            element["content"] = view.rows(element)
    return {"form": "layout 1", "desktop": getDesktop(0).pair(),
            "screens": [dict(described, screen=type(screen).__name__)]}


def main(arguments):
    """Print what paints the screens; return the exit status: 0, or 2 with a sentence."""
    parser = OneSentence(prog="run")
    add_receiver_options(parser)
    options = parser.parse_args(arguments)
    receiver = receiver_arguments(parser, options)
    Clock.time = TIME_OF_DAY  # at any time the same picture
    try:
        skins.use(**receiver["skin"])  # which ends here where it does not start
        with FeedServer(options.feed) as server:
            tour = Pictured(server, options.model, options.language, receiver["skin"])
            tour.walk()
    except (IOError, RuntimeError) as e:
        sys.stderr.write("run: %s\n" % e)
        return 2
    json.dump(view.readable({"files": tour.files, "pictures": tour.pictures, "wrong": tour.wrong}),
              sys.stdout)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
