"""Notes what the module does, as the host sees it: at the host's seams, not in the module."""

import ctypes
import os
import struct
import sys

import enigma
import skin
from Components.config import ConfigElement, config
from simulator.receiver import MODULE_FILES

_CLOSE_WRITE, _MOVED_FROM, _MOVED_TO, _DELETE = 0x8, 0x40, 0x80, 0x200  # of <sys/inotify.h>
_EVENT = struct.Struct("iIII")  # watch, mask, cookie, length of the name that follows


class Journal(object):
    """Hands everything that happens on a Receiver to `note`, in order.

    note: called with the kind ("request", "command", "file", "configuration", "timer",
    "skin", "exception") and a text, in the virtual instant in which it happened.
    """

    def __init__(self, note):
        self._hand_on = note
        self._files = _Files(sorted(MODULE_FILES))
        self._requests = []  # of the feed server, which adds to it from its own threads
        self._requests_noted = 0
        self._errors_noted = 0

    def watch_server(self, server):
        """From now on note the requests of this FeedServer."""
        self._note_requests()
        self._requests, self._requests_noted = server.requests, len(server.requests)

    def watch(self, box):
        """Note what happens on `box`, a new Receiver, until it is closed."""
        self._box, self._errors_noted = box, len(box.errors)
        self._files.changes()  # what the receiver itself has tidied up
        self._before(box.loop, "started",
                     lambda container: self._note("command", container.command))
        self._before(os, "system", lambda command: self._note("command", command))
        self._before(enigma.eTimer, "start", self._timer_started)
        self._before(skin, "say", lambda line, *logs: self._note("skin", line))
        self._before(ConfigElement, "__setattr__", self._setting_changed)
        call = box.loop.call

        def call_and_collect(function, *args):
            try:
                return call(function, *args)
            finally:
                self.collect()

        box.patch(box.loop, "call", call_and_collect)

    def collect(self):
        """Note what leaves a trace only: requests, files, exceptions."""
        self._note_requests()
        for text in self._files.changes():
            self._hand_on("file", text)
        errors = self._box.errors
        while self._errors_noted < len(errors):
            self._hand_on("exception", errors[self._errors_noted].rstrip("\n"))
            self._errors_noted += 1

    def _before(self, owner, name, look):
        """Have `look` called with the arguments before each call of owner's function."""
        function = getattr(owner, name)

        def looked_at(*args):
            look(*args)
            return function(*args)

        self._box.patch(owner, name, looked_at)

    def _note(self, kind, text):
        self.collect()  # what came before
        self._hand_on(kind, text)

    def _note_requests(self):
        while self._requests_noted < len(self._requests):
            self._hand_on("request", self._requests[self._requests_noted])
            self._requests_noted += 1

    def _timer_started(self, timer, milliseconds, once=False):
        # The message box counts its seconds with a timer of its own.
        if sys._getframe(2).f_globals["__name__"] != "Screens.MessageBox":
            self._note("timer", "%d ms, %s" % (milliseconds, "once" if once else "repeated"))

    def _setting_changed(self, element, name, value):
        for setting, known in vars(config.usage).items():
            if known is element and name == "value":
                self._note("configuration", "config.usage.%s = %r" % (setting, value))


class _Files(object):
    """What becomes of files, in order, as the kernel reports it."""

    def __init__(self, paths):
        self._paths = paths
        libc = ctypes.CDLL(None, use_errno=True)
        self._queue = libc.inotify_init1(os.O_NONBLOCK)
        self._directories = {}  # number of its watch: directory
        for directory in set(os.path.dirname(path) for path in paths):
            watch = libc.inotify_add_watch(
                self._queue, directory, _CLOSE_WRITE | _MOVED_FROM | _MOVED_TO | _DELETE)
            if watch < 0:
                raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()), directory)
            self._directories[watch] = directory

    def changes(self):
        """Return a sentence for each change since the last call."""
        try:
            data = os.read(self._queue, 65536)
        except OSError:
            return []  # nothing has happened
        sentences = []
        while data:
            watch, mask, _, length = _EVENT.unpack_from(data)
            name = data[_EVENT.size:_EVENT.size + length].rstrip("\0")
            data = data[_EVENT.size + length:]
            path = os.path.join(self._directories[watch], name)
            if path in self._paths:
                sentences.append("%s %s" % (path, "removed" if mask & (_DELETE | _MOVED_FROM)
                                            else "written"))
        return sentences
