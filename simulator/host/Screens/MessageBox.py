"""A question (yes or no), an information or an error, with or without a time-out."""

from Components.ActionMap import ActionMap
from Components.Label import Label
from Components.MenuList import MenuList
from Components.Pixmap import Pixmap
from Components.Sources.StaticText import StaticText
from Screens.Screen import Screen
from enigma import eTimer


class MessageBox(Screen):
    """Closes with True for yes (or ok), False for no (or cancel)."""

    TYPE_YESNO, TYPE_INFO, TYPE_WARNING, TYPE_ERROR = range(4)

    def __init__(self, session, text, type=TYPE_YESNO, timeout=-1, simple=False):
        Screen.__init__(self, session)
        self.skinName = "MessageBoxSimple" if simple else "MessageBox"
        self.type = type
        self.text = text
        self.timeout = timeout  # seconds left; 0 or less: stays until answered
        self._caption = {self.TYPE_YESNO: _("Question"), self.TYPE_INFO: _("Information"),
                         self.TYPE_WARNING: _("Warning"), self.TYPE_ERROR: _("Error")}[type]
        self.title = self._caption
        self.list = []
        if type == self.TYPE_YESNO:
            self.list = [(_("yes"), True), (_("no"), False)]
        self["text"] = Label(text)
        self["Text"] = StaticText(text)
        self["selectedChoice"] = StaticText(self.list[0][0] if self.list else "")
        for picture in ("ErrorPixmap", "QuestionPixmap", "InfoPixmap", "WarningPixmap"):
            self[picture] = Pixmap()
        self["autoresize"] = Label("")  # a measuring aid
        self["list"] = MenuList(self.list)
        self["actions"] = ActionMap(["MsgBoxActions"], {
            "ok": self.ok,
            "cancel": self.cancel,
            "up": self.stopCounting,
            "down": self.stopCounting,
        }, -1)
        self._timer = None
        self.onLayoutFinish.append(self._hide)
        if timeout > 0:
            self.onFirstExecBegin.append(self._count)

    def __repr__(self):
        return "%s(%s)" % (type(self), self.text)

    def _hide(self):
        """Only the picture that is meant stays, and the list of a question."""
        meant = {self.TYPE_YESNO: "QuestionPixmap", self.TYPE_INFO: "InfoPixmap",
                 self.TYPE_WARNING: "WarningPixmap", self.TYPE_ERROR: "ErrorPixmap"}[self.type]
        for name, component in self.items():
            if isinstance(component, Pixmap) and name != meant:
                component.hide()
        if not self.list:
            self["list"].hide()

    def ok(self):
        row = self["list"].getCurrent()
        self.close(row[1] if row else True)

    def cancel(self):
        self.close(False)

    def stopCounting(self):
        """The user is there: no more time-out. The key goes on to the list."""
        if self._timer is not None:
            self._timer = None
            self.title = self._caption
        return False

    def secondsLeft(self):
        return None if self._timer is None else self.timeout

    def _count(self):
        if self._timer is None:
            self._timer = eTimer()
            self._timer.callback.append(self._count)
        self.timeout -= 1
        if self.timeout > 0:
            self.title = "%s (%d)" % (self._caption, self.timeout)
            self._timer.start(1000, True)
        else:
            self.ok()
