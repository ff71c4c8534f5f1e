"""Base of the converters: they follow a source, and renderers follow them as if they were one."""

from Components.Renderer.Renderer import Renderer
from Components.Sources.Source import Source


class Converter(Source):
    """arguments: the text that the skin has between the tags."""

    def __init__(self, arguments):
        Source.__init__(self)
        self.arguments = arguments
        self.source = None

    def select(self, index):
        """The source, a list, has another row selected."""

    connect, detach = Renderer.connect.__func__, Renderer.detach.__func__

    def __getattr__(self, name):
        if name.startswith("__") or name == "source":
            raise AttributeError(name)
        return getattr(self.source, name)


class Empty(Converter):
    """One that has nothing to tell here."""
    text, boolean = "", False


class StandIn(Converter):
    """Gives its own name in place of what no image has, or what its source is."""
    text = property(lambda self: type(self).__name__)
    boolean = True
