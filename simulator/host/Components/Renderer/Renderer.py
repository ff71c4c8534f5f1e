"""Base of the renderers: a compiled widget that follows one source."""

import enigma
from Components.GUIComponent import GUIComponent


class Follower(object):
    """What follows one source: a renderer, or a converter on the way to one."""

    source = None

    def connect(self, source):
        self.source = source
        self.changed()
        source.renderers.append(self)

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


class Renderer(Follower, GUIComponent):

    _visible = True

    def postWidgetCreate(self, instance):
        self.setVisible(self._visible)
        self.changed()

    def setVisible(self, visible):
        self._visible = visible
        if self.instance is not None:
            (self.instance.show if visible else self.instance.hide)()


class StandIn(Renderer):
    """Shows its own name in place of what only some images have."""

    GUI_WIDGET = enigma.eLabel

    def changed(self):
        if self.instance is not None:
            self.instance.setText(type(self).__name__)


#: What the host's renderers without a file of their own here draw with. Most have nothing to show.
_WIDGETS = {
    "Canvas": enigma.eWidget, "FixedLabel": enigma.eLabel, "FrontpanelLed": enigma.eWidget,
    "NextEpgInfo": enigma.eWidget, "Picon": enigma.ePixmap, "Pig": enigma.eVideoWidget,
    "Pixmap": enigma.ePixmap, "PositionGauge": enigma.ePositionGauge, "Progress": enigma.eSlider}
OTHERS = dict((name, type(name, (Renderer,), {"GUI_WIDGET": widget}))
              for name, widget in _WIDGETS.items())
