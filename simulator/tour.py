"""A fixed walk through everything the module does.

With the sample feed, the model duo2 and no language named the walk has to print what
recorded/tour.txt holds. Otherwise it checks what holds for all: which screen opens, what opkg is
asked, which files go.
After a change that is meant, recorded/tour.txt is what the walk prints:

    ./run --tour > simulator/recorded/tour.txt       # and then cut off the complaint at its end
"""
from __future__ import print_function

import difflib
import os
import re
import traceback

from Screens.ChoiceBox import ChoiceBox
from Screens.Ipkg import Ipkg
from Screens.MessageBox import MessageBox
from simulator import ROOT, SAMPLE_FEED, packages
from simulator.receiver import MODULE_FILES, Receiver

EXPECTED = "simulator/recorded/tour.txt"
LISTING = "/tmp/.package.tmp"
DAY = 24 * 3600


class Tour(object):
    """Walks through the feed of `server`, a started FeedServer, on a receiver `model`.

    skin: what Receiver() takes as that.
    """

    def __init__(self, server, model, language, skin):
        self._server = server
        self._model, self._language, self._skin = model, language, skin
        self._has_text = (os.path.realpath(server.directory) == SAMPLE_FEED
                          and (model, language) == ("duo2", "en")
                          and skin["directory"] is None and skin["user_file"] is None)
        self._printed = []  # lines
        self.wrong = []  # sentences
        self._steps = 0

    def run(self):
        """Walk, print each screen, and return the exit status: 0, or 1 when something was wrong."""
        self.walk()
        end = "\nThe tour is complete: %d steps, all as they must be." % self._steps
        if self._has_text:
            self._compare(end)
        print("\n" + "\n".join("WRONG: " + each for each in self.wrong) if self.wrong else end)
        return 1 if self.wrong else 0

    def walk(self):
        """Walk from screen to screen; `wrong` has a sentence for each thing that was wrong."""
        packages.install_initial_state()
        with Receiver(model=self._model, language=self._language, skin=self._skin,
                      feed_url=self._server.url) as self._box:
            try:
                self._box.start_plugin()
                self._open_and_list()
                if self._box.rows():
                    self._read_and_step()
                    self._see_updates()
                self._install_and_remove()
                self._close()
                self._check_in_the_background()
                self._lose_the_connection()
            except Exception:
                self.fail(traceback.format_exc())

    def fail(self, lines):
        """Note a traceback, which has ended the walk."""
        self._print(lines)
        self.wrong.append("The tour ended early, with the traceback above.")

    def _print(self, text):
        self._printed += text.split("\n")
        print(text)

    def _compare(self, end):
        with open(os.path.join(ROOT, EXPECTED)) as stream:
            expected = stream.read().split("\n")
        difference = list(difflib.unified_diff(expected, self._printed + end.split("\n") + [""],
                                               EXPECTED, "this tour", lineterm=""))
        if difference:
            self.wrong.append("It is not what %s shows:\n%s" % (EXPECTED, "\n".join(difference)))

    def _show(self, heading):
        self._steps += 1
        self.tell(self._steps, heading, self._box)
        del self._box.commands[:], self._server.requests[:]

    def tell(self, step, heading, box):
        """Print the screen in front, and what else there is to see at this step."""
        lines = ["", "%d. %s" % (step, heading), box.show()]
        lines += ["command: " + command for command in box.commands]
        # opkg asks while the walk goes on.
        lines += ["request: " + path for path in self._server.requests if "/all/" not in path]
        lines += ["file: " + name for name in MODULE_FILES if os.path.exists(name)]
        if box.timers():
            lines.append("timers: " + " ".join("%.1f" % (each / 1000.0) for each in box.timers()))
        if box.config.usage.update_available.value:
            lines.append("setting: update_available")
        # As long as a port, whose digits are others each time.
        self._print(re.sub(r"(127\.0\.0\.1:)\d+", r"\1PORT.", "\n".join(lines)))

    def _must(self, what, found, expected):
        if found != expected:
            self.wrong.append("At step %d %s is %r and must be %r."
                              % (self._steps, what, found, expected))

    def _must_be_front(self, screen_class):
        self._must("the class of the front screen", type(self._box.screen), screen_class)

    def _must_be_gone(self):
        """The television picture is back, and the module's files are gone."""
        self._must("the front screen", self._box.screen, None)
        for name in MODULE_FILES:
            self._must("the presence of %s" % name, os.path.exists(name), False)

    def _open_and_list(self):
        box = self._box
        box.open_news()
        self._must_be_front(box.module.AllNews)
        self._show("The news browser opens at once, with a row that asks to wait")
        box.pass_time(0.1)
        self._show("A tenth of a second later the news is there")
        if isinstance(box.screen, MessageBox):
            box.press("ok")
        self._must_be_front(box.module.AllNews)

    def _read_and_step(self):
        box = self._box
        box.press("ok")
        self._must_be_front(box.module.ZirkUpdateInfo)
        self._show("OK shows the selected entry")
        first = box.show()
        box.press("right")
        self._must("the picture, as there is nothing newer", box.show(), first)
        box.press("left")
        self._show("Left steps to the next entry")
        second = box.show()
        box.press("down")
        self._show("Down turns to the text's next page")
        box.press("up")
        self._must("the picture, back on the first page", box.show(), second)
        box.press("cancel")
        self._must_be_front(box.module.AllNews)
        self._show("Exit returns to the list, at the entry last shown")

    def _see_updates(self):
        box = self._box
        box.press("blue")
        self._must("the list of running commands", box.running, ["opkg update"])
        self._show("Blue asks the package manager what can be updated")
        box.settle()
        self._must("the list of commands run", box.commands,
                   ["opkg list-upgradable > " + LISTING])
        self._show("The package manager has answered")
        box.press("yellow")
        self._must_be_front(box.module.ZirkUpdateInfo)
        self._show("Yellow returns to the entry")
        box.press("green")
        self._show("Green opens the image's own upgrade screen")
        box.press("cancel", "cancel")
        self._must_be_front(box.module.AllNews)

    def _install_and_remove(self):
        box = self._box
        box.press("yellow")
        if not isinstance(box.screen, ChoiceBox):
            return  # the statistics are not there
        self._show("Yellow offers the Top 20 of the feed")
        categories = box.rows()
        if categories:
            rows = self._open(categories[0], "The first category, and what can be done to each")
            install = " - " + self._translated("Install")
            new = [number for number, row in enumerate(rows) if row.endswith(install)]
            if not new:
                box.press("cancel")
            elif self._act(new[0], "install", "The package is being installed"):
                rows = self._open(categories[0], "The installed package can now be removed")
                self._must("what the row offers", rows[new[0]].split(" - ")[-1],
                           self._translated("Remove"))
                self._act(new[0], "remove --force-depends --autoremove", "It is removed again")
        self._must_be_front(ChoiceBox)
        box.press("cancel")
        self._must_be_front(box.module.AllNews)

    def _translated(self, text):
        return getattr(self._box.module, "_", _)(text)

    def _open(self, category, heading):
        self._box.choose(category)
        self._must_be_front(ChoiceBox)
        self._show(heading)
        return self._box.rows()

    def _act(self, number, verb, heading):
        """Choose a row and run what it is for; return whether opkg could do it."""
        box = self._box
        box.choose(box.rows()[number])
        self._must_be_front(Ipkg)
        box.settle()
        command, _, name = box.commands[-1].rpartition(" ")
        done = box.text("status") == "Done"
        self._must("the command", command, "opkg " + verb)
        if done:
            self._must("whether %s is installed" % name, name in packages.installed_packages(),
                       verb == "install")
        self._show(heading)
        box.press("ok")
        self._must_be_front(ChoiceBox)
        return done

    def _close(self):
        self._box.press("red")
        self._show("Red closes the news browser and removes its files")
        self._must_be_gone()

    def _check_in_the_background(self):
        box = self._box
        box.pass_time(59)
        self._must("the list of commands run before a minute has passed", box.commands, [])
        box.pass_time(1)
        self._must("the list of commands run", box.commands,
                   ["opkg update", "opkg list-upgradable"])
        self._show("A minute after the start the package manager was asked")
        if box.screen is None:
            return
        self._must_be_front(MessageBox)
        box.answer(True)
        self._must_be_front(box.module.AllNews)
        self._show("Yes opens the news browser; the next check is a day away")
        box.pass_time(0.1)
        if box.rows():
            box.press("blue")
            self._must("the list of commands run", box.commands, [])
            self._show("Blue shows what the check found, without asking again")
            box.press("cancel")
        while box.screen is not None:
            box.press("cancel")
        box.pass_time(DAY)
        self._must_be_front(MessageBox)
        self._show("A day later it asks again")
        box.answer(False)
        self._show("After a no the television picture is back")
        self._must_be_gone()

    def _lose_the_connection(self):
        box = self._box
        self._server.fault("zirknews.xml", status=404)
        box.open_news()
        box.pass_time(0.1)
        self._must_be_front(MessageBox)
        self._show("When the feed is out of reach a message says so")
        box.press("ok", "cancel")
        self._must_be_gone()
