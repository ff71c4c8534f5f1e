"""Runs shell commands in the background and hands their whole output to a callback."""

import enigma


class Console(object):

    def __init__(self):
        self.appContainers = {}  # name of a command: its container
        self._jobs = {}  # name: (output so far, callback, extra arguments)

    def ePopen(self, cmd, callback=None, extra_args=None):
        """Start `cmd`; later callback(output, exit status, extra_args) is called."""
        name, number = cmd, 1
        while name in self.appContainers:
            number += 1
            name = "%s#%d" % (cmd, number)
        container = enigma.eConsoleAppContainer()
        self.appContainers[name] = container
        self._jobs[name] = ([], callback, [] if extra_args is None else extra_args)
        container.dataAvail.append(lambda text: self._received(name, text))
        container.appClosed.append(lambda status: self._ended(name, status))
        if container.execute(cmd):
            self._ended(name, -1)

    def kill(self, name):
        """Stop the command `name`. No callback comes and the name stays."""
        if name in self.appContainers:
            self.appContainers[name].kill()

    def _received(self, name, text):
        self._jobs[name][0].append(text)

    def _ended(self, name, status):
        output, callback, extra_args = self._jobs.pop(name)
        del self.appContainers[name]
        if callback is not None:
            callback("".join(output), status, extra_args)
