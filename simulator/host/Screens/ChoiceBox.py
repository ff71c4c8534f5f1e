"""Lets the user choose one of some rows."""

from Components.ActionMap import ActionMap
from Components.Sources.List import List
from Screens.Screen import Screen


class ChoiceBox(Screen):
    """Closes with the chosen tuple of `list`, or with None.

    keys: the quick keys of the rows, in order; None for the digits, False for none.
    """

    def __init__(self, session, title="", list=[], keys=None):
        Screen.__init__(self, session)
        self.skinName = "ChoiceBox"
        self.title = title
        self["list"] = List(list)
        if keys is None:
            keys = "1234567890"
        self["actions"] = ActionMap(["OkCancelActions"], {"ok": self.go, "cancel": self.cancel})
        self["quick"] = ActionMap(["NumberActions", "ColorActions"], dict(
            (key, lambda row=row: self.close(row)) for key, row in zip(keys or [], list)), -1)

    def go(self):
        self.close(self["list"].getCurrent())

    def cancel(self):
        self.close(None)
