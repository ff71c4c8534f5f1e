"""Draws a picture of its own; the source decides whether it is seen."""

from Components.Renderer.Renderer import Renderer
from enigma import ePixmap


class Pixmap(Renderer):
    GUI_WIDGET = ePixmap
