"""A bar that the skin draws."""

from Components.GUIComponent import GUIComponent
from enigma import eSlider


class Slider(GUIComponent):

    GUI_WIDGET = eSlider

    def __init__(self, min, max):
        GUIComponent.__init__(self)
        self._range = [min, max]

    def setValue(self, value):
        if self.instance is not None:
            self.instance.setRange(*self._range)
            self.instance.setValue(value)
