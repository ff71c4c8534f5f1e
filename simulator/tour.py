# -*- coding: utf-8 -*-
"""A fixed walk through everything the module does, with a check at each step."""
from __future__ import print_function

import os
import traceback
from xml.etree import cElementTree

from Screens.ChoiceBox import ChoiceBox
from Screens.Ipkg import Ipkg
from Screens.MessageBox import MessageBox
from simulator import packages
from simulator.opkg import database
from simulator.receiver import Receiver

CACHE = "/tmp/.updatecache"
LISTING = "/tmp/.package.tmp"
DAY = 24 * 3600
QUESTION = "There are updates available.\nDo you want to open Software Update menu ?"
SECTIONS = [("EXTENSIONS", "Extensions", "extensions-"),
            ("SYSTEMPLUGINS", "Systemplugins", "systemplugins-"), ("SKINS", "Skins", "skin-")]


class Entry(object):
    """One entry of the news, as it must be shown."""

    def __init__(self, update, model):
        self.title = update.find(".//title").text.encode("utf-8")
        kind = update.get("type", "normal")
        self.icon = kind if kind in ("urgent", "info") else "normal"
        self.text = ""
        for item in _meant_for(model, update.iter("item")):
            texts = [one.text for one in item.iter("itemtext") if one.text]
            self.text += "* %s\n" % (texts[-1].encode("utf-8") if texts else None)
            lines = [one.text.encode("utf-8")
                     for one in _meant_for(model, item.iter("description")) if one.text]
            self.text += "".join("    - %s\n" % line for line in lines) + ("\n" if lines else "")


def expected_news(directory, model):
    """The entries that a receiver of this model must show for the feed in `directory`."""
    news = cElementTree.parse(os.path.join(directory, "zirknews.xml"))
    return [Entry(update, model) for update in _meant_for(model, news.getroot().iter("update"))]


def _meant_for(model, elements):
    return [element for element in elements
            if model in element.get("require", model).split(",")]


def expected_choices(directory):
    """The Top 20's rows: (category, [row, ...]) for each category that has some."""
    sections = dict((name, []) for name, _, _ in SECTIONS)
    records = []  # those before the first section belong nowhere
    installed = packages.installed_packages()
    with open(os.path.join(directory, "zirkdlstat.txt")) as statistics:
        for line in statistics.read().split("\n"):
            if line in sections:
                prefix = "enigma2-plugin-" + dict((s[0], s[2]) for s in SECTIONS)[line]
                records = sections[line]
            elif ";" in line:
                name, count = line.split(";")[:2]
                verb = "Remove" if prefix + name in installed else "Install"
                records.append("%s   (%s) - %s" % (name.title(), count, verb))
    return [(title, sections[name]) for name, title, _ in SECTIONS if sections[name]]


def expected_upgrades(directory):
    """Package name to (old version, new version) of what the feed has newer."""
    installed = packages.installed_packages()
    index = database.parse(database.read(os.path.join(directory, "all", "Packages")) or "")
    return dict((fields["Package"], (installed[fields["Package"]], fields["Version"]))
                for fields in index
                if installed.get(fields["Package"], fields["Version"]) != fields["Version"])


