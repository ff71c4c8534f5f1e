"""A picture that the skin draws."""

from Components.GUIComponent import GUIComponent


class Pixmap(GUIComponent):
    pass
