"""Draws a List: keeps its index, and moves it by the keys that no action map takes."""

from Components.ActionMap import ActionMap
from Components.Renderer.Renderer import Renderer
from enigma import eListbox


class Listbox(Renderer):

    GUI_WIDGET = eListbox

    def __init__(self):
        Renderer.__init__(self)
        moves = dict.fromkeys(["moveUp", "moveDown", "pageUp", "pageDown"])
        for name in moves:
            moves[name] = lambda name=name: self._move(name)
        self._keys = ActionMap(["ListboxActions"], moves)

    def connect(self, source):
        source.master = self
        Renderer.connect(self, source)

    def disconnect(self):
        self.source.master = None
        self._keys.destroy()
        Renderer.disconnect(self)

    def changed(self):
        self.instance.setSize(len(self.source.list))

    def getIndex(self):
        return self.instance.getCurrentIndex()

    def setIndex(self, index):
        self.instance.moveSelectionTo(index)

    def _move(self, action):
        self.instance.moveSelection(action, self.source.enableWrapAround)
        self.source.selectionChanged()

    def execBegin(self):
        self._keys.execBegin()

    def execEnd(self):
        self._keys.execEnd()
