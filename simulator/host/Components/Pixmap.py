"""A picture that the skin draws."""

from Components.GUIComponent import GUIComponent
from enigma import ePixmap


class Pixmap(GUIComponent):
    GUI_WIDGET = ePixmap
