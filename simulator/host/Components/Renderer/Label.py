"""Draws a StaticText."""

from Components.Renderer.Renderer import Renderer
from enigma import eLabel


class Label(Renderer):

    GUI_WIDGET = eLabel

    def changed(self):
        self.instance.setText(self.source.text)
