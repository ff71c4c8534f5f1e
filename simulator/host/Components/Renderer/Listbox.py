"""Draws the rows of a source: keeps its index, and moves it by the keys no action map takes."""

import keymap
from Components.Renderer.Renderer import Renderer
from enigma import eListbox


class Listbox(Renderer):

    GUI_WIDGET = eListbox
    _painted = False  # in front

    def GUIcreate(self):
        Renderer.GUIcreate(self)
        self.instance.itemHeight = self.source.template["itemHeight"]
        self.instance.changed = lambda: self.source.moved(self.getIndex())
        self.source.lead(self)

    def detach(self):
        keymap.unbind(self.instance)
        Renderer.detach(self)

    def changed(self):
        mode = self.source.template["scrollbarMode"] or "showOnDemand"
        if self.instance is not None:
            # At first the skin's attribute follows; later changes bring the template's mode back.
            self.instance.scrollbarMode = mode
            self.instance.setCount(len(self.source.list))
        if self._painted:
            self.source.paint()

    def getIndex(self):
        return None if self.instance is None else self.instance.getCurrentIndex()

    def setIndex(self, index):
        self.instance.moveSelectionTo(index)

    def execBegin(self):
        keymap.bind(self.instance)
        self._painted = True
        self.source.paint()

    def execEnd(self):
        keymap.unbind(self.instance)
        self._painted = False
