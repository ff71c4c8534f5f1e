"""Base of the sources: they tell what renders them about changes."""


class Source(object):

    def __init__(self):
        self.renderers = []

    def changed(self):
        for renderer in list(self.renderers):
            renderer.changed()

    def execBegin(self):
        for renderer in self.renderers:
            renderer.execBegin()

    def execEnd(self):
        for renderer in self.renderers:
            renderer.execEnd()

    def destroy(self):
        for renderer in list(self.renderers):
            renderer.detach()