class Tour(object):
    """Walks through the feed of `server`, a started FeedServer, on a receiver `model`."""

    def __init__(self, server, model):
        self._server = server
        self._directory = server.directory
        self._model = model
        self._wrong = []  # sentences
        self._steps = 0

    def run(self):
        """Walk, print each screen, and return the exit status: 0, or 1 when something was wrong."""
        packages.install_initial_state()
        with Receiver(model=self._model, feed_url=self._server.url) as self._box:
            try:
                self._box.start_plugin()
                self._news = expected_news(self._directory, self._model)
                if len(self._news) < 2:
                    raise LookupError("the feed has fewer than two entries for this model")
                self._open_and_list()
                self._read_and_step()
                self._see_updates()
                self._install_and_remove()
                self._close()
                self._check_in_the_background()
            except Exception:
                print(traceback.format_exc())
                self._wrong.append("The tour ended early, with the traceback above.")
        print()
        for sentence in self._wrong:
            print("WRONG: %s" % sentence)
        if not self._wrong:
            print("The tour is complete: %d steps, all as they must be." % self._steps)
        return 1 if self._wrong else 0

    def _show(self, heading):
        self._steps += 1
        print("\n%d. %s\n%s" % (self._steps, heading, self._box.show()))

    def _must(self, what, found, expected):
        if found != expected:
            self._wrong.append("At step %d %s is %r and must be %r."
                               % (self._steps, what, found, expected))

    def _must_be_labelled(self, red, green, yellow, blue):
        labels = [self._box.text("key_" + name) for name in ("red", "green", "yellow", "blue")]
        self._must("the list of key labels", labels, [red, green, yellow, blue])

    def _must_be_front(self, screen_class):
        self._must("the class of the front screen", type(self._box.screen), screen_class)

    def _must_show(self, entry):
        self._must("the header", self._box.text("header"), self._box.module.header + entry.title)
        self._must("the text", self._box.text("update"), entry.text)

    def _must_show_upgrades(self, upgrades):
        blocks = ["Package : %s \nold version : %s \nnew version : %s\n" % ((name,) + versions)
                  for name, versions in upgrades.items()]
        # Each block has a line feed in front; their order is the package manager's.
        shown = [block for block in self._box.text("update").split("\nPackage") if block]
        if upgrades:
            self._must("the sorted list of packages", sorted("Package" + one for one in shown),
                       sorted(blocks))
        else:
            self._must("the text", self._box.text("update"), "\nYour System is up to date")

    def _open_and_list(self):
        box, module = self._box, self._box.module
        box.open_news()
        self._show("The news browser opens at once, with a row that asks to wait")
        self._must_be_front(module.AllNews)
        self._must("the list of rows", box.rows(), ["Please wait ..."])
        self._must("the list of icons", box.icons(), ["info"])
        self._must("the start of the header", box.text("header")[:16], "Zirk 3.1.0 (Vu+ ")
        self._must_be_labelled("Exit", "Update", "Top 20", "show Updates")
        self._must("the presence of the news cache", os.path.exists(CACHE), False)

        box.pass_time(0.1)
        self._show("A tenth of a second later the news are there")
        self._must("the list of rows", box.rows(), [entry.title for entry in self._news])
        self._must("the list of icons", box.icons(), [entry.icon for entry in self._news])
        self._must("the presence of the news cache", os.path.exists(CACHE), True)
        self._must("the last request", self._server.requests[-1][-13:], "/zirknews.xml")

    def _read_and_step(self):
        box, news = self._box, self._news
        box.press("ok")
        self._show("OK shows the selected entry")
        self._must_be_front(box.module.ZirkUpdateInfo)
        self._must("the title", box.text("title"), "News about ZIRK")
        self._must_show(news[0])
        self._must_be_labelled("Close", "Update", " ", "show Updates")

        box.press("right")
        self._must_show(news[0])  # there is nothing newer
        box.press("left")
        self._show("Left steps to the next entry")
        self._must_show(news[1])
        lines = box.page()
        box.press("down")
        if box.screen["update"].pageNumber()[1] > 1:
            self._show("Down turns to the text's next page")
            self._must("what turning the page does", box.page() != lines, True)
            box.press("up")
        self._must("the page", box.page(), lines)
        box.press("cancel")
        self._show("Exit returns to the list, at the entry last shown")
        self._must_be_front(box.module.AllNews)
        self._must("the cursor", box.cursor, 1)

    def _see_updates(self):
        box = self._box
        upgrades = expected_upgrades(self._directory)
        box.press("blue")
        self._show("Blue asks the package manager what can be updated")
        self._must("the title", box.text("title"), "Upgradable Packages")
        self._must("the text", box.text("update"), "Please wait ...")
        self._must("the list of running commands", box.running, ["opkg update"])
        self._must_be_labelled("Close", "Update", "show News", " ")

        box.settle()
        self._show("The package manager has answered")
        self._must("the list of commands run", box.commands,
                   ["opkg update", "opkg list-upgradable > " + LISTING])
        self._must_show_upgrades(upgrades)
        self._must("the setting update_available", box.config.usage.update_available.value,
                   bool(upgrades))

        box.press("yellow")
        self._show("Yellow returns to the entry")
        self._must("the title", box.text("title"), "News about ZIRK")
        self._must_show(self._news[1])

        box.press("green")
        self._show("Green opens the image's own upgrade screen")
        self._must("the front screen", repr(box.screen), "<screen UpdatePlugin>")
        box.press("cancel", "cancel")
        self._must_be_front(box.module.AllNews)

    def _install_and_remove(self):
        box = self._box
        choices = expected_choices(self._directory)
        box.press("yellow")
        self._show("Yellow offers the Top 20 of the feed")
        self._must_be_front(ChoiceBox)
        self._must("the list of rows", box.rows(), [category for category, _ in choices])
        category, rows = choices[0] if choices else (None, [])
        new = [number for number, row in enumerate(rows) if row.endswith(" - Install")][:1]
        if category != "Extensions" or not new:
            raise LookupError("the feed's statistics have no extension that could be installed")
        new = new[0]

        self._in_top20(category, "The extensions, and what can be done to each", rows)
        self._act(rows[new], "install", "The package is being installed")
        rows = expected_choices(self._directory)[0][1]
        self._must("what the row offers now", rows[new].split(" - ")[-1], "Remove")
        self._in_top20(category, "The installed package can now be removed", rows)
        self._act(rows[new], "remove --force-depends --autoremove", "It is being removed again")
        rows = expected_choices(self._directory)[0][1]
        self._must("what the row offers now", rows[new].split(" - ")[-1], "Install")
        box.press("cancel")
        self._must_be_front(box.module.AllNews)

    def _in_top20(self, category, heading, rows):
        box = self._box
        box.choose(category)
        self._show(heading)
        self._must("the title", box.title, "Top 20 - " + category)
        self._must("the list of rows", box.rows(), rows)

    def _act(self, row, verb, heading):
        box = self._box
        # The row's name is in title case, the package's is not.
        name = "enigma2-plugin-extensions-" + row.split("   (")[0].lower()
        del box.commands[:]
        box.choose(row)
        self._must_be_front(Ipkg)
        box.settle()
        self._show(heading)
        self._must("the list of commands run", box.commands,
                   ["opkg update", "opkg %s %s" % (verb, name)])
        self._must("the end's report", box.text("status"), "Done")
        self._must("whether it is installed", name in packages.installed_packages(),
                   verb == "install")
        box.press("ok")
        self._must_be_front(ChoiceBox)

    def _close(self):
        box = self._box
        box.press("red")
        self._show("Red closes the news browser and removes its files")
        self._must("the front screen", box.screen, None)
        for name in (CACHE, LISTING):
            self._must("the presence of %s" % name, os.path.exists(name), False)

    def _check_in_the_background(self):
        box = self._box
        upgrades = expected_upgrades(self._directory)
        del box.commands[:]
        box.pass_time(59)
        self._must("the list of commands run before a minute has passed", box.commands, [])
        box.pass_time(1)
        self._must("the list of commands run", box.commands,
                   ["opkg update", "opkg list-upgradable"])
        self._must("the setting update_available", box.config.usage.update_available.value,
                   bool(upgrades))
        if upgrades:
            self._answer(upgrades)
        else:
            self._show("A minute after the start the package manager has nothing new")
            self._must("the front screen", box.screen, None)

    def _answer(self, upgrades):
        box = self._box
        self._show("A minute after the start the check has found updates, and asks")
        self._must_be_front(MessageBox)
        self._must("the question", box.text("text"), QUESTION)
        self._must("the list of armed timers", box.timers(), [])
        box.answer(True)
        self._show("Yes opens the news browser; the next check is a day away")
        self._must_be_front(box.module.AllNews)
        self._must("the time to the next check", box.timers()[-1:], [DAY * 1000])
        with open(LISTING) as listing:
            self._must("the listing's length", len(listing.readlines()), len(upgrades))

        box.pass_time(0.1)
        del box.commands[:]
        box.press("blue")
        self._show("Blue shows what the check found, without asking again")
        self._must("the list of commands run", box.commands, [])
        self._must_show_upgrades(upgrades)
        box.press("cancel", "cancel")

        box.pass_time(DAY)
        self._show("A day later it asks again")
        self._must_be_front(MessageBox)
        box.answer(False)
        self._show("After a no the television picture is back")
        self._must("the front screen", box.screen, None)
        for name in (CACHE, LISTING):
            self._must("the presence of %s" % name, os.path.exists(name), False)
