"""A long text that the skin draws page by page, in whole lines."""

import enigma
from Components.Label import Label
from painting.text import DEFAULT_FONT


class ScrollLabel(Label):

    GUI_WIDGET = enigma.eScrollLabel
    BAR = 30  # pixels at the right edge that the text leaves free

    def __init__(self, text=""):
        Label.__init__(self, text)
        self._top = self._line = 0  # pixels: what has been scrolled, the height of a line
        self.page = self.total = 0  # pixels: of a page, of the whole text
        self._lines = []

    def skinApplied(self, look):
        """Shrink the compiled widget to whole lines, and a sixth of one."""
        self._font = look.get("font") or DEFAULT_FONT
        self._line = enigma.typeset("", self._font, None)[1] or 30
        width, height = self.instance.size().pair()
        self.page = height // self._line * self._line
        self.instance.resize(enigma.eSize(width, self.page + self._line // 6))
        self._measure(0)

    def _measure(self, margin):
        """Break the text into lines; its height is that at a width less `margin`."""
        self._top = 0
        if self.instance is None or not self._line:
            self._lines = self.getText().rstrip().split("\n")
            return
        text, width = self.getText().rstrip(), self.instance.size().width()
        self.total = self._line * len(enigma.typeset(text, self._font, width - margin)[0])
        self._lines = [line for line, _ in enigma.typeset(text, self._font, width - self.BAR)[0]]
        # What is too long for the height is lost.
        del self._lines[self.total // self._line:]

    def setText(self, text):
        Label.setText(self, text)
        self._measure(self.BAR)

    def pageUp(self):
        self._top = max(0, self._top - self.page)

    def pageDown(self):
        self._top = max(0, min(self._top + self.page, self.total - self.page))

    def scrolled(self):
        """How many pixels of the text lie above the page."""
        return self._top

    def visibleLines(self):
        """The lines that are on the screen now, as byte strings."""
        if not self._line:
            return self._lines
        return self._lines[self._top // self._line:(self._top + self.page) // self._line]

    def pageNumber(self):
        """(number of this page, number of pages)"""
        page = max(1, self.page)
        return -(-self._top // page) + 1, max(1, -(-self.total // page))

    def destroy(self):
        self._line = 0
        Label.destroy(self)
