"""Base of the converters: they follow a source, and renderers follow them as if they were one."""

import time

from Components.Renderer.Renderer import Follower
from Components.Sources.Source import Source


class Converter(Source, Follower):
    """arguments: the text that the skin has between the tags."""

    def __init__(self, arguments):
        Source.__init__(self)
        self.arguments = arguments

    def __getattr__(self, name):
        if name.startswith("__"):
            raise AttributeError(name)
        return getattr(self.source, name)


class ConditionalShowHide(Converter):
    """Lets its element be seen while the source is true."""

    def changed(self):
        visible = bool(self.source.boolean) != ("Invert" in self.arguments.split(","))
        for renderer in self.renderers:
            renderer.setVisible(visible)
            renderer.changed()

    connected = changed


class ClockToText(Converter):
    """The time of day as text."""

    FORMATS = {"": "%H:%M", "Default": "%H:%M", "WithSeconds": "%H:%M:%S",
               "Date": "%A %e %B %Y", "ShortDate": "%a %e/%m"}

    @property
    def text(self):
        form = self.FORMATS.get(self.arguments, self.arguments.partition("Format:")[2])
        return time.strftime(form, time.localtime(self.source.time))


class StringListSelection(Converter):
    """The first part of a list's selected row, as text."""

    @property
    def text(self):
        row = self.source.getCurrent()
        return row[0] if row else ""

    def select(self, index):
        self.changed()


class Empty(Converter):
    """One that has nothing to tell here."""
    text, boolean = "", False


class StandIn(Converter):
    """Gives its own name in place of what only some images have."""
    text = property(lambda self: type(self).__name__)
    boolean = True


#: The host's converters without a file of their own here. Most have nothing to tell here.
OTHERS = dict.fromkeys("""ClientsStreaming ConfigEntryTest CryptoInfo EventName EventTime
    FrontendInfo HddState MenuEntryCompare MovieInfo Poll RdsInfo RemainingToText RotorPosition
    SensorToText ServiceInfo ServiceName ServiceOrbitalPosition ServicePosition ServiceTime
    SignalToText StaticMultiList StringList TunerInfo ValueBitTest ValueRange ValueToPixmap
    VAudioInfo""".split(), Empty)
OTHERS.update((kind.__name__, kind)
              for kind in (ConditionalShowHide, ClockToText, StringListSelection))
