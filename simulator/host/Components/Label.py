"""A text that the skin draws."""

from Components.GUIComponent import GUIComponent
from enigma import eLabel


class Label(GUIComponent):
    """Also a source, for the renderer of that name."""

    GUI_WIDGET = eLabel

    def __init__(self, text=""):
        GUIComponent.__init__(self)
        self.message = text
        self.renderers = []

    def setText(self, text):
        self.message = text
        if self.instance is not None:
            self.instance.setText(text)
        for renderer in list(self.renderers):
            renderer.changed()

    def getText(self):
        return self.message

    text = property(lambda self: self.getText(), lambda self, text: self.setText(text))

    def getSize(self):
        return tuple(self.instance.calculateSize().pair())

    def postWidgetCreate(self, instance):
        instance.setText(self.message)
