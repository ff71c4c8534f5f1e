"""python2.7 -O -m simulator.remote: the receiver for a program at the other end of a pipe.

simulator/page/PROTOCOL.md describes what goes through standard input and output.
"""
from __future__ import print_function

import fcntl
import glob
import json
import os
import subprocess
import sys

import keymap
from enigma import PICTURES, getDesktop
from painting.files import Files
from simulator import packages, view
from simulator.feedserver import FeedServer
from simulator.journal import Journal
from simulator.models import MODELS
from simulator.opkg import database
from simulator.options import OneSentence, add_receiver_options, receiver_arguments
from simulator.receiver import PLUGIN_SCREENS, Receiver, StillRunning

OPKG = "/usr/bin/opkg"
FILLER = "/tmp/filler"


class Faults(object):
    """What goes wrong, as it is met in the field: a switch for each, all off at first.

    server: a started FeedServer. One that was down is another one afterwards, at the same address.
    """

    NAMES = ("down", "not-found", "malformed", "stalled", "no-opkg", "failing-package",
             "web-page", "locked")
    if os.environ.get("KELVARO_SANDBOX") != "proot":  # whose /tmp is the machine's
        NAMES += ("no-space",)

    def __init__(self, server):
        self.server = server
        self.on = dict.fromkeys(self.NAMES, False)
        self._opkg = os.readlink(OPKG)
        self._lock = None

    def switch(self, name, on):
        if on != self.on[name]:
            self.on[name] = on
            self._change(name, on)
        if not self.on["down"]:
            self._strike()

    def _change(self, name, on):
        if name == "down" and on:
            self.server.stop()
        elif name == "down":
            self.server = FeedServer(self.server.directory, self.server.port).start()
        elif name == "no-opkg" and on:
            os.remove(OPKG)
        elif name == "no-opkg":
            os.symlink(self._opkg, OPKG)
        elif name == "locked" and on:
            self._lock = database.take_lock(wait=True)
        elif name == "locked":
            self._lock.close()
        elif name == "no-space" and on:
            subprocess.call("cat /dev/zero > %s 2> /dev/null" % FILLER, shell=True)
        elif name == "no-space":
            os.remove(FILLER)

    def _strike(self):
        """Make the server fail as the switches now say."""
        self.server.clear()
        if self.on["not-found"]:
            self._fault(status=404)
        elif self.on["malformed"]:
            self._fault(body="<news><update></news>")
        elif self.on["stalled"]:
            self._fault(stall="headers")
        if self.on["failing-package"]:
            for path in glob.glob(os.path.join(self.server.directory, "all", "*.ipk")):
                self.server.fault("all/" + os.path.basename(path), status=404)
        if self.on["web-page"]:
            self.server.fault("all/Packages.gz", body="<html>Sign in</html>")

    def _fault(self, **what):
        for name in ("zirknews.xml", "zirkdlstat.txt"):
            self.server.fault(name, **what)


class Wrong(Exception):
    """A request that can't be met, with the sentence that says why."""


