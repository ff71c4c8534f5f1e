"""Base of the elements that a skin draws directly: they own a compiled widget."""


class GUIComponent(object):

    GUI_WIDGET = None  # the class of the compiled widget

    def __init__(self):
        self.instance = None

    def GUIcreate(self):
        """The screen gets its layout: make the compiled widget."""
        self.instance = self.GUI_WIDGET()
        self.postWidgetCreate(self.instance)

    def postWidgetCreate(self, instance):
        pass

    def skinApplied(self, look):
        """The skin has this element, and the compiled widget has got its attributes."""

    def show(self):
        self.instance.show()

    def hide(self):
        self.instance.hide()

    def execBegin(self):
        pass

    def execEnd(self):
        pass

    def destroy(self):
        self.instance = None
