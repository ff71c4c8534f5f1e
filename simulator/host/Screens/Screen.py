"""Base of all screens: a dictionary of elements, shown by a skin and run by a session."""


class Screen(dict):

    def __init__(self, session):
        dict.__init__(self)
        self.session = session
        self.skinName = self.__class__.__name__
        self.layout = None  # the name of the skin's screen that was found
        self.look = None  # of that one: see skin.py, which also makes these in its order
        self.elements = []
        self.execing = False  # in front, with its keys alive
        self.close_on_next_exec = None
        self._window_title = ""
        self._was_shown = False
        self.onLayoutFinish = []
        self.onFirstExecBegin = []

    def setTitle(self, title):
        self._window_title = title

    def getTitle(self):
        return self._window_title

    title = property(lambda self: self.getTitle(), lambda self, title: self.setTitle(title))

    def close(self, *retval):
        """Leave the screen; its callback gets `retval`. Takes effect on the loop's next turn."""
        if self.execing:
            self.session.close(self, *retval)
        else:
            self.close_on_next_exec = retval

    def __repr__(self):
        return "<screen %s>" % type(self).__name__

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
        for element in self.values():
            element.destroy()
        self.clear()
        self.__dict__.clear()
