"""The first part of a list's selected row, as text."""

from Components.Converter.Converter import Converter


class StringListSelection(Converter):

    @property
    def text(self):
        row = self.source.getCurrent()
        return row[0] if row else ""

    def select(self, index):
        self.changed()
