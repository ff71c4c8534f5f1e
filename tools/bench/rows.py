"""The rows of the table that are measured by calling something again and again.

Each is a function that takes a Bench and returns (call, outcome): call() is what is measured, and
outcome() tells, after a call, what came of it, so that it can be compared between the
implementations. The host's own work is left out where it can be: nothing is fetched, no command is
run, and no other screen is opened.
"""
import cPickle
import functools
import os

import urllib2
from Components.config import config
from Tools import Notifications
from simulator.receiver import MODULE_FILES
from tools.bench import inputs

LISTING, CACHE, INSTALLED = MODULE_FILES
ALL_INSTALLED = "/tmp/bench-installed"  # what a row itself writes


class Answer(object):
    """What urlopen gives."""

    def __init__(self, body):
        self._body = body

    def read(self):
        return self._body


class Quiet(object):
    """A session that opens nothing, and notes nothing."""

    def open(self, *args, **kwargs):
        pass

    openWithCallback = open


class Bench(object):
    """A receiver whose feed answers at once. Of the module under test it has `module`."""

    def __init__(self, box):
        self.box = box
        self.module = box.module
        self.screens = []

    def serve(self, body):
        """From now on each address has this body."""
        answer = Answer(body)
        self.box.patch(urllib2, "urlopen", lambda *args: answer)

    def fetched_news(self, document):
        """Let the module make the news cache of a document."""
        self.serve(document)
        status = self.module.parse_xml()
        if status != 1:
            raise RuntimeError("the document was refused with %r" % (status,))

    def cached_news(self):
        with open(CACHE, "rb") as stream:
            return cPickle.load(stream)


def parse_xml(bench, document):
    bench.serve(document)
    return bench.module.parse_xml, bench.cached_news


def parse_typical(bench):
    return parse_xml(bench, inputs.document(48 * inputs.KILOBYTE))


def parse_large(bench):
    return parse_xml(bench, inputs.document(960 * inputs.KILOBYTE))


def create_menu(bench):
    """createMenu without the parsing: the list is in the cache."""
    bench.fetched_news(inputs.entries(400))
    bench.box.patch(bench.module, "parse_xml", lambda: 1)
    screen = bench.box.open_news()
    return screen.createMenu, lambda: [row[:2] for row in screen.list]


def key_yellow(bench):
    bench.serve(inputs.statistics(60))
    with open(ALL_INSTALLED, "w") as stream:
        stream.write(inputs.installed(1500))
    # In place of the command line, which has the same effect.
    bench.box.patch(bench.module, "system", lambda command: os.link(ALL_INSTALLED, INSTALLED))
    screen = bench.box.open_news()
    screen.session = Quiet()
    return screen.keyYellow, lambda: (screen.extensions, screen.systemplugins, screen.skins)


def open_detail(bench):
    """The screen's constructor, in which the module reads the cache and makes the texts."""
    bench.fetched_news(inputs.document(48 * inputs.KILOBYTE))
    made = []

    def call():
        made[:] = [bench.module.ZirkUpdateInfo(bench.box.session, 3, False)]
    return call, lambda: [made[0][name].getText() for name in ("update", "header")]


def body_text(bench):
    """The text of one entry of 200 items."""
    bench.fetched_news(inputs.entries(1, items=200))
    screen = bench.module.ZirkUpdateInfo(bench.box.session, 0, False)
    return screen.getNews, screen.getNews


def upgradable_list(bench):
    bench.fetched_news(inputs.entries(1))
    screen = bench.module.ZirkUpdateInfo(bench.box.session, 0, False)
    with open(LISTING, "w") as stream:
        stream.write(inputs.listing(500))
    return (functools.partial(screen.opkg_upgrade_finished, None, 0),
            lambda: screen["update"].getText())


def judge_listing(bench):
    notifier = bench.module.update_notification
    del Notifications.notificationAdded[:]  # nobody opens the question
    notifier.setSession(Quiet(), bench.box.plugin_path)
    notifier.init_timer()
    text = inputs.long_listing(2000)

    def call():
        notifier.opkg_upgrade_finished(text, 0)
        del Notifications.notifications[:]
    return call, lambda: (config.usage.update_available.value, notifier.upgradable_packages)
