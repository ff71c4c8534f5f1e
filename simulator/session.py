"""The GUI's session: the stack of open screens, and the notifications that wait for its end."""

import skin_screen
from Components.Sources.Clock import Clock
from Components.Sources.StaticText import StaticText
from Tools import Notifications


#: Sources that any screen may show; empty, since there is no television here.
_SESSION = ["CurrentService", "Event_Now", "Event_Next", "VideoPicture", "FrontendStatus",
            "FrontendInfo", "TunerInfo", "RecordState", "Standby", "HddSleepingState"]


class Session(object):

    def __init__(self, loop):
        self.loop = loop
        self.before_layout = lambda: None
        self.stack = []  # open screens, the front one last
        self.screen = dict((name, StaticText()) for name in _SESSION)
        self.global_screen = {"CurrentTime": Clock()}
        del Notifications.notifications[:]
        Notifications.notificationAdded[:] = [self._look_for_notification]

    @property
    def current_dialog(self):
        return self.stack[-1] if self.stack else None

    def instantiateDialog(self, screen, *args, **kwargs):
        """Make a screen of the class `screen` and its layout, without bringing it to the front."""
        dialog = screen(self, *args, **kwargs)
        self.before_layout()
        skin_screen.applySkin(dialog)
        for function in dialog.onLayoutFinish[:]:
            function()
        dialog.runApplets()
        return dialog

    def open(self, screen, *args, **kwargs):
        """Bring a new screen to the front; return it."""
        return self._open(None, screen, args, kwargs)

    def openWithCallback(self, callback, screen, *args, **kwargs):
        """As open; callback(value, ...) is called with what the screen closes with."""
        return self._open(callback, screen, args, kwargs)

    def close(self, screen, *retval):
        """End the front screen; the rest follows on the loop's next turn."""
        if screen is not self.current_dialog:
            raise RuntimeError("only the screen in front can be closed")
        screen.execEnd()
        self.loop.call_soon(self._closed, screen, retval)

    def _open(self, callback, screen, args, kwargs):
        below = self.current_dialog
        if below is not None:
            if not below.execing:
                raise RuntimeError("only the screen in front can open another")
            below.execEnd()
        dialog = None
        try:
            dialog = self.instantiateDialog(screen, *args, **kwargs)
        finally:
            if dialog is None and below is not None:
                below.execBegin()
        dialog.callback = callback
        self.stack.append(dialog)
        dialog.execBegin()
        return dialog

    def _closed(self, screen, retval):
        self.stack.pop()
        callback = screen.callback
        screen.doClose()
        self._look_for_notification()
        if self.stack:
            self.current_dialog.execBegin()
        if callback is not None:
            callback(*retval)

    def _look_for_notification(self):
        self.loop.call_soon(self._open_notification)

    def _open_notification(self):
        if Notifications.notifications and not self.stack:
            callback, screen, args, kwargs = Notifications.notifications.pop(0)
            self._open(callback, screen, args, kwargs)
