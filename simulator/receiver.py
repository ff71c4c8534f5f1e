"""A simulated receiver for tests, the tour and the terminal. README.md beside this describes it."""

import __builtin__
import collections
import os
import subprocess
import sys

import Components.Language
import Components.config
import Screens.Ipkg
import Tools.HardwareInfoVu
import enigma
import keymap
import skin
import skin_screen
from Screens.ChoiceBox import ChoiceBox
from Screens.MessageBox import MessageBox
from Tools import Notifications
from simulator import loop, plugin_files, skins, view
from simulator.session import Session

FEED_CONFIGURATION = "/etc/opkg/all-feed.conf"
MODULE_FILES = ("/tmp/.package.tmp", "/tmp/.updatecache", "/tmp/.installed")
StillRunning = loop.StillRunning  # what settle() and others raise
PLUGIN_SCREENS = ("AllNews", "ZirkUpdateInfo", "BackupSuite")

_shared_instances = {}  # combination of what the module reads at its import: its instance
_current = []  # the receiver that lives


class Receiver(object):

    def __init__(self, model="duo2", image_version="3.1.0", feed_url=None, encoding="utf-8",
                 screens=PLUGIN_SCREENS, check_for_updates=24, show_notification=True,
                 language="en", module=None, plugin_package=True, fresh=False, load=True,
                 raise_errors=True, late_callbacks=False, ipkg_result=True, skin=None):
        _require_sandbox()
        for other in _current:
            other.close()
        _current.append(self)
        self._patches = []
        self.loop = loop.main_loop
        self.loop.reset()
        self.loop.raise_errors = raise_errors
        self.config = Components.config.config
        self.session = Session(self.loop)
        keymap.reset()
        Components.config.initUsageConfig(check_for_updates, show_notification)
        Tools.HardwareInfoVu.HardwareInfoVu.device_name = model
        enigma.zirk_version = image_version
        enigma.eConsoleAppContainer.late_callbacks = late_callbacks
        Screens.Ipkg.Ipkg.closes_with_value = ipkg_result
        set_default_encoding(encoding)
        __builtin__._ = lambda text: text
        Components.Language.language.key = language
        _write_feed_configuration(feed_url)
        for name in MODULE_FILES:
            if os.path.lexists(name):
                os.remove(name)
        module = os.path.abspath(module or os.environ["KELVARO_MODULE"])
        combination = (module, plugin_package, model, image_version)
        self._instance = None if fresh else _shared_instances.get(combination)
        if self._instance is None:
            self._instance = plugin_files.Instance(module, plugin_package)
            if not fresh:
                _shared_instances[combination] = self._instance
        self._instance.activate()
        self.plugin_path = plugin_files.DIRECTORY
        enigma.typeset = view.typeset
        self._skin = skin or {}
        self.session.before_layout = self._refresh_skin
        self.use_skin(None, screens)
        if load:
            self.load()

    # Life.

    def load(self):
        if self.module is None:
            self._instance.load()
        if self.plugin is not None:
            self.plugin.Plugins(self.plugin_path)
        return self.module

    def patch(self, owner, name, value):
        """setattr(owner, name, value) until close(); return the old value, None if none."""
        missing = object()
        # vars() and not getattr(): what a class inherits is not put into it at the end.
        self._patches.append((owner, name, vars(owner).get(name, missing), missing))
        old = getattr(owner, name, None)
        setattr(owner, name, value)
        return old

    def close(self):
        if self not in _current:
            return
        _current.remove(self)
        self.loop.reset()
        while self.session.stack:
            self.session.stack.pop().doClose()
        while self._patches:
            owner, name, old, missing = self._patches.pop()
            if old is missing:
                delattr(owner, name)
            else:
                setattr(owner, name, old)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    # Parts.

    module = property(lambda self: self._instance.module)
    plugin = property(lambda self: self._instance.plugin)
    screen = property(lambda self: self.session.current_dialog)
    stack = property(lambda self: list(self.session.stack))

    # Driving.

    def start_plugin(self):
        if self.plugin is not None:
            self.loop.call(self.plugin.sessionstart, self.session)
        else:
            notifier = self.module.update_notification
            self.loop.call(notifier.setSession, self.session, self.plugin_path)
            self.loop.call(notifier.init_timer)

    def open_news(self):
        if self.plugin is not None:
            self.loop.call(self.plugin.main, self.session)
        else:
            self.loop.call(self.session.open, self.module.AllNews, self.plugin_path)
        self.loop.run_due()
        return self.screen

    def press(self, *keys):
        taken = None
        for key in keys:
            taken = self.loop.call(keymap.press, key)
            self.loop.run_due()
        return taken

    def pass_time(self, seconds):
        self.loop.pass_time(seconds)

    def live(self, seconds):
        self.loop.live(seconds)

    def settle(self):
        self.loop.settle()

    def answer(self, yes):
        if not isinstance(self.screen, MessageBox):
            raise LookupError("there is no message box in front")
        values = [row[1] for row in self.screen["list"].list]
        if values:
            self._move_to(values.index(yes))
        self.press("ok")

    def choose(self, text):
        if not isinstance(self.screen, ChoiceBox):
            raise LookupError("there is no chooser in front")
        rows = self.rows()
        matches = [row for row in rows if row == text] or [
            row for row in rows if row.startswith(text)]
        if not matches:
            raise LookupError("no row starts with '%s'; there are %r" % (text, rows))
        self._move_to(rows.index(matches[0]))
        self.press("ok")

    def _move_to(self, row):
        while self.cursor != row:
            self.press("down" if self.cursor < row else "up")

    def hold(self):
        self.loop.held = True

    def release(self):
        self.loop.held = False

    def finish(self, command=None):
        for container in self.loop.running:
            if command in (None, container.command):
                self.loop.finish(container)
                return
        raise LookupError("the command '%s' does not run" % command if command
                          else "no command runs")

    def use_skin(self, width=None, screens=PLUGIN_SCREENS):
        """From now on the skin has these of the plug-in's screens; its files are read anew.

        The picture is this wide, unless the skin says how wide it is. A skin that does not start
        makes room for the simulator's own, and skin_failure says in a sentence what is wrong.
        """
        self._skin_use = width, screens
        self._load_skin()
        for screen in self.session.stack:
            self.loop.call(skin_screen.applySkinAnew, screen)

    def _load_skin(self):
        width, screens = self._skin_use
        size = (width, enigma.PICTURES[width]) if width else self._skin.get("size", (1280, 720))
        self.skin_failure = None
        try:
            skins.use(**dict(self._skin, size=size))
        except skins.SkinFailed as e:
            self.skin_failure = str(e)
            skins.use(size=size)
        plugin_files.lend_screens()
        for name in set(PLUGIN_SCREENS) - set(screens):
            skin.dom_screens.pop(name, None)

    def _refresh_skin(self):
        """An edit of a skin from elsewhere shows in what is opened after it."""
        if self._skin.get("directory") and skin.edited():
            self._load_skin()

    # Looking.

    @property
    def _list(self):
        """The first list in front, as view.describe() has it; without any, one of no rows."""
        shown = view.describe(self.screen) or {"elements": []}
        lists = [element for element in shown["elements"] if element["kind"] == "list"]
        return lists[0] if lists else {"rows": [], "index": None}

    def rows(self):
        return [row["text"] for row in self._list["rows"]]

    def icons(self):
        return [row["icon"] for row in self._list["rows"]]

    @property
    def cursor(self):
        return self._list["index"]

    def text(self, name):
        return self.screen[name].getText()

    def page(self):
        return self.screen["update"].visibleLines()

    def show(self):
        return view.draw(view.describe(self.screen))

    @property
    def title(self):
        return None if self.screen is None else self.screen.getTitle()

    @property
    def layout(self):
        return None if self.screen is None else self.screen.layout

    @property
    def seconds_left(self):
        return self.screen.secondsLeft() if isinstance(self.screen, MessageBox) else None

    def timers(self):
        return [timer.due - self.loop.now for timer in self.loop.armed_timers()]

    running = property(lambda self: [container.command for container in self.loop.running])
    commands = property(lambda self: self.loop.commands)
    errors = property(lambda self: self.loop.errors)
    notifications = property(lambda self: len(Notifications.notifications))


