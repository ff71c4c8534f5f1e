"""Base of the elements that a skin draws directly: they own a compiled widget while rendered."""


class GUIComponent(object):

    GUI_WIDGET = None  # the class of the compiled widget

    def __init__(self):
        self.instance = None

    def GUIcreate(self):
        """The skin renders this element: make its compiled widget."""
        self.instance = self.GUI_WIDGET()
        self.postWidgetCreate(self.instance)

    def postWidgetCreate(self, instance):
        pass

    def execBegin(self):
        pass

    def execEnd(self):
        pass

    def destroy(self):
        self.instance = None
