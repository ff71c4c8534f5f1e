"""The receiver at a terminal: draws the screen in front, takes keys as a remote control does."""

import os
import select
import signal
import sys
import termios
import tty

from simulator import view

HELP = ("arrows  Enter=OK  Esc/q=exit  r g y b=colours  PgUp PgDn  "
        "t=+10 s  h=+1 h  d=+24 h  n=news")
KEYS = {
    "\x1b[A": "up", "\x1b[B": "down", "\x1b[C": "right", "\x1b[D": "left",
    "\x1bOA": "up", "\x1bOB": "down", "\x1bOC": "right", "\x1bOD": "left",
    "\x1b[5~": "pageUp", "\x1b[6~": "pageDown",
    "\r": "ok", "\n": "ok", "\x1b": "cancel", "q": "cancel",
    "r": "red", "g": "green", "y": "yellow", "b": "blue",
}
SECONDS = {"t": 10, "h": 3600, "d": 24 * 3600}


class Terminal(object):
    """Shows `box`, a Receiver made with raise_errors=False, at the terminal on stdin and stdout.

    speed: simulated seconds that pass in a real one.
    run() returns when the user leaves the television picture with the exit key, or presses
    Ctrl-C. The terminal's mode is put back in any case.
    """

    def __init__(self, box, speed=1.0, stdin=sys.stdin, stdout=sys.stdout):
        self._box = box
        self._speed = speed
        self._in = stdin.fileno()
        self._out = stdout.fileno()
        self._leaving = False
        self._drawn = None

    def run(self):
        mode = termios.tcgetattr(self._in)
        old_handlers = [(number, signal.signal(number, _end))
                        for number in (signal.SIGTERM, signal.SIGHUP)]
        self._write("\x1b[?1049h\x1b[?25l")  # a screen of our own, without a cursor
        try:
            tty.setcbreak(self._in)
            self._turn_until_left()
        except KeyboardInterrupt:
            pass
        finally:
            termios.tcsetattr(self._in, termios.TCSADRAIN, mode)
            self._write("\x1b[?25h\x1b[?1049l")
            for number, handler in old_handlers:
                signal.signal(number, handler)

    def _turn_until_left(self):
        self._draw()
        for ready in self._box.loop.turns(self._in, self._speed):
            if ready is None:
                self._drawn = None  # the window's size has changed
            for key in self._read_keys() if ready else ():
                self._key(key)
            if self._leaving:
                return
            self._draw()

    def _key(self, key):
        box = self._box
        if key in SECONDS:
            box.live(SECONDS[key])
        elif key == "n" and box.screen is None:
            box.open_news()
        elif KEYS.get(key) == "cancel" and box.screen is None:
            self._leaving = True
        elif key in KEYS:
            box.press(KEYS[key])

    def _read_keys(self):
        data = os.read(self._in, 64)
        if not data:
            self._leaving = True  # the terminal has gone
        if data == "\x1b" and select.select([self._in], [], [], 0.05)[0]:
            data += os.read(self._in, 64)  # the rest of a key's sequence
        keys = []
        while data:
            known = [key for key in KEYS if data.startswith(key)]
            key = max(known, key=len) if known else data[0]
            keys.append(key)
            data = data[len(key):]
        return keys

    def _draw(self):
        lines = view.draw(view.describe(self._box.screen)).split("\n")
        lines += ["", _clock(self._box.loop.now), HELP]
        if self._box.running:
            lines.append("running: " + self._box.running[0])
        if self._box.errors:
            lines += ["", "A receiver would restart its GUI here:"]
            lines += self._box.errors[-1].rstrip("\n").split("\n")[-8:]
        if lines != self._drawn:
            self._drawn = lines
            self._write("\x1b[H" + "".join(line + "\x1b[K\r\n" for line in lines) + "\x1b[J")

    def _write(self, text):
        while text:
            text = text[os.write(self._out, text):]


def _clock(milliseconds):
    minutes, seconds = divmod(milliseconds // 1000, 60)
    hours, minutes = divmod(minutes, 60)
    return "up for %d:%02d:%02d" % (hours, minutes, seconds)


def _end(number, frame):
    raise SystemExit(128 + number)
