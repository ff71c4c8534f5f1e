"""Lets its element be seen while the source is true."""

from Components.Converter.Converter import Converter


class ConditionalShowHide(Converter):

    def changed(self):
        visible = bool(self.source.boolean) != ("Invert" in self.arguments.split(","))
        for renderer in self.renderers:
            renderer.setVisible(visible)
            renderer.changed()

    def connected(self):
        self.changed()
