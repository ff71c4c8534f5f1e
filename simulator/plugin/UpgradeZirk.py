"""The image's own system upgrade screen."""

from Components.ActionMap import ActionMap
from Components.Console import Console
from Components.Label import Label
from Components.ScrollLabel import ScrollLabel
from Components.Sources.StaticText import StaticText
from Screens.Screen import Screen


class UpdatePlugin(Screen):
    """Green or ok upgrades all packages; red or cancel leaves once nothing runs."""

    def __init__(self, session):
        Screen.__init__(self, session)
        self.skinName = "UpdatePlugin"
        self.title = _("Software update")
        self.console = Console()
        self["status"] = Label(_("Press green to upgrade the system."))
        self["output"] = ScrollLabel()
        self["key_red"] = StaticText(_("Exit"))
        self["key_green"] = StaticText(_("Upgrade"))
        self["actions"] = ActionMap(["ColorActions", "OkCancelActions"], {
            "red": self.leave,
            "cancel": self.leave,
            "green": self.upgrade,
            "ok": self.upgrade,
        })

    def upgrade(self):
        if not self.console.appContainers:
            self["status"].setText(_("Upgrading ..."))
            self.console.ePopen("opkg update && opkg upgrade", self._upgraded)

    def leave(self):
        if not self.console.appContainers:
            self.close()

    def _upgraded(self, text, status, extra_args):
        self["status"].setText(_("The upgrade failed.") if status else _("Done"))
        self["output"].setText(text)
