"""A text that a renderer draws."""

from Components.Sources.Source import Source


class StaticText(Source):

    def __init__(self, text=""):
        Source.__init__(self)
        self._text = text

    def setText(self, text):
        self._text = text
        self.changed()

    def getText(self):
        return self._text

    text = property(lambda self: self.getText(), lambda self, text: self.setText(text))
    boolean = property(lambda self: bool(self.text))
