"""python2.7 -O -m tests.support.crashes: tracebacks of what goes wrong on receivers.

Prints in JSON, for each of CRASHES, its section and what the GUI's log gets, "" for nothing.
"""

import __builtin__
import json
import os
import socket
import sys

from simulator import SAMPLE_FEED, packages
from simulator.feedserver import FeedServer
from simulator.receiver import FEED_CONFIGURATION, MODULE_FILES, Receiver, run_fresh
from tests.support.importing import hide
from tests.support.receiver import OPKG, document, entry, raising, write

LISTING, CACHE, INSTALLED = MODULE_FILES
CONNECT = socket.create_connection
WITH_ASSERTIONS = """
from simulator.receiver import Receiver
from simulator.feedserver import FeedServer
with FeedServer("simulator/sample-feed") as feed:
    box = Receiver(feed_url=feed.url)
    box.open_news()
    box.pass_time(0.1)
"""


# Steps: functions of the receiver and the feed.

def show_news(box, _):
    box.open_news()
    box.pass_time(0.1)


def show_updates(box, _):
    """The background check finds updates, and the user says yes."""
    box.pass_time(60)
    box.answer(True)


def news_are(body, **fault):
    return lambda _, feed: feed.fault("zirknews.xml", body=body, **fault)


def importing(hidden):
    def load(box, _):
        loaded = hidden in sys.modules
        sys.modules.setdefault(hidden, None)
        with hide({hidden: None}):
            box.loop.call(box.load)
        if not loaded:
            del sys.modules[hidden]
    return {"fresh": True, "load": False}, load


def place(path, target=None):
    """A directory, or a link to `target`, takes a file's place."""
    def put(*_):
        if os.path.lexists(path):
            os.remove(path)
        os.symlink(target, path) if target else os.mkdir(path)
    return put


#: The section of tools/explanations.ini that tells the cause, None for none; then what Receiver()
#: takes, if anything, and steps. One that is a string is a key.
CRASHES = [
    ("python-netclient",) + importing("urllib2"),
    ("a host module",) + importing("Components.ScrollLabel"),
    ("UpgradeZirk",) + importing("Plugins.SystemPlugins.ZIRKPanel.UpgradeZirk"),

    ("no configuration", lambda *_: os.remove(FEED_CONFIGURATION), show_news),
    ("no address", lambda *_: write(FEED_CONFIGURATION, "option tmp_dir /x\n"), show_news),
    ("hung up", news_are(None, drop="headers"), show_news),
    ("hung up", news_are(None, answer=[], reset=True), show_news),
    ("hung up", news_are(None, headers=[("X", "x" * 100000)]), show_news),
    # Of which a moment is enough here, not five seconds.
    ("silence", lambda box, _: box.patch(
        socket, "create_connection", lambda address, *_: CONNECT(address, 0.1)),
     news_are(None, stall="headers"), show_news),

    ("no title", news_are("<news><update/></news>"), show_news),
    ("no title", news_are(document(entry(""))), show_news),
    ("an element in a text", news_are(document(
        entry("One", items=[("Two", [])])).replace("Two", "<b/>")), show_news),
    ("an encoding", news_are("<?xml version='1.0' encoding='x'?><news/>"), show_news),
    ("nested", news_are("<n>" * 10000 + "</n>" * 10000), show_news),
    ("not ASCII", {"encoding": "ascii"}, news_are(document(entry("\xc3\xbc"))), show_news),

    ("no room", place(CACHE, "/dev/full"), show_news),
    ("no room", place(LISTING, "/dev/full"), show_updates),
    ("a file", place(CACHE), show_news),
    ("a file", show_news, place(CACHE), "red"),
    ("a file", show_news, "ok", place(LISTING), "blue"),
    ("a file", show_news, place(INSTALLED), "yellow"),
    ("a damaged cache", show_news, lambda *_: write(CACHE, ""), "ok"),
    ("no cache", lambda box, _: box.open_news(), "ok"),
    (None, lambda *_: os.rename(OPKG, OPKG + "-"), show_news, "yellow", "cancel", "ok", "blue",
     lambda box, _: box.settle(), lambda *_: os.rename(OPKG + "-", OPKG)),

    ("closed early", {"late_callbacks": True}, show_news, "ok", lambda box, _: box.hold(),
     "blue", "red", lambda box, _: box.finish()),
    ("no list", lambda box, _: box.use_skin(1280, screens=()), show_news, "ok"),
    ("the software update", show_news, lambda box, _: box.patch(
        box.module, "UpdatePlugin", raising(KeyError("host"))), "green"),
    ("no session", lambda box, _: vars(box.module.update_notification).pop("session"),
     show_updates),
    ("a setting", lambda box, _: vars(box.config.usage).clear(),
     lambda box, _: box.pass_time(60)),
    ("Unicode", show_news, "ok", lambda box, _: box.patch(__builtin__, "_", unicode), "blue"),
    (None, show_news, lambda box, _: box.loop.call(raising(KeyError("host")))),
]


def main():
    logs = [("assertions", run_fresh(WITH_ASSERTIONS, optimised=False).stderr)]
    for crash in CRASHES:
        packages.install_initial_state()
        for path in filter(os.path.isdir, MODULE_FILES):
            os.rmdir(path)
        options = crash[1] if isinstance(crash[1], dict) else {}
        with FeedServer(SAMPLE_FEED) as feed:
            with Receiver(feed_url=feed.url, raise_errors=False, **options) as box:
                if box.module is not None:
                    box.start_plugin()
                for step in crash[2:] if options else crash[1:]:
                    step(box, feed) if callable(step) else box.press(step)
                logs.append((crash[0], "".join(box.errors)))
    json.dump(logs, sys.stdout)


if __name__ == "__main__":
    main()
