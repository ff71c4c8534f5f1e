"""Runs a list of package manager commands and shows what they print."""

from Components.ActionMap import ActionMap
from Components.Ipkg import IpkgComponent
from Components.Label import Label
from Components.Slider import Slider
from Screens.Screen import Screen


class Ipkg(Screen):
    """cmdList: tuples (command code of IpkgComponent, its arguments or None), run in order.

    A command that fails does not stop those after it. Once all have run, ok or cancel closes
    the screen with True when none failed; without a value where `closes_with_value` is False.
    """

    closes_with_value = True

    def __init__(self, session, cmdList=None):
        Screen.__init__(self, session)
        self.skinName = "Ipkg"
        self._waiting = list(cmdList or [])
        self._commands = len(self._waiting)
        self._failed = 0
        self["status"] = Label(_("Preparing... Please wait"))
        self["package"] = Label("")
        self["slider"] = Slider(0, len(self._waiting))
        self["activityslider"] = Slider(0, 100)
        self["actions"] = ActionMap(["OkCancelActions"], {"ok": self.leave, "cancel": self.leave})
        self.ipkg = IpkgComponent()
        self.ipkg.addCallback(self._event)
        self.onFirstExecBegin.append(self._next)

    def leave(self):
        if not self.ipkg.isRunning():
            self.close(*([not self._failed] if self.closes_with_value else []))

    def _next(self):
        if self._waiting:
            command, args = self._waiting.pop(0)
            self["package"].setText((args or {}).get("package", "").split(" ")[-1])
            self["status"].setText(
                {IpkgComponent.CMD_UPDATE: _("Update package list"),
                 IpkgComponent.CMD_INSTALL: _("Installing"),
                 IpkgComponent.CMD_REMOVE: _("Removing")}[command])
            self.ipkg.startCmd(command, args)
        elif self._failed:
            self["status"].setText(_("Done, with errors"))
        else:
            self["status"].setText(_("Done"))

    def _event(self, event, parameter):
        if event != IpkgComponent.EVENT_OUTPUT:
            self._failed += event == IpkgComponent.EVENT_ERROR
            self["slider"].setValue(self._commands - len(self._waiting))
            self._next()
