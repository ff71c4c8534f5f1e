"""The compiled part of the host: timers, command containers and widgets."""

import os
import signal
import subprocess

from simulator.loop import main_loop

zirk_version = "3.1.0"


def getZirkVersionString():
    """The version of the image."""
    return zirk_version


class eTimer(object):
    """Calls every function in `callback` when it fires. The loop holds it weakly."""

    def __init__(self):
        self.callback = []
        self._interval = None

    def start(self, msec, singleshot=False):
        _check_integer(msec)
        self._interval = None if singleshot else msec
        main_loop.arm(self, msec)

    def stop(self):
        main_loop.disarm(self)

    def fire(self):
        """The loop's: the time has come."""
        main_loop.disarm(self)
        if self._interval is not None:
            main_loop.arm(self, self._interval)
        for function in list(self.callback):
            function()


class eConsoleAppContainer(object):
    """Runs one command with `sh -c`; dataAvail gets its output, appClosed its exit status."""

    late_callbacks = False  # True: the end of a killed command is still delivered

    def __init__(self):
        self.dataAvail = []
        self.appClosed = []
        self.command = None
        self._process = None

    def execute(self, command):
        """Start `command`; 0, or -1 when it cannot be started."""
        if self.running():
            return -1
        with open(os.devnull) as nothing:
            try:
                self._process = subprocess.Popen(
                    ["sh", "-c", command], stdin=nothing, stdout=subprocess.PIPE,
                    stderr=subprocess.STDOUT, close_fds=True, preexec_fn=_prepare_child)
            except OSError:
                return -1
        self.command = command
        main_loop.started(self)
        return 0

    def running(self):
        return self._process is not None

    def kill(self):
        """Stop the command and its children."""
        if self.running():
            if self.late_callbacks:
                self._signal()
            else:
                self.abandon()

    # For the loop.

    def fileno(self):
        return self._process.stdout.fileno()

    def receive(self):
        """Deliver the output that is there; at its end, the exit status."""
        text = os.read(self.fileno(), 65536)
        if text:
            for function in list(self.dataAvail):
                function(text)
        else:
            # -1 stands for an end by a signal.
            self._end(lambda status: status if status >= 0 else -1)

    def abandon(self):
        """Stop the command; nobody is told."""
        self._signal()
        self.appClosed = []
        self._end(None)

    def _signal(self):
        try:
            os.killpg(self._process.pid, signal.SIGKILL)
        except OSError:
            pass  # has just ended

    def _end(self, judge):
        process, self._process = self._process, None
        process.stdout.close()
        status = process.wait()
        main_loop.ended(self)
        functions, self.dataAvail, self.appClosed = self.appClosed, [], []
        for function in functions:
            function(judge(status))


def _prepare_child():
    os.setsid()  # a group of its own, so that kill() reaches its children too
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)  # Python ignores it, commands should not


def _check_string(text):
    if not isinstance(text, str):
        raise TypeError("a compiled widget takes a byte string, not %s" % type(text).__name__)


def _check_integer(number):
    if not isinstance(number, (int, long)):  # noqa: F821
        raise TypeError("an integer is required, not %s" % type(number).__name__)


class eLabel(object):
    """A compiled text widget: byte strings only."""

    def __init__(self):
        self._text = ""

    def setText(self, text):
        _check_string(text)
        self._text = text

    def getText(self):
        return self._text


class eListbox(object):
    """A compiled list: keeps the selected index within its rows."""

    PAGE = 10  # rows

    def __init__(self):
        self._size = 0
        self._index = 0

    def setSize(self, size):
        self._size = size
        self.moveSelectionTo(self._index)

    def getCurrentIndex(self):
        return self._index

    def moveSelectionTo(self, index):
        _check_integer(index)
        self._index = max(0, min(index, self._size - 1))

    def moveSelection(self, action, wrap=False):
        """Move as the list action says: moveUp, moveDown, pageUp, pageDown."""
        index = self._index
        if action in ("moveUp", "moveDown"):
            index += 1 if action == "moveDown" else -1
            if wrap and self._size:
                index %= self._size
        else:
            index += self.PAGE if action == "pageDown" else -self.PAGE
        self.moveSelectionTo(index)


class eSize(object):

    def __init__(self, width, height):
        self._width, self._height = width, height

    def width(self):
        return self._width

    def height(self):
        return self._height


class eDesktop(object):
    """The picture that the GUI draws."""

    def __init__(self):
        self.resize(1280)

    def resize(self, width):
        """Make the picture this wide: one of PICTURES."""
        self._size = eSize(width, PICTURES[width])

    def size(self):
        return self._size


PICTURES = {1280: 720, 1920: 1080}  # width: height
_desktop = eDesktop()


def getDesktop(which):
    """The television's picture; a receiver may have a display of its own besides."""
    return _desktop


class gPixmap(object):
    """A picture that was loaded."""

    def __init__(self, path):
        self.path = path


def loadPNG(path):
    """The picture in the file `path`, or None."""
    return gPixmap(path) if os.path.isfile(path) else None
