"""python2.7 -O -m simulator: the receiver with a feed, at a terminal or on a fixed tour."""
from __future__ import print_function

import sys

import skin
from simulator import packages, skins
from simulator.feedserver import FeedServer
from simulator.options import (OneSentence, add_receiver_options, receiver_arguments,
                               tcp_port)
from simulator.receiver import Receiver
from simulator.terminal import Terminal
from simulator.tour import Tour


def main(arguments):
    parser = OneSentence(prog="run", description="The news browser on a simulated receiver, with "
                         "a feed: as a page for the browser, and without a terminal as a tour.",
                         epilog="./run --check DIR checks a feed, ./run --check-skin DIR a skin; "
                         "see ./run --check --help and ./run --check-skin --help. "
                         "./run --layout OUT.json writes what the skin makes of each screen; "
                         "it takes only the skin options.")
    parser.add_argument("--text", action="store_true",
                        help="show the television picture as text, in the terminal")
    parser.add_argument("--tour", action="store_true",
                        help="walk a fixed tour and check it; so too without a terminal")
    parser.add_argument("--port", metavar="N", type=tcp_port,
                        help="of the page, on 127.0.0.1 (default: a free one)")
    add_receiver_options(parser)
    options = parser.parse_args(arguments)
    receiver = receiver_arguments(parser, options)
    try:
        skins.use(**receiver["skin"])  # which ends here where it does not start
        with FeedServer(options.feed) as server:
            if options.tour or not sys.stdin.isatty():
                status = Tour(server, options.model, options.language, receiver["skin"]).run()
                _tell_lines(options)
                return status
            packages.install_initial_state()
            with Receiver(feed_url=server.url, raise_errors=False, **receiver) as box:
                box.start_plugin()
                box.open_news()
                Terminal(box, options.speed).run()
            _tell_lines(options)
    except (IOError, RuntimeError) as e:
        print("simulator: %s" % e, file=sys.stderr)
        return 2
    return 0


def _tell_lines(options):
    """Print what the host has said of a skin from elsewhere."""
    if options.skin is not None:
        for line in skin.said:
            print(line, file=sys.stderr)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
