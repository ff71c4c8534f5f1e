"""Runs the package manager's commands one at a time."""

import enigma


class IpkgComponent(object):

    EVENT_OUTPUT, EVENT_DONE, EVENT_ERROR = range(3)
    CMD_INSTALL, CMD_REMOVE, CMD_UPDATE = 0, 2, 3

    def __init__(self):
        self.callbackList = []  # functions that take (event, parameter)
        self._container = None

    def startCmd(self, cmd, args=None):
        """Run `cmd`, one of the CMD_ codes; args["package"] may have options in front."""
        self._run({
            self.CMD_INSTALL: "opkg install %(package)s",
            self.CMD_REMOVE: "opkg remove %(package)s",
            self.CMD_UPDATE: "opkg update",
        }[cmd] % (args or {}))

    def addCallback(self, callback):
        self.callbackList.append(callback)

    def isRunning(self):
        return self._container is not None

    def _run(self, command):
        self._container = enigma.eConsoleAppContainer()
        self._container.dataAvail.append(lambda text: self._tell(self.EVENT_OUTPUT, text))
        self._container.appClosed.append(self._ended)
        if self._container.execute(command):
            self._ended(-1)

    def _ended(self, status):
        self._container = None
        self._tell(self.EVENT_ERROR if status else self.EVENT_DONE, status)

    def _tell(self, event, parameter):
        for callback in self.callbackList[:]:
            callback(event, parameter)
