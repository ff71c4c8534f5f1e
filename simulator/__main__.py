"""python2.7 -O -m simulator: the receiver with a feed, at a terminal or on a fixed tour."""
from __future__ import print_function

import os
import sys

from simulator import packages
from simulator.feedserver import FeedServer
from simulator.models import MODELS
from simulator.options import OneSentence
from simulator.receiver import Receiver
from simulator.terminal import Terminal
from simulator.tour import Tour


def main(arguments):
    """Run as `arguments` say; return the exit status: 0, 1 after a tour that failed, 2."""
    parser = OneSentence(prog="simulator", description=__doc__.split(": ", 1)[1],
                         epilog="./run --check DIR checks a feed; see ./run --check --help.")
    parser.add_argument("--tour", action="store_true",
                        help="walk a fixed tour and check it; so too without a terminal")
    parser.add_argument("--model", default="duo2", metavar="KEY",
                        help="the receiver's model key (default: duo2): " + ", ".join(MODELS))
    parser.add_argument("--feed", default=packages.SAMPLE_FEED, metavar="DIR",
                        help="a folder with zirknews.xml, zirkdlstat.txt and all/ "
                             "(default: sample-feed)")
    options = parser.parse_args(arguments)
    if options.model not in MODELS:
        parser.error("there is no model '%s'" % options.model)
    if not os.path.isdir(options.feed):
        parser.error("there is no feed folder '%s'" % options.feed)
    try:
        with FeedServer(options.feed) as server:
            if options.tour or not sys.stdin.isatty():
                return Tour(server, options.model).run()
            packages.install_initial_state()
            with Receiver(model=options.model, feed_url=server.url, raise_errors=False) as box:
                box.start_plugin()
                box.open_news()
                Terminal(box).run()
    except (IOError, RuntimeError) as e:
        print("simulator: %s" % e, file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
