"""What the command lines have in common. Python 3 can import this, too."""

import argparse
import os

from simulator import ROOT, SAMPLE_FEED
from simulator.models import MODELS


class OneSentence(argparse.ArgumentParser):
    """Says one sentence about a wrong argument, and nothing else."""

    def error(self, message):
        self.exit(2, "%s: %s; see --help.\n" % (self.prog, message))


def tcp_port(text):
    """The type of an option that is a TCP port, 0 for a free one."""
    if not text.isdigit() or int(text) > 65535:
        raise argparse.ArgumentTypeError("'%s' is not a port from 0 to 65535" % text)
    return int(text)


def add_receiver_options(parser):
    """Add the options that describe a receiver and its feed, common to all its views."""
    parser.add_argument("--model", default="duo2", metavar="KEY",
                        help="the receiver's model key (default: duo2): " + ", ".join(MODELS))
    parser.add_argument("--feed", default=SAMPLE_FEED, metavar="DIR",
                        help="a folder with zirknews.xml, zirkdlstat.txt and all/, read again "
                             "each time the news opens (default: simulator/sample-feed)")
    parser.add_argument("--image-version", default="3.1.0", metavar="TEXT",
                        help="the image's version (default: 3.1.0)")
    parser.add_argument("--language", default="en", metavar="KEY",
                        help="the language of the module's texts: %s (default: en)"
                             % ", ".join(["en"] + languages()))
    parser.add_argument("--interval", type=_hours, default=24, metavar="HOURS",
                        help="between two checks for updates, 0 for no second one (default: 24)")
    parser.add_argument("--speed", type=_factor, default=1.0, metavar="FACTOR",
                        help="simulated seconds in a real one (default: 1)")
    add_skin_options(parser)


def add_skin_options(parser):
    parser.add_argument("--skin", metavar="DIR",
                        help="a folder with a skin.xml, used with the folders beside it "
                             "(default: the simulator's own)")
    add_further_skin_options(parser)


def add_further_skin_options(parser):
    """Add the options that describe what goes with a skin."""
    parser.add_argument("--skin-user", metavar="FILE",
                        help="what a receiver would have as skin_user.xml")
    parser.add_argument("--size", type=_size, default=(1280, 720), metavar="WxH",
                        help="the picture, for a skin that names no size of its own "
                             "(default: 1280x720)")
    parser.add_argument("--stand-ins", action="store_true",
                        help="show a placeholder for what only some image has")


def skin_arguments(parser, options):
    """Return what skins.use() takes of these options; a wrong value ends the program."""
    options.skin = options.skin and os.path.realpath(options.skin)
    if options.skin is not None and not os.path.isfile(os.path.join(options.skin, "skin.xml")):
        parser.error("there is no skin.xml in the folder '%s'" % options.skin)
    if options.skin_user is not None and not os.path.isfile(options.skin_user):
        parser.error("there is no file '%s'" % options.skin_user)
    return {"directory": options.skin, "user_file": options.skin_user, "size": options.size,
            "stand_ins": options.stand_ins}


def in_sandbox(module, arguments):
    """Return the command that runs a module in a sandbox, which sees what these arguments name."""
    arguments, visible = list(arguments), []
    for at, argument in enumerate(arguments[:-1], 1):
        is_skin = argument in ("--skin", "--check-skin")
        if (is_skin or argument in ("--feed", "--skin-user")) and os.path.exists(arguments[at]):
            path = arguments[at] = os.path.realpath(arguments[at])
            above = os.path.dirname(path)
            # A skin is used with the folders beside it, but for those of a whole machine.
            with_others = is_skin and above.count("/") > 1
            visible += ["--readable", above if with_others or os.path.isfile(path) else path]
    return ([os.path.join(ROOT, "tools", "sandbox")] + visible
            + ["python2.7", "-O", "-m", module] + arguments)


def receiver_arguments(parser, options):
    """Return what Receiver() takes of these options; a wrong value ends the program."""
    if options.model not in MODELS:
        parser.error("there is no model '%s'" % options.model)
    if not os.path.isdir(options.feed):
        parser.error("there is no feed folder '%s'" % options.feed)
    if options.language not in ["en"] + languages():
        parser.error("there is no catalogue 'plugin/po/%s.po'" % options.language)
    return {
        "model": options.model,
        "image_version": options.image_version,
        "check_for_updates": options.interval,
        "language": options.language,
        "skin": skin_arguments(parser, options),
    }


def languages():
    return sorted(name[:-len(".po")] for name in os.listdir(os.path.join(ROOT, "plugin", "po"))
                  if name.endswith(".po"))


def _hours(text):
    if not text.isdigit():
        raise argparse.ArgumentTypeError("'%s' is not a whole number of hours" % text)
    return int(text)


def _size(text):
    parts = text.split("x")
    if len(parts) != 2 or not all(part.isdigit() and 0 < int(part) <= 10000 for part in parts):
        raise argparse.ArgumentTypeError("'%s' is not a size such as 1280x720" % text)
    return tuple(int(part) for part in parts)


def _factor(text):
    try:
        factor = float(text)
    except ValueError:
        factor = 0
    if not 0 < factor <= 10000:
        raise argparse.ArgumentTypeError("'%s' is not a factor above 0, at most 10000" % text)
    return factor
