"""Draws a text of its own; the source decides whether it is seen."""

from Components.Renderer.Renderer import Renderer
from enigma import eLabel


class FixedLabel(Renderer):
    GUI_WIDGET = eLabel
