"""The compiled part of the host: timers, command containers and widgets."""

import os
import signal
import subprocess

import keymap
import skin
from painting.fonts import EvenFace
from painting.text import DEFAULT_FONT, measured
from simulator.loop import main_loop

zirk_version = "3.1.0"


def getZirkVersionString():
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
            self._end()

    def abandon(self):
        """Stop the command; nobody is told."""
        self._signal()
        self.appClosed = []
        self._end()

    def _signal(self):
        try:
            os.killpg(self._process.pid, signal.SIGKILL)
        except OSError:
            pass  # has just ended

    def _end(self):
        process, self._process = self._process, None
        process.stdout.close()
        status = max(-1, process.wait())  # -1 stands for an end by a signal
        main_loop.ended(self)
        functions, self.dataAvail, self.appClosed = self.appClosed, [], []
        for function in functions:
            function(status)


def _prepare_child():
    os.setsid()  # a group of its own, so that kill() reaches its children too
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)  # Python ignores it, commands should not


def _check_string(text):
    if not isinstance(text, str):
        raise TypeError("a compiled widget takes a byte string, not %s" % type(text).__name__)


def _check_integer(number):
    if not isinstance(number, (int, long)):  # noqa: F821
        raise TypeError("an integer is required, not %s" % type(number).__name__)


class _Pair(object):

    def __init__(self, first=0, second=0):
        _check_integer(first)
        _check_integer(second)
        self._numbers = [first, second]

    def pair(self):
        return self._numbers[:]


class ePoint(_Pair):

    def x(self):
        return self._numbers[0]

    def y(self):
        return self._numbers[1]


class eSize(_Pair):

    def width(self):
        return self._numbers[0]

    def height(self):
        return self._numbers[1]


class eWidget(object):
    """What is painted in a rectangle of a window. kind: which attributes of a skin it knows."""

    kind = "other"

    def __init__(self):
        self._position, self._size = ePoint(), eSize()
        self._shown = True
        self.look = {}  # what the skin says of it (skin_screen.py)

    def move(self, position):
        self._position = position

    def resize(self, size):
        self._size = size

    def position(self):
        return self._position

    def size(self):
        return self._size

    def show(self):
        self._shown = True

    def hide(self):
        self._shown = False

    def isVisible(self):
        return self._shown

    # For the skin.

    def rect(self):
        return self._position.pair() + self._size.pair()

    def skinned(self, look):
        """All attributes have been applied."""
        self.look = look


class eWindow(eWidget):
    """A window: placed by its content, and asked for the place of its frame."""

    kind = "window"
    border = (0, 0, 0, 0)  # left, top, right, bottom

    def position(self):
        return ePoint(self._position.x() - self.border[0], self._position.y() - self.border[1])

    def size(self):
        return eSize(self._size.width() + self.border[0] + self.border[2],
                     self._size.height() + self.border[1] + self.border[3])

    def frame(self):
        return self.position().pair() + self.size().pair()


class eLabel(eWidget):
    """A compiled text widget: byte strings only."""

    kind = "label"

    def __init__(self):
        eWidget.__init__(self)
        self._text = ""

    def setText(self, text):
        _check_string(text)
        self._text = text

    def getText(self):
        return self._text

    def skinned(self, look):
        eWidget.skinned(self, look)
        if look.get("text") is not None:
            self._text = look["text"]

    def calculateSize(self):
        """The size that the text needs, wrapped at the label's width."""
        lines, height = typeset(self._text, self.look.get("font") or DEFAULT_FONT,
                                None if self.look.get("noWrap") else self._size.width())
        return eSize(max([width for _, width in lines] + [0]), height * len(lines))


class ePixmap(eWidget):
    kind = "picture"


class eSlider(eWidget):

    kind = "slider"
    value = range = None  # until they are set

    def setRange(self, start, end):
        self.range = [start, end]

    def setValue(self, value):
        self.value = value


class eScrollLabel(eLabel):
    kind = "scroll"


class ePositionGauge(eWidget):
    kind = "gauge"


class eVideoWidget(eWidget):
    kind = "television"


class eListbox(eWidget):
    """A compiled list: keeps the selected index within its rows, and takes keys while in front."""

    kind = "list"
    prio, contexts = 0, ["ListboxActions"]  # as those of an ActionMap
    itemHeight = 25

    def __init__(self):
        eWidget.__init__(self)
        self.order = keymap.place()
        self.wrap = False
        self.changed = lambda: None  # called after a key has moved the selection
        self.scrollbarMode = "showOnDemand"
        self._count = 0
        self._index = 0

    def skinned(self, look):
        eWidget.skinned(self, look)
        if look.get("itemHeight") is not None:
            self.itemHeight = look["itemHeight"] or 20
        self.scrollbarMode = look.get("scrollbarMode") or self.scrollbarMode
        self.wrap = bool(look.get("enableWrapAround"))

    def setCount(self, count):
        self._count = count
        self.moveSelectionTo(self._index)

    def count(self):
        return self._count

    def getCurrentIndex(self):
        return self._index

    def rowsOfPage(self):
        return self._size.height() // self.itemHeight

    def moveSelectionTo(self, index):
        _check_integer(index)
        self._index = max(0, min(index, self._count - 1))

    def action(self, context, action):
        """Move as the list action says: moveUp, moveDown, pageUp, pageDown."""
        page = self.rowsOfPage()
        if page:
            index = self._index + {"moveUp": -1, "moveDown": 1, "pageUp": -page,
                                   "pageDown": page}[action]
            if self.wrap and self._count and action.startswith("move"):
                index %= self._count
            self.moveSelectionTo(index)
        self.changed()
        return True


class eDesktop(object):

    def __init__(self):
        self.resize(720, 576)

    def resize(self, width, height):
        """Make the picture this large."""
        self._size = eSize(width, height)

    def size(self):
        return self._size

    def pair(self):
        return self._size.pair()


PICTURES = {1280: 720, 1920: 1080}  # width: height
_desktop = eDesktop()


def getDesktop(which):
    """The television's picture; a receiver may have a display of its own besides."""
    return _desktop


def typeset_evenly(text, font, width):
    """As painting.text.measured, with letters that are alike on every machine."""
    pixels = skin.pixels(font)
    return measured([EvenFace(pixels)] if pixels else [], text if text.strip() else "", width)


#: What measures texts: another function of this form may take its place.
typeset = typeset_evenly


class gPixmap(object):

    def __init__(self, path):
        self.path = path


def loadPNG(path):
    return gPixmap(path) if os.path.isfile(path) else None
