"""Base of the renderers: a compiled widget that follows one source."""


class Renderer(object):

    GUI_WIDGET = None  # the class of the compiled widget

    def __init__(self):
        self.source = None
        self.instance = self.GUI_WIDGET()

    def connect(self, source):
        self.source = source
        source.renderers.append(self)
        self.changed()

    def disconnect(self):
        self.source = None

    def changed(self):
        """The source has changed."""

    def execBegin(self):
        pass

    def execEnd(self):
        pass
