"""Lets the user choose one of some rows."""

import enigma
from Components.ActionMap import ActionMap
from Components.ChoiceList import ChoiceList
from Components.Label import Label
from Components.Sources.StaticText import StaticText
from Screens.Screen import Screen


class ChoiceBox(Screen):
    """Closes with the chosen tuple of `list`, or with None.

    keys: the quick keys of the rows, in order; None for the digits, False for none.
    """

    ROWS = 10  # that are shown at a time, at most

    def __init__(self, session, title="", list=[], keys=None):
        Screen.__init__(self, session)
        self.skinName = "ChoiceBox"
        self.title = _("Select")
        if keys is None:
            keys = "1234567890"
        self["text"] = Label(title)
        self["list"] = ChoiceList(list, [key for key in keys or []])
        self["description"] = Label("")
        self["autoresize"] = Label("")  # a measuring aid
        self["summary_list"] = StaticText("\n".join(row[0] for row in list))
        self["summary_selection"] = StaticText(list[0][0] if list else "")
        self["actions"] = ActionMap(["OkCancelActions"], {"ok": self.go, "cancel": self.cancel})
        self["quick"] = ActionMap(["NumberActions", "ColorActions"], dict(
            (key, lambda row=row: self.close(row)) for key, row in zip(keys or [], list)), -1)

    def autoResize(self):
        """Make the box as large as its rows need it; a skin's applet calls this.

        As on receivers that fails without any row.
        """
        rows = self["list"].list
        title_width = self._width(self["text"].text)
        width = max(title_width, max(self._width(row[0]) for row in rows)) + 45 + 10
        if len(rows) > self.ROWS:
            width += 25  # for the bar
        title_height = self["text"].getSize()[1]
        height = self["list"].instance.itemHeight * min(len(rows), self.ROWS)
        self["list"].instance.move(enigma.ePoint(0, title_height))
        self["list"].instance.resize(enigma.eSize(width, height))
        self["description"].instance.move(enigma.ePoint(10, title_height + height))
        self["description"].instance.resize(
            enigma.eSize(width - 20, self["description"].getSize()[1]))
        height += title_height + self["description"].instance.size().height()
        picture = enigma.getDesktop(0).size()
        self.instance.resize(enigma.eSize(width, height))
        self.instance.move(enigma.ePoint((picture.width() - width) // 2,
                                         (picture.height() - height) // 2))

    def _width(self, text):
        self["autoresize"].setText(text)
        return self["autoresize"].getSize()[0]

    def go(self):
        self.close(self["list"].getCurrent())

    def cancel(self):
        self.close(None)
