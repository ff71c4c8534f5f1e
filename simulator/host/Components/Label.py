"""A text that the skin draws."""

from Components.GUIComponent import GUIComponent
from enigma import eLabel


class Label(GUIComponent):

    GUI_WIDGET = eLabel

    def __init__(self, text=""):
        GUIComponent.__init__(self)
        self.message = text

    def setText(self, text):
        self.message = text
        if self.instance is not None:
            self.instance.setText(text)

    def getText(self):
        return self.message

    def postWidgetCreate(self, instance):
        instance.setText(self.message)
