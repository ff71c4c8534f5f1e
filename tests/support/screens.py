"""What the tests of the two screens share."""

from tests.support.receiver import ReceiverTest, document, entry

UP_TO_DATE = "\nYour System is up to date"


def block(name, old, new):
    """The text of an upgradable package."""
    return "\nPackage : %s \nold version : %s \nnew version : %s\n" % (name, old, new)


BLUE_SHOWN = block("enigma2-skin-blue", "3.4-r5", "3.5-r0")


class ScreenTest(ReceiverTest):

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
        screen_class = kwargs.pop("screen", self.module.ZirkUpdateInfo)
        screen = self.box.session.open(screen_class, *args, **kwargs)
        self.box.loop.run_due()
        return screen

    def labels(self):
        return dict((key, self.box.text("key_" + key)) for key in self.news_keys)
