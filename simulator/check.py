# -*- coding: utf-8 -*-
"""python2.7 -O -m simulator.check: what receivers show of a feed's documents, for tools/feed_check.

It runs the module over a folder with them, once for each model: the rows are the news browser's
own. The problems come from reading the documents (feed_problems.py), and from the module where it
fails at something that reading does not tell. An all-feed.conf in the folder is checked as well.

Standard output is JSON: "outcomes" has model, rows (pairs of icon and text), message and restart of
each model; "top20" pairs of a category and its rows; "problems" has file, line, severity and text;
"records" pairs of a line of the statistics and the package that it names.

Exit status: 0; 2 after one sentence when it could not run.
"""
from __future__ import print_function

import collections
import json
import os
import resource
import sys

from Screens.ChoiceBox import ChoiceBox
from Screens.MessageBox import MessageBox
from simulator import feed_problems
from simulator.feed_problems import CONFIGURATION, ERROR, NEWS, STATISTICS, Problem
from simulator.feedserver import FeedServer
from simulator.models import MODELS
from simulator.opkg import database
from simulator.options import OneSentence, check_model_and_feed
from simulator.receiver import Receiver

#: What one model shows. rows: pairs (kind, text), byte strings; kind is that of the icon.
#: message: what a message box over the list says; restart: the exception at which the menus
#: restart; both a byte string or None.
Outcome = collections.namedtuple("Outcome", "rows message restart")

#: The memory, in bytes, that a document may make this process take: more than receivers have.
MEMORY = 512 << 20


class Feed(object):
    """A folder with a feed's documents that is served to simulated receivers, while a with
    statement lasts.

    directory: its path, a byte string.
    """

    def __init__(self, directory):
        self._contents = [(name, database.read(os.path.join(directory, name)))
                          for name in (NEWS, STATISTICS)]
        self._configuration = database.read(os.path.join(directory, CONFIGURATION))
        self._is_unbearable = feed_problems.is_unbearable(self._contents[0][1] or "")
        self._server = FeedServer(directory)

    def __enter__(self):
        self._server.start()
        return self

    def __exit__(self, *_):
        self._server.stop()

    def news(self, model):
        """Return the Outcome of opening the news browser, and then every entry, on a model."""
        if self._is_unbearable:
            return Outcome((), None, "MemoryError, or they stand still for minutes")
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
        if self._configuration is not None:
            problems += feed_problems.configuration_problems(
                self._configuration, self._address_made())
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

    def records(self):
        """Return pairs of a line of the statistics and the package that it names."""
        return feed_problems.records(dict(self._contents)[STATISTICS] or "")

    def _address_made(self):
        """Return the address of the news that the module makes of the configuration."""
        with self._receiver(MODELS[0]) as box:
            database.write("/etc/opkg/" + CONFIGURATION, self._configuration)
            return box.module.newsURL()

    def _receiver(self, model):
        return Receiver(model=model, feed_url=self._server.url, raise_errors=False,
                        encoding=feed_problems.ENCODINGS[0][0])


def _last_line(traceback):
    return traceback.rstrip("\n").split("\n")[-1]


def _unforeseen(restart):
    """Return the Problem of a document at which the module fails for reasons of the parser's."""
    remedy = (u"nest its elements less deeply" if restart.startswith("RuntimeError") else
              u"save it as UTF-8, declared so, with neither namespaces nor a document type")
    return Problem(NEWS, None, ERROR, u"Receivers restart their menus at this document (%s): %s."
                   % (restart.decode("utf-8", "replace"), remedy), True)


def report(feed, models):
    """Return all that there is to say about a Feed, as main() prints it."""
    outcomes = [feed.news(model) for model in models]
    return {
        "outcomes": [dict(outcome._asdict(), model=model)
                     for model, outcome in zip(models, outcomes)],
        "top20": feed.top20(models[0]),
        "problems": [problem._asdict() for problem in feed.problems(outcomes)],
        "records": feed.records(),
    }


def _unicode(value):
    """Return a value with the byte strings in it decoded, whatever they hold."""
    if isinstance(value, str):
        return value.decode("utf-8", "replace")
    if isinstance(value, dict):
        return dict((name, _unicode(inner)) for name, inner in value.items())
    if isinstance(value, (tuple, list)):
        return [_unicode(inner) for inner in value]
    return value


def main(arguments):
    """Run as `arguments` say; return the exit status: 0 or 2."""
    parser = OneSentence(prog="check")
    parser.add_argument("feed", metavar="DIR")
    parser.add_argument("--model", default="all")
    options = parser.parse_args(arguments)
    check_model_and_feed(parser, options, MODELS + ("all",))
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, resource.getrlimit(resource.RLIMIT_AS)[1]))
    try:
        with Feed(options.feed) as feed:
            found = report(feed, MODELS if options.model == "all" else (options.model,))
        print(json.dumps(_unicode(found)))
        return 0
    except (IOError, RuntimeError) as e:
        print("check: %s." % str(e).rstrip("."), file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
