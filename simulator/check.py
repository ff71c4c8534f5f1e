"""python2.7 -O -m simulator.check DIR MODEL: what receivers show of a feed's documents.

For tools/feed_check. It runs the module over a folder with the documents, on the receiver MODEL or
on "all": the rows are the news browser's own. The problems come from reading the documents
(feed_problems.py), and from the module where it fails at something that reading does not tell. An
all-feed.conf in the folder is checked as well.

Standard output is JSON: "outcomes" has model, rows (pairs of icon and text), message and restart of
each model; "top20" pairs of a category and its rows; "problems" the fields of each Problem;
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
from simulator.feed_problems import CONFIGURATION, NEWS, STATISTICS
from simulator.feedserver import FeedServer
from simulator.models import MODELS
from simulator.opkg import database
from simulator.problems import ERROR, Problem
from simulator.receiver import Receiver
from simulator.view import readable

#: What a model shows. rows: pairs (kind, text), byte strings; kind is that of the icon.
#: message: what a message box over the list says; restart: the exception at which the menus
#: restart; both a byte string or None.
Outcome = collections.namedtuple("Outcome", "model rows message restart")

#: The memory, in bytes, that a document may make this process take: more than receivers have.
MEMORY = 512 << 20


class Feed(object):
    """A folder with a feed's documents, and the FeedServer that lends them to receivers."""

    def __init__(self, directory, server):
        self._contents = [(name, database.read(os.path.join(directory, name)))
                          for name in (NEWS, STATISTICS)]
        self._configuration = database.read(os.path.join(directory, CONFIGURATION))
        self._is_unbearable = feed_problems.is_unbearable(self._contents[0][1] or "")
        self._server = server

    def news(self, model):
        """Return the Outcome of opening the news browser, and then every entry, on a model."""
        if self._is_unbearable:
            return Outcome(model, (), None, "MemoryError, or they stand still for minutes")
        with self._receiver(model) as box:
            box.open_news()
            box.pass_time(0.1)
            if box.errors:
                return Outcome(model, (), None, _last_line(box.errors[-1]))
            if isinstance(box.screen, MessageBox):
                return Outcome(model, (), box.text("text"), None)
            rows = tuple(zip(box.icons(), box.rows()))
            box.press("ok")
            for _ in rows[1:]:
                box.press("left")
            restart = _last_line(box.errors[-1]) if box.errors else None
            return Outcome(model, rows, None, restart)

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
        problems, known = [], False
        if self._configuration is not None:
            problems += feed_problems.configuration_problems(
                self._configuration, self._address_made())
        for name, content in self._contents:
            if content is None:
                problems.append(feed_problems.missing(name))
            elif name == NEWS:
                found = feed_problems.news_problems(content)
                problems, known = problems + found, found.restarts
            else:
                problems += feed_problems.statistics_problems(content)
        restarts = set(outcome.restart for outcome in outcomes) - set([None])
        return problems + [_unforeseen(restart) for restart in sorted(restarts) if not known]

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
    """Return the Problem of a document at which the module fails for the parser's own reasons."""
    remedy = (u"nest its elements less deeply" if restart.startswith("RuntimeError") else
              u"save it as UTF-8, declared so, with neither namespaces nor a document type")
    return Problem(NEWS, None, ERROR, u"Receivers restart their menus at this document (%s)"
                   % restart.decode("utf-8", "replace"), remedy)


def main(directory, model):
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, resource.getrlimit(resource.RLIMIT_AS)[1]))
    try:
        with FeedServer(directory) as server:
            feed, models = Feed(directory, server), MODELS if model == "all" else (model,)
            outcomes = map(feed.news, models)
            print(json.dumps(readable({
                "outcomes": [outcome._asdict() for outcome in outcomes],
                "top20": feed.top20(models[0]),
                "problems": [problem._asdict() for problem in feed.problems(outcomes)],
                "records": feed.records()})))
        return 0
    except (IOError, RuntimeError) as e:
        print("check: %s." % str(e).rstrip("."), file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
