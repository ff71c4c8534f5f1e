"""Rows that the skin draws, without a source: tuples whose first part is the text."""

import keymap
from Components.GUIComponent import GUIComponent
from enigma import eListbox


class MenuList(GUIComponent):

    GUI_WIDGET = eListbox
    KIND = "strings"  # how the compiled list takes its rows

    def __init__(self, list):
        GUIComponent.__init__(self)
        self.list = list

    def postWidgetCreate(self, instance):
        instance.kind, instance.scrollbarMode = self.KIND, "showNever"
        instance.setCount(len(self.list))

    def getIndex(self):
        return None if self.instance is None else self.instance.getCurrentIndex()

    def setIndex(self, index):
        self.instance.moveSelectionTo(index)

    def getCurrent(self):
        return self.list[self.getIndex()] if self.list else None

    def rows(self):
        """The rows as the compiled list gets them."""
        return self.list

    def execBegin(self):
        if self.instance is not None:
            keymap.bind(self.instance)

    def execEnd(self):
        keymap.unbind(self.instance)

    def destroy(self):
        keymap.unbind(self.instance)
        GUIComponent.destroy(self)
