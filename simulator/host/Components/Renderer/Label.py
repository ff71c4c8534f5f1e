"""Draws the text of a source."""

from Components.Renderer.Renderer import Renderer
from enigma import eLabel


class Label(Renderer):

    GUI_WIDGET = eLabel

    def changed(self):
        text = self.source.text
        if self.instance is not None:
            self.instance.setText(text)
