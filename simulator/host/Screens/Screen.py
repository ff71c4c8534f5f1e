"""Base of all screens: a dictionary of elements, shown by a skin and run by a session."""

import sys

import skin
from Components.Sources.StaticText import StaticText


class Screen(dict):

    def __init__(self, session):
        dict.__init__(self)
        self.session = session
        self.skinName = self.__class__.__name__
        self.layout = None  # the name of the skin's screen that was found
        self.look = {}  # what the skin says of it; skin_screen.py sets this and the next five
        self.elements = []
        self.missing = []  # names of components that the skin does not have
        self.log = []  # lines of the host
        self.applets = []  # the skin's own code: pairs of compiled code and element
        self.instance = None
        self.execing = False  # in front, with its keys alive
        self.close_on_next_exec = None
        self._was_shown = False
        self.onLayoutFinish = []
        self.onFirstExecBegin = []
        self.update(Title=StaticText(), screen_path=StaticText())

    def setTitle(self, title):
        self["Title"].text = title

    def getTitle(self):
        return self["Title"].text

    title = property(lambda self: self.getTitle(), lambda self, title: self.setTitle(title))

    def close(self, *retval):
        """Leave the screen; its callback gets `retval`. Takes effect on the loop's next turn."""
        if self.execing:
            self.session.close(self, *retval)
        else:
            self.close_on_next_exec = retval

    def __repr__(self):
        return str(type(self))

    # For the skin.

    def getRelatedScreen(self, name):
        """The sources of the session or of the whole host."""
        return {"session": self.session.screen, "global": self.session.global_screen}.get(name)

    def runApplets(self):
        """Run the skin's own code, with `self` for this screen."""
        for code, element in self.applets:
            with skin.blame("screen", element, go_on=True):
                exec(code, dict(vars(sys.modules[__name__]), self=self))

    # For the session.

    def execBegin(self):
        self.execing = True
        if self.close_on_next_exec is not None:
            retval, self.close_on_next_exec = self.close_on_next_exec, None
            self.close(*retval)
            return
        for element in self.values():
            element.execBegin()
        first = [] if self._was_shown else self.onFirstExecBegin
        self._was_shown = True
        for function in first:
            function()

    def execEnd(self):
        self.execing = False
        for element in self.values():
            element.execEnd()

    def doClose(self):
        """Free the screen: its elements and all its attributes go."""
        for element in self.elements:
            element.release()
        for element in self.values():
            element.destroy()
        self.clear()
        self.__dict__.clear()
