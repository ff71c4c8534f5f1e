"""A long text that the skin draws page by page."""

import textwrap

from Components.Label import Label


class ScrollLabel(Label):

    LINES = 14  # of a page
    COLUMNS = 74

    def __init__(self, text=""):
        Label.__init__(self, text)
        self._top = 0

    def setText(self, text):
        self._top = 0
        Label.setText(self, text)

    def appendText(self, text):
        Label.setText(self, self.getText() + text)

    def pageUp(self):
        self._top = max(0, self._top - self.LINES)

    def pageDown(self):
        if not self.isAtLastPage():
            self._top += self.LINES

    def lastPage(self):
        self._top = max(0, len(self._lines()) - self.LINES)

    def isAtLastPage(self):
        return self._top + self.LINES >= len(self._lines())

    def visibleLines(self):
        """The lines that are on the screen now, as byte strings."""
        return self._lines()[self._top:self._top + self.LINES]

    def pageNumber(self):
        """(number of this page, number of pages)"""
        pages = (len(self._lines()) - 1) // self.LINES + 1
        return (self._top + self.LINES - 1) // self.LINES + 1, pages

    def _lines(self):
        lines = []
        for line in self.getText().decode("utf-8", "replace").split(u"\n"):
            indent = u" " * (len(line) - len(line.lstrip(u" ")) + 2)
            lines += textwrap.wrap(line, self.COLUMNS, subsequent_indent=indent) or [u""]
        while len(lines) > 1 and not lines[-1]:
            lines.pop()
        return [line.encode("utf-8") for line in lines]
