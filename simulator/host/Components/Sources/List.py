"""Rows of tuples. The list box that renders them keeps the index; without one there is none."""

from Components.Sources.Source import Source


class List(Source):

    def __init__(self, list=[]):
        Source.__init__(self)
        self._list = list
        self.onSelectionChanged = []
        self.master = None  # the first list box that renders this list

    def setList(self, list):
        self._list = list
        self.changed()
        self.selectionChanged()

    list = property(lambda self: self._list, lambda self, list: self.setList(list))

    def updateList(self, list):
        """Put in rows of the same number; the selection stays and nobody is told of one."""
        assert len(list) == len(self._list)
        self._list = list
        self.changed()

    def getIndex(self):
        return None if self.master is None else self.master.getIndex()

    def setIndex(self, index):
        if self.master is not None:
            self.master.setIndex(index)
            self.selectionChanged()

    def getCurrent(self):
        index = self.getIndex()
        if index is None or index >= len(self._list):
            return None
        return self._list[index]

    def selectionChanged(self):
        """Tell all that follow of the master's row."""
        for renderer in list(self.renderers):
            renderer.select(self.getIndex())
        for function in self.onSelectionChanged[:]:
            function()
