# -*- coding: utf-8 -*-
"""What the tests of the two screens share."""

import sys

from tests.support.receiver import Broken, ReceiverTest, document, entry, raising

from Screens.Screen import Screen

UP_TO_DATE = "\nYour System is up to date"


def block(name, old, new):
    """The text of an upgradable package."""
    return "\nPackage : %s \nold version : %s \nnew version : %s\n" % (name, old, new)


def noting(screen_class, steps, failing=None, error=Broken):
    """A subclass that adds to `steps` what the module sets on a screen, in order.

    An attribute is noted by its name, a widget as (name, name of its class). Setting `failing`
    raises `error` instead.
    """
    def note(step):
        if step == failing:
            raise error
        steps.append(step)

    def set_attribute(screen, name, value):
        # The host's own constructor, a frame of Python, sets some, too.
        if sys._getframe(1).f_globals["__name__"] != Screen.__module__:
            note(name)
        object.__setattr__(screen, name, value)

    def set_widget(screen, name, value):
        note((name, type(value).__name__))
        Screen.__setitem__(screen, name, value)
    return type("Noting", (screen_class,),
                {"__setattr__": set_attribute, "__setitem__": set_widget})


class ScreenTest(ReceiverTest):

    def assertMadeStepByStep(self, screen_class, arguments, steps, before_base, guarded=None):
        """A new screen does `steps`; where one fails, but for `guarded`, none follows it.

        before_base: how many come before the base class's own constructor.
        """
        done = []
        noting(screen_class, done)(*arguments)
        self.assertEqual(done, steps)
        for number, failing in enumerate(steps):
            done = []
            make = noting(screen_class, done, failing)
            if failing == guarded:
                make(*arguments)
                self.assertEqual(done, steps[:number] + steps[number + 1:])
            else:
                self.assertRaises(Broken, make, *arguments)
                self.assertEqual(done, steps[:number])
        done = []
        self.box.patch(Screen, "__init__", raising())
        self.assertRaises(Broken, noting(screen_class, done), *arguments)
        self.assertEqual(done, steps[:before_base])

    def assertRefused(self, entries, front, call, *arguments):
        """The session opens no screen: the call fails with that, and `front` stays in front."""
        refusal = RuntimeError("only the screen in front can open another")
        session_open = self.box.patch(self.box.session, "_open", raising(refusal))
        self.assertIs(self.assertFails(RuntimeError, entries, call, *arguments), refusal)
        self.box.session._open = session_open
        self.box.settle()
        self.assertEqual((self.box.screen, self.box.running), (front, []))

    def assertOpens(self, key):
        """The key opens a screen, and cancel leads back."""
        front = self.box.screen
        self.box.press(key)
        self.assertIsNot(self.box.screen, front)
        self.box.press("cancel")
        self.box.settle()
        self.assertIs(self.box.screen, front)

    def note_openings(self, method="openWithCallback"):
        """Note the arguments of every opening in the list returned; open nothing."""
        calls = []
        self.box.patch(self.box.session, method,
                       lambda *args, **kwargs: calls.append((args, kwargs)))
        return calls


class DetailTest(ScreenTest):
    """self.browser is the browser with four entries in its list."""

    news = document(
        entry("One", "urgent", [("Do it", ["today", "twice"]), ("Thanks", []), (None, ["why"])]),
        entry("Two", None, [("Faster", [])]),
        entry("Three", "info"),
        entry("Four", None, [(None, [])]))
    header = "Zirk 3.1.0 (Vu+ Duo2)\n"
    news_keys = {"red": "Close", "green": "Update", "yellow": " ", "blue": "show Updates"}
    updates_keys = {"red": "Close", "green": "Update", "yellow": "show News", "blue": " "}

    @property
    def flag(self):
        return self.box.config.usage.update_available.value

    def setUp(self):
        super(DetailTest, self).setUp()
        self.open_browser()

    def open_browser(self):
        self.browser = self.open_news()

    def open_detail(self, *args, **kwargs):
        """Open the screen, as a subclass if the keyword argument `screen` says so."""
        return self.open_screen(kwargs.pop("screen", self.module.ZirkUpdateInfo), *args, **kwargs)

    def labels(self):
        return dict((key, self.box.text("key_" + key)) for key in self.news_keys)
