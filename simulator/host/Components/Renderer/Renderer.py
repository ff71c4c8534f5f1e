"""Base of the renderers: a compiled widget that follows one source."""

import enigma


class Renderer(object):

    GUI_WIDGET = None  # the class of the compiled widget

    def __init__(self):
        self.source = None
        self.instance = None
        self._visible = True

    def connect(self, source):
        self.source = source
        self.changed()
        source.renderers.append(self)

    def GUIcreate(self):
        """The screen gets its layout: make the compiled widget."""
        self.instance = self.GUI_WIDGET()
        self.setVisible(self._visible)
        self.changed()

    def detach(self):
        """Follow no longer; nor does a converter without followers."""
        source, self.source = self.source, None
        if source is not None and self in source.renderers:
            source.renderers.remove(self)
            if not source.renderers and hasattr(source, "detach"):
                source.detach()

    def changed(self):
        """The source has changed."""

    def select(self, index):
        """The source, a list, has another row selected."""

    def setVisible(self, visible):
        self._visible = visible
        if self.instance is not None:
            (self.instance.show if visible else self.instance.hide)()

    def execBegin(self):
        pass

    def execEnd(self):
        pass


class Empty(Renderer):
    """One that has nothing to show here."""
    GUI_WIDGET = enigma.eWidget


class FixedLabel(Renderer):
    """Shows a text of its own; the source decides whether it is seen."""
    GUI_WIDGET = enigma.eLabel


class Pixmap(Renderer):
    """Shows a picture of its own; likewise."""
    GUI_WIDGET = enigma.ePixmap


class Pig(Renderer):
    GUI_WIDGET = enigma.eVideoWidget


class Picon(Pixmap):
    """The picture of a channel: there is none."""


class Progress(Renderer):
    GUI_WIDGET = enigma.eSlider


class PositionGauge(Renderer):
    GUI_WIDGET = enigma.ePositionGauge


class StandIn(Renderer):
    """Shows its own name in place of what no image has."""

    GUI_WIDGET = enigma.eLabel

    def changed(self):
        if self.instance is not None:
            self.instance.setText(type(self).__name__)