Result = collections.namedtuple("Result", "status stdout stderr")


def run_fresh(code, optimised=True, **environment):
    """Run the Python text `code` in a new interpreter, with these variables set as well.

    optimised: as on receivers, without assertions. Returns its exit status, standard output and
    standard error.
    """
    options = ["-O"] if optimised else []
    process = subprocess.Popen([sys.executable] + options + ["-c", code],
                               env=dict(os.environ, **environment),
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, close_fds=True)
    stdout, stderr = process.communicate()
    return Result(process.returncode, stdout, stderr)


def _require_sandbox():
    # Set by tools/sandbox; without it /etc and /tmp would be the machine's own.
    if "KELVARO_ROOT" not in os.environ:
        raise RuntimeError("the simulated receiver runs only inside the sandbox: "
                           "tools/sandbox python2.7 -O ...")


def set_default_encoding(encoding):
    if not hasattr(sys, "setdefaultencoding"):
        # The interpreter has hidden it; reloading also resets the three streams.
        streams = sys.stdin, sys.stdout, sys.stderr
        reload(sys)
        sys.stdin, sys.stdout, sys.stderr = streams
    sys.setdefaultencoding(encoding)


def _write_feed_configuration(url):
    if url is not None:
        with open(FEED_CONFIGURATION, "w") as configuration:
            configuration.write("src/gz Zirk-all %s\n" % url)
    elif os.path.lexists(FEED_CONFIGURATION):
        os.remove(FEED_CONFIGURATION)
