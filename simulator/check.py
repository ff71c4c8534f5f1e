# -*- coding: utf-8 -*-
"""python2.7 -O -m simulator.check: what receivers show of a feed, and what is wrong with it.

It runs the module over the feed, once for each model: the rows are the news browser's own. The
problems come from reading the documents (feed_problems.py), and from the module where it fails at
something that reading does not tell. docs/feed.md tells publishers how to use it.

Exit status: 0; 1 when there are errors; 2 when it could not run. Warnings alone give 0: texts that
are not ASCII, which are right on the receiver image, would else fail most feeds.
"""
from __future__ import print_function

import collections
import os
import sys

from Screens.ChoiceBox import ChoiceBox
from Screens.MessageBox import MessageBox
from simulator import feed_problems
from simulator.feed_problems import ERROR, NEWS, STATISTICS, WARNING, Problem
from simulator.feedserver import FeedServer
from simulator.models import MODELS
from simulator.opkg import database
from simulator.options import OneSentence, check_model_and_feed
from simulator.receiver import Receiver

#: What one model shows. rows: pairs (kind, text), byte strings; kind is that of the icon.
#: message: what a message box over the list says; restart: the exception at which the menus
#: restart; both a byte string or None.
Outcome = collections.namedtuple("Outcome", "rows message restart")


class Feed(object):
    """A feed that is served to simulated receivers, while a with statement lasts.

    directory: its path, a byte string. Raises IOError where a file of it can't be read.
    """

    def __init__(self, directory):
        self._contents = [(name, _read(os.path.join(directory, name)))
                          for name in (NEWS, STATISTICS)]
        if all(content is None for _, content in self._contents):
            raise IOError("the folder '%s' has neither %s nor %s; name that of the feed"
                          % (directory, NEWS, STATISTICS))
        self._server = FeedServer(directory)

    def __enter__(self):
        self._server.start()
        return self

    def __exit__(self, *_):
        self._server.stop()

    def news(self, model):
        """Return the Outcome of opening the news browser, and then every entry, on a model."""
        with self._receiver(model) as box:
            box.open_news()
            box.pass_time(0.1)
            if box.errors:
                return Outcome((), None, _last_line(box.errors[-1]))
            if isinstance(box.screen, MessageBox):
                return Outcome((), box.text("text"), None)
            rows = tuple(zip(box.icons(), box.rows()))
            box.press("ok")
            for _ in rows[1:]:
                box.press("left")
            return Outcome(rows, None, _last_line(box.errors[-1]) if box.errors else None)

    def top20(self, model):
        """Return what "Top 20" shows: pairs of a category and its rows, byte strings."""
        with self._receiver(model) as box:
            box.open_news()
            box.press("yellow")
            if not isinstance(box.screen, ChoiceBox):
                return []  # there are no statistics
            categories = []
            for category in box.rows():
                box.choose(category)
                categories.append((category, box.rows()))
                box.press("cancel")
            return categories

    def problems(self, outcomes):
        """Return the feed's Problems, after the Outcomes of models."""
        problems = []
        for name, content in self._contents:
            if content is None:
                problems.append(feed_problems.missing(name))
            elif name == NEWS:
                problems += feed_problems.news_problems(content)
            else:
                problems += feed_problems.statistics_problems(content)
        if not any(problem.restarts for problem in problems):
            for restart in sorted(set(outcome.restart for outcome in outcomes) - set([None])):
                problems.append(_unforeseen(restart))
        return problems

    def _receiver(self, model):
        return Receiver(model=model, feed_url=self._server.url, raise_errors=False,
                        encoding=feed_problems.ENCODINGS[0][0])


def _read(path):
    """Return a file's content, None when there is no such file."""
    if os.path.islink(path) and not os.path.exists(path):
        raise IOError("%s is a link that leads out of the folder; put the file itself there" % path)
    try:
        return database.read(path)
    except IOError as e:
        raise IOError("%s can't be read (%s); make it a file that everyone may read"
                      % (path, e.strerror))


def _last_line(traceback):
    return traceback.rstrip("\n").split("\n")[-1]


def _unforeseen(restart):
    """Return the Problem of a document at which the module fails for reasons of the parser's."""
    remedy = (u"nest its elements less deeply" if restart.startswith("RuntimeError") else
              u"save it as UTF-8, declared so, with neither namespaces nor a document type")
    return Problem(NEWS, None, ERROR, u"Receivers restart their menus at this document (%s): %s."
                   % (restart.decode("utf-8", "replace"), remedy), True)


# What is printed.

def report(feed, models):
    """Print what the models show of a Feed, and its problems; return the exit status."""
    outcomes = [feed.news(model) for model in models]
    for outcome in sorted(set(outcomes), key=outcomes.index):
        print_outcome([model for model, its in zip(models, outcomes) if its == outcome], outcome)
    for category, rows in feed.top20(models[0]):
        print("Top 20, %s:" % category)
        for row in rows:
            print("  %s" % visible(row))
        print()
    problems = feed.problems(outcomes)
    for problem in problems:
        print(visible(unicode(problem).encode("utf-8")))
    if problems:
        print()
    errors = len([problem for problem in problems if problem.severity == ERROR])
    print("%s and %s on %s." % (count(errors, ERROR).capitalize(),
                                count(len(problems) - errors, WARNING),
                                count(len(models), "model")))
    return 1 if errors else 0


def print_outcome(models, outcome):
    """Print the Outcome that these models have in common."""
    print("News on %s:" % ", ".join(models))
    for kind, text in outcome.rows:
        print("  %-8s%s" % (kind, visible(text)))
    if outcome.message is not None:
        print("  nothing but the message \"%s\"" % outcome.message)
    elif outcome.restart is not None:
        print("  the menus restart (%s)" % outcome.restart)
    elif not outcome.rows:
        print("  an empty list")
    print()


def visible(text):
    """Return a text with its line breaks and other control characters made visible."""
    return "".join(character if character >= " " and character != "\x7f"
                   else character.encode("string_escape") for character in text)


def count(number, noun):
    """Return "1 error", "2 errors" and the like."""
    return "%s %s%s" % (number or "no", noun, "" if number == 1 else "s")


def main(arguments):
    """Run as `arguments` say; return the exit status: 0, 1 or 2."""
    parser = OneSentence(
        prog="check", usage="./run --check DIR [--model KEY|all]",
        description="Check a feed before it goes out: what receivers show, and what is wrong.",
        epilog="Exit status: 0, also with warnings; 1 with errors; 2 when it could not run.")
    parser.add_argument("feed", metavar="DIR",
                        help="a folder with %s and %s" % (NEWS, STATISTICS))
    parser.add_argument("--model", default="all", metavar="KEY",
                        help="show the rows of this receiver model alone: all (the default), "
                             + ", ".join(MODELS))
    options = parser.parse_args(arguments)
    check_model_and_feed(parser, options, MODELS + ("all",))
    try:
        with Feed(options.feed) as feed:
            return report(feed, MODELS if options.model == "all" else (options.model,))
    except (IOError, RuntimeError) as e:
        print("check: %s." % str(e).rstrip("."), file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