class Remote(object):
    """One receiver after the other, driven by requests.

    arguments: those of Receiver(). speed: simulated seconds in a real one. language: the key of
    the catalogue. server: a started FeedServer. requests, events: file descriptors.
    run() returns when the requests end, and ends the server.
    """

    def __init__(self, arguments, speed, language, server, requests, events):
        self._arguments = arguments
        self._speed = speed
        self._language = language
        self._faults = Faults(server)
        self._requests = requests
        self._events = os.fdopen(events, "w")
        self._journal = Journal(self._log)
        self._box = None
        self._width = None  # of the picture, where one was chosen
        self._fallback = False  # the skin lacks "AllNews"
        self._shown = None  # the screens as they were last told
        self._files = Files(self._tell_file)

    def run(self):
        packages.install_initial_state()
        self._boot()
        partial = ""
        for ready in self._box.loop.turns(self._requests, self._speed):
            data = os.read(self._requests, 65536) if ready else ""
            lines = (partial + data).split("\n")
            partial = lines.pop()
            for line in lines:
                self._answer(line)
            self._tell_changes()
            self._tell_clock()
            if ready and not data:
                break
        self._faults.server.stop()

    def _boot(self):
        self._box = Receiver(feed_url=self._faults.server.url, raise_errors=False, load=False,
                             **self._arguments)
        self._journal.watch(self._box)
        self._journal.watch_server(self._faults.server)
        self._box.load()
        self._box.start_plugin()
        self._use_skin()
        self._tell_receiver()
        self._box.open_news()
        self._tell_changes()

    # Requests.

    def _answer(self, line):
        number = None
        try:
            request = _parsed(line)
            number = request.get("id")
            self._do(request)
            answer = {"done": True}
        except Wrong as e:
            answer = {"error": str(e)}
        self._journal.collect()
        self._tell_changes()
        self._send(dict(answer, id=number))

    def _do(self, request):
        action, names = self.ACTIONS[_one_of(self.ACTIONS, request.get("do"), "request '%s'")]
        for name in names:
            if name not in request:
                raise Wrong("The request lacks '%s'." % name)
        action(self, *[request[name] for name in names])

    def _press(self, key):
        self._box.press(_one_of(keymap.KEYS, key, "key '%s' on the remote control"))

    def _open(self):
        if self._box.screen is not None:
            raise Wrong("The plug-in menu is out of reach while a screen is open: "
                        "press exit first.")
        self._box.open_news()

    def _pass(self, seconds):
        if not isinstance(seconds, (int, float)):
            raise Wrong("'seconds' can't be %r." % (seconds,))
        if not 0 < seconds <= 366 * 86400:
            raise Wrong("Time passes by more than 0 seconds and by a year at most.")
        try:
            self._box.pass_time(seconds)
        except StillRunning as e:
            raise Wrong("Time stands still: %s." % e)

    def _change_model(self, key):
        self._arguments["model"] = _one_of(MODELS, key, "model '%s'")
        self._box.close()
        self._boot()

    def _fault(self, name, on):
        self._faults.switch(_one_of(Faults.NAMES, name, "fault '%s'"), bool(on))
        self._journal.watch_server(self._faults.server)
        self._tell_receiver()

    def _change_size(self, width):
        self._width = int(_one_of(PICTURES, width, "picture %s pixels wide"))
        self._use_skin()
        self._tell_receiver()

    def _fall_back(self, on):
        self._fallback = bool(on)
        self._use_skin()
        self._tell_receiver()

    def _use_skin(self):
        without = ["AllNews"] if self._fallback else []
        self._box.use_skin(self._width, [name for name in PLUGIN_SCREENS if name not in without])
        self._shown = None
        if self._box.skin_failure:
            self._log("skin", self._box.skin_failure)

    def _reopen(self):
        self._use_skin()
        if self._box.skin_failure:
            raise Wrong(self._box.skin_failure)

    #: What a request's "do" does, and what else the request has to hold for it.
    ACTIONS = {"press": (_press, ["key"]), "open": (_open, []), "pass": (_pass, ["seconds"]),
               "model": (_change_model, ["key"]), "fault": (_fault, ["name", "on"]),
               "size": (_change_size, ["width"]), "fallback": (_fall_back, ["on"]),
               "reopen": (_reopen, [])}

    # Events.

    def _tell_receiver(self):
        self._send({"event": "receiver", "model": self._arguments["model"], "models": MODELS,
                    "faults": self._faults.on, "language": self._language,
                    "width": getDesktop(0).pair()[0], "fallback": self._fallback})

    def _tell_changes(self):
        screens = map(view.describe, self._box.session.stack)
        if screens != self._shown:
            self._shown = screens
            # A screen that has opened another is not seen.
            operations = self._files.named(view.operations(self._box.screen))
            self._send({"event": "screen", "size": getDesktop(0).pair(),
                        "screens": screens, "operations": operations})

    def _tell_file(self, name, content):
        self._send({"event": "file", "name": name, "content": content})

    def _tell_clock(self):
        self._send({"event": "clock", "time": self._box.loop.now / 1000.0,
                    "speed": self._speed})

    def _log(self, kind, text):
        self._send({"event": "log", "time": self._box.loop.now / 1000.0, "kind": kind,
                    "text": text})

    def _send(self, message):
        self._events.write(json.dumps(view.readable(message)) + "\n")
        self._events.flush()


def _parsed(line):
    try:
        request = json.loads(line)
    except ValueError:
        request = None
    if not isinstance(request, dict):
        raise Wrong("A request is one JSON object a line.")
    return request


def _one_of(known, value, what):
    if value not in list(known):  # which a value of any type can be looked up in
        raise Wrong("There is no %s." % (what % (value,)))
    return str(value)


def _private_streams():
    """Take standard input and output for the protocol alone; return their new descriptors.

    What the module's commands read and print has nothing to do with it.
    """
    requests, events = os.dup(0), os.dup(1)
    for descriptor in (requests, events):
        fcntl.fcntl(descriptor, fcntl.F_SETFD, fcntl.FD_CLOEXEC)
    nothing = os.open(os.devnull, os.O_RDONLY)
    os.dup2(nothing, 0)
    os.close(nothing)
    os.dup2(2, 1)
    return requests, events


def main(arguments):
    """Serve requests as `arguments` say; return the exit status: 0, or 2 with a sentence."""
    parser = OneSentence(prog="run", description="The receiver that the page shows.")
    add_receiver_options(parser)
    options = parser.parse_args(arguments)
    arguments = receiver_arguments(parser, options)
    requests, events = _private_streams()
    try:
        remote = Remote(arguments, options.speed, options.language,
                        FeedServer(options.feed).start(), requests, events)
        remote.run()
    except (IOError, OSError, RuntimeError) as e:
        print("simulator.remote: %s" % e, file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
